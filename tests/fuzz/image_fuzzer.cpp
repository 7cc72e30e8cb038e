// Arbitrary bytes as the images vesk reads: a PNG frame, a PAM frame, then a
// depth PFM for a 4 x 3 frame. Each either reads whole, with every pixel there, or is refused
// with a reason; nothing is read past the bytes.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/image_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    std::string error;
    RgbaImage frame;
    if (ReadPngBytes(bytes, "fuzz.png", &frame, &error)) {
        if (frame.rgba.size() != static_cast<size_t>(frame.width) * frame.height * 4) std::abort();
    } else if (error.empty()) {
        std::abort();
    }
    RgbaImage pam;
    error.clear();
    if (ReadPamBytes(bytes, "fuzz.pam", &pam, &error)) {
        if (pam.rgba.size() != static_cast<size_t>(pam.width) * pam.height * 4) std::abort();
    } else if (error.empty()) {
        std::abort();
    }
    RgbaImage small;
    small.width = 4;
    small.height = 3;
    small.rgba.assign(4 * 3 * 4, 0);
    error.clear();
    if (ReadDepthPfmBytes(bytes, "fuzz.pfm", &small, &error)) {
        if (small.depth.size() != 12) std::abort();
    } else if (error.empty()) {
        std::abort();
    }
    return 0;
}
