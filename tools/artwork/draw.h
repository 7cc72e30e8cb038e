// The collection's artwork, drawn here: a title image for the collection and a
// title strip for every plug-in panel, in a small pixel font of our own over a
// graded band. Used by the generator that writes the stored images into the
// module and by the test that checks they decode to these pixels.
#pragma once

#include <cstring>
#include <string>

#include "tools/artwork/encode.h"

namespace artwork {

// 5 x 7 capitals, digits and a few signs; each row's low five bits, left to right.
inline const unsigned char *Glyph(char c) {
    static const struct { char c; unsigned char rows[7]; } font[] = {
        {'A', {14, 17, 17, 31, 17, 17, 17}}, {'B', {30, 17, 17, 30, 17, 17, 30}}, {'C', {14, 17, 16, 16, 16, 17, 14}},
        {'D', {30, 17, 17, 17, 17, 17, 30}}, {'E', {31, 16, 16, 30, 16, 16, 31}}, {'F', {31, 16, 16, 30, 16, 16, 16}},
        {'G', {14, 17, 16, 23, 17, 17, 15}}, {'H', {17, 17, 17, 31, 17, 17, 17}}, {'I', {14, 4, 4, 4, 4, 4, 14}},
        {'J', {7, 2, 2, 2, 2, 18, 12}},      {'K', {17, 18, 20, 24, 20, 18, 17}}, {'L', {16, 16, 16, 16, 16, 16, 31}},
        {'M', {17, 27, 21, 21, 17, 17, 17}}, {'N', {17, 17, 25, 21, 19, 17, 17}}, {'O', {14, 17, 17, 17, 17, 17, 14}},
        {'P', {30, 17, 17, 30, 16, 16, 16}}, {'Q', {14, 17, 17, 17, 21, 18, 13}}, {'R', {30, 17, 17, 30, 20, 18, 17}},
        {'S', {15, 16, 16, 14, 1, 1, 30}},   {'T', {31, 4, 4, 4, 4, 4, 4}},       {'U', {17, 17, 17, 17, 17, 17, 14}},
        {'V', {17, 17, 17, 17, 17, 10, 4}},  {'W', {17, 17, 17, 21, 21, 21, 10}}, {'X', {17, 17, 10, 4, 10, 17, 17}},
        {'Y', {17, 17, 10, 4, 4, 4, 4}},     {'Z', {31, 1, 2, 4, 8, 16, 31}},     {'0', {14, 17, 19, 21, 25, 17, 14}},
        {'1', {4, 12, 4, 4, 4, 4, 14}},      {'2', {14, 17, 1, 2, 4, 8, 31}},     {'3', {30, 1, 1, 14, 1, 1, 30}},
        {'4', {2, 6, 10, 18, 31, 2, 2}},     {'5', {31, 16, 30, 1, 1, 17, 14}},   {'6', {6, 8, 16, 30, 17, 17, 14}},
        {'7', {31, 1, 2, 4, 8, 8, 8}},       {'8', {14, 17, 17, 14, 17, 17, 14}}, {'9', {14, 17, 17, 15, 1, 2, 12}},
        {'-', {0, 0, 0, 31, 0, 0, 0}},       {' ', {0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto &g : font)
        if (g.c == c) return g.rows;
    return font[sizeof font / sizeof font[0] - 1].rows;
}

// A band graded from top to bottom (palette 0..15), with `text` in capitals at
// `scale` pixels per font pixel, shadowed (16) and lit (17), starting at x.
inline SourceImage TitleStrip(int width, int height, const std::string &text, int scale, int x0,
                              std::array<unsigned char, 3> top, std::array<unsigned char, 3> bottom) {
    SourceImage image;
    image.width = width;
    image.height = height;
    for (int i = 0; i < 16; ++i) {
        std::array<unsigned char, 3> c;
        for (int k = 0; k < 3; ++k) c[k] = static_cast<unsigned char>(top[k] + (bottom[k] - top[k]) * i / 15);
        image.palette.push_back(c);
    }
    image.palette.push_back({30, 30, 40});     // 16: shadow
    image.palette.push_back({255, 236, 170});  // 17: letters
    image.palette.push_back({90, 90, 110});    // 18: rule
    image.indices.resize(static_cast<size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.indices[static_cast<size_t>(y) * width + x] = static_cast<unsigned char>(y * 16 / height);
    for (int x = 0; x < width; ++x) image.indices[static_cast<size_t>(height - 1) * width + x] = 18;
    int y0 = (height - 7 * scale) / 2;
    auto plot = [&](int x, int y, unsigned char index) {
        if (x >= 0 && x < width && y >= 0 && y < height) image.indices[static_cast<size_t>(y) * width + x] = index;
    };
    for (int pass = 0; pass < 2; ++pass) {
        int shift = pass == 0 ? 2 : 0;
        int x = x0;
        for (char c : text) {
            const unsigned char *rows = Glyph(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
            for (int r = 0; r < 7; ++r)
                for (int b = 0; b < 5; ++b)
                    if (rows[r] & (16 >> b))
                        for (int dy = 0; dy < scale; ++dy)
                            for (int dx = 0; dx < scale; ++dx)
                                plot(x + b * scale + dx + shift, y0 + r * scale + dy + shift, pass == 0 ? 16 : 17);
            x += 6 * scale;
        }
    }
    return image;
}

// The collection's own title, shown by the dialogs of the toolkit.
inline SourceImage CollectionTitle() { return TitleStrip(96, 24, "VESK", 3, 6, {70, 40, 110}, {20, 10, 40}); }

// A plug-in's strip across the top of its panel.
inline SourceImage PluginStrip(const std::string &name) {
    return TitleStrip(168, 24, name, 2, 6, {40, 60, 110}, {10, 20, 45});
}

}  // namespace artwork
