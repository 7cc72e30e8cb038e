// Plug-ins of the collection whose own work is not in this build yet. They are
// listed and activate like every other plug-in, but create refuses with its
// class's creation-failure text, so the host never holds an instance of one and
// their other slots are never called with an instance. A plug-in leaves this
// list when its own source file defines its PluginDef.
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

void Destroy(LWInstance) {}
LWError CopyWithItem(LWInstance, LWInstance, LWItemID) { return nullptr; }
LWError Copy(LWInstance, LWInstance) { return nullptr; }
LWError Load(LWInstance, const LWLoadState *) { return nullptr; }
LWError Save(LWInstance, const LWSaveState *) { return nullptr; }
const char *Describe(LWInstance) { return ""; }
const LWItemID *UseItems(LWInstance) { return nullptr; }
void ChangeID(LWInstance, const LWItemID *) {}
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

const ItemMotionHandler motionSlots = {RefuseCreateForItem<PluginClass::ItemMotion>, Destroy, CopyWithItem, Load, Save,
                                       EvaluateMotion, Describe, UseItems, ChangeID};
const DisplacementHandler displacementSlots = {RefuseCreateForItem<PluginClass::Displacement>, Destroy, CopyWithItem, Load, Save, NewTimeDisplacement,
                                               EvaluateDisplacement, Flags, Describe, UseItems, ChangeID};
const ShaderHandler shaderSlots = {RefuseCreate<PluginClass::Shader>, Destroy, Copy, Load, Save, Init, Cleanup,
                                   NewTime, EvaluateShader, Flags, Describe, UseItems, ChangeID};
const PixelFilterHandler pixelFilterSlots = {RefuseCreate<PluginClass::PixelFilter>, Destroy, Copy, Load, Save, Init,
                                             Cleanup, NewTime, EvaluatePixel, Flags, Describe, UseItems, ChangeID};
const ImageFilterHandler imageFilterSlots = {RefuseCreate<PluginClass::ImageFilter>, Destroy, Copy, Load, Save,
                                             Process, Flags, Describe, UseItems, ChangeID};

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

#define VESK_UNBUILT(id, name, cls) \
    extern const PluginDef id##Plugin = {name, PluginClass::cls, SlotsOf(PluginClass::cls)};
VESK_PLUGINS(VESK_UNBUILT)
