// Sessions over the fake module, whose selectors are lambdas of the test.
#pragma once

#include <functional>

#include "tests/host/FakePlugin.h"
#include "tests/support/HostFixture.h"

// Little-endian bytes of a property list.
struct ListWriter {
  std::vector<std::byte> bytes;
  ListWriter& number(uint32_t v, int size) {
    for (int i = 0; i < size; i++)
      bytes.push_back(std::byte(v >> (8 * i)));
    return *this;
  }
  ListWriter& text(const std::string& s) {
    for (const char c : s)
      bytes.push_back(std::byte(c));
    return *this;
  }
  ListWriter& property(const char (&key)[5], const ListWriter& data) {
    number(fourCharCode("8BIM"), 4).number(fourCharCode(key), 4).number(0, 4);
    number(uint32_t(data.bytes.size()), 4);
    bytes.insert(bytes.end(), data.bytes.begin(), data.bytes.end());
    return *this;
  }
};

// A list like the filter's own; noCase: the filter case that the filter does not work on.
inline std::vector<std::byte> filterList(const std::string& expression, int noCase = -1) {
  ListWriter cases;
  for (int i = 0; i < 7; i++)
    cases.number(4, 1).number(i == noCase ? 0 : 4, 1).number(6, 2);
  ListWriter list;
  list.number(1, 2).number(0, 4).number(6, 4);
  list.property("zzzz", ListWriter().text("unknown"));
  list.property("mode", ListWriter().number(0x10, 4));
  list.property("enbl", ListWriter().text(expression).number(0, 2));
  list.property("ms32", ListWriter().number(300, 4).number(40000, 4));
  list.property("fici", cases);
  list.property("kind", ListWriter().number(fourCharCode("8BFM"), 4));
  return list.bytes;
}

constexpr char rgbImages[] =
    "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && PSHOP_NumTrueChannels >= 3";

class FakeModuleTest : public testing::Test {
protected:
  using Serve =
      std::function<void(int16_t selector, FilterRecord& record, intptr_t& data, int16_t& result)>;

  FakeModuleTest() : module(host::Module::open(FAKE_FOLDER "/fake-plugin.so")) {
    variable<FakeHandler>("fakeHandler") = call;
    variable<void*>("fakeContext") = this;
    setList(filterList(rgbImages));
  }

  template <class T> T& variable(const char* name) {
    return *static_cast<T*>(const_cast<void*>(module.symbol(name)));
  }

  void setList(const std::vector<std::byte>& list) {
    ASSERT_LE(list.size(), fakeListBytes);
    auto& bytes = variable<std::byte[fakeListBytes]>("PIPL_16000");
    std::fill(std::begin(bytes), std::end(bytes), std::byte(0));
    std::copy(list.begin(), list.end(), bytes);
  }

  static bool call(void* context, int16_t selector, FilterRecord* record, intptr_t* data,
                   int16_t* result) {
    auto& test = *static_cast<FakeModuleTest*>(context);
    test.selectors.push_back(selector);
    if (test.serve)
      test.serve(selector, *record, *data, *result);
    if (selector == filterSelectorStart)
      for (int done = 0; done < test.steps; done++)
        record->progressProc(done, 3);
    return test.throwOwnType;
  }

  // Runs the lambda in the start selector of a run from the menu.
  host::RunOutcome inside(const std::function<void(FilterRecord&)>& work) {
    serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
      if (selector == filterSelectorStart)
        work(r);
    };
    host::RunOutcome outcome = host::Session(module, document, options).runFromMenu();
    serve = nullptr;
    return outcome;
  }

  host::Module module;
  std::vector<int> selectors; // in the order of the calls
  Serve serve;
  int steps = 3; // of three announced ones, reported at the end of the start selector
  bool throwOwnType = false;
  host::Document document = fixture::noise(20, 13, 8);
  host::SessionOptions options;
};
