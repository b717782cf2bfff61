// The registry's file, seen by other instances, other processes, and with other contents.
#include "host/scripting/Registry.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace {

using host::Registry;
using host::Script;
using testing::Optional;

TEST(Registry, KeepsPersistentEntriesAcrossProcesses) {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("registry" + std::to_string(getpid()));
  const std::filesystem::path file = folder / "registry.ini";
  const std::string key = "3f1c/8a 52\\=ä";
  const Script script{
      {fourCharCode("oMap"), true}, {fourCharCode("a  b"), false}, {0x1ff5b3d, true}};
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

  const auto before = std::filesystem::last_write_time(file) - std::chrono::hours(1);
  std::filesystem::last_write_time(file, before);
  EXPECT_TRUE(mine.put(key, {}, true)); // an unchanged entry leaves the file alone
  EXPECT_EQ(std::filesystem::last_write_time(file), before);
  EXPECT_TRUE(mine.put(key, script, false)); // lives as long as the object, hides the other one
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_THAT(Registry(file).get(key), Optional(Script{}));
  EXPECT_TRUE(mine.put(key, {}, true));
  EXPECT_THAT(mine.get(key), Optional(Script{}));

  // The file is the user's to edit. One value a key, or none; an unreadable one is no script.
  for (const std::string value : {"5", "oMap=yes", "toolong=true", "=true", "0xzzzzzzzz=true",
                                  "1x01020304=true", "0x01020304=false", "oMap=true"}) {
    std::ofstream(file) << "[registry]\nk=\"" << value << "\"\n";
    const Script expected = value == "oMap=true"          ? Script{{fourCharCode("oMap"), true}}
                            : value == "0x01020304=false" ? Script{{0x01020304, false}}
                                                          : Script{};
    EXPECT_EQ(Registry(file).get("k").value_or(Script{}), expected) << value;
  }
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder should be";
  EXPECT_FALSE(mine.put(key, script, true));
  EXPECT_THAT(mine.get(key), Optional(script)); // kept for the session at least
  std::filesystem::remove(folder);
  Registry inMemory;
  EXPECT_TRUE(inMemory.put(key, script, true));
  EXPECT_THAT(inMemory.get(key), Optional(script));
  setenv("XDG_CONFIG_HOME", "/somewhere/.config", 1);
  EXPECT_EQ(Registry::defaultFile(), "/somewhere/.config/fogdissolver/registry.ini");
}

} // namespace
