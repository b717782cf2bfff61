// The five stages of the haze removal, in their order; the driver calls them.
//
// Method: the dark channel prior of He, Sun and Tang (2009) gives a coarse haze map; the
// closed-form matting Laplacian of Levin, Lischinski and Weiss (2006) refines it; joint bilateral
// upsampling after Kopf, Cohen, Lischinski and Uyttendaele (2007) brings it to full size.
//
// Each stage sets *error to hazeNoError at its start. If the user aborts, it sets the global
// result. An allocation failure that a stage does not report as an error throws std::bad_alloc.
#pragma once

#include "haze/Haze.h"

// Haze light and dark map of the reduced image.
//   light  out: three floats, red, green, blue, of one of the image's pixels
//   dark   out: width * height floats, not clamped; undefined if the stage ends early
// Error: hazeOutOfMemory.
void estimateDarkChannel(float* light, const SHaze* low, float* dark, int32_t* error);

// Refines the dark map by one sparse matting solve and normalises it to 0..1.
//   dark  in: the dark map; out: the refined map
//   fmin, bmax  out, after a successful solve only: lowest and highest value of the solution
// Error: hazeOutOfMemory. Throws VException if the solver fails.
void computeMatting(float* dark, const SHaze* low, float* fmin, float* bmax, int32_t* error);

// Upsamples the refined map to full size by repeated doubling, guided by the image.
//   dark  width * height floats of `low`; map  out: width * height floats of `full`
// Error: hazeOutOfMemory, hazeCancelled; the content of the map is then undefined.
void upsampleSolutionBySteps(const float* dark, const SHaze* low, const SHaze* full, float* map,
                             int32_t* error);

// One round: each high pixel becomes the mean of the 5 by 5 solution values around it, weighted by
// a spatial kernel and by the similarity of the guides' colours.
void upsampleSolution(const float* solution, const SHaze* low, const SHaze* high,
                      float* newSolution);

// Removes the haze from every pixel, in place, or writes the haze amount into its three colours.
//   map  width * height floats;  light  three floats
//   positions and intensities 0 to 1;  power  exponent of the depth
void hazeCorrection(const float* map, const float* light, const SHaze* image,
                    float foregroundPosition, float backgroundPosition, float foregroundIntensity,
                    float backgroundIntensity, float power, bool showMap, int32_t* error);
