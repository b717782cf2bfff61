// Converts Qt's key events to the terms of this layer.
#pragma once

#include <QKeyEvent>

#include <cstdint>
#include <vector>

#include "ui/toolkit/WindowMessages.h"

VirtualKey VirtualKeyOf(const QKeyEvent& event);
int QtKeyOf(uintptr_t virtualKey); // 0 for VK_OTHER

// The characters that a pressed key types: control characters for Backspace, Enter, Esc and Ctrl
// with a letter, otherwise the text; nothing for keys that move or delete.
std::vector<char32_t> CharactersOf(const QKeyEvent& event);

bool AltIsPartOf(const QKeyEvent& event);
