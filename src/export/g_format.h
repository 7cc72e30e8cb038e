// Numbers as the C library's "%g" writes them (six significant digits, the
// shorter of fixed and exponent forms, no trailing zeros), byte for byte, for
// motion files: a fast path for the values motions hold, and the library
// itself for anything near a rounding tie or far out of range.
#pragma once

constexpr int kGTextRoom = 32;

// Writes v into out (at least kGTextRoom bytes), zero-terminated; returns the
// length.
int FormatG(double v, char *out);
