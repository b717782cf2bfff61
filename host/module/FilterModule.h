// A filter module, loaded at run time, and the forwarding entry that calls it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

#include "hostapi/FilterRecord.h"

namespace host {

// A loaded module, unloaded with its last owner. Movable, not copyable.
class Module {
public:
  // Opens one module file. Throws std::runtime_error with the file and the loader's reason.
  static Module open(const std::filesystem::path& file);

  // Opens the best of fogdissolver-v2.so, -v3.so, -v4.so in the folder that this processor
  // supports. Throws std::runtime_error if there is none.
  static Module openBest(const std::filesystem::path& folder);

  Module(Module&&) noexcept;
  Module& operator=(Module&&) noexcept;
  ~Module();

  PluginMainCore entry() const { return entry_; }
  const std::filesystem::path& file() const { return file_; }
  const void* symbol(const char* name) const; // null if the module does not export it

  // Bytes of a resource record that the module exports; empty if it exports none with this name.
  std::span<const std::byte> record(const char* name) const;

  // Sends the module's trace to the stream (null: no trace). False if the module has no trace.
  bool setTrace(std::FILE* stream) const;

private:
  Module() = default;
  void* handle_ = nullptr;
  PluginMainCore entry_ = nullptr;
  std::filesystem::path file_;
};

// How a call of the entry ended.
struct CallOutcome {
  int16_t result = 0;  // the host's code; 0 is success
  bool threw = false;  // the entry threw an exception
  std::string message; // the exception's message, if it had one
};

// Forwarding entry: calls the module's entry and catches every exception. std::bad_alloc gives
// memFullErr, any other exception errPlugInThrew. Throws nothing.
constexpr HostResult errPlugInThrew = -30902;
CallOutcome PluginMain(PluginMainCore entry, int16_t selector, FilterRecord* record,
                       intptr_t* data) noexcept;

} // namespace host
