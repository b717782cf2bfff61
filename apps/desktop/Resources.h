// What is built into the program: its icon and the translations of its texts.
#pragma once

namespace desktop {

// Makes them available and installs the translators of the system's language; the application must
// exist.
void loadResources();

} // namespace desktop
