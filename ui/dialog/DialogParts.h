// Code shared by the main dialog and the about box.
#pragma once

#include <cstdint>
#include <string>

#include "ui/toolkit/Windows.h"

std::string DialogCaption(); // the product and its version

// Opens the home page if the notification is a click on this link, or Enter.
void OpenLink(const NotifyHeader& header, uintptr_t linkId);
