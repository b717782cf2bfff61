#include "apps/photo/MetadataLosses.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace photo {
namespace {

void add(std::string& list, const std::string& item) { list += (list.empty() ? "" : ", ") + item; }

bool isBlankText(const std::string& text) {
  return text.find_first_not_of(std::string_view(" \t\r\n\0", 5)) == text.npos;
}

// What files and formats set themselves (positions and versions of blocks, the unit of resolutions,
// places of samples), and the program's name, which every result gets.
bool isSetAnew(const Exiv2::Exifdatum& datum) {
  constexpr std::string_view keys[] = {
      "Exif.Image.ExifTag",         "Exif.Image.GPSTag",
      "Exif.Image.Software",        "Exif.Photo.InteroperabilityTag",
      "Exif.MakerNote.Offset",      "Exif.MakerNote.ByteOrder",
      "Exif.GPSInfo.GPSVersionID",  "Exif.Image.ResolutionUnit",
      "Exif.Image.YCbCrPositioning"};
  return std::find(std::begin(keys), std::end(keys), datum.key()) != std::end(keys);
}

bool isMeant(const Exiv2::Exifdatum& datum) { return !isSetAnew(datum) && !isBlank(datum); }
bool isMeant(const Exiv2::Iptcdatum& datum) { return datum.size() > 0; }
bool isMeant(const Exiv2::Xmpdatum& datum) { return !isBlankText(datum.toString()); }

std::string nameOf(const Exiv2::Exifdatum& datum) {
  return datum.ifdName() == std::string_view("Makernote") ? "MakerNote" : datum.tagName();
}
std::string nameOf(const Exiv2::Iptcdatum& datum) { return datum.tagName(); }
std::string nameOf(const Exiv2::Xmpdatum& datum) { // without the path inside a structure
  const std::string name = datum.tagName();
  return datum.groupName() + ":" + name.substr(0, name.find_first_of("[/"));
}

// The name under which an OpenEXR file has the entry, if it has it as an attribute.
std::string attributeOf(const Exiv2::Exifdatum& datum) { return nameOf(datum); }
std::string attributeOf(const Exiv2::Iptcdatum& datum) { return nameOf(datum); }
std::string attributeOf(const Exiv2::Xmpdatum& datum) {
  constexpr std::pair<std::string_view, const char*> others[] = {{"dc:title", "ObjectName"},
                                                                 {"dc:description", "comments"},
                                                                 {"dc:creator", "Artist"},
                                                                 {"dc:subject", "Keywords"},
                                                                 {"dc:rights", "owner"}};
  const std::string name = nameOf(datum);
  for (const auto& [property, attribute] : others)
    if (name == property)
      return attribute;
  return name.substr(name.find(':') + 1);
}

template <class Data> std::set<std::string> keysOf(const Data& data) {
  std::set<std::string> keys;
  for (const auto& datum : data)
    keys.insert(datum.key());
  return keys;
}

// The kind and, in parentheses, the entries that are missing.
template <class Data>
void addMissing(std::string& phrase, const char* kind, const Data& had, const Data& has,
                const std::set<std::string>& attributes) {
  constexpr size_t mostNames = 12;
  const std::set<std::string> kept = keysOf(has);
  std::set<std::string> names;
  for (const auto& datum : had)
    if (isMeant(datum) && !kept.contains(datum.key()) && !attributes.contains(attributeOf(datum)))
      names.insert(nameOf(datum));
  std::string list;
  for (auto name = names.begin(); name != names.end(); ++name)
    if (const auto place = size_t(std::distance(names.begin(), name)); place < mostNames)
      add(list, *name);
  if (names.size() > mostNames)
    list += " and " + std::to_string(names.size() - mostNames) + " more";
  if (!names.empty())
    add(phrase, kept.empty() && attributes.empty() ? kind : kind + (" (" + list + ")"));
}

// As a comment, or as the description in a format without comments.
bool hasComment(const Metadata::State& result, const std::string& comment) {
  const auto description = result.exif.findKey(Exiv2::ExifKey("Exif.Image.ImageDescription"));
  return !result.comment.empty() ||
         (description != result.exif.end() && description->toString() == comment.c_str());
}

} // namespace

std::string missing(const Metadata::State& photograph, const Metadata::State& result) {
  std::string phrase;
  addMissing(phrase, "Exif", photograph.exif, result.exif, result.attributes);
  addMissing(phrase, "XMP", photograph.xmp, result.xmp, result.attributes);
  addMissing(phrase, "IPTC", photograph.iptc, result.iptc, result.attributes);
  if (!photograph.icc.empty() && result.icc.empty())
    add(phrase, "the colour profile");
  if (!isBlankText(photograph.comment) && !hasComment(result, photograph.comment))
    add(phrase, "the comment");
  return phrase;
}

std::string damagePhrase(uint8_t damage) {
  constexpr std::pair<Damage, const char*> kinds[] = {
      {inExif, "Exif"}, {inXmp, "XMP"}, {inIptc, "IPTC"}, {inProfile, "the colour profile"}};
  std::string list;
  for (const auto& [kind, name] : kinds)
    if (damage & kind)
      add(list, name);
  if (damage == 0)
    return {};
  return "has damaged metadata, of which only the readable part is kept" +
         (list.empty() ? "" : ": " + list);
}

bool isBlank(const Exiv2::Exifdatum& datum) {
  return datum.size() == 0 ||
         (datum.typeId() == Exiv2::asciiString && isBlankText(datum.toString()));
}

} // namespace photo
