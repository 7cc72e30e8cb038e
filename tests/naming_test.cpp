// Naming scene items for description lines: the shared buffer, the bone forms,
// and the owner walk, answered by the embedded host's item-info service.
#include "module_fixture.h"

namespace {

using Naming = BoundModuleTest;

TEST_F(Naming, NamesEachKindOfItem) {
    Scene &s = host.scene;
    Item &arm = s.AddObject("Arm", "Objects/Arm.lwo");
    Item &bone05 = s.AddBone(arm, "Bone05");
    Item &elbow = s.AddBone(arm, "Elbow");
    Item &stray = s.AddStrayBone("Elbow");
    Item &light = s.AddLight("Key Light");
    Item &camera = s.AddCamera();
    s.AddNullObject("Null");
    Item &secondNull = s.AddNullObject("Null");
    struct Case {
        LWItemID id;
        const char *name;
    } cases[] = {
        {nullptr, "(none)"}, {IdOf(&arm), "Arm"}, {IdOf(&light), "Key Light"}, {IdOf(&camera), "Camera"},
        {IdOf(&bone05), "Bone05 of Arm"}, {IdOf(&elbow), "Bone \"Elbow\" of Arm"}, {IdOf(&stray), "Mystery Bone Elbow"},
        {IdOf(&secondNull), "Null (2)"},  // the host's numbering of a shared name
    };
    for (const Case &c : cases) EXPECT_STREQ(ItemName(c.id), c.name);
}

TEST_F(Naming, OneBufferLongNamesAndBoneOwners) {
    Item &a = host.scene.AddObject("Alpha");
    Item &b = host.scene.AddLight("Beta");
    const char *first = ItemName(IdOf(&a));
    const char *second = ItemName(IdOf(&b));
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "Beta");
    int stranger = 0;  // an id the host does not know: its type is none of the four
    EXPECT_STREQ(ItemName(&stranger), "Beta");
    // "(none)" is a constant and leaves the buffer alone.
    EXPECT_STRNE(ItemName(nullptr), "Beta");
    EXPECT_STREQ(first, "Beta");
    // Long names are cut to the buffer.
    Item &arm = host.scene.AddObject(std::string(300, 'x'));
    Item &bone = host.scene.AddBone(arm, "Bone01");
    EXPECT_EQ(std::string(ItemName(IdOf(&arm))).size(), 255u);
    EXPECT_EQ(std::string(ItemName(IdOf(&bone))), "Bone01 of " + std::string(245, 'x'));
    // A bone's owner: the object whose skeleton holds it.
    Item &torso = host.scene.AddObject("Torso");
    Item &leg = host.scene.AddObject("Leg");
    host.scene.AddBone(torso, "Spine");
    Item &knee = host.scene.AddBone(leg, "Knee");
    Item &stray = host.scene.AddStrayBone("Lost");
    EXPECT_EQ(BoneOwnerObject(IdOf(&knee)), IdOf(&leg));
    EXPECT_EQ(BoneOwnerObject(IdOf(&stray)), nullptr);
    EXPECT_EQ(BoneOwnerObject(IdOf(&leg)), nullptr) << "not a bone";
    EXPECT_EQ(BoneOwnerObject(nullptr), nullptr);
}

}  // namespace
