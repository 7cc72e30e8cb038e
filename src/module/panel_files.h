// The panel's two file buttons: a plug-in's settings text written to a file
// the user names, or read back from one (any plug-in's), through the host's
// file requester; with the modifier held, a module-wide memory of one
// plug-in's settings instead of a file.
#pragma once

#include "controls/control.h"

void PanelSaveButton(Panel *panel, bool modifier);
void PanelLoadButton(Panel *panel, bool modifier);
// Empties the settings memory (a fresh module has none).
void ForgetSettingsMemory();
