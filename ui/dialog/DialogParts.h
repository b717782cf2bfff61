// What the main dialog and the about box share.
#pragma once

#include <cstdint>
#include <string>

#include "ui/toolkit/Windows.h"

std::string DialogCaption(); // the product and its version

// Opens the home page if this is a click on that link, or Enter.
void OpenLink(const NotifyHeader& header, uintptr_t linkId);
