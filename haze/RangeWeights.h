// Weights of the joint bilateral upsampling: how much a neighbour counts, by its position and its
// colour.
#pragma once

#include <cstdint>

// Half side of the neighbourhood: 5 by 5 low pixels.
constexpr int32_t kernelRadius = 2;
constexpr int32_t kernelSide = 2 * kernelRadius + 1;

// Spatial kernel: a Gaussian in whole numbers, divided by their sum.
constexpr double kernelSum = 571.0;
constexpr int32_t kernelWeights[kernelSide][kernelSide] = {{2, 7, 12, 7, 2},
                                                           {7, 31, 52, 31, 7},
                                                           {12, 52, 127, 52, 12},
                                                           {7, 31, 52, 31, 7},
                                                           {2, 7, 12, 7, 2}};

constexpr double spatialWeight(int32_t dx, int32_t dy) {
  return kernelWeights[dy + kernelRadius][dx + kernelRadius] / kernelSum;
}

// Range table: colour differences in thousandths, from -rangeEnd to rangeEnd. A difference beyond
// the table, or NaN, uses the table's end, whose weight is zero in float.
constexpr int32_t rangeEnd = 2000;
constexpr float rangeScale = 1000.0f;
constexpr double rangeDeviation = 0.1; // standard deviation of the normal density, full scale 1.0

// Entry of index 0 of the table: normal density at i / 1000, rounded to six significant digits.
const double* rangeTable();
