// One table of parameters defines the procedures in the database, their documentation and how a
// call is read.

#include "apps/gimp/Arguments.h"

#include <iterator>
#include <string>
#include <vector>

#include "apps/shared/Errors.h"
#include "frame/contract/Sliders.h"
#include "frame/contract/Version.h"

namespace gimp {
namespace {

using shared::Look;

// A numeric setting of the look among the arguments.
struct Argument {
  const char* name;
  const char* description;
  std::optional<double> Look::*value;
  bool maybeNegative; // a negative value selects the estimate
};

constexpr Argument numbers[] = {
    {"strength", "Share of the picture's own estimates that is used (0 to 100; 70 is the standard)",
     &Look::strength, false},
    {"foreground",
     "Correction intensity of the foreground (0 to 100; negative: the picture's own estimate times "
     "the strength)",
     &Look::foreground, true},
    {"background",
     "Correction intensity of the background (0 to 100; negative: the picture's own estimate times "
     "the strength)",
     &Look::background, true},
    {"foreground-position",
     "Depth up to which a place counts as foreground (0 to 100; 0 is the standard)",
     &Look::foregroundPosition, false},
    {"background-position",
     "Depth from which on a place counts as background (0 to 100; 100 is the standard)",
     &Look::backgroundPosition, false},
    {"balance",
     "How the intensities pass into each other: below 50 the background's reaches nearer, above 50 "
     "the foreground's farther (0 to 100; 50 is the standard)",
     &Look::balance, false},
};

// Every plug-in procedure of GIMP begins with these.
constexpr GimpParamDef subject[] = {
    {GIMP_PDB_INT32, const_cast<char*>("run-mode"),
     const_cast<char*>("RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1), RUN-WITH-LAST-VALS (2)")},
    {GIMP_PDB_IMAGE, const_cast<char*>("image"), const_cast<char*>("The image")},
    {GIMP_PDB_DRAWABLE, const_cast<char*>("drawable"), const_cast<char*>("A layer in RGB")},
};
constexpr size_t subjects = std::size(subject), arguments = subjects + std::size(numbers) + 1;

std::vector<GimpParamDef> definitions() {
  std::vector<GimpParamDef> all(std::begin(subject), std::end(subject));
  for (const Argument& number : numbers)
    all.push_back(
        {GIMP_PDB_FLOAT, const_cast<char*>(number.name), const_cast<char*>(number.description)});
  all.push_back(
      {GIMP_PDB_INT32, const_cast<char*>("mask"),
       const_cast<char*>("TRUE: the haze mask becomes a new layer, and the layer stays as "
                         "it is (TRUE or FALSE)")});
  return all;
}

constexpr char help[] =
    "Works out from the picture alone how much haze lies over each part of it, and removes that "
    "much. A selection limits the effect. Interactively the filter's own dialog opens; with the "
    "last values, what was set in it is used again.";
constexpr char maskHelp[] =
    "Makes a new layer above the given one: the amount of haze as a grey picture, black for none. "
    "It uses what was set last in the filter's dialog, or the standards. For other values call "
    "plug-in-fogdissolver with mask.";
constexpr char author[] = "The developers of Fogdissolver";
constexpr char menu[] = "<Image>/Filters/Enhance";

void install(const char* name, const char* label, const char* blurb, const char* text,
             std::span<const GimpParamDef> parameters) {
  gimp_install_procedure(name, blurb, text, author, author, "Fogdissolver " FOG_VERSION, label,
                         "RGB*", GIMP_PLUGIN, gint(parameters.size()), 0, parameters.data(),
                         nullptr);
  gimp_plugin_menu_register(name, menu);
}

// Only a number from 0 to 100 passes the comparisons, so NaN does not.
double checked(const Argument& argument, double value) {
  if (value >= leastPosition && value <= greatestPosition)
    return value;
  throw shared::UsageError(std::string("The value for '") + argument.name +
                           "' is not a number from 0 to 100" +
                           (argument.maybeNegative ? ", or a negative one." : "."));
}

// As plain bytes; a negative number means that the look has no value.
struct Kept {
  double values[std::size(numbers)];
  gint32 mask, layer;
  double foreground, background;
};

} // namespace

void installProcedures() {
  const std::vector<GimpParamDef> all = definitions();
  install(correctName, "_Fogdissolver…", "Remove haze from a photograph", help, all);
  install(maskName, "Fogdissolver haze _mask", "Make a layer of the amount of haze in a photograph",
          maskHelp, std::span(all).first(subjects));
}

Look lookOf(std::span<const GimpParam> given) {
  if (given.size() != arguments)
    throw shared::UsageError(std::string(correctName) + " takes " + std::to_string(arguments) +
                             " arguments.");
  Look look;
  const GimpParam* next = given.data() + subjects;
  for (const Argument& argument : numbers) {
    const double value = next++->data.d_float;
    if (!(argument.maybeNegative && value < 0))
      look.*argument.value = checked(argument, value);
  }
  look.mask = next->data.d_int32 != 0;
  return look;
}

Last last() {
  Last last;
  Kept kept;
  if (gimp_get_data_size(correctName) != sizeof kept || !gimp_get_data(correctName, &kept))
    return last;
  for (size_t i = 0; i < std::size(numbers); ++i)
    if (kept.values[i] >= 0)
      last.look.*numbers[i].value = kept.values[i];
  last.look.mask = kept.mask != 0;
  last.layer = kept.layer;
  last.foreground = kept.foreground;
  last.background = kept.background;
  return last;
}

void keep(const Last& last) {
  Kept kept{{}, last.look.mask.value_or(false), last.layer, last.foreground, last.background};
  for (size_t i = 0; i < std::size(numbers); ++i)
    kept.values[i] = (last.look.*numbers[i].value).value_or(-1);
  gimp_set_data(correctName, &kept, sizeof kept);
}

} // namespace gimp
