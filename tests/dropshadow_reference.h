// DropShadow computed the direct way, sample by sample over the ellipse, for
// checking the plug-in's faster gather and for measuring against it. Not part
// of the module. The ellipse's radii and the shadow's offset are given, worked
// out by hand from the settings for each frame, so that the mapping from the
// settings is checked too.
#pragma once

#include <vector>

struct ShadowSettings {
    double xOffset = 0.1, yOffset = 0.07, softness = 0.4, opacity = 0.65;
    int colour[3] = {0, 0, 0};
    bool addToAlpha = false, fields = false;
};

// The sampled ellipse: radii in pixels, and where the shadow reads its alpha
// from (pixel x reads around x + ox); with fields every other row only.
struct ShadowEllipse {
    int rx, ry, ox, oy;
};

// rgba interleaved, width x height; the frame is the image (scale 1).
inline std::vector<unsigned char> DirectDropShadow(const std::vector<unsigned char> &rgba, int width, int height,
                                                   const ShadowSettings &s, const ShadowEllipse &e) {
    std::vector<unsigned char> out = rgba;
    if (s.opacity <= 0) return out;
    const int rx = e.rx, ry = e.ry, ox = e.ox, oy = e.oy, step = s.fields ? 2 : 1;
    double ax = 1.0 / ((rx + 1.0) * (rx + 1.0)), ay = 1.0 / ((ry + 1.0) * (ry + 1.0));
    auto alphaAt = [&](int x, int y) { return rgba[(static_cast<size_t>(y) * width + x) * 4 + 3]; };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            unsigned char *px = &out[(static_cast<size_t>(y) * width + x) * 4];
            int a = px[3];
            double t = 1 - a * (1.0 / 255);
            if (t <= 0) continue;
            long sum = 0, count = 0;
            for (int j = -ry; j <= ry; j += step) {
                int yy = y + oy + j;
                int read = yy < 1 ? 0 : (yy < height - 1 ? yy : height - 1);
                for (int i = -rx; i <= rx; ++i) {
                    int xx = x + ox + i;
                    if (i * i * ax + j * j * ay > 1) continue;
                    ++count;
                    if (xx >= 0 && xx < width && yy >= 0 && yy < height) sum += alphaAt(xx, read);
                }
            }
            double cover = sum * (1.0 / 255) / count, w = cover * s.opacity * t;
            // Levels are truncated, a value within 1e-7 below a level counting as it.
            auto level = [](double v) { v += 1e-7; return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v)); };
            for (int c = 0; c < 3; ++c) px[c] = level(s.colour[c] * w + px[c] * (1 - w));
            if (s.addToAlpha) px[3] = level(255 - (255 - a) * (1 - cover * s.opacity * t));
        }
    return out;
}
