// The host's global services, bound once for the whole module by the first
// handler activation that finds them all, and the helpers that name scene items
// for description lines and panels.
#pragma once

#include "hostapi/lwhost.h"

struct HostServices {
    GlobalFunc *global;  // non-null also means the module is bound
    const MessageFuncs *messages;
    const LWLightInfo *lightInfo;
    bool lightInfoHasRange;  // "LW Light Info 2": flags and range may be called
    const LWCameraInfo *cameraInfo;
    const LWImageList *imageList;
    const LWBoneInfo *boneInfo;
    const LWItemInfo *itemInfo;
    bool itemInfoHasTags;  // "LW Item Info 2": limits and tags may be called
    const LWObjectInfo *objectInfo;
    FileReqFunc *fileRequest;  // optional: only the panels' file buttons need it
};

// Module-wide binding, read everywhere, written only by BindHostServices.
extern HostServices hostServices;

// Returns 0 when bound, 2 without a lookup, or the code of the first missing
// service (item info 10, object 11, bone 12, light 13, camera 14, images 15,
// messages 17). A failed binding leaves the module unbound, so the next
// activation tries again.
int BindHostServices(GlobalFunc *global, long version);

// The module is linked into native programs and so is never unloaded; this puts
// the binding back as it is when the module has just been loaded.
void ForgetHostServices();

// Name of an item as the plug-ins show it: "(none)" for no item, the host's name
// for objects, lights and cameras, "Bone05 of Arm" or `Bone "Elbow" of Arm` for
// bones. The text lives in one shared 256-byte buffer that the next call
// overwrites; copy it before naming another item.
const char *ItemName(LWItemID item);

// The object whose skeleton holds a bone, or null (also for non-bones).
LWItemID BoneOwnerObject(LWItemID bone);

// The item, then its parent, the parent's parent and so on to the root; when
// the root is a bone, then also the object holding it and that object's chain.
// Writes at most `room` entries and returns how many.
int AppendWithAncestors(LWItemID item, LWItemID *out, int room);
