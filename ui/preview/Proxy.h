// The live preview: a reduced 8-bit copy of the filter rectangle that fits the dialog's frame.
//
// The host reduces the image by a whole factor and delivers it once, in strips. Each change of a
// setting copies this source over the displayed pixels and runs the haze pipeline on them, all
// while a message is handled. An error goes to *gResult; after it the preview neither changes nor
// draws.
//
// Both pixel buffers: 8 bits per sample, interleaved, rows packed, proxyWidth by proxyHeight
// pixels.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

constexpr int idFrame = 6; // the hidden item that defines the preview's place in the dialog

// Frame-sized surface on which PaintProxy draws. The dialog creates and destroys it.
extern DeviceContext* offscreenContext;

// The dialog calls these in this order when it opens.
void GetProxyItemRect(Window dialog); // the frame, into proxyRect
void SetupFilterRecordForProxy();     // fits the proxy, sets the host's rate and rectangles
void CreateProxyBuffer();             // allocates the two buffers if they do not exist
void DeleteProxyBuffer();             // releases them if they exist

// Call after every change of a setting.
void RefreshProxy(Window dialog);
void PaintProxy(Window dialog);

// Steps of the functions above.
void CalcProxyScaleFactor();
bool ResetProxyBuffer();  // copies the source to the displayed pixels; false: the host failed
void UpdateProxyBuffer(); // runs the pipeline on them if the preview is on

// The 8-bit mode for a deep mode: the host draws the proxy, which is always 8-bit.
int32_t MapDisplayMode(int32_t imageMode);
