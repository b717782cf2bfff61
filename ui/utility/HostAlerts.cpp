// The one test behind every host alert.
#include "ui/utility/HostAlerts.h"

#include <cstddef>
#include <cstring>

#include "frame/text/Strings.h"
#include "ui/utility/Alerts.h"

namespace {

constexpr HostRecordRule readDescriptorRule = {0, 18, 18, "4.0"};
constexpr HostRecordRule writeDescriptorRule = {0, 16, 16, "4.0"};

enum class Fitness { usable, tooOld, tooNew };

Fitness fitnessOf(const HostRecordRule& rule, const void* record) {
  // Every record of procedures has this shape, whatever its procedures take.
  struct Head {
    int16_t version, count;
  } head;
  constexpr size_t firstProcedure = offsetof(BufferProcs, allocateProc);
  if (!record)
    return Fitness::tooOld;
  std::memcpy(&head, record, sizeof head);
  if (head.version > rule.version)
    return Fitness::tooNew;
  if (head.version < rule.version || head.count < rule.leastCount)
    return Fitness::tooOld;
  for (int16_t i = 0; i < rule.procedures; ++i) {
    UnusedProc procedure;
    std::memcpy(&procedure,
                static_cast<const char*>(record) + firstProcedure + size_t(i) * sizeof procedure,
                sizeof procedure);
    if (!procedure)
      return Fitness::tooOld;
  }
  return Fitness::usable;
}

bool tell(Fitness fitness, const char* hostVersion) {
  // Always shown; the number of another string stands for "active".
  constexpr int32_t active = stringIntegerRange;
  if (fitness == Fitness::tooNew)
    ShowAlert(nullptr, active, stringHostTooNew, {}, {}, alertSevere);
  else if (fitness == Fitness::tooOld)
    ShowAlert(nullptr, active, stringHostTooOld, hostVersion, {}, alertSevere);
  return fitness == Fitness::usable;
}

} // namespace

bool HostRecordUsable(const HostRecordRule& rule, const void* record) {
  return tell(fitnessOf(rule, record), rule.hostVersion);
}

bool HostPointerUsable(const char* hostVersion, const void* pointer) {
  return tell(pointer ? Fitness::usable : Fitness::tooOld, hostVersion);
}

bool HostDescriptorsUsable(const ReadDescriptorProcs* read, const WriteDescriptorProcs* write) {
  return HostRecordUsable(readDescriptorRule, read) && HostRecordUsable(writeDescriptorRule, write);
}
