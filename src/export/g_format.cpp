#include "export/g_format.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

// Powers of ten that doubles hold exactly.
constexpr double kExactTens[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

int Library(double v, char *out) { return std::snprintf(out, kGTextRoom, "%g", v); }

int Digits(long n, char *out) {  // n > 0
    char reversed[24];
    int count = 0;
    while (n > 0) reversed[count++] = static_cast<char>('0' + n % 10), n /= 10;
    for (int i = 0; i < count; ++i) out[i] = reversed[count - 1 - i];
    return count;
}

}  // namespace

int FormatG(double v, char *out) {
    double magnitude = std::fabs(v);
    // The fast path covers 1e-5 to 1e7 (every power of ten it multiplies or
    // divides by is exact); zero, signs of zero, and the rest go to the library.
    if (!(magnitude >= 1e-5 && magnitude < 1e7)) return Library(v, out);
    int e = static_cast<int>(std::floor(std::log10(magnitude)));
    // Six significant digits: the value scaled to [100000, 1000000).
    int shift = 5 - e;
    double scaled = shift >= 0 ? magnitude * kExactTens[shift] : magnitude / kExactTens[-shift];
    if (scaled < 100000 || scaled >= 1000000) {
        // log10 was a hair off at a power of ten: one step over.
        e += scaled < 100000 ? -1 : 1;
        shift = 5 - e;
        if (shift > 22 || shift < -22) return Library(v, out);
        scaled = shift >= 0 ? magnitude * kExactTens[shift] : magnitude / kExactTens[-shift];
    }
    double whole = std::floor(scaled), fraction = scaled - whole;
    // One rounding in the scaling leaves the fraction within about 1e-10 of
    // the true one; anywhere near a tie, the library decides.
    if (std::fabs(fraction - 0.5) < 1e-6) return Library(v, out);
    long digits = static_cast<long>(whole) + (fraction > 0.5 ? 1 : 0);
    if (digits >= 1000000) digits /= 10, ++e;  // 999999.7 rounds up to the next decade
    // %g's fixed form serves exponents -4 to 5. The exponent form is left to
    // the library, whose exponent digits differ between C libraries (two or
    // three), so that the file stays the library's own.
    if (e < -4 || e >= 6) return Library(v, out);
    char text[8];
    Digits(digits, text);  // six digits
    int significant = 6;
    while (significant > 1 && text[significant - 1] == '0') --significant;
    int n = 0;
    if (v < 0) out[n++] = '-';
    if (e >= 0) {
        for (int i = 0; i <= e; ++i) out[n++] = text[i];
        if (significant > e + 1) {
            out[n++] = '.';
            for (int i = e + 1; i < significant; ++i) out[n++] = text[i];
        }
    } else {
        out[n++] = '0';
        out[n++] = '.';
        for (int i = -1; i > e; --i) out[n++] = '0';
        for (int i = 0; i < significant; ++i) out[n++] = text[i];
    }
    out[n] = 0;
    return n;
}
