// Copies of a host's procedure records whose k-th call fails.
#pragma once

#include <cstdint>
#include <utility>

namespace fixture {

constexpr int16_t struck = -42; // code of the failing call

// Counts the calls, and makes one of them return the code above instead of doing its work.
struct Strike {
  static inline int at = 0, calls = 0;
  template <class Result, class... Args> static Result code(Result (*real)(Args...), Args... args) {
    return ++calls == at ? Result(struck) : real(args...);
  }
};

template <auto> struct Struck;
template <class Record, class Result, class... Args, Result (*Record::*procedure)(Args...)>
struct Struck<procedure> {
  static inline Result (*real)(Args...);
  static void install(Record& record) {
    real =
        std::exchange(record.*procedure, [](Args... args) { return Strike::code(real, args...); });
  }
};
// A copy of a host's record in which the named procedures can fail.
template <auto... procedures, class Record> Record failing(Record record) {
  (Struck<procedures>::install(record), ...);
  return record;
}

} // namespace fixture
