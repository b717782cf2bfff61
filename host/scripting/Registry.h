// The store behind the descriptor registry suite: scripts under string keys.
//
// Persistent entries live in a settings file that several processes may share: one value per entry,
// a list of "key=true" or "key=false". Other entries live as long as the object.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostapi/HostTypes.h"

namespace host {

// The content of a scripting descriptor: booleans under four-character keys, in order.
using Script = std::vector<std::pair<FourCharCode, bool>>;

class Registry {
public:
  Registry() = default; // keeps everything in memory
  explicit Registry(std::filesystem::path file);

  // registry.ini in the program's folder of the user's configuration.
  static std::filesystem::path defaultFile();

  // The newest entry under a key wins, persistent or not. False if a persistent entry could not be
  // written; it then stays in memory.
  bool put(const std::string& key, const Script& script, bool persistent);
  std::optional<Script> get(const std::string& key) const;

private:
  std::filesystem::path file_; // empty: none
  std::map<std::string, Script> inMemory_;
};

} // namespace host
