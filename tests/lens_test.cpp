// Lens on small frames, against positions worked out by hand from the warp's
// normalisation (pixel / (size - 1)) and its half-pixel conventions.
#include <cmath>

#include "controls/static_controls.h"
#include "image_filter_test.h"

namespace {

class Lens : public ImageFilterTest {
protected:
    Lens() : ImageFilterTest("Lens") {}
};

const std::string kWhiteOffscreen = " BEGIN COLOR COLOR\n  RED 255\n  GREEN 255\n  BLUE 255\n END\n";

bool SamePixel(const unsigned char *a, const unsigned char *b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2] && a[3] == b[3];
}
bool Offscreen(const unsigned char *p, int r, int g, int b) { return p[0] == r && p[1] == g && p[2] == b && p[3] == 0; }

TEST_F(Lens, WholeFrameMappings) {
    const int w = 24, hgt = 18;
    RgbaImage source = Noise(w, hgt, 7);
    struct Case {
        const char *what;
        std::string settings;
        // Where output (x, y) reads from, or -1 for the offscreen colour.
        int (*column)(int x, int w);
        int (*row)(int y, int h);
    } cases[] = {
        {"defaults: every pixel is itself", "", [](int x, int) { return x; }, [](int y, int) { return y; }},
        // sx = (w - 1)(0.5 - a), a = (x + 0.5)/(w - 1) - 0.5: w - 1.5 - x, truncated;
        // the last column lands on -0.5, which still reads column 0.
        {"X Scaling -1 mirrors", Number("XSCALE", -1), [](int x, int w) { return x == w - 1 ? 0 : w - 2 - x; },
         [](int y, int) { return y; }},
        {"X Roll 0.5 swaps the halves", Number("XROLL", 0.5), [](int x, int w) { return (x + w / 2) % w; },
         [](int y, int) { return y; }},
        {"Y Roll 0.5 swaps top and bottom", Number("YROLL", 0.5), [](int x, int) { return x; },
         [](int y, int h) { return (y + h / 2) % h; }},
        {"Disable copies", Radio("APPLY", 2) + Number("XSCALE", -1), [](int x, int) { return x; },
         [](int y, int) { return y; }},
        // Inverse with X Offset 0.5: u' = u - 0.5. The left half falls outside
        // the unit square, is not rolled, and lies off the image; the right half
        // is rolled by w/2 and lands back on itself (x + 0.5, truncated).
        {"inverse roll only inside the unit square", Radio("APPLY", 1) + Number("XOFFSET", 0.5) + Number("XROLL", 0.5),
         [](int x, int w) { return 2 * x >= w - 1 ? x : (2 * x + 2 > w - 1 ? 0 : -1); },
         [](int y, int) { return y; }},
    };
    for (const Case &c : cases) {
        Recreate();
        RgbaImage out = Run(source, kWhiteOffscreen + c.settings);
        for (int y = 0; y < hgt; ++y)
            for (int x = 0; x < w; ++x) {
                int sx = c.column(x, w), sy = c.row(y, hgt);
                if (sx < 0 || sy < 0)
                    EXPECT_TRUE(Offscreen(At(out, x, y), 255, 255, 255)) << c.what << " at " << x << "," << y;
                else
                    EXPECT_TRUE(SamePixel(At(out, x, y), At(source, sx, sy)))
                        << c.what << " at " << x << "," << y << " from " << sx << "," << sy;
            }
    }
    EXPECT_STREQ(h->descln(instance), "Lens");
}

TEST_F(Lens, KeystoneThroughZero) {
    // Factor 4: d = 1 + 4 y2 passes 0 where y2 = -0.25, a quarter of the frame
    // from the top. Rows near there are flung far out and show the offscreen
    // colour (away from the centre column, which stays on the axis).
    RgbaImage source = Noise(41, 41, 3);
    RgbaImage out = Run(source, Number("XKEYSTONE", 4) + " BEGIN COLOR COLOR\n  RED 10\n  GREEN 20\n  BLUE 30\n END\n");
    for (int y = 9; y <= 11; ++y)  // y2 = (y + 0.5)/40 - 0.5 from -0.2625 to -0.2125
        for (int x : {0, 5, 35, 40}) EXPECT_TRUE(Offscreen(At(out, x, y), 10, 20, 30)) << x << "," << y;

    // d exactly 0 becomes +1e-6, not -1e-6: on an 11 x 2 frame, Y Offset -0.5
    // puts row 0 at y2 = -0.5 and X Keystone 2 makes d = 0; X Offset leaves
    // x2 = 2.5e-7 at column 0, so x3 = +0.25 and the pixel reads column
    // 10 (0.25 + 0.5) = 7.5, truncated 7. The other sign would read column 2.
    RgbaImage strip = Noise(11, 2, 5);
    RgbaImage flung = Run(strip, Number("XKEYSTONE", 2) + Number("YOFFSET", -0.5) + Number("XOFFSET", 0.45 + 2.5e-7));
    EXPECT_TRUE(SamePixel(At(flung, 0, 0), At(strip, 7, 0)));
}

TEST_F(Lens, BilinearSampling) {
    // X Offset 0.25 / (w - 1) puts the source at x + 0.75, and the forward
    // warp's centre convention at y + 0.5: each pixel mixes four neighbours
    // with weights 1/8, 1/8, 3/8, 3/8. The last column's right neighbours are
    // off the image and count as the offscreen colour (alpha 0).
    const int w = 16, hgt = 9;
    RgbaImage source = Noise(w, hgt, 11);
    RgbaImage out = Run(source, kWhiteOffscreen + Toggle("INTERPOLATE", true) + Number("XOFFSET", 0.25 / (w - 1)));
    for (int y = 0; y < hgt; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                auto value = [&](int sx, int sy) -> double {
                    if (sx >= w || sy >= hgt) return c == 3 ? 0 : 255;
                    return At(source, sx, sy)[c];
                };
                double want = 0.125 * (value(x, y) + value(x, y + 1)) + 0.375 * (value(x + 1, y) + value(x + 1, y + 1));
                // Eighths are exact; the position's rounding may take an exact whole number one below.
                EXPECT_NEAR(At(out, x, y)[c], std::floor(want), 1) << x << "," << y << " channel " << c;
            }
}

TEST_F(Lens, InverseUndoesForward) {
    // A smooth picture through a mild barrel, keystone, shear, rotation and
    // scaling, then through the inverse with the same settings: the interior
    // comes back within the sampling's blur.
    const int w = 120, hgt = 90;
    RgbaImage smooth = Picture(w, hgt, std::vector<unsigned char>(w * hgt * 4));
    for (int y = 0; y < hgt; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char *p = &smooth.rgba[(y * w + x) * 4];
            p[0] = static_cast<unsigned char>(127.5 + 120 * std::sin(x * 0.11) * std::cos(y * 0.07));
            p[1] = static_cast<unsigned char>(2 * x);
            p[2] = static_cast<unsigned char>(2 * y);
            p[3] = 255;
        }
    std::string warp = Toggle("INTERPOLATE", true) + Number("XPIN", -0.2) + Number("YPIN", 0.1) +
                       Number("XKEYSTONE", 0.15) + Number("XSHEAR", 0.1) + Number("ROTATION", 8) + Number("XSCALE", 0.9);
    RgbaImage there = Run(smooth, warp);
    RgbaImage back = Run(there, warp + Radio("APPLY", 1));
    int worst = 0;
    for (int y = hgt / 4; y < 3 * hgt / 4; ++y)
        for (int x = w / 4; x < 3 * w / 4; ++x)
            for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(At(back, x, y)[c] - At(smooth, x, y)[c]));
    EXPECT_LE(worst, 12) << "a gradient of 2 a pixel, resampled twice, moves by at most about a pixel";
    int moved = 0;
    for (int c = 0; c < 3; ++c) moved = std::max(moved, std::abs(At(there, w / 4, hgt / 4)[c] - At(smooth, w / 4, hgt / 4)[c]));
    EXPECT_GT(moved, 12) << "the warp itself moved the picture";
}

TEST_F(Lens, PreviewShowsTheWarp) {
    // At the defaults the preview is its own test card; mirrored, the card's
    // left and right change places.
    auto *p = static_cast<PluginInstance *>(instance);
    auto *preview = reinterpret_cast<PreviewControl *>(FindControl(p->panel, "PREVIEW"));
    ASSERT_NE(preview, nullptr);
    ASSERT_EQ(preview->width, 172);
    Settings(h, instance, "Lens", "");
    p->panel->afterLoad(p);  // as the window does when it opens
    std::vector<unsigned char> card(preview->rgb, preview->rgb + 172 * 172 * 3);
    Settings(h, instance, "Lens", Number("XSCALE", -1));
    p->panel->afterLoad(p);
    int n = 172, differ = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 1; x < n - 1; ++x)
            for (int c = 0; c < 3; ++c) {
                // Mirrored: x reads n - 2 - x, as for any frame.
                EXPECT_EQ(preview->rgb[(y * n + x) * 3 + c], card[(y * n + n - 2 - x) * 3 + c]);
                differ += preview->rgb[(y * n + x) * 3 + c] != card[(y * n + x) * 3 + c];
            }
    EXPECT_GT(differ, 1000) << "the card is not symmetric, so the mirror shows";
}

}  // namespace
