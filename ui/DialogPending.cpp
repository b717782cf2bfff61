#include "ui/Dialogs.h"

bool DoUI() { return false; }
void DoAbout() {}
void DeleteProxyBuffer() {}
