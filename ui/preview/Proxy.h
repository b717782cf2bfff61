// The live preview: a reduced 8-bit copy of the filter rectangle that fits the dialog's frame.
//
// The host reduces the image by a whole factor and delivers it once, in strips; each change of a
// setting copies that source over the displayed pixels and runs the haze pipeline on them. All of
// it happens inside the handling of a message. An error goes to *gResult; from then on the preview
// neither changes nor draws.
//
// Both pixel buffers: 8 bits a sample, interleaved, rows packed, proxyWidth by proxyHeight pixels.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

constexpr int idFrame = 6; // the hidden item that gives the preview its place in the dialog

// Frame-sized surface that PaintProxy draws in. The dialog makes and destroys it.
extern DeviceContext* offscreenContext;

// Called in this order when the dialog opens.
void GetProxyItemRect(Window dialog); // the frame, into proxyRect
void SetupFilterRecordForProxy();     // fits the proxy, tells the host the rate and rectangles
void CreateProxyBuffer();             // takes the two buffers, if there are none
void DeleteProxyBuffer();             // gives them back, if there are any

// After every change of a setting.
void RefreshProxy(Window dialog);
void PaintProxy(Window dialog);

// Steps of the above.
void CalcProxyScaleFactor();
bool ResetProxyBuffer();  // displayed pixels become the source's; false: the host failed
void UpdateProxyBuffer(); // runs the pipeline over them, if the preview is on

// The 8-bit mode that stands for a deep one when the host draws the proxy, which is always 8-bit.
int32_t MapDisplayMode(int32_t imageMode);
