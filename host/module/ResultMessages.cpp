#include "host/module/ResultMessages.h"

#include "host/module/FilterModule.h"

namespace host {

const char unfinishedMessage[] =
    "the filter stopped before its end, most likely because memory ran out";

std::string messageFor(HostResult code) {
  static const struct {
    HostResult code;
    const char* message;
  } messages[] = {
      {noErr, ""},
      {readErr, "the recorded settings could not be read"},
      {memFullErr, "there is not enough memory for this image"},
      {nilHandleErr, "the filter used memory that it does not have"},
      {memWZErr, "the filter used memory that it does not have"},
      {userCanceledErr, "cancelled"},
      {errMissingParameter, "the recorded settings are incomplete"},
      {filterBadParameters, "the filter cannot use this image or these settings"},
      {errPlugInHostInsufficient, "the filter needs a service that this program does not have"},
      {errPlugInThrew, "the filter failed, most likely because memory ran out"},
  };
  for (const auto& entry : messages)
    if (entry.code == code)
      return entry.message;
  return "the filter failed with code " + std::to_string(code);
}

} // namespace host
