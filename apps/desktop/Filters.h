// The filter modules in the plug-in folder, with their property lists.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/module/FilterModule.h"
#include "host/module/PropertyList.h"

namespace desktop {

struct Filter {
  host::Module module;
  host::PropertyList list;
  bool isOwn; // Fogdissolver, whose settings this program knows
};

class Filters {
public:
  // Ignores files that are not filters. Throws std::runtime_error if Fogdissolver itself is
  // missing.
  explicit Filters(const std::filesystem::path& folder);

  const std::vector<Filter>& all() const { return filters_; } // Fogdissolver first
  const host::Module& own() const { return filters_.front().module; }

private:
  std::vector<Filter> filters_;
};

// Why the filter cannot process the document; empty if it can.
std::string refusalOf(const Filter& filter, const host::Document& document);

} // namespace desktop
