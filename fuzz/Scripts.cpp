// Scripts that the program does not write itself: in blocks that a plug-in returns, and in the
// registry's file, which a user may edit.

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "fuzz/Target.h"
#include "host/scripting/Scripting.h"

namespace fuzz {

void descriptor(const photo::Bytes& bytes) {
  host::Requests requests;
  host::BlockStore handles(requests, 1 << 20);
  const intptr_t block = handles.take(int64_t(bytes.size()), true);
  promise(block != 0, "there is room for a block");
  if (!bytes.empty())
    std::memcpy(handles.data(block), bytes.data(), bytes.size());
  promise(!host::readDescriptor(handles, reinterpret_cast<Handle>(block + 1)),
          "what is no block is no script");
  std::optional<host::Script> script =
      host::readDescriptor(handles, reinterpret_cast<Handle>(block));
  if (!script)
    return;
  promise(host::readDescriptor(handles, host::makeDescriptor(handles, *script)) == script,
          "a script comes back");
  host::setEntry(*script, fourCharCode("Fog "), true);
  const bool* found = host::findEntry(*script, fourCharCode("Fog "));
  promise(found && *found, "an entry that is set is there");
}

namespace {

// A separate file for each call: the library caches files, and would take an equal-looking one for
// the same.
struct File {
  std::filesystem::path path;
  File() {
    static std::atomic<unsigned> count = 0;
    path = std::filesystem::temp_directory_path() /
           ("fogdissolver-fuzz-" + std::to_string(::getpid()) + "-" + std::to_string(count++));
  }
  ~File() { std::filesystem::remove(path); }
};

} // namespace

void registry(const photo::Bytes& bytes) {
  constexpr char newKey[] = "key\xe4 /%";
  const host::Script script = {{fourCharCode("Wrt "), true}, {0xff00ff00, false}};
  const File file;
  std::ofstream(file.path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  host::Registry registry(file.path);
  for (const char* key : {"a", "Fogdissolver"})
    registry.get(key);
  const bool kept = registry.put(newKey, script, true);
  promise((kept ? host::Registry(file.path) : registry).get(newKey) == script,
          "a script is kept beside what the file has");
}

} // namespace fuzz
