// Table of the known property keys, and the function that asks for them.
#include "frame/utility/HostProperties.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"

namespace {

constexpr FourCharCode signature = fourCharCode("8BIM");

constexpr char knownKeys[][5] = {
    "nuch", "mode", "tllk", "nuly", "tgly", "nupa", "wkpa", "clpa", "tgpa", "path",
    "paAI", "capt", "bndH", "bndV", "intp", "rulr", "rorH", "rorV", "grmj", "grmn",
    "hgam", "iclr", "wtch", "cpyr", "URL ", "watr", "docH", "docW", "tltp", "PCrK",
    "slcs", "slid", "slin", "slsh", "sllc", "EXIF", "plip", "vers", "xmpd", "u25n",
    "nmch", "unch", "lynm", "lynu", "nmpa", "unmp", "sstr", "sstR", "titl"};

bool isKnown(FourCharCode key) {
  return std::any_of(std::begin(knownKeys), std::end(knownKeys),
                     [key](const auto& known) { return fourCharCode(known) == key; });
}

// Copies a handle's content and disposes of the handle, whatever happens.
HostResult takeContent(Handle handle, std::vector<std::byte>& content) {
  const auto* handles = GetHostSuite<HandleSuite>(HostSuiteId::handle);
  const auto dispose = [handles](Handle h) { handles->dispose(h); };
  const std::unique_ptr<HostHandle, decltype(dispose)> owner(handle, dispose);
  const int32_t size = handles->getSize(handle);
  const auto* bytes = static_cast<const std::byte*>(handles->lock(handle, 1));
  if (!bytes)
    return memFullErr;
  content.assign(bytes, bytes + std::max(size, 0));
  handles->unlock(handle);
  return noErr;
}

} // namespace

HostResult GetHostProperty(FourCharCode key, int32_t index, HostProperty& property) {
  if (!isKnown(key))
    return errPlugInHostInsufficient;
  PropertyAnswer answer = {};
  const auto* properties = GetHostSuite<PropertySuite>(HostSuiteId::property);
  if (properties->getProperty(signature, key, index, &answer) != noErr)
    return errPlugInHostInsufficient;
  if (!answer.handle) {
    property = answer.number;
    return noErr;
  }
  std::vector<std::byte> content;
  const HostResult result = takeContent(answer.handle, content);
  if (result == noErr)
    property = std::move(content);
  return result;
}
