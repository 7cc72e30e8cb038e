// Plug-ins of the collection whose own work is not in this build yet. They are
// listed and activate like every other plug-in, but create refuses with its
// class's creation-failure text, so the host never holds an instance of one and
// their other slots are never called with an instance. A plug-in leaves this
// list when its own source file defines its PluginDef.
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

template <PluginClass Cls>
LWInstance RefuseCreate(LWError *err) {
    if (err) *err = ClassInfo(Cls).createFailure;
    return nullptr;
}

template <PluginClass Cls>
LWInstance RefuseCreateForItem(LWError *err, LWItemID) {
    return RefuseCreate<Cls>(err);
}

const char *Describe(LWInstance) { return ""; }
const LWItemID *UseItems(LWInstance) { return nullptr; }
LWError Init(LWInstance) { return nullptr; }
void Cleanup(LWInstance) {}
unsigned Flags(LWInstance) { return 0; }

void EvaluateMotion(LWInstance, const ItemMotionAccess *) {}
LWError NewTimeDisplacement(LWInstance, LWItemID, LWFrame, LWTime) { return nullptr; }
void EvaluateDisplacement(LWInstance, DisplacementAccess *) {}
LWError NewTime(LWInstance, LWFrame, LWTime) { return nullptr; }
void EvaluateShader(LWInstance, ShaderAccess *) {}
void EvaluatePixel(LWInstance, const PixelAccess *) {}
void Process(LWInstance, const FilterAccess *) {}

const ItemMotionHandler motionSlots = {RefuseCreateForItem<PluginClass::ItemMotion>, SharedDestroy, SharedCopy, SharedLoad, SharedSave,
                                       EvaluateMotion, Describe, UseItems, SharedChangeID};
const DisplacementHandler displacementSlots = {RefuseCreateForItem<PluginClass::Displacement>, SharedDestroy, SharedCopy, SharedLoad, SharedSave, NewTimeDisplacement,
                                               EvaluateDisplacement, Flags, Describe, UseItems, SharedChangeID};
const ShaderHandler shaderSlots = {RefuseCreate<PluginClass::Shader>, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave, Init, Cleanup,
                                   NewTime, EvaluateShader, Flags, Describe, UseItems, SharedChangeID};
const PixelFilterHandler pixelFilterSlots = {RefuseCreate<PluginClass::PixelFilter>, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave, Init,
                                             Cleanup, NewTime, EvaluatePixel, Flags, Describe, UseItems, SharedChangeID};
const ImageFilterHandler imageFilterSlots = {RefuseCreate<PluginClass::ImageFilter>, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave,
                                             Process, Flags, Describe, UseItems, SharedChangeID};

constexpr const void *SlotsOf(PluginClass cls) {
    switch (cls) {
    case PluginClass::ItemMotion: return &motionSlots;
    case PluginClass::Displacement: return &displacementSlots;
    case PluginClass::Shader: return &shaderSlots;
    case PluginClass::PixelFilter: return &pixelFilterSlots;
    case PluginClass::ImageFilter: return &imageFilterSlots;
    }
    return nullptr;
}

}  // namespace

#define VESK_UNBUILT_Unbuilt(id, name, cls) \
    extern const PluginDef id##Plugin = {name, PluginClass::cls, SlotsOf(PluginClass::cls)};
#define VESK_UNBUILT_Built(id, name, cls)
#define VESK_UNBUILT(id, name, cls, state) VESK_UNBUILT_##state(id, name, cls)
VESK_PLUGINS(VESK_UNBUILT)
