// The user's settings for one invocation, in the block of the host's `parameters` handle.
//
// The host keeps the block, byte for byte, to repeat the filter. Nothing checks the ranges of a
// block that the host passes back: only the dialog limits the values.
#pragma once

#include <cstdint>

// Value of foregroundIntensity before the first estimate: the first run of the pipeline then
// replaces both intensities by its own estimates.
constexpr float intensityUnset = -1.0f;

// The default share of the estimates that the filter uses: the dialog multiplies both intensities
// by it when it opens. As a float this is 0.699999988079071.
constexpr float estimateSoftening = 0.7f;

struct Parameters {
  float foregroundPosition;  // 0 to 1: map value where the foreground ends
  float foregroundIntensity; // 0 to 1, or intensityUnset
  float backgroundPosition;  // 0 to 1: map value where the background begins
  float backgroundIntensity; // 0 to 1, or intensityUnset
  float power;               // exp(-2) to exp(2): curve from foreground to background
  int32_t outputMap;         // boolean: the filter's result is the haze mask
  int32_t displayMap;        // boolean: the preview shows the haze mask
  int32_t preview;           // boolean: the live preview is on
};

// What the parameters selector sets, except displayMap, which follows outputMap at each start.
constexpr Parameters defaultParameters = {
    .foregroundPosition = 0.0f,
    .foregroundIntensity = intensityUnset,
    .backgroundPosition = 1.0f,
    .backgroundIntensity = intensityUnset,
    .power = 1.0f,
    .outputMap = 0,
    .displayMap = 0,
    .preview = 1,
};
