// The user's settings of one invocation, in the block of the host's `parameters` handle.
//
// The host keeps the block for a repeat of the filter, byte for byte. Nothing checks the ranges of
// what comes back: the dialog is the only place that limits values.
#pragma once

#include <cstdint>

// foregroundIntensity holds this while no value exists yet: the first run of the pipeline then
// replaces both intensities by its own estimates.
constexpr float intensityUnset = -1.0f;

// The share of its estimates that the filter uses unless the user says otherwise: the dialog
// multiplies both intensities by it when it opens. As a float this is 0.699999988079071.
constexpr float estimateSoftening = 0.7f;

struct Parameters {
  float foregroundPosition;  // 0 to 1: map value where the foreground ends
  float foregroundIntensity; // 0 to 1, or intensityUnset
  float backgroundPosition;  // 0 to 1: map value where the background begins
  float backgroundIntensity; // 0 to 1, or intensityUnset
  float power;               // exp(-2) to exp(2): curve between foreground and background
  int32_t outputMap;         // boolean: the filter's result is the haze mask
  int32_t displayMap;        // boolean: the preview shows the haze mask
  int32_t preview;           // boolean: the live preview is on
};

// What the parameters selector sets, displayMap apart: that one follows outputMap at each start.
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
