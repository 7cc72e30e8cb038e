// Rayleigh over pixels with depth and DropShadow over whole frames, run by the
// host's passes, against formulas and a direct gather worked out here.
#include <cmath>
#include <random>

#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "dropshadow_reference.h"
#include "host/passes.h"
#include "image_filter_test.h"
#include "plugin_harness.h"

namespace {

class Rayleigh : public InstanceTest<PixelFilterHandler> {
protected:
    Rayleigh() : InstanceTest("Rayleigh") {}
    // One pixel of colour (100, 150, 200), alpha a, at a depth.
    std::array<int, 4> Pixel(double depth, int a = 128) {
        RgbaImage image = Picture(1, 1, {100, 150, 200, static_cast<unsigned char>(a)}, {static_cast<float>(depth)});
        std::string error;
        EXPECT_TRUE(RunPixelFilter(h, instance, &image, 0, 0, &error)) << error;
        return {image.rgba[0], image.rgba[1], image.rgba[2], image.rgba[3]};
    }
};

int Byte(double v) { return static_cast<int>(std::floor(v + 0.5)); }

TEST_F(Rayleigh, FogsEachChannelByItsOwnFalloff) {
    Settings(h, instance, "Rayleigh", Number("NOFOG", 10) + Number("MAXFOG", 500));
    for (double depth : {60.0, 300.0, 5000.0}) {
        double d = std::min(depth, 500.0) - 10;
        double tr = std::exp(-d / 1000), tg = std::exp(-d / 3000), tb = std::exp(-d / 20000);
        auto px = Pixel(depth);
        EXPECT_EQ(px[0], Byte(38 * (1 - tr) + tr * 100)) << depth;
        EXPECT_EQ(px[1], Byte(134 * (1 - tg) + tg * 150)) << depth;
        EXPECT_EQ(px[2], Byte(185 * (1 - tb) + tb * 200)) << depth;
        EXPECT_EQ(px[3], 128) << "no alpha effect";
    }
    EXPECT_EQ(Pixel(5000), Pixel(500)) << "beyond Max Distance: the fog of Max Distance";
    auto clear = Pixel(5);
    EXPECT_EQ(clear, (std::array<int, 4>{100, 150, 200, 128})) << "nearer than the clear distance";
}

TEST_F(Rayleigh, AlphaModes) {
    // At the clear distance: d = 0, the colour stays, but Replace Alpha writes 0.
    Settings(h, instance, "Rayleigh", Number("NOFOG", 10) + Radio("ALPHA", 2));
    EXPECT_EQ(Pixel(10), (std::array<int, 4>{100, 150, 200, 0}));
    double d = 1000, m = 1 - (std::exp(-1.0) + std::exp(-d / 3000) + std::exp(-d / 20000)) / 3;
    Settings(h, instance, "Rayleigh", Number("NOFOG", 0) + Radio("ALPHA", 1));
    EXPECT_EQ(Pixel(d, 51)[3], Byte(255 * (1 - (1 - 0.2) * (1 - m))));
    Settings(h, instance, "Rayleigh", Radio("ALPHA", 2));
    EXPECT_EQ(Pixel(d, 51)[3], Byte(255 * m));
    // Max Distance below the clear distance: nothing is touched.
    Settings(h, instance, "Rayleigh", Number("NOFOG", 100) + Number("MAXFOG", 50));
    EXPECT_EQ(Pixel(1e6, 51), (std::array<int, 4>{100, 150, 200, 51}));
}

TEST_F(Rayleigh, AnimatedFalloffsStopAtAThousandth) {
    // RLENGTH falls linearly to 0 and below; the frame holds it at 0.001.
    Settings(h, instance, "Rayleigh",
             std::string(" BEGIN NUM RLENGTH\n  ANIMATE LINEAR\n VALUE 1\n  LINEAR -1\n END\n") + Number("MAXFOG", 99999) +
                 Number("NOFOG", 0) + Toggle("DISABLE", false));
    host.scene.framesPerSecond = 1;
    RgbaImage image = Picture(1, 1, {100, 150, 200, 255}, {0.002f});
    std::string error;
    ASSERT_TRUE(RunPixelFilter(h, instance, &image, 5, 5.0, &error)) << error;  // frame 5: 1 - 4 = -3
    EXPECT_EQ(image.rgba[0], Byte(38 * (1 - std::exp(-2.0)) + std::exp(-2.0) * 100));
    EXPECT_STREQ(h->descln(instance), "Rayleigh");
    Settings(h, instance, "Rayleigh", Toggle("DISABLE", true));
    EXPECT_STREQ(h->descln(instance), "Rayleigh: Disabled");
    auto *p = static_cast<PluginInstance *>(instance);
    p->panel->afterLoad(p);  // as the window does when it opens
    for (const char *key : {"NOFOG", "COLOR", "BLENGTH", "ALPHA"}) EXPECT_TRUE(FindControl(p->panel, key)->ghosted) << key;
    EXPECT_FALSE(FindControl(p->panel, "DISABLE")->ghosted);
    EXPECT_EQ(Pixel(5000), (std::array<int, 4>{100, 150, 200, 128}));
}

class DropShadow : public ImageFilterTest {
protected:
    DropShadow() : ImageFilterTest("DropShadow") {}
    LWInstance &shadow = instance;
    std::vector<unsigned char> Run(const std::vector<unsigned char> &rgba, int w, int hgt, const ShadowSettings &s) {
        host.scene.renderOptions = s.fields ? LWROPT_FIELDS : 0;
        return ImageFilterTest::Run(Picture(w, hgt, rgba), Number("XOFF", s.xOffset) + Number("YOFF", s.yOffset) +
                                               Number("BLUR", s.softness) + Number("STRENGTH", s.opacity) +
                                               Toggle("ALPHA", s.addToAlpha) + " BEGIN COLOR COLOR\n  RED " +
                                               std::to_string(s.colour[0]) + "\n  GREEN " + std::to_string(s.colour[1]) +
                                               "\n  BLUE " + std::to_string(s.colour[2]) + "\n END\n")
            .rgba;
    }
};

std::vector<unsigned char> RandomImage(int w, int h, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> rgba(static_cast<size_t>(w) * h * 4);
    for (size_t i = 0; i < rgba.size(); ++i) {
        unsigned v = random() % 256;
        // Alpha mostly fully transparent or opaque, as in renders, with soft edges.
        if (i % 4 == 3) v = v < 100 ? 0 : (v > 180 ? 255 : v);
        rgba[i] = static_cast<unsigned char>(v);
    }
    return rgba;
}

TEST_F(DropShadow, GatherEqualsTheDirectSum) {
    // Radii are 6 % of the frame's width and height times the softness,
    // truncated and held at 20; the shadow reads alpha from minus the offset
    // times the frame's size, truncated toward zero. With fields the rows
    // sampled stay in one field: an odd vertical radius or offset goes one up.
    // No product lands within rounding of a whole number.
    struct Case {
        int w, h;
        ShadowSettings s;
        ShadowEllipse e;
    } cases[] = {
        // 64 x 0.024 = 1.536, 48 x 0.024 = 1.152; -6.4, -3.36.
        {64, 48, {}, {1, 1, -6, -3}},
        // 200 x 0.114 = 22.8 (held at 20), 150 x 0.114 = 17.1; 8.6, -31.5.
        {200, 150, {.xOffset = -0.043, .yOffset = 0.21, .softness = 1.9, .opacity = 1.0, .colour = {10, 200, 30}},
         {20, 17, 8, -31}},
        // 100 x 0.054 = 5.4, 80 x 0.054 = 4.32; -33, 24.8.
        {100, 80, {.xOffset = 0.33, .yOffset = -0.31, .softness = 0.9, .opacity = 0.5, .addToAlpha = true},
         {5, 4, -33, 24}},
        // 90 x 0.078 = 7.02, 61 x 0.078 = 4.758; -1.8, -3.05 (odd: -2 with fields).
        {90, 61, {.xOffset = 0.02, .yOffset = 0.05, .softness = 1.3, .fields = true}, {7, 4, -1, -2}},
        // No softness: one sample; -5.2, -2.8.
        {52, 40, {.softness = 0}, {0, 0, -5, -2}},
        // 410 x 0.09 = 36.9 and 310 x 0.09 = 27.9, both held at 20; -41, -21.7.
        {410, 310, {.softness = 1.5}, {20, 20, -41, -21}},
    };
    unsigned seed = 1;
    for (const Case &c : cases) {
        auto image = RandomImage(c.w, c.h, seed++);
        EXPECT_EQ(Run(image, c.w, c.h, c.s), DirectDropShadow(image, c.w, c.h, c.s, c.e)) << c.w << "x" << c.h;
    }
}

TEST_F(DropShadow, DocumentedCases) {
    // A transparent 40 x 40 frame with an opaque 10 x 10 square in the middle.
    int w = 40, hgt = 40;
    std::vector<unsigned char> image(w * hgt * 4, 255);
    for (int i = 0; i < w * hgt; ++i) image[i * 4 + 3] = 0;
    for (int y = 15; y < 25; ++y)
        for (int x = 15; x < 25; ++x) image[(y * w + x) * 4 + 3] = 255;
    auto at = [&](const std::vector<unsigned char> &img, int x, int y) { return img[(y * w + x) * 4]; };

    // Positive offsets move the shadow right and down: pixel x reads alpha at x - 4.
    ShadowSettings sharp{.xOffset = 0.1, .yOffset = 0.1, .softness = 0, .opacity = 1};
    auto out = Run(image, w, hgt, sharp);
    EXPECT_EQ(at(out, 27, 27), 0) << "softness 0: the single offset sample, full shadow";
    EXPECT_EQ(at(out, 30, 30), 255) << "outside the shadow";
    EXPECT_EQ(at(out, 20, 20), 255) << "opaque pixels are never changed";
    ShadowSettings none = sharp;
    none.opacity = 0;
    EXPECT_EQ(Run(image, w, hgt, none), image) << "opacity 0 leaves the frame unchanged";
    EXPECT_STREQ(h->descln(shadow), "Drop Shadow");

    // Past 20 pixels the radius stops growing: on 200 pixels softness 2 and 1.8
    // both ask for more than 20 (24 and 21).
    auto noisy = RandomImage(200, 200, 99);
    ShadowSettings wide{.softness = 2}, wider{.softness = 1.8};
    EXPECT_EQ(Run(noisy, 200, 200, wide), Run(noisy, 200, 200, wider));
    ShadowSettings inside{.softness = 1.5};  // 18: still growing
    EXPECT_NE(Run(noisy, 200, 200, inside), Run(noisy, 200, 200, wide));

    // An opaque frame edge: the border pixels see samples outside, which count but add nothing.
    std::vector<unsigned char> band(w * hgt * 4, 255);
    for (int y = 0; y < hgt; ++y)
        for (int x = 0; x < w; ++x) band[(y * w + x) * 4 + 3] = x < 20 ? 128 : 0;
    ShadowSettings soft{.xOffset = 0, .yOffset = 0, .softness = 1, .opacity = 1};  // radius 2
    auto faded = Run(band, w, hgt, soft);
    EXPECT_GT(at(faded, 10, 0), at(faded, 10, 20)) << "weaker shadow (lighter) at the top border";
}

const PreviewControl *PreviewOf(LWInstance instance) {
    auto *p = static_cast<PluginInstance *>(instance);
    p->panel->afterLoad(p);  // as the window does when it opens
    return reinterpret_cast<const PreviewControl *>(FindControl(p->panel, "PREVIEW"));
}

TEST_F(Rayleigh, PreviewShowsFogOverDistance) {
    // Defaults: falloffs 1000, 3000 and 20000, so the distance axis runs to
    // 3 * 20000 = 60000 and column 64 stands at 64.5 / 128 * 60000. The white
    // bar (235) there is fog (38, 134, 185) mixed by each channel's exp(-d / L).
    const PreviewControl *preview = PreviewOf(instance);
    ASSERT_EQ(preview->width, 128);
    const double d = 64.5 / 128 * 60000, fogColour[3] = {38, 134, 185}, falloff[3] = {1000, 3000, 20000};
    for (int c = 0; c < 3; ++c) {
        double t = std::exp(-d / falloff[c]);
        EXPECT_NEAR(preview->rgb[(5 * 128 + 64) * 3 + c], fogColour[c] * (1 - t) + 235 * t, 1) << c;
    }
    // What is left of blue is plotted higher up than red, which is gone.
    auto rowOf = [preview](int channel) {
        for (int y = 84; y < 128; ++y)
            if (preview->rgb[(y * 128 + 64) * 3 + channel] == 255) return y;
        return -1;
    };
    // (Red and green are both gone there; green is drawn over red.)
    EXPECT_EQ(rowOf(1), 126) << "nothing left: the bottom line";
    EXPECT_LT(rowOf(2), 126 - 5);
    // A change redraws it: a shorter blue falloff brings blue down.
    int blueBefore = rowOf(2);
    Settings(h, instance, "Rayleigh", Number("BLENGTH", 2000));
    preview = PreviewOf(instance);
    EXPECT_GT(rowOf(2), blueBefore);
}

TEST_F(DropShadow, PreviewShowsTheShadowAsSet) {
    // The card's backdrop (alpha 0) darkens where the shadow falls: below and
    // to the right of the shapes with the default offsets, to the left with a
    // negative X offset; the opaque shapes are untouched; opacity 0 leaves
    // the card as it is.
    auto darkened = [this](const std::string &settings, double *meanShift) {
        Settings(h, shadow, "DropShadow", Number("STRENGTH", 0));
        std::vector<unsigned char> card(PreviewOf(shadow)->rgb, PreviewOf(shadow)->rgb + 128 * 128 * 3);
        Settings(h, shadow, "DropShadow", Number("STRENGTH", 0.65) + settings);
        const PreviewControl *preview = PreviewOf(shadow);
        int count = 0;
        double sumX = 0;
        for (int i = 0; i < 128 * 128; ++i)
            if (preview->rgb[i * 3] + 20 < card[i * 3]) ++count, sumX += i % 128;
        *meanShift = count ? sumX / count : 0;
        return count;
    };
    double right = 0, left = 0;
    EXPECT_GT(darkened("", &right), 500);
    EXPECT_GT(darkened(Number("XOFF", -0.1), &left), 500);
    EXPECT_GT(right, left + 15) << "the shadow moves with the X offset (about 25 pixels of 128 between them)";
    double none = 0;
    EXPECT_EQ(darkened(Toggle("DISABLE", true), &none), 0);
}

// A pixel filter of version 2, as the 5.0 kit built them: what it finds in
// its access.
struct VersionTwoFilter {
    static inline bool castGiven, shadeGiven;
    static inline BufferValue shading, diffuse;
    static LWInstance Create(LWError *) { return reinterpret_cast<LWInstance>(1); }
    static LWError None(LWInstance) { return nullptr; }
    static void Cleanup(LWInstance) {}
    static LWError NewTime(LWInstance, LWFrame, LWTime) { return nullptr; }
    static unsigned Flags(LWInstance) { return 1u << LWBUF_SHADING | 1u << LWBUF_DIFFSHADE; }
    static void Evaluate(LWInstance, const PixelAccess *access) {
        castGiven = access->rayCast != nullptr, shadeGiven = access->rayShade != nullptr;
        access->bufVal(LWBUF_SHADING, 1, &shading);
        access->bufVal(LWBUF_DIFFSHADE, 1, &diffuse);
        BufferValue rgba[4] = {};
        access->setRGBA(rgba);
    }
    static int Activate(long version, GlobalFunc *, void *local, void *) {
        if (version != 2) return AFUNC_BADVERSION;
        auto *h = static_cast<PixelFilterHandler *>(local);
        h->create = Create, h->init = None, h->cleanup = Cleanup, h->newTime = NewTime;
        h->evaluate = Evaluate, h->flags = Flags;
        return AFUNC_OK;
    }
};

TEST(OlderHandlers, AVersionTwoPixelFilterGetsTheVersionTwoAccess) {
    static ServerRecord servers[] = {{"PixelFilterHandler", "Old", VersionTwoFilter::Activate}, {nullptr, nullptr, nullptr}};
    ModuleDescriptor descriptor{MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE_X86, nullptr, nullptr, servers};
    LoadedModule module;
    std::string error;
    ASSERT_TRUE(AttachModule(&descriptor, &module, &error)) << error;
    EmbeddedHost host;
    host.UseModule(&module);
    long version = 0;
    auto *h = static_cast<const PixelFilterHandler *>(host.Handler("PixelFilterHandler", "Old", &error, &version));
    ASSERT_NE(h, nullptr) << error;
    EXPECT_EQ(version, 2);
    RgbaImage image = Picture(1, 1, std::vector<unsigned char>(4, 0));
    image.buffers[LWBUF_SHADING].assign(1, 0.5f);
    image.buffers[LWBUF_DIFFSHADE].assign(1, 0.5f);
    ASSERT_TRUE(RunPixelFilter(h, nullptr, &image, 0, 0, &error)) << error;
    EXPECT_FALSE(VersionTwoFilter::castGiven);   // the ray cast and shade came with version 3
    EXPECT_FALSE(VersionTwoFilter::shadeGiven);
    EXPECT_EQ(VersionTwoFilter::shading, 128);  // a shading of one half as a byte (127.5 rounds up)
    EXPECT_EQ(VersionTwoFilter::diffuse, 0);    // no diffuse shading buffer before version 3
}

// An image filter that reports every line to its monitor and stops when told,
// as the host maker's samples do.
struct CountingFilter {
    static inline int lines;
    static LWInstance Create(LWError *) { return reinterpret_cast<LWInstance>(1); }
    static unsigned Flags(LWInstance) { return 0; }
    static void Process(LWInstance, const FilterAccess *access) {
        lines = 0;
        access->monitor->init(access->monitor->data, static_cast<unsigned>(access->height));
        for (int y = 0; y < access->height; ++y) {
            for (int x = 0; x < access->width; ++x) {
                BufferValue rgb[3] = {1, 2, 3};
                access->setRGB(x, y, rgb);
                access->setAlpha(x, y, 4);
            }
            ++lines;
            if (access->monitor->step(access->monitor->data, 1)) break;
        }
        access->monitor->done(access->monitor->data);
    }
};

TEST(OlderHandlers, AnImageFiltersMonitorShowsProgressAndStopsItWhenAsked) {
    ImageFilterHandler h{};
    h.create = CountingFilter::Create, h.process = CountingFilter::Process, h.flags = CountingFilter::Flags;
    EmbeddedHost host;
    std::vector<std::pair<unsigned, unsigned>> seen;
    struct Case {
        unsigned stopAfter;  // 0: never
        int lines;
        bool finished;
    } cases[] = {{0, 6, true}, {2, 2, false}};
    for (const Case &c : cases) {
        seen.clear();
        host.filterProgress = [&](unsigned done, unsigned total) {
            seen.push_back({done, total});
            return c.stopAfter == 0 || done < c.stopAfter;
        };
        RgbaImage image = Picture(3, 6, std::vector<unsigned char>(3 * 6 * 4, 0));
        std::string error;
        EXPECT_EQ(RunImageFilter(&h, nullptr, &image, 0, 0, &error), c.finished);
        EXPECT_EQ(CountingFilter::lines, c.lines);
        ASSERT_EQ(seen.size(), static_cast<size_t>(c.lines));
        EXPECT_EQ(seen.back(), std::make_pair(static_cast<unsigned>(c.lines), 6u));
        if (!c.finished) {
            EXPECT_EQ(error, "the filter was stopped");
        }
    }
}

}  // namespace
