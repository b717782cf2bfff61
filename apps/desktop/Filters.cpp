// A file is loaded only if its bytes contain a property list: loading runs code, and the folder
// also holds the module with the image formats, which depends on hundreds of libraries.

#include "apps/desktop/Filters.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "apps/photo/Files.h"

namespace fs = std::filesystem;

namespace desktop {
namespace {

constexpr std::string_view ownPrefix = "fogdissolver-v"; // of the files of its levels

bool namesPropertyList(const fs::path& file) {
  const photo::Bytes bytes = photo::readWhole(file.string());
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return text.find(host::propertyListName) != std::string_view::npos;
}

// Empty if the file is not a filter, or is for another machine.
std::optional<Filter> openFilter(const fs::path& file) {
  try {
    if (!namesPropertyList(file))
      return std::nullopt;
    host::Module module = host::Module::open(file);
    host::PropertyList list = host::readPropertyList(module.record(host::propertyListName));
    return Filter{std::move(module), std::move(list), false};
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

} // namespace

Filters::Filters(const fs::path& folder) {
  host::Module own = host::Module::openBest(folder);
  host::PropertyList list = host::readPropertyList(own.record(host::propertyListName));
  filters_.push_back({std::move(own), std::move(list), true});
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == ".so" &&
        !entry.path().filename().string().starts_with(ownPrefix))
      files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files)
    if (std::optional<Filter> filter = openFilter(file))
      filters_.push_back(std::move(*filter));
}

std::string refusalOf(const Filter& filter, const host::Document& document) {
  try {
    return host::refusalReason(filter.list, document);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

} // namespace desktop
