// The module's stored image format for panel artwork: width and height
// (big-endian 16 bits), type 1 or 2, a palette of up to 255 colours, then the
// pixel indices run-length coded. Decoding gives a bitmap record: a 24-bit
// top-down device-independent bitmap description and its pixels (blue, green,
// red), which the window layer turns into a GDI bitmap.
#pragma once

#include <cstddef>
#include <cstdint>

// The bitmap description as Windows lays it out (BITMAPINFOHEADER, 40 bytes).
struct BitmapHeader {
    uint32_t size;
    int32_t width, height;  // height negative: rows run from the top
    uint16_t planes, bitCount;
    uint32_t compression, sizeImage;
    int32_t xPelsPerMeter, yPelsPerMeter;
    uint32_t clrUsed, clrImportant;
};
static_assert(sizeof(BitmapHeader) == 40, "the bitmap description is 40 bytes");

struct BitmapRecord {
    uint16_t width, height;
    BitmapHeader header;
    unsigned char *pixels;  // width * height * 3, blue, green, red; rows packed
};

// The count of a control byte: literal runs below 128, repeat runs from 128.
long RunLength(unsigned char control);

// Decodes until at least outputSize bytes are written; the last run may write
// past them, so the buffer holds that much more. Null when the coded bytes
// (codedSize of them) end first. Out of memory it says so and ends the
// process, as it always has.
unsigned char *DecodeRunLength(const unsigned char *coded, size_t codedSize, size_t outputSize);
// Returns the bitmap record, or null for no image, a type other than 1 or 2,
// an image cut short (storedSize bytes are all there is), or no memory. Free
// it with FreeBitmapRecord.
BitmapRecord *DecodeImage(const unsigned char *stored, size_t storedSize);
void FreeBitmapRecord(BitmapRecord *record);
