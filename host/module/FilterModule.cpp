#include "host/module/FilterModule.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "host/module/ResultMessages.h"

namespace host {

namespace {

#ifdef __clang__ // Clang knows only the extensions; the last extension of each level represents the
                 // level
bool runsLevel4() {
  return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
}
bool runsLevel3() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2"); }
bool runsLevel2() { return __builtin_cpu_supports("sse4.2"); }
#else
bool runsLevel4() { return __builtin_cpu_supports("x86-64-v4"); }
bool runsLevel3() { return __builtin_cpu_supports("x86-64-v3"); }
bool runsLevel2() { return __builtin_cpu_supports("x86-64-v2"); }
#endif

// Levels of the processor, best first.
constexpr struct {
  const char* file;
  bool (*runs)();
} levels[] = {
    {"fogdissolver-v4.so", runsLevel4},
    {"fogdissolver-v3.so", runsLevel3},
    {"fogdissolver-v2.so", runsLevel2},
};

// Readable type name of the exception that is being handled.
std::string thrownType() {
  const std::type_info* type = abi::__cxa_current_exception_type();
  if (!type)
    return "a foreign exception";
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), &std::free);
  return "exception " + std::string(name ? name.get() : type->name());
}

// The message for a filter that threw; empty if there is no memory for one. what: null if the
// exception has none.
std::string describe(const char* what) {
  try {
    return messageFor(errPlugInThrew) + " (" + (what ? what : thrownType()) + ")";
  } catch (const std::bad_alloc&) {
    return {};
  }
}

} // namespace

Module Module::open(const std::filesystem::path& file) {
  Module module;
  module.file_ = file;
  // dlopen would search elsewhere for a name without a slash.
  module.handle_ = dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module.handle_)
    throw std::runtime_error("cannot load " + file.string() + ": " + dlerror());
  module.entry_ = reinterpret_cast<PluginMainCore>(dlsym(module.handle_, pluginEntryName));
  if (!module.entry_)
    throw std::runtime_error("cannot load " + file.string() + ": it is no filter module");
  return module;
}

Module Module::openBest(const std::filesystem::path& folder) {
  std::string reasons;
  for (const auto& level : levels) {
    std::error_code ignored;
    if (!level.runs() || !std::filesystem::exists(folder / level.file, ignored))
      continue;
    try {
      return open(folder / level.file);
    } catch (const std::runtime_error& error) {
      reasons += std::string(reasons.empty() ? "" : "; ") + error.what();
    }
  }
  throw std::runtime_error(
      reasons.empty() ? "no filter module for this processor in " + folder.string() : reasons);
}

Module::Module(Module&& other) noexcept { *this = std::move(other); }

Module& Module::operator=(Module&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(entry_, other.entry_);
  std::swap(file_, other.file_);
  return *this;
}

Module::~Module() {
  if (handle_)
    dlclose(handle_);
}

const void* Module::symbol(const char* name) const { return dlsym(handle_, name); }

std::span<const std::byte> Module::record(const char* name) const {
  const void* start = symbol(name);
  Dl_info info;
  void* entry = nullptr; // an entry of the symbol table, which knows the size
  if (!start || !dladdr1(start, &info, &entry, RTLD_DL_SYMENT) || !entry)
    return {};
  return {static_cast<const std::byte*>(start),
          size_t(static_cast<const ElfW(Sym)*>(entry)->st_size)};
}

bool Module::setTrace(std::FILE* stream) const {
  auto* variable = static_cast<std::FILE**>(dlsym(handle_, pluginTraceName));
  if (variable)
    *variable = stream;
  return variable != nullptr;
}

CallOutcome PluginMain(PluginMainCore entry, int16_t selector, FilterRecord* record,
                       intptr_t* data) noexcept {
  CallOutcome outcome;
  uint8_t runEnded = 0; // for this host, the result code already says the same
  try {
    entry(selector, record, data, &outcome.result, &runEnded);
  } catch (const std::bad_alloc&) {
    outcome = {memFullErr, true, {}};
  } catch (const std::exception& error) {
    outcome = {errPlugInThrew, true, describe(error.what())};
  } catch (...) {
    outcome = {errPlugInThrew, true, describe(nullptr)};
  }
  return outcome;
}

} // namespace host
