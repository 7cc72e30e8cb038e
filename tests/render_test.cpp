// The embedded host's renderer against geometry worked out by hand: a
// sphere's silhouette from the lens formula, a floor's depth from the ray's
// slope, a point light's Lambert value, a shadow's edge, ray-cast distances,
// and the polygon, object and position each shaded spot reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "host/render/renderer.h"
#include "host/render/tracer.h"
#include "host/scene_file.h"
#include "globe.h"
#include "lwob_writer.h"
#include "plugin_harness.h"

namespace {

using V = std::array<double, 3>;
constexpr double kPi = 3.14159265358979323846;

// A scene with the camera at the origin looking along +Z (zoom 3.2), no
// ambient light, black solid backdrop.
struct RenderScene {
    EmbeddedHost host;
    Scene &s = host.scene;
    RenderScene(int width, int height) {
        s.frameWidth = width, s.frameHeight = height;
        s.framesPerSecond = 30;
        s.AddCamera("Camera").SetRest({0, 0, 0});
        s.ambientIntensity = ConstantChannel(0);
    }
    // An object whose polygons are given; surface 0 white, diffuse 1.
    Item &Object(const std::string &name, std::vector<V> points, std::vector<std::vector<int>> polygons) {
        Item &o = s.AddObject(name, name + ".lwo");
        o.SetRest({0, 0, 0});
        o.geometry.points = std::move(points);
        o.geometry.polygons = std::move(polygons);
        o.geometry.surfaces.push_back({});
        o.geometry.surfaces[0].name = "Plain";
        o.geometry.surfaces[0].color = {1, 1, 1};
        o.geometry.polygonSurface.assign(o.geometry.polygons.size(), 0);
        return o;
    }
    Item &Light(int type, V position, V hpb = {0, 0, 0}) {
        Item &l = s.AddLight("Light");
        l.lightType = type;
        l.SetRest(position, hpb);
        return l;
    }
    RgbaImage Shade(Renderer *r = nullptr, LWFrame frame = 0) {
        Renderer own(host);
        Renderer &use = r ? *r : own;
        RgbaImage image;
        std::string error;
        EXPECT_TRUE(use.Shade(frame, &image, &error)) << error;
        return image;
    }
};

// A surface that shows its own colour whatever the light.
Item &Luminous(Item &object) {
    object.geometry.surfaces[0].luminosity = 1, object.geometry.surfaces[0].diffuse = 0;
    return object;
}

// A quad facing the camera (its points clockwise as the camera sees them).
std::vector<int> Quad(int a) { return {a, a + 1, a + 2, a + 3}; }
std::vector<V> Square(double x0, double y0, double x1, double y1, double z) {
    return {{x0, y1, z}, {x1, y1, z}, {x1, y0, z}, {x0, y0, z}};
}

void Globe(RenderScene &r, V centre, double radius, int around, int down) {
    Item &globe = r.Object("Globe", {}, {});
    MakeGlobe(globe.geometry, centre, radius, around, down);
    globe.geometry.surfaces[0].smoothing = 1.5;
}

int Alpha(const RgbaImage &im, int x, int y) { return im.rgba[(static_cast<size_t>(y) * im.width + x) * 4 + 3]; }
int Red(const RgbaImage &im, int x, int y) { return im.rgba[(static_cast<size_t>(y) * im.width + x) * 4]; }

TEST(Renderer, SilhouetteOfASphereFollowsTheLens) {
    // A sphere of radius R at distance D subtends asin(R / D); at zoom z the
    // frame's half height is 1 / z, so its radius in pixels is
    // tan(asin(R / D)) * z * H / 2.
    const double R = 1, D = 8, z = 3.2;
    const int W = 400, H = 300;
    RenderScene r(W, H);
    Globe(r, {0, 0, D}, R, 96, 48);
    r.Light(LWLIGHT_DISTANT, {0, 0, 0});
    RgbaImage im = r.Shade();
    double expected = R / std::sqrt(D * D - R * R) * z * H / 2;
    int row = H / 2, covered = 0, column = W / 2, tall = 0;
    for (int x = 0; x < W; ++x) covered += Alpha(im, x, row) > 0;
    for (int y = 0; y < H; ++y) tall += Alpha(im, column, y) > 0;
    EXPECT_NEAR(covered / 2.0, expected, 1.0);
    EXPECT_NEAR(tall / 2.0, expected, 1.0);
    EXPECT_EQ(Alpha(im, 0, 0), 0) << "the backdrop is clear";
}

TEST(Renderer, DepthOfAFloorFollowsTheRaySlope) {
    // A floor at y = -2: the ray through a pixel's centre has slope v, with
    // v = (1 - 2 (y + 0.5) / H) / z, and meets it at camera-plane depth -2 / v.
    const int W = 160, H = 120;
    RenderScene r(W, H);
    r.Object("Floor", {{-500, -2, 0.01}, {-500, -2, 1000}, {500, -2, 1000}, {500, -2, 0.01}}, {Quad(0)});
    RgbaImage im = r.Shade();
    for (int y : {61, 70, 90, 119})
        for (int x : {0, 33, 80, 159}) {
            double v = (1 - 2 * (y + 0.5) / H) / 3.2;
            double expected = -2 / v;
            EXPECT_NEAR(im.depth[static_cast<size_t>(y) * W + x], expected, 1e-4 * expected) << x << "," << y;
        }
    EXPECT_EQ(im.depth[static_cast<size_t>(10) * W + 5], kBackdropDepth) << "above the horizon: nothing";
}

TEST(Renderer, PointLightGivesLambertsCosine) {
    // A white wall at z = 10 lit by a point light at (0, 0, 4): a spot at
    // (x, y, 10) receives cos = 6 / |(x, y, 6)| of the light.
    const int W = 200, H = 150;
    RenderScene r(W, H);
    r.Object("Wall", Square(-50, -50, 50, 50, 10), {Quad(0)});
    r.Light(LWLIGHT_POINT, {0, 0, 4});
    RgbaImage im = r.Shade();
    for (int x : {100, 130, 170, 199}) {
        int y = 40;
        double u = ((x + 0.5) / W * 2 - 1) / 3.2 * W / H, v = (1 - (y + 0.5) / H * 2) / 3.2;
        V spot = {u * 10, v * 10, 10};
        double cosine = 6 / std::sqrt(spot[0] * spot[0] + spot[1] * spot[1] + 36);
        EXPECT_NEAR(Red(im, x, y), cosine * 255, 0.51) << x;
    }
}

TEST(Renderer, ShadowEdgeLiesWhereTheLightSays) {
    // Seen from 10 m straight above, a 2 x 2 tile at y = 0 over a floor at
    // y = -3, lit by a distant light going down at atan 2 and towards +x:
    // the tile's shadow is moved 3 / 2 = 1.5 m along x, to x in [0.5, 2.5].
    // The floor at x shows in column (x / 13 * 3.2 + 1) * W / 2; the tile hides
    // the floor up to x = 1.3, so the shadow shows from there to its edge at
    // x = 2.5, column 242.3, and the lit floor has sin(atan 2) of the light.
    const int W = 300, H = 300;
    RenderScene r(W, H);
    r.s.cameras[0]->SetRest({0, 10, 0}, {0, 90, 0});
    r.s.rayTraceEffects = 1;
    r.Object("Floor", {{-50, -3, 50}, {50, -3, 50}, {50, -3, -50}, {-50, -3, -50}}, {Quad(0)});
    Item &tile = r.Object("Tile", {{-1, 0, 1}, {1, 0, 1}, {1, 0, -1}, {-1, 0, -1}}, {Quad(0)});
    tile.geometry.surfaces[0].color = {0, 0, 1};  // no red of its own
    r.Light(LWLIGHT_DISTANT, {0, 5, 0}, {90, std::atan(2.0) * 180 / kPi, 0});
    RgbaImage im = r.Shade();
    const int row = H / 2;
    const double edge = (2.5 / 13 * 3.2 + 1) * W / 2, hidden = (1.3 / 13 * 3.2 + 1) * W / 2;
    const int lit = static_cast<int>(std::lround(std::sin(std::atan(2.0)) * 255));
    for (int x = static_cast<int>(hidden) + 2; x < W; ++x) {
        if (std::fabs(x + 0.5 - edge) < 1.5) continue;  // the edge's own pixels
        EXPECT_EQ(Red(im, x, row), x + 0.5 < edge ? 0 : lit) << "column " << x;
    }
    EXPECT_EQ(Red(im, W / 2, row), 0) << "the tile, blue";
    // Without traced shadows the same floor is lit throughout.
    r.s.rayTraceEffects = 0;
    RgbaImage open = r.Shade();
    EXPECT_EQ(Red(open, static_cast<int>(edge) - 10, row), lit);
}

TEST(Renderer, RayCastMeetsWhatGeometrySays) {
    RenderScene r(40, 30);
    r.Object("Wall", Square(-50, -50, 50, 50, 10), {Quad(0)});
    r.s.AddNullObject("Null");  // nothing to meet
    Globe(r, {0, 0, -20}, 2, 32, 16);
    Renderer renderer(r.host);
    r.Shade(&renderer);
    const RayFunctions &rays = renderer.Rays();
    struct Case {
        V from, direction;
        double distance;
    } cases[] = {
        {{0, 0, 0}, {0.6, 0, 0.8}, 12.5},   // the wall: 10 / 0.8
        {{0, 3, 0}, {0, 0, 1}, 10},          // straight on
        {{5, 0, 20}, {0, 0, -1}, -1},        // through the wall's back (one-sided, unseen), past the globe
        {{0, 0, 20}, {0, 0, -1}, 38},        // through the wall's back to the globe's far side at z = -18
        {{0, 0, 0}, {0, 1, 0}, -1},          // into the empty sky
        {{0, 0, 0}, {0, 0, -2}, 18},         // the globe's near side, direction not unit
    };
    for (const Case &c : cases) {
        double got = rays.rayCast(c.from.data(), c.direction.data());
        // The globe is faceted: its near side lies within the sagitta of a facet.
        double slack = c.distance == 18 || c.distance == 38 ? 2 * (1 - std::cos(kPi / 16)) + 1e-9 : 1e-9;
        EXPECT_NEAR(got, c.distance, slack) << c.direction[0] << " " << c.direction[1] << " " << c.direction[2];
    }
    double colour[3] = {9, 9, 9};
    V up = {0, 1, 0}, origin = {0, 0, 0};
    EXPECT_EQ(rays.rayTrace(origin.data(), up.data(), colour), -1);
    EXPECT_EQ(colour[0], 0) << "a miss sees the backdrop";
}

TEST(Renderer, AntialiasingCoversAnEdgeByItsArea) {
    // A luminous white half-plane at z = 10 whose edge runs through the frame
    // at x = 20.3 + 0.25 y (pixels, y down): each pixel shows the share of its
    // square left of the edge, worked out here by summing thin strips.
    const int W = 40, H = 40;
    const double a = 20.3, b = 0.25, tan = 1 / 3.2, z = 10;
    auto world = [&](double px, double py) {
        return V{(px / W * 2 - 1) * tan * z, (1 - py / H * 2) * tan * z, z};
    };
    auto covered = [&](int x, int y) {
        double share = 0;
        for (int k = 0; k < 1000; ++k) share += std::clamp(a + b * (y + (k + 0.5) / 1000) - x, 0.0, 1.0) / 1000;
        return share;
    };
    const double passes[] = {1, 5, 9, 17};
    for (int level = 0; level <= 3; ++level)
        for (bool adaptive : {false, true}) {
            RenderScene r(W, H);
            Luminous(r.Object("Half", {world(-500, -200), world(a + b * -200, -200), world(a + b * 240, 240),
                                       world(-500, 240)},
                              {Quad(0)}));
            r.s.antialiasing = level;
            r.s.adaptiveSampling = adaptive, r.s.adaptiveThreshold = 8;
            Renderer renderer(r.host);
            RgbaImage im = r.Shade(&renderer);
            double worst = 0;
            long edge = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    double share = covered(x, y);
                    edge += share > 0 && share < 1;
                    worst = std::max(worst, std::fabs(Red(im, x, y) / 255.0 - share));
                    EXPECT_EQ(Alpha(im, x, y), Red(im, x, y)) << "alpha is averaged as the colour is";
                }
            // One ray cannot tell more than which side the centre lies; N passes
            // one row and one column of an N x N grid each.
            if (level == 0) {
                EXPECT_GT(worst, 0.4);
            } else {
                EXPECT_LT(worst, 2 / passes[level] + 0.5 / 255) << "level " << level;
            }
            // Adaptive: only the pixels beside the edge (a few a row) take the
            // later passes; the flat ones are exact from the first.
            const long later = static_cast<long>(passes[level] - 1);
            if (!adaptive) { EXPECT_EQ(renderer.primaryRays, (later + 1) * W * H) << level; }
            if (adaptive && level > 0) {
                EXPECT_GE(renderer.primaryRays, W * H + later * edge) << level;
                EXPECT_LE(renderer.primaryRays, W * H + later * 4 * H) << level;
            }
        }
}

// A luminous white half-plane at z = 10, left of x = 0 in its own
// coordinates, keyed to move 1 m a frame to the right (linear) from x = -10
// at frame 0, its keys `lag` frames later.
void MovingHalfPlane(RenderScene &r, double lag) {
    Item &half = Luminous(r.Object("Half", {{-500, 500, 10}, {0, 500, 10}, {0, -500, 10}, {-500, -500, 10}}, {Quad(0)}));
    half.SetRest({-10 - lag, 0, 0});
    half.AddKey(20, {10 - lag, 0, 0, 0, 0, 0, 1, 1, 1}, true);
    half.motion[kPosX].keys[0].linear = true;
}

TEST(Renderer, MotionBlurSpreadsAnEdgeOverTheBlurLength) {
    // The moving half-plane: 6.4 pixels a frame at 40 x 40 and zoom 3.2. At frame 10 its edge stands at pixel 20; a
    // blur length of B frames sweeps it from 20 - 6.4 B, evenly over the
    // passes, so a row shows the edge's mean place, 20 - 3.2 B pixels of white.
    const int W = 40, H = 40;
    for (double blurLength : {0.0, 0.5, 1.0}) {
        RenderScene r(W, H);
        MovingHalfPlane(r, 0);
        r.s.antialiasing = 3;
        if (blurLength > 0) r.s.renderOptions |= LWROPT_MOTIONBLUR;
        r.s.cameras[0]->blurLength = ConstantChannel(blurLength);
        Renderer renderer(r.host);
        RgbaImage im = r.Shade(&renderer, 10);
        std::string error;
        const double from = 20 - 6.4 * blurLength;
        for (int y : {3, 20, 37}) {
            double white = 0;
            for (int x = 0; x < W; ++x) white += Red(im, x, y) / 255.0;
            EXPECT_NEAR(white, 20 - 3.2 * blurLength, 0.5) << "blur " << blurLength << " row " << y;
            EXPECT_EQ(Red(im, static_cast<int>(from) - 2, y), 255) << "white before the sweep";
            EXPECT_EQ(Red(im, 21, y), 0) << "black past the edge's place at the frame";
        }
        if (blurLength == 1) { EXPECT_NE(Red(im, 16, 20) % 255, 0) << "inside the sweep: part of the passes"; }
        EXPECT_EQ(renderer.primaryRays, 17L * W * H);
        // An image filter after it is told the exposure: from frame 10 - B to 10.
        static double exposure[2];
        ImageFilterHandler told{};
        told.flags = [](LWInstance) { return 0u; };
        told.process = [](LWInstance, const FilterAccess *a) { exposure[0] = a->start, exposure[1] = a->end; };
        r.s.filterPlugins.push_back({"ImageFilterHandler", "Told", nullptr, &told, nullptr});
        ASSERT_TRUE(renderer.Render(10, &im, &error)) << error;
        EXPECT_DOUBLE_EQ(exposure[0], (10 - blurLength) / 30);
        EXPECT_DOUBLE_EQ(exposure[1], 10.0 / 30);
        r.s.filterPlugins.clear();
    }
}

TEST(Renderer, FieldsInterleaveTwoTimes) {
    // The half-plane keyed to move 1 m a frame (6.4 pixels), at frame 10 with
    // fields: the second field's lines are the frame rendered at its own time,
    // the first field's the frame half a frame earlier (its keys moved half a
    // frame later); without ReverseFields the first field holds lines 0, 2, 4...
    const int W = 40, H = 40;
    auto render = [&](double keyShift, bool fields, bool reverse) {
        RenderScene r(W, H);
        MovingHalfPlane(r, keyShift);
        if (fields) r.s.renderOptions |= LWROPT_FIELDS;
        r.s.reverseFields = reverse;
        return r.Shade(nullptr, 10);
    };
    const RgbaImage now = render(0, false, false), earlier = render(0.5, false, false);
    ASSERT_NE(now.rgba, earlier.rgba) << "the edge moved 3.2 pixels in half a frame";
    for (bool reverse : {false, true}) {
        const RgbaImage fielded = render(0, true, reverse);
        for (int y = 0; y < H; ++y) {
            const RgbaImage &want = (y % 2 == 0) != reverse ? earlier : now;
            for (int x = 0; x < W; ++x) EXPECT_EQ(Red(fielded, x, y), Red(want, x, y)) << x << "," << y << " " << reverse;
        }
    }
}

TEST(Renderer, DepthOfFieldBlursByTheThinLens) {
    // A luminous square 0.04 m across at z = 4 on the axis, focus at 8 m,
    // f-stop 0.05, 35 mm motion-picture film (15.29 mm high) at zoom 3.2: a
    // thin lens of F = 24.5 mm and aperture A = F / 0.05 spreads it over a
    // circle of confusion A F |z - D| / (z (D - F)) on the film, which at 200
    // pixels to the film's height is c pixels across. Seventeen passes look
    // from points of the lens up to its rim, so the square's lit pixels span
    // its own width plus nearly all of c.
    const int W = 200, H = 200;
    const double z = 4, D = 8, stop = 0.05, F = 0.01529 / 2 * 3.2, A = F / stop;
    const double c = A * F * std::fabs(z - D) / (z * (D - F)) / 0.01529 * H, side = 0.02 / z * 3.2 * H;
    for (bool dof : {false, true}) {
        RenderScene r(W, H);
        Luminous(r.Object("Dot", Square(-0.02, -0.02, 0.02, 0.02, z), {Quad(0)}));
        r.s.antialiasing = 3;
        if (dof) r.s.renderOptions |= LWROPT_DEPTHOFFIELD;
        r.s.cameras[0]->focalDistance = ConstantChannel(D);
        r.s.cameras[0]->fStop = ConstantChannel(stop);
        RgbaImage im = r.Shade();
        int left = W, right = -1;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (Red(im, x, y) > 0) left = std::min(left, x), right = std::max(right, x);
        const double spread = right - left + 1;
        if (!dof) { EXPECT_NEAR(spread, side, 1.5) << "in focus everywhere"; }
        if (dof) {
            EXPECT_LE(spread, side + c + 1.5) << "c " << c;
            EXPECT_GE(spread, side + 0.8 * c - 1.5) << "c " << c;
        }
    }
}

// A shader of the test's own: it reports the spots it sees and paints the
// polygon number into the red channel.
std::map<std::pair<int, int>, ShaderAccess> seen;
LWError NoError(LWInstance) { return nullptr; }
void Nothing(LWInstance) {}
LWError NoTime(LWInstance, LWFrame, LWTime) { return nullptr; }
void Record(LWInstance, ShaderAccess *sa) {
    seen[{sa->sx, sa->sy}] = *sa;
    sa->color[0] = sa->polNum;
    sa->luminous = 0;  // not claimed by the flags: put back
}
unsigned ColourOnly(LWInstance) { return LWSHF_COLOR; }
// A shader of the test's own: nothing to start, end or set up a frame for,
// claiming colour alone.
ShaderHandler Shader(void (*evaluate)(LWInstance, ShaderAccess *) = Record) {
    ShaderHandler h{};
    h.init = NoError, h.cleanup = Nothing, h.newTime = NoTime, h.evaluate = evaluate, h.flags = ColourOnly;
    return h;
}

TEST(Renderer, EachSpotKnowsItsPolygonAndPlace) {
    // Two polygons side by side: the left one is polygon 0, the right one 1.
    const int W = 80, H = 60;
    RenderScene r(W, H);
    Item &pair = r.Object("Pair", {{-3, 2, 10}, {0, 2, 10}, {0, -2, 10}, {-3, -2, 10}, {3, 2, 10}, {3, -2, 10}},
                          {{0, 1, 2, 3}, {1, 4, 5, 2}});
    Luminous(pair).SetRest({1, 0, 0});  // moved right: object and world positions differ by 1 in x
    ShaderHandler handler = Shader();
    Renderer renderer(r.host);
    renderer.AddSurfaceShader("Plain", &handler, nullptr, "Recorder");
    seen.clear();
    RgbaImage im = r.Shade(&renderer);
    ASSERT_FALSE(seen.empty());
    for (const auto &[pixel, sa] : seen) {
        EXPECT_EQ(sa.polNum, sa.oPos[0] < 0 ? 0 : 1) << pixel.first << "," << pixel.second;
        EXPECT_NEAR(sa.wPos[0] - sa.oPos[0], 1, 1e-9);
        EXPECT_NEAR(sa.wPos[2], 10, 1e-9);
        EXPECT_EQ(sa.objID, IdOf(&pair));
        EXPECT_NEAR(sa.cosine, sa.rayLength > 0 ? 10 / sa.rayLength : 0, 1e-9) << "the camera sees the face at this angle";
        EXPECT_NEAR(sa.gNorm[2], -1, 1e-12) << "the face looks at the camera";
        int x = pixel.first, y = pixel.second;
        EXPECT_EQ(Red(im, x, y), sa.polNum * 255);
        EXPECT_EQ(im.rgba[(static_cast<size_t>(y) * W + x) * 4 + 1], 255) << "still luminous: that flag was not given";
    }
}

TEST(ShaderPreview, TheSphereIsAnObjectOfItsOwn) {
    // Without a scene's object to stand for, the preview sphere is a null
    // object of the host's while it is drawn (its item information answers),
    // and gone after.
    EmbeddedHost host;
    static std::set<std::string> names;
    ShaderHandler handler = Shader([](LWInstance, ShaderAccess *sa) {
        auto *info = static_cast<const LWItemInfo *>(EmbeddedHost::Active().Service(LWSERVICE_ITEM_INFO_2, 0));
        const char *name = info->name(sa->objID);
        names.insert(name ? name : "(none)");
    });
    RgbaImage im;
    std::string error;
    ASSERT_TRUE(RenderShaderPreview(&handler, nullptr, 16, 16, &im, &error)) << error;
    EXPECT_EQ(names, std::set<std::string>{"Preview Sphere"});
    EXPECT_TRUE(host.scene.objects.empty());
    host.scene.AddObject("Ball");  // a scene's object stands for itself
    names.clear();
    const LWItemID ball = IdOf(host.scene.objects[0].get());
    ASSERT_TRUE(RenderShaderPreview(&handler, nullptr, 16, 16, &im, &error, {0.8, 0.8, 0.8}, 0, ball)) << error;
    EXPECT_EQ(names, std::set<std::string>{"Ball"});
    EXPECT_EQ(host.scene.objects.size(), 1u);
}

TEST(Renderer, ThreadsShareTheRowsAndChangeNothing) {
    // A mirror globe before a wall painted by a shader, shadows traced,
    // adaptive passes: one thread or three, the same bytes and rays.
    RgbaImage pictures[2];
    long rays[2];
    for (int i : {0, 1}) {
        RenderScene r(64, 48);
        r.Object("Wall", Square(-50, -50, 50, 50, 12), {Quad(0)});
        Globe(r, {0.5, 0, 8}, 1, 24, 12);
        r.s.objects.back()->geometry.surfaces[0].mirror = 0.5;
        r.s.rayTraceEffects = 3, r.s.antialiasing = 2, r.s.adaptiveSampling = true;
        r.Light(LWLIGHT_POINT, {-2, 3, 4});
        ShaderHandler handler = Shader();
        Renderer renderer(r.host);
        renderer.AddSurfaceShader("Plain", &handler, nullptr, "Recorder");
        renderer.SetThreads(i ? 3 : 1);
        pictures[i] = r.Shade(&renderer);
        rays[i] = renderer.primaryRays;
    }
    EXPECT_EQ(pictures[0].rgba, pictures[1].rgba);
    EXPECT_EQ(pictures[0].depth, pictures[1].depth);
    EXPECT_EQ(rays[0], rays[1]);
    EXPECT_GT(rays[0], 64 * 48) << "some pixels took the later passes";
}

TEST(Renderer, MotionBlurPassesShareABuildWhereNothingMoves) {
    // Nine passes at their own times: the moving half-plane is built at each,
    // and once more at the frame's own time for the filters after; a still
    // one once.
    for (double speed : {0.0, 1.0}) {
        RenderScene r(16, 16);
        MovingHalfPlane(r, 0);
        if (speed == 0) r.s.objects[0]->motion[kPosX].keys.resize(1);
        r.s.antialiasing = 2, r.s.renderOptions |= LWROPT_MOTIONBLUR;
        Renderer renderer(r.host);
        r.Shade(&renderer, 10);
        EXPECT_EQ(renderer.Geometry().Builds(), speed == 0 ? 1 : 10);
    }
}

class RenderShaders : public PluginTest {};

// An LWOB file of one quad facing the camera, its surface "Skin" red with
// the given shader block.
void WriteSkinnedQuad(const std::string &path, const std::string &server, const std::string &data) {
    using namespace Lwob;
    const std::string skin("Skin\0\0", 6), name = server + std::string(2 - server.size() % 2, '\0');
    const std::string surf = skin + SubChunk("COLR", std::string("\xc8\x3c\x28\0", 4)) + SubChunk("VLUM", F32(1)) +
                             SubChunk("VDIF", F32(0)) + SubChunk("SHDR", name) + SubChunk("SDAT", data);
    Write(path, Points(Square(-2, -2, 2, 2, 10)) + Chunk("SRFS", skin) +
                    Chunk("POLS", U16(4) + U16(0) + U16(1) + U16(2) + U16(3) + U16(1)) + Chunk("SURF", surf));
}

TEST_F(RenderShaders, AShaderFromTheObjectFileShadesAsOneGivenByName) {
    // HSVBoost with a hue shift, saved in the object mode the host uses for
    // surfaces, stored in the object's SURF; the same instance given for the
    // surface by name must paint the same pixels, and both differ from none.
    auto *h = HandlerOf<ShaderHandler>("ShaderHandler", "HSVBoost");
    LWError failure = nullptr;
    LWInstance boost = h->create(&failure);
    Settings(h, boost, "HSVBoost", Number("PERPHUE", 120) + Number("GLANCEHUE", 120));
    TextStore saved;
    saved.mode = LWIO_OBJECT;
    LWSaveState state = saved.SaveState();
    h->save(boost, &state);
    const std::string path = ScratchPath("skinned.lwo");
    WriteSkinnedQuad(path, "HSVBoost", saved.bytes);

    auto render = [&](bool fromFile, bool named) {
        EmbeddedHost other;
        other.UseModule(&module);
        std::string text = "LWSC\n1\nLoadObject " + path + "\nShowCamera 1 7\nCameraMotion (unnamed)\n  9\n  1\n"
                           "  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\nCustomSize 64 48\n";
        std::string error;
        EXPECT_TRUE(LoadSceneText(other, text, "skinned.lws", &error)) << error;
        if (!fromFile) other.scene.objects[0]->geometry.surfaces[0].shaders.clear();
        EXPECT_EQ(other.scene.objects[0]->geometry.surfaces.at(0).name, "Skin");
        Renderer renderer(other);
        if (named) renderer.AddSurfaceShader("Skin", h, boost, "HSVBoost");
        RgbaImage image;
        EXPECT_TRUE(renderer.Shade(0, &image, &error)) << error;
        return image.rgba;
    };
    auto fromFile = render(true, false), byName = render(false, true), plain = render(false, false);
    EXPECT_EQ(fromFile, byName);
    EXPECT_NE(fromFile, plain);
    // The plain quad is its own colour (200, 60, 40) at full luminosity.
    size_t middle = (24 * 64 + 32) * 4;
    EXPECT_EQ(plain[middle], 200);
    EXPECT_EQ(plain[middle + 1], 60);
    EXPECT_EQ(plain[middle + 2], 40);
    h->destroy(boost);
}

// A pixel filter of the test's own that reads the render's buffers and casts
// a ray straight ahead from the camera through its sample.
struct Sampled {
    BufferValue raw[3], geometry;
    float depth, geometryAsFloat;
    double cast;
};
std::map<std::pair<int, int>, Sampled> sampled;
unsigned askFlags = 0;
unsigned Asked(LWInstance) { return askFlags; }
void Sample(LWInstance, const PixelAccess *pa) {
    Sampled s{};
    pa->bufVal(LWBUF_RAW_RED, 3, s.raw);
    pa->bufVal(LWBUF_GEOMETRY, 1, &s.geometry);  // a byte buffer, as all but depth are
    pa->fltVal(LWBUF_GEOMETRY, 1, &s.geometryAsFloat);
    pa->fltVal(LWBUF_DEPTH, 1, &s.depth);
    const double from[3] = {0, 0, 0}, ahead[3] = {0, 0, 1};
    s.cast = pa->rayCast(from, ahead);
    sampled[{static_cast<int>(pa->sx), static_cast<int>(pa->sy)}] = s;
    BufferValue rgba[4];
    pa->bufVal(LWBUF_RED, 4, rgba);
    pa->setRGBA(rgba);
}

TEST(Renderer, PixelFiltersSeeTheRendersBuffersAndRays) {
    // A wall of colour (200, 60, 40) at z = 10, facing the camera.
    RenderScene r(40, 30);
    Item &wall = r.Object("Wall", Square(-50, -50, 50, 50, 10), {Quad(0)});
    wall.geometry.surfaces[0].color = {200 / 255.0, 60 / 255.0, 40 / 255.0};
    Renderer renderer(r.host);
    RgbaImage image = r.Shade(&renderer);
    PixelFilterHandler filter{};
    filter.init = NoError, filter.cleanup = Nothing, filter.newTime = NoTime;
    filter.evaluate = Sample, filter.flags = Asked;
    for (unsigned flags : {0u, static_cast<unsigned>(LWPFF_RAYTRACE)}) {
        askFlags = flags;
        sampled.clear();
        std::string error;
        ASSERT_TRUE(RunPixelFilter(&filter, nullptr, &image, 0, 0, &error, &renderer.Rays())) << error;
        ASSERT_EQ(sampled.size(), 40u * 30u);
        const Sampled &middle = sampled.at({20, 15});
        EXPECT_EQ(middle.raw[0], 200);
        EXPECT_EQ(middle.raw[1], 60);
        EXPECT_EQ(middle.raw[2], 40);
        EXPECT_FLOAT_EQ(middle.depth, 10);
        // The ray through pixel (20, 15)'s centre meets the wall head on, nearly.
        EXPECT_EQ(middle.geometry, 255);
        EXPECT_EQ(middle.geometryAsFloat, 0) << "only depth is a float buffer";
        EXPECT_EQ(middle.cast, flags ? 10 : -1) << "the ray functions only for a filter that asks";
    }
}

}  // namespace

namespace {

// A pixel filter that makes each sample black or white by its raw red, and
// counts what the host asks of it.
struct Thresholds {
    static inline int inits, cleanups, newTimes, samples;
    static LWError Init(LWInstance) { return ++inits, nullptr; }
    static void Cleanup(LWInstance) { ++cleanups; }
    static LWError NewTime(LWInstance, LWFrame, LWTime) { return ++newTimes, nullptr; }
    static unsigned Flags(LWInstance) { return 0; }
    static void Evaluate(LWInstance, const PixelAccess *pa) {
        ++samples;
        BufferValue raw, rgba[4];
        pa->bufVal(LWBUF_RAW_RED, 1, &raw);
        rgba[0] = rgba[1] = rgba[2] = rgba[3] = raw > 100 ? 255 : 0;
        pa->setRGBA(rgba);
    }
};

TEST(Renderer, PixelFiltersSeeEverySampleOfEveryPassAndOneSession) {
    // A half-plane of raw red 0.6 (153) at z = 10 whose edge runs straight
    // down the frame at x = 20.3 pixels. Filtered after the average, column
    // 20's red of 0.3 x 153 would go black; filtered sample by sample, the
    // seventeen passes' white samples average to the share of the pixel left
    // of the edge, 0.3, within the 1/17 a pass's column holds.
    const int W = 40, H = 8;
    RenderScene r(W, H);
    const double z = 10, x = (20.3 / W * 2 - 1) / 3.2 * W / H * z;  // the zoom spans the height
    Item &half = Luminous(r.Object("Half", Square(-50, -50, x, 50, z), {Quad(0)}));
    half.geometry.surfaces[0].color = {0.6, 0, 0};
    r.s.antialiasing = 3, r.s.adaptiveSampling = false;
    PixelFilterHandler threshold{};
    threshold.init = Thresholds::Init, threshold.cleanup = Thresholds::Cleanup, threshold.newTime = Thresholds::NewTime;
    threshold.flags = Thresholds::Flags, threshold.evaluate = Thresholds::Evaluate;
    r.s.filterPlugins.push_back({"PixelFilterHandler", "Threshold", &threshold, nullptr, nullptr});
    Thresholds::inits = Thresholds::cleanups = Thresholds::newTimes = Thresholds::samples = 0;
    {
        Renderer renderer(r.host);
        RgbaImage im;
        std::string error;
        for (int frame : {1, 2, 3}) ASSERT_TRUE(renderer.Render(frame, &im, &error)) << error;
        for (int y = 0; y < H; ++y) {
            EXPECT_EQ(Red(im, 10, y), 255);
            EXPECT_NEAR(Red(im, 20, y) / 255.0, 0.3, 1.0 / 17 + 0.5 / 255) << y;
            EXPECT_EQ(Red(im, 30, y), 0);
        }
        EXPECT_EQ(Thresholds::samples, renderer.primaryRays) << "one evaluation a sample";
        EXPECT_EQ(Thresholds::inits, 1) << "one session for the three frames";
        EXPECT_EQ(Thresholds::cleanups, 0);
        EXPECT_EQ(Thresholds::newTimes, 3);
    }
    EXPECT_EQ(Thresholds::cleanups, 1) << "ended with the renderer";
}

}  // namespace
