// Arbitrary bytes as a stored panel image: decoded, the picture has the size
// its header gives, or the bytes are refused; nothing is read past their end.
#include <cstdint>
#include <cstdlib>

#include "panelui/stored_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    BitmapRecord *record = DecodeImage(data, size);
    if (!record) return 0;
    size_t n = static_cast<size_t>(record->width) * record->height * 3;
    unsigned sum = 0;
    for (size_t i = 0; i < n; ++i) sum += record->pixels[i];  // every pixel was written
    FreeBitmapRecord(record);
    return static_cast<int>(sum & 0);
}
