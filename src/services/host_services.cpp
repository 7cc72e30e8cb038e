#include "services/host_services.h"

#include <cstdio>
#include <cstring>

HostServices hostServices;

namespace {

char itemNameBuffer[256];

template <typename Record>
const Record *Acquire(GlobalFunc *global, const char *service) {
    return static_cast<const Record *>(global(service, GFUSE_ACQUIRE));
}

}  // namespace

int BindHostServices(GlobalFunc *global, long /*version*/) {
    if (!global) return AFUNC_BADGLOBAL;
    if (hostServices.global) return AFUNC_OK;

    HostServices bound{};
    bound.global = global;
    bound.messages = Acquire<MessageFuncs>(global, LWSERVICE_MESSAGES);
    bound.lightInfo = Acquire<LWLightInfo>(global, LWSERVICE_LIGHT_INFO_2);
    bound.lightInfoHasRange = bound.lightInfo != nullptr;
    if (!bound.lightInfo) bound.lightInfo = Acquire<LWLightInfo>(global, LWSERVICE_LIGHT_INFO);
    bound.cameraInfo = Acquire<LWCameraInfo>(global, LWSERVICE_CAMERA_INFO);
    bound.imageList = Acquire<LWImageList>(global, LWSERVICE_IMAGE_LIST);
    bound.boneInfo = Acquire<LWBoneInfo>(global, LWSERVICE_BONE_INFO);
    bound.itemInfo = Acquire<LWItemInfo>(global, LWSERVICE_ITEM_INFO_2);
    bound.itemInfoHasTags = bound.itemInfo != nullptr;
    if (!bound.itemInfo) bound.itemInfo = Acquire<LWItemInfo>(global, LWSERVICE_ITEM_INFO);
    bound.objectInfo = Acquire<LWObjectInfo>(global, LWSERVICE_OBJECT_INFO);
    // The file requester answers with a function, not a record.
    bound.fileRequest = reinterpret_cast<FileReqFunc *>(global(LWSERVICE_FILE_REQUEST, GFUSE_ACQUIRE));

    // Checked in this order; the first one missing names the failure.
    const struct {
        const void *service;
        int code;
    } required[] = {
        {bound.itemInfo, 10},  {bound.objectInfo, 11}, {bound.boneInfo, 12}, {bound.lightInfo, 13},
        {bound.cameraInfo, 14}, {bound.imageList, 15}, {bound.messages, 17},
    };
    for (const auto &r : required) {
        if (!r.service) {
            // Stay unbound, but keep what was found: nothing reads it until a
            // later activation binds the whole set again.
            hostServices = bound;
            hostServices.global = nullptr;
            return r.code;
        }
    }
    hostServices = bound;
    return AFUNC_OK;
}

void ForgetHostServices() { hostServices = HostServices{}; }

LWItemID BoneOwnerObject(LWItemID bone) {
    const LWItemInfo *info = hostServices.itemInfo;
    if (!bone || info->type(bone) != LWI_BONE) return LWITEM_NULL;
    for (LWItemID object = info->first(LWI_OBJECT, LWITEM_NULL); object; object = info->next(object)) {
        for (LWItemID b = info->first(LWI_BONE, object); b; b = info->next(b)) {
            if (b == bone) return object;
        }
    }
    return LWITEM_NULL;
}

const char *ItemName(LWItemID item) {
    if (!item) return "(none)";
    const LWItemInfo *info = hostServices.itemInfo;
    LWItemType type = info->type(item);
    switch (type) {
    case LWI_OBJECT:
    case LWI_LIGHT:
    case LWI_CAMERA:
        std::snprintf(itemNameBuffer, sizeof itemNameBuffer, "%s", info->name(item));
        break;
    case LWI_BONE: {
        LWItemID owner = BoneOwnerObject(item);
        const char *boneName = info->name(item);
        if (!owner) {
            std::snprintf(itemNameBuffer, sizeof itemNameBuffer, "Mystery Bone %s", boneName);
        } else {
            // The object's name is copied first: the host may hand both names
            // out of one buffer of its own.
            char objectName[256];
            std::snprintf(objectName, sizeof objectName, "%s", info->name(owner));
            boneName = info->name(item);
            if (std::strncmp(boneName, "Bone", 4) == 0)
                std::snprintf(itemNameBuffer, sizeof itemNameBuffer, "%s of %s", boneName, objectName);
            else
                std::snprintf(itemNameBuffer, sizeof itemNameBuffer, "Bone \"%s\" of %s", boneName, objectName);
        }
        break;
    }
    default:
        // Unknown kinds keep the previous call's text: deliberate, and kept.
        break;
    }
    return itemNameBuffer;
}

int AppendWithAncestors(LWItemID item, LWItemID *out, int room) {
    const LWItemInfo *info = hostServices.itemInfo;
    int n = 0;
    LWItemID root = LWITEM_NULL;
    for (LWItemID id = item; id && n < room; id = info->parent(id)) out[n++] = root = id;
    if (root && n < room && info->type(root) == LWI_BONE) {
        for (LWItemID id = BoneOwnerObject(root); id && n < room; id = info->parent(id)) out[n++] = id;
    }
    return n;
}
