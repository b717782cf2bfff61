// The services of a process without a desktop.
#include "ui/toolkit/Services.h"

const ToolkitServices noServices = {
    .dialogBox = [](const DialogTemplate*, void*, DialogProc, intptr_t) -> intptr_t { return -1; },
    .messagePosted = [] {},
    .activeWindow = []() -> void* { return nullptr; },
    .desktop = [] { return WindowRect{}; },
    .captionHeight = []() -> int32_t { return 0; },
    .keyHeld = [](uintptr_t) { return false; },
    .beep = [] {},
    .messageBox = [](Window, const std::string&, uint32_t) { return 0; },
    .openClipboard = [] { return false; },
    .clipboardText = [] { return std::string(); },
    .openAddress = [](const std::string&) {},
    .busy = [](bool) {},
};

constinit const ToolkitServices* gServices = &noServices;
