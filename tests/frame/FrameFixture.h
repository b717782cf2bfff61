// A real host calls the plug-in's frame through its entry, on a desktop where the test answers the
// dialog.
#pragma once

#include "frame/contract/ScriptKeys.h"
#include "frame/record/Rects.h"
#include "frame/selectors/Persistence.h"
#include "frame/selectors/Selectors.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "ui/toolkit/Services.h"

class FrameTest : public testing::Test {
protected:
  FrameTest() {
    open(7, 5, 8);
    services.dialogBox = [](const DialogTemplate*, void*, DialogProc, intptr_t) {
      ++opened;
      gParams->outputMap = ticked;
      *gResult = -5; // an error of the preview
      return answer;
    };
    gServices = &services;
  }
  ~FrameTest() override { gServices = &noServices; }

  // Replaces the document and the host. No selector has been called yet.
  void open(int32_t width, int32_t height, int32_t depth, host::SessionOptions options = {}) {
    in.reset();
    registry = {};
    document.emplace(fixture::noise(width, height, depth, 4));
    options.registry = &registry;
    in.emplace(*document, std::move(options), false);
    fixture::Strike::at = fixture::Strike::calls = opened = 0;
  }
  FilterRecord& record() { return in->host.record; }
  int16_t call(int16_t selector, int16_t result = 0) {
    in->result = result;
    PluginMain_core(selector, &record(), &in->data, &in->result, &runEnded);
    return in->result;
  }
  void prepare() {
    EXPECT_EQ(call(filterSelectorParameters), 0);
    EXPECT_EQ(call(filterSelectorPrepare), 0);
  }

  host::Registry registry;
  std::optional<host::Document> document;
  std::optional<fixture::PlugInHost> in;
  uint8_t runEnded = 9;

  // The dialog: the user's answer and ticks, and how often it was opened.
  static inline intptr_t answer = 1;
  static inline int32_t ticked = 0;
  static inline int opened = 0;
  ToolkitServices services = noServices;
};
