// The one message behind every host alert.
#include "ui/utility/HostAlerts.h"

#include "frame/text/Strings.h"
#include "ui/utility/Alerts.h"

namespace {

constexpr HostAlert readDescriptors = {{0, 18, 18}, "4.0"};
constexpr HostAlert writeDescriptors = {{0, 16, 16}, "4.0"};

bool tell(HostRecordFitness fitness, const char* hostVersion) {
  // Any value except 0 shows the alert; this happens to be the number of another string.
  constexpr int32_t active = stringIntegerRange;
  if (fitness == HostRecordFitness::tooNew)
    ShowAlert(nullptr, active, stringHostTooNew, {}, {}, alertSevere);
  else if (fitness == HostRecordFitness::tooOld)
    ShowAlert(nullptr, active, stringHostTooOld, hostVersion, {}, alertSevere);
  return fitness == HostRecordFitness::usable;
}

} // namespace

bool HostRecordUsable(const HostAlert& alert, const void* record) {
  return tell(FitnessOf(alert.rule, record), alert.hostVersion);
}

bool HostPointerUsable(const char* hostVersion, const void* pointer) {
  return tell(pointer ? HostRecordFitness::usable : HostRecordFitness::tooOld, hostVersion);
}

bool HostDescriptorsUsable(const ReadDescriptorProcs* read, const WriteDescriptorProcs* write) {
  return HostRecordUsable(readDescriptors, read) && HostRecordUsable(writeDescriptors, write);
}
