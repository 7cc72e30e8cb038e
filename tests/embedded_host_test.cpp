// The embedded host answers as the host would: world placement through parents,
// the heading-pitch-bank convention, traversal, scene snapshots, camera values
// and the scripted file requester.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "host/embedded_host.h"
#include "host/module_loader.h"

namespace {

struct V {
    double x, y, z;
};

V Param(EmbeddedHost &host, const Item &item, int param, double time = 0) {
    auto *info = static_cast<const LWItemInfo *>(host.Service(LWSERVICE_ITEM_INFO_2, 0));
    double v[3];
    info->param(IdOf(&item), param, time, v);
    return {v[0], v[1], v[2]};
}

void ExpectNear(V got, V want, const char *what) {
    EXPECT_NEAR(got.x, want.x, 1e-12) << what;
    EXPECT_NEAR(got.y, want.y, 1e-12) << what;
    EXPECT_NEAR(got.z, want.z, 1e-12) << what;
}

TEST(EmbeddedHost, TurnsFollowHeadingPitchBank) {
    EmbeddedHost host;
    Item &item = host.scene.AddNullObject("Turned");
    struct Case {
        std::array<double, 3> hpb;
        int param;
        V want;
        const char *what;
    } cases[] = {
        {{90, 0, 0}, LWIP_FORWARD, {1, 0, 0}, "heading +90 turns forward to +X"},
        {{90, 0, 0}, LWIP_RIGHT, {0, 0, -1}, "heading +90 turns right to -Z"},
        {{0, 90, 0}, LWIP_FORWARD, {0, -1, 0}, "pitch +90 puts the nose down"},
        {{0, 90, 0}, LWIP_UP, {0, 0, 1}, "pitch +90 turns up to +Z"},
        {{0, 0, 90}, LWIP_RIGHT, {0, 1, 0}, "bank +90 turns right to +Y"},
        {{0, 0, 90}, LWIP_UP, {-1, 0, 0}, "bank +90 turns up to -X"},
        // Bank first, then pitch, then heading, about the fixed axes: right goes
        // to +Y by the bank and stays there.
        {{90, 0, 90}, LWIP_RIGHT, {0, 1, 0}, "bank then heading"},
        {{90, 0, 90}, LWIP_UP, {0, 0, 1}, "bank then heading"},
    };
    for (const Case &c : cases) {
        item.SetRest({0, 0, 0}, c.hpb);
        ExpectNear(Param(host, item, c.param), c.want, c.what);
    }
}

TEST(EmbeddedHost, PlacesChildrenThroughTheirParents) {
    EmbeddedHost host;
    Item &parent = host.scene.AddNullObject("Parent");
    Item &child = host.scene.AddNullObject("Child");
    Item &grandchild = host.scene.AddNullObject("Grandchild");
    child.parent = &parent;
    grandchild.parent = &child;
    parent.SetRest({1, 2, 3}, {90, 0, 0}, {2, 2, 2});
    child.SetRest({1, 0, 0}, {0, 0, 0}, {1, 3, 1});
    grandchild.SetRest({0, 1, 0});

    // The parent's right axis is -Z scaled by 2: one unit of parent X is (0, 0, -2).
    ExpectNear(Param(host, child, LWIP_W_POSITION), {1, 2, 1}, "child world position");
    ExpectNear(Param(host, child, LWIP_POSITION), {1, 0, 0}, "child keyed position stays local");
    ExpectNear(Param(host, child, LWIP_UP), {0, 6, 0}, "child up carries both scales");
    ExpectNear(Param(host, grandchild, LWIP_W_POSITION), {1, 8, 1}, "one child up is six world units");
    ExpectNear(Param(host, child, LWIP_RIGHT), {0, 0, -2}, "child right is the parent's");

    // World axes in item coordinates undo the item's axes.
    V r = Param(host, child, LWIP_RIGHT), u = Param(host, child, LWIP_UP), f = Param(host, child, LWIP_FORWARD);
    V wx = Param(host, child, LWIP_W_RIGHT), wy = Param(host, child, LWIP_W_UP), wz = Param(host, child, LWIP_W_FORWARD);
    // (wx, wy, wz) as rows times (r, u, f) as rows is the identity.
    V rows[3] = {wx, wy, wz};
    for (int i = 0; i < 3; ++i) {
        V w = rows[i];
        V p = {w.x * r.x + w.y * u.x + w.z * f.x, w.x * r.y + w.y * u.y + w.z * f.y, w.x * r.z + w.y * u.z + w.z * f.z};
        ExpectNear(p, {i == 0 ? 1.0 : 0, i == 1 ? 1.0 : 0, i == 2 ? 1.0 : 0}, "inverse axes");
    }

    // A parent's pivot is where its children's positions are measured from.
    parent.pivot = {1, 0, 0};
    ExpectNear(Param(host, child, LWIP_W_POSITION), {1, 2, 3}, "child on the parent's pivot");
}

TEST(EmbeddedHost, MotionIsKeyedInFramesAndDegrees) {
    EmbeddedHost host;
    host.scene.framesPerSecond = 25;
    Item &item = host.scene.AddNullObject("Mover");
    item.AddKey(10, {10, 0, 0, 180, 0, 0, 1, 1, 1});
    V at5 = Param(host, item, LWIP_POSITION, 5 / 25.0);  // two zero-tension keys: a straight line
    EXPECT_NEAR(at5.x, 5, 1e-12);
    EXPECT_NEAR(Param(host, item, LWIP_ROTATION, 10 / 25.0).x, M_PI, 1e-12);
}

TEST(EmbeddedHost, WalksItemsAsTheHostListsThem) {
    EmbeddedHost host;
    Scene &s = host.scene;
    Item &a = s.AddObject("A");
    Item &b = s.AddNullObject("B");
    Item &light = s.AddLight();
    Item &bone1 = s.AddBone(b, "Bone01");
    Item &bone2 = s.AddBone(b, "Bone02");
    light.parent = &a;
    b.parent = &a;
    auto *info = static_cast<const LWItemInfo *>(host.Service(LWSERVICE_ITEM_INFO_2, 0));
    EXPECT_EQ(info->first(LWI_OBJECT, nullptr), IdOf(&a));
    EXPECT_EQ(info->next(IdOf(&a)), IdOf(&b));
    EXPECT_EQ(info->next(IdOf(&b)), nullptr);
    EXPECT_EQ(info->first(LWI_BONE, IdOf(&a)), nullptr);
    EXPECT_EQ(info->first(LWI_BONE, IdOf(&b)), IdOf(&bone1));
    EXPECT_EQ(info->next(IdOf(&bone1)), IdOf(&bone2));
    EXPECT_EQ(info->firstChild(IdOf(&a)), IdOf(&b));
    EXPECT_EQ(info->nextChild(IdOf(&a), IdOf(&b)), IdOf(&light));
    EXPECT_EQ(info->parent(IdOf(&light)), IdOf(&a));
    EXPECT_EQ(info->type(IdOf(&bone2)), LWI_BONE);
    EXPECT_STREQ(info->name(IdOf(&light)), "Light");
}

TEST(EmbeddedHost, SceneInfoIsASnapshotPerLookupAndTheOtherServicesAnswer) {
    EmbeddedHost host;
    host.scene.framesPerSecond = 24;
    auto *first = static_cast<const LWSceneInfo *>(host.Service(LWSERVICE_SCENE_INFO, 0));
    EXPECT_EQ(first->framesPerSecond, 24);
    host.scene.framesPerSecond = 25;
    host.scene.renderOptions = LWROPT_MOTIONBLUR;
    auto *second = static_cast<const LWSceneInfo *>(host.Service(LWSERVICE_SCENE_INFO, 0));
    EXPECT_EQ(second->framesPerSecond, 25);
    EXPECT_EQ(second->renderOpts, LWROPT_MOTIONBLUR);
    // The 5.0 name adds the ray recursion depth.
    host.scene.recursionDepth = 7;
    auto *two = static_cast<const LWSceneInfo *>(host.Service(LWSERVICE_SCENE_INFO_2, 0));
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(two->recursionDepth, 7);
    // The plain item information lacks only the tags; no limits are kept.
    Item &a = host.scene.AddObject("A");
    auto *plain = static_cast<const LWItemInfo *>(host.Service(LWSERVICE_ITEM_INFO, 0));
    ASSERT_NE(plain->limits, nullptr);
    double low[3] = {1, 1, 1}, high[3] = {1, 1, 1};
    EXPECT_EQ(plain->limits(IdOf(&a), LWIP_POSITION, low, high), 0u);
    EXPECT_EQ(plain->getTag, nullptr);
    EXPECT_EQ(plain->setTag, nullptr);
    // The camera's field of view follows its zoom: 3.2 on a 640 x 480 frame.
    Item &camera = host.scene.AddCamera();
    double h, v;
    static_cast<const LWCameraInfo *>(host.Service(LWSERVICE_CAMERA_INFO, 0))->fovAngles(IdOf(&camera), 0, &h, &v);
    EXPECT_NEAR(v * 180 / M_PI, 34.7, 0.05);
    EXPECT_NEAR(h * 180 / M_PI, 45.2, 0.05);
}

TEST(EmbeddedHost, AFileRequestsMarkAsksForSavingOrLoading) {
    EmbeddedHost host;
    auto *request = reinterpret_cast<int (*)(const char *, char *, char *, char *, int)>(
        host.Service(LWSERVICE_FILE_REQUEST, 0));
    ASSERT_NE(request, nullptr);
    struct Case {
        const char *name;
        FileRequest::Dialog dialog;
        const char *shown;
    } cases[] = {{">dump.txt", FileRequest::kSave, "dump.txt"},
                 {"<scene.lws", FileRequest::kLoad, "scene.lws"},
                 {"plain.txt", FileRequest::kEither, "plain.txt"}};
    for (const Case &c : cases) {
        char name[64], path[64] = "", full[64] = "";
        std::strcpy(name, c.name);
        EXPECT_EQ(request("Pick", name, path, full, 64), 0) << "nobody here to answer: cancelled";
        EXPECT_EQ(host.fileRequests.back().dialog, c.dialog) << c.name;
        EXPECT_EQ(host.fileRequests.back().name, c.shown) << c.name;
    }
}

// Two motion handlers of a module of the 5.0 era's kind: Lift (version 3)
// raises its item 10 m; Reader (version 2) notes what getParam tells it.
struct OldMotion {
    static inline double seen[3];
    static LWInstance Create(LWError *, LWItemID) { return reinterpret_cast<LWInstance>(1); }
    static void Destroy(LWInstance) {}
    static void Lift(LWInstance, const ItemMotionAccess *a) {
        double p[3];
        a->getParam(LWIP_POSITION, a->time, p);
        p[1] += 10;
        a->setParam(LWIP_POSITION, p);
    }
    static void Read(LWInstance, const ItemMotionAccess *a) { a->getParam(LWIP_POSITION, a->time, seen); }
    template <long kVersion, void (*kEvaluate)(LWInstance, const ItemMotionAccess *)>
    static int Activate(long version, GlobalFunc *, void *local, void *) {
        if (version != kVersion) return AFUNC_BADVERSION;
        auto *h = static_cast<ItemMotionHandler *>(local);
        h->create = Create, h->destroy = Destroy, h->evaluate = kEvaluate;
        return AFUNC_OK;
    }
};

TEST(EmbeddedHost, AVersionTwoMotionHandlerReadsTheKeysAlone) {
    // In versions 1 and 2 getParam gave only what was keyed, so handlers
    // could not see each other's work; from 3 on it gives the motion before.
    static ServerRecord servers[] = {{"ItemMotionHandler", "Lift", OldMotion::Activate<3, OldMotion::Lift>},
                                     {"ItemMotionHandler", "Reader2", OldMotion::Activate<2, OldMotion::Read>},
                                     {"ItemMotionHandler", "Reader3", OldMotion::Activate<3, OldMotion::Read>},
                                     {nullptr, nullptr, nullptr}};
    ModuleDescriptor descriptor{MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE_X86, nullptr, nullptr, servers};
    LoadedModule module;
    std::string error;
    ASSERT_TRUE(AttachModule(&descriptor, &module, &error)) << error;
    for (const char *reader : {"Reader2", "Reader3"}) {
        EmbeddedHost host;
        host.UseModule(&module);
        Item &item = host.scene.AddNullObject("Lifted");
        item.motion[kPosY].keys = {{0, 2}};  // keyed at 2 m
        ASSERT_TRUE(host.AddMotionPlugin(item, "Lift", &error)) << error;
        ASSERT_TRUE(host.AddMotionPlugin(item, reader, &error)) << error;
        ASSERT_EQ(item.motionPlugins[1].version, reader[6] == '2' ? 2 : 3);
        double final[9];
        host.FinalMotion(item, 0.5, final);
        EXPECT_EQ(final[kPosY], 12);
        EXPECT_EQ(OldMotion::seen[1], reader[6] == '2' ? 2 : 12) << reader;
    }
}

}  // namespace
