// The encoder of the stored image format: chooses every run from the decoder's
// table so that the last run ends exactly at width x height, which the decoder
// relies on. Widths are multiples of 4, so packed rows are also the padded rows
// Windows expects of a 24-bit bitmap.
#pragma once

#include <array>
#include <stdexcept>
#include <vector>

#include "panelui/stored_image.h"

struct SourceImage {
    int width = 0, height = 0;
    std::vector<std::array<unsigned char, 3>> palette;  // at most 255 colours
    std::vector<unsigned char> indices;                 // width * height
};

// The largest table count of the kind (literal below 128, repeat from 128) not above `most`; 0 when none.
inline int LargestRun(bool repeat, long most, unsigned char *control) {
    long best = 0;
    for (int c = repeat ? 128 : 0; c < (repeat ? 256 : 128); ++c) {
        long k = RunLength(static_cast<unsigned char>(c));
        if (k <= most && k > best) best = k, *control = static_cast<unsigned char>(c);
    }
    return static_cast<int>(best);
}

inline std::vector<unsigned char> EncodeImage(const SourceImage &image, unsigned char type = 1) {
    if (image.width % 4 || image.palette.size() > 255 || image.indices.size() != size_t(image.width) * image.height)
        throw std::invalid_argument("artwork must be a multiple of 4 wide with at most 255 colours");
    std::vector<unsigned char> out = {static_cast<unsigned char>(image.width >> 8), static_cast<unsigned char>(image.width),
                                      static_cast<unsigned char>(image.height >> 8), static_cast<unsigned char>(image.height),
                                      type, static_cast<unsigned char>(image.palette.size())};
    for (const auto &c : image.palette) out.insert(out.end(), c.begin(), c.end());
    const std::vector<unsigned char> &px = image.indices;
    size_t at = 0, n = px.size();
    auto sameRun = [&](size_t from) {
        size_t k = 1;
        while (from + k < n && px[from + k] == px[from]) ++k;
        return k;
    };
    while (at < n) {
        unsigned char control = 0;
        size_t same = sameRun(at);
        if (same >= 3) {
            int k = LargestRun(true, static_cast<long>(same), &control);
            out.push_back(control);
            out.push_back(px[at]);
            at += k;
            continue;
        }
        // Literal bytes up to where a run of three or more begins.
        size_t end = at;
        while (end < n && sameRun(end) < 3) end += sameRun(end);
        int k = LargestRun(false, static_cast<long>(end - at), &control);
        out.push_back(control);
        out.insert(out.end(), px.begin() + at, px.begin() + at + k);
        at += k;
    }
    return out;
}
