// Sessions with the fake module, whose selectors are the test's lambdas.
#pragma once

#include <functional>

#include "tests/host/FakePlugin.h"
#include "tests/support/HostFixture.h"

struct FakeModuleTest : testing::Test {
  FakeModuleTest() {
    *static_cast<FakeHandler*>(const_cast<void*>(module.symbol("fakeHandler"))) = call;
    *static_cast<void**>(const_cast<void*>(module.symbol("fakeContext"))) = this;
  }

  static bool call(void* context, int16_t selector, FilterRecord* record, int16_t* result) {
    auto& test = *static_cast<FakeModuleTest*>(context);
    test.selectors.push_back(selector);
    if (test.serve)
      test.serve(selector, *record, *result);
    for (int done = 0; selector == filterSelectorStart && done < test.steps; done++)
      record->progressProc(done, 3);
    return test.throwOwnType;
  }

  // Runs the lambda in the start selector of a run from the menu.
  host::RunOutcome inside(const std::function<void(FilterRecord&)>& work) {
    serve = [&](int16_t selector, FilterRecord& r, int16_t&) {
      if (selector == filterSelectorStart)
        work(r);
    };
    return host::Session(module, document, options).runFromMenu();
  }

  host::Module module = host::Module::open(FAKE_FOLDER "/fake-plugin.so");
  std::vector<int> selectors; // in the order of the calls
  std::function<void(int16_t selector, FilterRecord&, int16_t& result)> serve;
  int steps = 3; // out of three announced steps, reported at the end of the start selector
  bool throwOwnType = false;
  host::Document document = fixture::noise(20, 13, 8);
  host::SessionOptions options;
};
