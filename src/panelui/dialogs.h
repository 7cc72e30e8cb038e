// The toolkit's own dialogs, built as temporary panels from controls and opened
// like any plug-in panel: the advanced definition of a numeric control, the item
// selection behind an item control, and Export Motion behind its button. Their
// logic lives here; the window only shows them.
#pragma once

struct ExportMotionControl;
struct ItemControl;
struct NumericControl;
struct Panel;

// The advanced button: with the modifier on an animated control it returns the
// control to FIXED; otherwise the dialog opens on a copy, which is kept on accept.
// True when the control changed.
bool OpenAdvancedDefinition(NumericControl *control, bool modifier);

// The item selection dialog; on accept the selected items replace the control's.
bool OpenItemSelection(ItemControl *control);

// The Export Motion button of a panel: asks for the end frame, density and
// coordinates, then for a file, and writes the item's motion with a progress
// window that can abort.
void RunExportMotion(Panel *owner);
