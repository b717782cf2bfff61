// A slider on which Up and a forward turn of the wheel raise the value; the stock control lowers
// it.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

class FogdissolverTrackBar32 {
public:
  explicit FogdissolverTrackBar32(Window window);
  virtual ~FogdissolverTrackBar32();
  FogdissolverTrackBar32(const FogdissolverTrackBar32&) = delete;
  FogdissolverTrackBar32& operator=(const FogdissolverTrackBar32&) = delete;

  intptr_t HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam);

private:
  Window window; // null after detaching
};
