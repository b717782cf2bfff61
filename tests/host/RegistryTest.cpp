// The registry's file, seen by other instances, another process, and with other contents.
#include "host/scripting/Registry.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace {

using host::Registry;
using host::Script;
using testing::Optional;

constexpr FourCharCode oMap = fourCharCode("oMap");

TEST(Registry, KeepsPersistentEntriesAcrossProcesses) {
  setenv("XDG_CONFIG_HOME", testing::TempDir().c_str(), 1);
  const std::filesystem::path file = Registry::defaultFile(), folder = file.parent_path();
  EXPECT_EQ(folder.filename() / file.filename(), "fogdissolver/registry.ini");
  std::filesystem::remove_all(folder);
  const std::string key = "3f1c/8a 52\\=ä";
  const Script script{{oMap, true}, {fourCharCode("a  b"), false}, {0x1ff5b3d, true}};
  Registry mine(file), other(file);
  EXPECT_EQ(mine.get(key), std::nullopt);
  EXPECT_TRUE(other.put(key, script, true));
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_EQ(mine.get("another"), std::nullopt);
  if (fork() == 0)
    _exit(other.get(key) == script && other.put(key, {}, true) ? 0 : 1);
  int status = -1;
  wait(&status);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(mine.get(key), Optional(Script{})); // what the other process wrote last

  const auto before = std::filesystem::last_write_time(file) - std::chrono::hours(1);
  std::filesystem::last_write_time(file, before);
  EXPECT_TRUE(mine.put(key, {}, true)); // an unchanged entry leaves the file alone
  EXPECT_EQ(std::filesystem::last_write_time(file), before);
  EXPECT_TRUE(mine.put(key, script, false)); // lives as long as the object, hides the other one
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_THAT(other.get(key), Optional(Script{}));
  EXPECT_TRUE(mine.put(key, {}, true));
  EXPECT_THAT(mine.get(key), Optional(Script{}));

  auto time = before;
  // The file is the user's to edit: what this class cannot have written is no script.
  for (const std::string value : {"5", "oMap=yes", "toolong=true", "0xzzzzzzzz=true",
                                  "1x01020304=true", "0x6f4d6170=true", "oMap=true"}) {
    std::ofstream(file) << "[registry]\nk=\"" << value << "\"\n" << std::flush;
    std::filesystem::last_write_time(file, time += std::chrono::hours(1)); // or it is not read anew
    const bool good = value.ends_with("70=true") || value == "oMap=true";
    EXPECT_EQ(Registry(file).get("k").value_or(Script{}), good ? (Script{{oMap, true}}) : Script{});
  }
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder should be";
  EXPECT_FALSE(mine.put(key, script, true));
  EXPECT_THAT(mine.get(key), Optional(script)); // kept for the session at least
  std::filesystem::remove(folder);
}

} // namespace
