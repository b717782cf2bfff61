// The registry's file, seen by other instances, other processes, and with other contents.
#include "host/scripting/Registry.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

using host::Registry;
using host::Script;
using testing::Optional;

struct RegistryTest : testing::Test {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("registry" + std::to_string(getpid()));
  const std::filesystem::path file = folder / "deep" / "registry.ini";
  const std::string key = "3f1c/8a 52\\=ä";
  const Script script{
      {fourCharCode("oMap"), true}, {fourCharCode("a  b"), false}, {0x01ff5b3d, true}};

  RegistryTest() { std::filesystem::create_directories(folder); }
  ~RegistryTest() override { std::filesystem::remove_all(folder); }
};

TEST_F(RegistryTest, KeepsPersistentEntriesAcrossInstancesAndProcesses) {
  EXPECT_EQ(Registry(file).get(key), std::nullopt);
  EXPECT_TRUE(Registry(file).put(key, script, true));
  Registry mine(file);
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_EQ(mine.get("another"), std::nullopt);
  const pid_t child = fork();
  if (child == 0)
    _exit(Registry(file).get(key) == script && Registry(file).put(key, {}, true) ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(mine.get(key), Optional(Script{})); // what the other process wrote last

  // An unchanged entry leaves the file alone.
  const auto before = std::filesystem::last_write_time(file) - std::chrono::hours(1);
  std::filesystem::last_write_time(file, before);
  EXPECT_TRUE(mine.put(key, {}, true));
  EXPECT_EQ(std::filesystem::last_write_time(file), before);

  // Other entries live as long as the object, and hide the persistent one.
  EXPECT_TRUE(mine.put(key, script, false));
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_THAT(Registry(file).get(key), Optional(Script{}));
  EXPECT_TRUE(mine.put(key, {}, true));
  EXPECT_THAT(mine.get(key), Optional(Script{}));
  Registry inMemory;
  EXPECT_TRUE(inMemory.put(key, script, true));
  EXPECT_THAT(inMemory.get(key), Optional(script));
}

TEST_F(RegistryTest, SurvivesForeignContents) {
  EXPECT_TRUE(Registry(file).put("k", script, true));
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  const std::string good = text.str();
  const std::pair<std::string, std::optional<Script>> cases[] = {
      {"5", {}},
      {"oMap", {}},
      {"oMap=yes", {}},
      {"toolong=true", {}},
      {"=true", {}},
      {"0xzzzzzzzz=true", {}},
      {"1x01020304=true", {}},
      {"@Invalid()", {{}}},
      {"0x01020304=false", {{{0x01020304, false}}}},
      {"oMap=true", {{{fourCharCode("oMap"), true}}}}};
  for (const auto& [value, expected] : cases) {
    std::ofstream(file, std::ios::trunc) << "[registry]\nk=\"" << value << "\"\n";
    const auto found = Registry(file).get("k");
    EXPECT_EQ(found.value_or(Script{}), expected.value_or(Script{})) << value;
  }
  for (size_t cut = 0; cut < good.size(); cut += 3) {
    std::ofstream(file, std::ios::trunc) << good.substr(0, cut);
    const auto found = Registry(file).get("k"); // some of it, or nothing
    EXPECT_TRUE(!found || found->size() <= script.size()) << cut;
  }
  EXPECT_TRUE(Registry(file).put("k", script, true));
  EXPECT_THAT(Registry(file).get("k"), Optional(script));

  std::filesystem::remove_all(folder / "deep");
  std::ofstream(folder / "deep") << "a file where the folder should be";
  Registry registry(file);
  EXPECT_FALSE(registry.put(key, script, true));
  EXPECT_THAT(registry.get(key), Optional(script)); // kept for the session at least
}

TEST(Registry, HasItsPlaceInTheUsersConfiguration) {
  setenv("XDG_CONFIG_HOME", "/somewhere/.config", 1);
  EXPECT_EQ(Registry::defaultFile(), "/somewhere/.config/fogdissolver/registry.ini");
}

} // namespace
