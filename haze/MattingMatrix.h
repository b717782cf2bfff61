// The matting Laplacian of an image, after Levin, Lischinski and Weiss, "A closed-form solution to
// natural image matting" (2006, equation 12): over all 3 by 3 windows k that hold both pixels,
//   L_ij = sum_k (delta_ij - (1/9) (1 + (I_i - mu_k)^T (Sigma_k + (epsilon/9) U)^-1 (I_j - mu_k))).
#pragma once

#include "VMath/CSparseSingle.h"
#include "haze/Haze.h"

// Adds the upper triangle of L to a matrix that has a row for every pixel, row by row. An image
// narrower or lower than a window adds nothing. One progress step per row of windows. False: the
// user wants to stop; the matrix is still complete. Its bits do not depend on the team.
bool addMattingWindows(const SHaze& image, CSparseSingle& matrix);
