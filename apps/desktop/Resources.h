// Data built into the program: its icon and the translations of its texts.
#pragma once

namespace desktop {

// Registers them and installs the translators for the system's language; the application must
// exist.
void loadResources();

} // namespace desktop
