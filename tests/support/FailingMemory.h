// Makes the k-th heap request of this program fail: operator new, and aligned_alloc, from which
// primitives/base/HeapBlock.h takes its blocks. The test's sources list FailingMemory.cpp.
//
//   for (int k = 0;; ++k) {
//     FailingMemory memory(k);     // lets k requests through, refuses the next, and no other
//     ... what must survive it ...
//     if (!memory.hasRefused())    // all requests were served: the end of the loop
//       break;
//   }
#pragma once

class FailingMemory {
public:
  explicit FailingMemory(int served);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  bool hasRefused() const;
};
