// Sessions over the fake module, whose selectors are lambdas of the test.
#pragma once

#include <functional>

#include "tests/host/FakePlugin.h"
#include "tests/support/HostFixture.h"

class FakeModuleTest : public testing::Test {
protected:
  using Serve =
      std::function<void(int16_t selector, FilterRecord& record, intptr_t& data, int16_t& result)>;

  FakeModuleTest() : module(host::Module::open(FAKE_FOLDER "/fake-plugin.so")) {
    variable<FakeHandler>("fakeHandler") = call;
    variable<void*>("fakeContext") = this;
  }

  template <class T> T& variable(const char* name) {
    return *static_cast<T*>(const_cast<void*>(module.symbol(name)));
  }

  static int call(void* context, int16_t selector, FilterRecord* record, intptr_t* data,
                  int16_t* result) {
    auto& test = *static_cast<FakeModuleTest*>(context);
    test.selectors.push_back(selector);
    if (test.serve)
      test.serve(selector, *record, *data, *result);
    return test.leave;
  }

  host::Module module;
  std::vector<int> selectors; // in the order of the calls
  Serve serve;
  int leave = fakeReturns;
};
