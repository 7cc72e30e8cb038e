// The handler slots plug-ins share: destroy, copy, load, save, items used,
// item identifier change, displacement flags, shader init and cleanup.
#pragma once

#include "controls/plugin_instance.h"

void SharedDestroy(LWInstance instance);
// Copies every value from one instance's controls into its twin's; "Copy
// Failed" when the two control lists do not end together.
LWError SharedCopy(LWInstance from, LWInstance to, LWItemID item);
LWError SharedCopyNoItem(LWInstance from, LWInstance to);
// Load errors are shown, not returned; the panel is marked for update anyway.
LWError SharedLoad(LWInstance instance, const LWLoadState *state);
LWError SharedSave(LWInstance instance, const LWSaveState *state);
void SharedChangeID(LWInstance instance, const LWItemID *pairs);

// The items the panel's controls refer to, in the module-wide buffer, zero
// terminated; returns the count. AppendOwnerAncestry then adds the owner item
// and its ancestors (and a bone root's object with its ancestors).
int CollectUsedItems(PluginInstance *instance);
const LWItemID *AppendOwnerAncestry(PluginInstance *instance, int count);
const LWItemID *UsedItemsBuffer();
// Items used by an instance that belongs to no item (shaders, filters): what
// its controls refer to, nothing more.
const LWItemID *SharedItemsUsed(LWInstance instance);
// The same, but none while its "DISABLE" toggle is on.
const LWItemID *SharedItemsUsedUnlessDisabled(LWInstance instance);
// Items used by an instance applied to an item: none while its "DISABLE"
// toggle is on or its "INTERACTIVE" toggle (where it has one) is off,
// otherwise what its controls refer to, then the owner item and its ancestors.
const LWItemID *SharedOwnerItemsUsed(LWInstance instance);
// The same without the owner: what the controls refer to alone (a
// displacement whose object follows the items it names).
const LWItemID *SharedControlItemsUsed(LWInstance instance);
// The description of a plug-in whose line only tells whether its "DISABLE"
// toggle is on; "Error!" without an instance.
const char *SharedDescription(LWInstance instance, const char *line, const char *disabledLine);

// Shows a load error as the host's error box with the line it stopped at.
void ShowLoadError(LWError error);

// A displacement's flags, the panel brought up to date: the points handed
// over in world coordinates, or in the object's own.
unsigned SharedWorldDisplacementFlags(LWInstance instance);
unsigned SharedObjectDisplacementFlags(LWInstance instance);
// A shader's start of a render: the panel brought up to date; nothing to prepare.
LWError SharedShaderInit(LWInstance instance);
// Nothing to release at the end of a render: the frame keeps no render-long state.
void SharedCleanup(LWInstance instance);

// A plug-in's handler record: its own slots around the shared ones (destroy,
// copy, load, save, identifier change), so a plug-in file names only what it
// does itself. Items used default to what the class usually reports.
constexpr ItemMotionHandler MotionHandlerOf(decltype(ItemMotionHandler::create) create,
                                            decltype(ItemMotionHandler::evaluate) evaluate,
                                            decltype(ItemMotionHandler::descln) describe,
                                            decltype(ItemMotionHandler::useItems) useItems = SharedOwnerItemsUsed) {
    return {create, SharedDestroy, SharedCopy, SharedLoad, SharedSave, evaluate, describe, useItems, SharedChangeID};
}
constexpr DisplacementHandler DisplacementHandlerOf(decltype(DisplacementHandler::create) create,
                                                    decltype(DisplacementHandler::newTime) newTime,
                                                    decltype(DisplacementHandler::evaluate) evaluate,
                                                    decltype(DisplacementHandler::flags) flags,
                                                    decltype(DisplacementHandler::descln) describe,
                                                    decltype(DisplacementHandler::useItems) useItems) {
    return {create, SharedDestroy, SharedCopy, SharedLoad, SharedSave, newTime,
            evaluate, flags, describe, useItems, SharedChangeID};
}
constexpr ShaderHandler ShaderHandlerOf(decltype(ShaderHandler::create) create,
                                        decltype(ShaderHandler::newTime) newTime,
                                        decltype(ShaderHandler::evaluate) evaluate,
                                        decltype(ShaderHandler::flags) flags,
                                        decltype(ShaderHandler::descln) describe,
                                        decltype(ShaderHandler::useItems) useItems = SharedItemsUsed,
                                        decltype(ShaderHandler::init) init = SharedShaderInit) {
    return {create, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave, init, SharedCleanup,
            newTime, evaluate, flags, describe, useItems, SharedChangeID};
}
