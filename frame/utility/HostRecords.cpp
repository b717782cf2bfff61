// Checks any record of procedures by its bytes.
#include "frame/utility/HostRecords.h"

#include <cstddef>
#include <cstring>

#include "hostapi/Procs.h"

HostRecordFitness FitnessOf(const HostRecordRule& rule, const void* record) {
  if (!record)
    return HostRecordFitness::tooOld;
  struct {
    int16_t version, count;
  } head;
  std::memcpy(&head, record, sizeof head);
  if (head.version > rule.version)
    return HostRecordFitness::tooNew;
  if (head.version < rule.version || head.count < rule.leastCount)
    return HostRecordFitness::tooOld;
  const char* at = static_cast<const char*>(record) + offsetof(BufferProcs, allocateProc);
  for (int16_t i = 0; i < rule.procedures; ++i, at += sizeof(UnusedProc)) {
    UnusedProc procedure;
    std::memcpy(&procedure, at, sizeof procedure);
    if (!procedure)
      return HostRecordFitness::tooOld;
  }
  return HostRecordFitness::usable;
}
