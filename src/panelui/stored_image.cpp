#include "panelui/stored_image.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const long kLongLiterals[] = {115, 117, 121, 130, 150, 193, 292, 515, 1020, 2155, 4691, 10322, 22748, 49999, 109393};
const long kLongRepeats[] = {76,    86,    97,    109,   123,   138,   155,   175,   197,   221,   249,   280,
                             315,   355,   399,   449,   505,   569,   640,   720,   810,   911,   1025,  1153,
                             1297,  1460,  1642,  1847,  2078,  2338,  2631,  2960,  3330,  3746,  4214,  4741,
                             5334,  6001,  6751,  7595,  8544,  9612,  10814, 12165, 13686, 15397, 17321, 19487,
                             21923, 24663, 27746, 31214, 35116, 39506, 44444, 50000};

// The most one run can write past the requested size.
constexpr size_t kLongestRun = 109393;

}  // namespace

long RunLength(unsigned char c) {
    if (c <= 112) return c + 1;
    if (c <= 127) return kLongLiterals[c - 113];
    if (c <= 199) return c - 125;
    return kLongRepeats[c - 200];
}

unsigned char *DecodeRunLength(const unsigned char *coded, size_t codedSize, size_t outputSize) {
    // Room for a last run that overshoots, which stored images never have.
    unsigned char *out = static_cast<unsigned char *>(std::malloc(outputSize + kLongestRun));
    if (!out) {
        std::printf("error in RLDecode malloc\n");
        std::exit(1);
    }
    size_t written = 0;
    const unsigned char *end = coded + codedSize;
    while (written < outputSize) {
        if (coded >= end) break;
        unsigned char c = *coded++;
        size_t k = static_cast<size_t>(RunLength(c));
        if (static_cast<size_t>(end - coded) < (c < 128 ? k : 1)) break;  // the run's bytes are not all there
        if (c < 128) {
            std::memcpy(out + written, coded, k);
            coded += k;
        } else {
            std::memset(out + written, *coded++, k);
        }
        written += k;
    }
    if (written < outputSize) {
        std::free(out);
        return nullptr;
    }
    return out;
}

BitmapRecord *DecodeImage(const unsigned char *stored, size_t storedSize) {
    if (!stored || storedSize < 6 || (stored[4] != 1 && stored[4] != 2)) return nullptr;
    unsigned width = stored[0] << 8 | stored[1], height = stored[2] << 8 | stored[3];
    unsigned colours = stored[5];
    if (storedSize < 6 + 3 * static_cast<size_t>(colours)) return nullptr;
    unsigned char palette[256][3] = {};
    std::memcpy(palette, stored + 6, 3 * colours);
    size_t n = static_cast<size_t>(width) * height;
    // No run writes more than the longest, so coded bytes this few cannot
    // fill the picture: refused before anything that size is allocated.
    if (n / kLongestRun > storedSize) return nullptr;
    unsigned char *indices = DecodeRunLength(stored + 6 + 3 * colours, storedSize - 6 - 3 * colours, n);
    if (!indices) return nullptr;
    auto *record = static_cast<BitmapRecord *>(std::malloc(sizeof(BitmapRecord)));
    unsigned char *pixels = static_cast<unsigned char *>(std::malloc(n * 3 + 1));
    if (!record || !pixels) {
        std::free(indices);
        std::free(record);
        std::free(pixels);
        return nullptr;
    }
    for (size_t i = 0; i < n; ++i) {
        const unsigned char *rgb = palette[indices[i]];
        pixels[3 * i] = rgb[2];
        pixels[3 * i + 1] = rgb[1];
        pixels[3 * i + 2] = rgb[0];
    }
    std::free(indices);
    record->width = static_cast<uint16_t>(width);
    record->height = static_cast<uint16_t>(height);
    record->header = {40, static_cast<int32_t>(width), -static_cast<int32_t>(height), 1, 24, 0, 0, 1, 1, 0, 0};
    record->pixels = pixels;
    return record;
}

void FreeBitmapRecord(BitmapRecord *record) {
    if (!record) return;
    std::free(record->pixels);
    std::free(record);
}
