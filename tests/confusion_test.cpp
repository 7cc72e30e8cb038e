// Confusion over small frames with depth, against values worked out by hand and
// against a disk blur summed sample by sample, as a plain reading of the
// filter's definition would.
#include <cmath>
#include <cstring>

#include "controls/static_controls.h"
#include "image_filter_test.h"

namespace {

class Confusion : public ImageFilterTest {
protected:
    Confusion() : ImageFilterTest("Confusion") {}
    static std::string Focus(const char *name) {
        return " BEGIN RADIO FOCUSTYPE\n  SELECTION 0\n END RADIO FOCUSTYPE\n BEGIN ITEM FOCUS\n OBJECT 1 1 " +
               std::to_string(std::strlen(name)) + " @" + name + "\n END ITEM FOCUS\n";
    }
    static RgbaImage WithDepth(RgbaImage image, std::vector<float> depth) {
        image.depth = std::move(depth);
        return image;
    }
};

// The blur written out sample by sample: every (i, j) of the square round the
// pixel, inside the image and inside the disk. f = 10, F-stop 4, so s = 1/40.
RgbaImage DirectBlur(const RgbaImage &in, double frameWidth, bool blurBackground) {
    RgbaImage out = in;
    const double f = 10, s = 1.0 / 40;
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x) {
            const unsigned char *px = &in.rgba[(y * in.width + x) * 4];
            if (px[3] == 0 && !blurBackground) continue;
            double r = std::min(20.0, frameWidth * std::fabs(in.depth[y * in.width + x] - f) * s * 0.0028);
            int R = static_cast<int>(r), Q = static_cast<int>(r * r);
            long sum[3] = {}, count = 0;
            for (int i = std::max(-R, -x); i <= R && x + i < in.width; ++i)
                for (int j = std::max(-R, -y); j <= R && y + j < in.height; ++j)
                    if (i * i + j * j <= Q) {
                        for (int c = 0; c < 3; ++c) sum[c] += in.rgba[((y + j) * in.width + x + i) * 4 + c];
                        ++count;
                    }
            for (int c = 0; c < 3; ++c) out.rgba[(y * in.width + x) * 4 + c] = static_cast<unsigned char>(sum[c] / count);
        }
    return out;
}

TEST_F(Confusion, MapModes) {
    // c = |z - 10| / 40 * 75: z = 10 gives 0, 14 gives 7.5 (7), 0 gives 18.75
    // (18), 30 gives 37.5 (37), 200 gives 356 (held at 255).
    const float depths[5] = {10, 14, 0, 30, 200};
    const int want[5] = {0, 7, 18, 37, 255};
    RgbaImage source = Noise(5, 1, 2);
    source = WithDepth(source, {depths, depths + 5});
    for (int mode = 0; mode <= 5; ++mode) {
        Recreate();
        RgbaImage out = Run(source, Radio("APPLYTYPE", mode) + Toggle("BLURBG", true));
        for (int x = 0; x < 5; ++x) {
            const unsigned char *in = At(source, x, 0), *got = At(out, x, 0);
            int grey = mode % 2 ? 255 - want[x] : want[x];
            if (mode <= 1) {
                EXPECT_TRUE(got[0] == grey && got[1] == grey && got[2] == grey && got[3] == in[3]) << mode << " " << x;
            } else if (mode <= 3) {
                EXPECT_TRUE(got[0] == in[0] && got[1] == in[1] && got[2] == in[2] && got[3] == grey) << mode << " " << x;
            } else if (mode == 5) {
                EXPECT_EQ(std::memcmp(got, in, 4), 0) << "disabled, " << x;
            }
        }
    }
    EXPECT_STREQ(h->descln(instance), "Confusion");
    EXPECT_EQ(h->flags(instance), 4096u);
}

TEST_F(Confusion, FastBlurEqualsTheDirectSum) {
    // Random colours, alphas (a quarter of them background) and depths from
    // the focus out past the 20-pixel cap, which a 700-wide frame reaches at
    // |z - 10| = 20 * 40 / (700 * 0.0028), about 408.
    const int w = 70, hgt = 50;
    std::mt19937 random(5);
    for (bool background : {false, true}) {
        RgbaImage source = Noise(w, hgt, 9);
        for (int i = 0; i < w * hgt; ++i) {
            if (random() % 4 == 0) source.rgba[i * 4 + 3] = 0;
            source.depth.push_back(static_cast<float>(random() % 4 == 0 ? 10 : (random() % 60000) / 100.0));
        }
        host.scene.frameWidth = 700;  // the frame's full width, of which this is a corner at full scale
        Recreate();
        host.scene.renderOptions |= LWROPT_LIMITEDREGION;
        host.scene.limitedRegion[0] = host.scene.limitedRegion[1] = 0;
        RgbaImage image = source;
        host.scene.frameHeight = 500;
        Settings(h, instance, "Confusion", Toggle("BLURBG", background));
        std::string error;
        ASSERT_TRUE(RunImageFilter(h, instance, &image, 0, 0, &error)) << error;
        RgbaImage want = DirectBlur(source, 700, background);
        int differ = 0, changed = 0;
        for (size_t i = 0; i < image.rgba.size(); ++i) {
            differ += image.rgba[i] != want.rgba[i];
            changed += image.rgba[i] != source.rgba[i];
        }
        EXPECT_EQ(differ, 0) << "Blur Background " << background;
        EXPECT_GT(changed, w * hgt) << "the blur did something";
        // In focus, and background with Blur Background off: untouched.
        for (int i = 0; i < w * hgt; ++i)
            if (source.depth[i] == 10 || (!background && source.rgba[i * 4 + 3] == 0)) {
                ASSERT_EQ(std::memcmp(&image.rgba[i * 4], &source.rgba[i * 4], 4), 0) << i;
            }
    }
}

TEST_F(Confusion, CapAndBorder) {
    // A 61 x 61 frame, red inside the quarter disk x^2 + y^2 <= 400 round the
    // top left corner and black elsewhere. Far out of focus (r held at 20,
    // Q = 400) the corner's disk is exactly that quarter, so averaging only
    // what lies inside the image gives full red; counting the outside as
    // black would give 255 * 335 / 1257 = 67.
    const int n = 61;
    RgbaImage card;
    card.width = card.height = n;
    card.rgba.assign(n * n * 4, 255);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            unsigned char *px = &card.rgba[(y * n + x) * 4];
            px[0] = x * x + y * y <= 400 ? 255 : 0;
            px[1] = px[2] = 0;
        }
    RgbaImage far = Run(WithDepth(card, std::vector<float>(n * n, 1e5f)), "");
    EXPECT_EQ(At(far, 0, 0)[0], 255);
    // Past the cap nothing changes; inside it (r = 10 at |z - 10| = 2342) it does.
    RgbaImage farther = Run(WithDepth(card, std::vector<float>(n * n, 1e7f)), "");
    EXPECT_EQ(far.rgba, farther.rgba);
    RgbaImage nearer = Run(WithDepth(card, std::vector<float>(n * n, 2352.f)), "");
    EXPECT_NE(far.rgba, nearer.rgba);
    EXPECT_EQ(At(nearer, 0, 0)[0], 255);
}

TEST_F(Confusion, FocusFromAnItemSeenByTheCamera) {
    // Camera at (1, 0, -2); the null at (4, 5, 8). Looking down +Z the null is
    // 10 ahead; turned to heading 90 (looking down +X) it is 3 ahead; turned
    // to heading 180 it is behind and the filter does nothing.
    Item &camera = host.scene.AddCamera();
    Item &null = host.scene.AddNullObject("Target");
    null.SetRest({4, 5, 8});
    RgbaImage source = Noise(3, 1, 4);
    const float depths[3] = {10, 3, 6.5f};
    source = WithDepth(source, {depths, depths + 3});
    struct Case {
        double heading;
        int grey[3];  // the map at depths 10, 3 and 6.5, s = 1/(f * 4)
    } cases[] = {
        {0, {0, 13, 6}},    // f = 10: 7/40*75 = 13.1, 3.5/40*75 = 6.6
        {90, {43, 0, 21}},  // f = 3: 7/12*75 = 43.75, 3.5/12*75 = 21.9
    };
    for (const Case &c : cases) {
        camera.SetRest({1, 0, -2}, {c.heading, 0, 0});
        Recreate();
        RgbaImage out = Run(source, Focus("Target") + Radio("APPLYTYPE", 0));
        for (int x = 0; x < 3; ++x) EXPECT_EQ(At(out, x, 0)[0], c.grey[x]) << c.heading << " " << x;
    }
    camera.SetRest({1, 0, -2}, {180, 0, 0});
    Recreate();
    RgbaImage out = Run(source, Focus("Target") + Radio("APPLYTYPE", 0));
    EXPECT_EQ(out.rgba, source.rgba) << "behind the camera";
    Recreate();
    out = Run(source, Radio("FOCUSTYPE", 0) + Radio("APPLYTYPE", 0));
    EXPECT_EQ(out.rgba, source.rgba) << "no focus item";
}

TEST_F(Confusion, PreviewFollowsTheFocus) {
    // Depth runs to where the blur is capped: for a 640-wide frame at f = 10
    // and F-stop 4 that is 10 + 20 * 40 / (640 * 0.0028) = 456.4, so the
    // focus line (yellow) stands at column 170 * 10 / 456.4 = 3. Beyond it
    // the map strip brightens to white and the blur curve climbs to the cap.
    host.scene.frameWidth = 640;
    auto *p = static_cast<PluginInstance *>(instance);
    auto *preview = reinterpret_cast<PreviewControl *>(FindControl(p->panel, "PREVIEW"));
    ASSERT_EQ(preview->width, 170);
    p->panel->afterLoad(p);
    auto pixel = [preview](int x, int y) { return &preview->rgb[(y * 170 + x) * 3]; };
    for (int x = 0; x < 170; ++x) {
        bool yellow = pixel(x, 80)[0] > 200 && pixel(x, 80)[1] > 200 && pixel(x, 80)[2] < 50;
        EXPECT_EQ(yellow, x == 3) << x;
    }
    EXPECT_LT(pixel(5, 160)[0], 20) << "just behind the focus the map is dark";
    EXPECT_EQ(pixel(168, 160)[0], 255) << "at the far end it is white";
    int orange = 0;
    for (int y = 0; y < 10; ++y) orange += pixel(169, y)[0] == 255 && pixel(169, y)[1] == 150;
    EXPECT_GT(orange, 0) << "the blur curve reaches the cap";
    EXPECT_EQ(pixel(60, 5)[1], 36) << "halfway it is well below";
    Settings(h, instance, "Confusion", Radio("APPLYTYPE", 5));
    p->panel->afterLoad(p);
    int bright = 0;
    for (int i = 0; i < 170 * 170 * 3; ++i) bright += preview->rgb[i] > 120;
    EXPECT_EQ(bright, 0) << "disabled: dimmed";
}

}  // namespace
