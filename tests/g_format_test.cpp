// Motion files' numbers: FormatG against the C library's own "%g" over values
// of every kind a motion holds and the edges of its rounding.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include "export/g_format.h"

namespace {

std::string Library(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

std::string Ours(double v) {
    char text[kGTextRoom];
    int n = FormatG(v, text);
    EXPECT_EQ(n, static_cast<int>(std::string(text).size()));
    return text;
}

TEST(GFormat, MatchesTheLibrary) {
    std::vector<double> values = {0.0, -0.0, 1, -1, 0.5, 10, 100000, 999999, 1e6, 1e7, 1e-5, 1e-4, 0.0001234565,
                                  123456.5, 1234565, 9.999995, 9.9999951, 9.9999949, 999999.5, 999999.4999,
                                  0.000099999951, 2.5e-5, 1.0000005, 360, 57.29577951308232, 1e300, -1e-300,
                                  std::numeric_limits<double>::infinity(), std::numeric_limits<double>::denorm_min()};
    // Decimal ties at the sixth digit and the doubles beside them, in every
    // decade the fast path serves.
    for (int e = -5; e <= 7; ++e)
        for (long d : {100000L, 123456L, 500000L, 999999L})
            for (double half : {-0.5, 0.5}) {
                double tie = (d + half) * std::pow(10.0, e - 5);
                values.push_back(tie);
                values.push_back(std::nextafter(tie, 0.0));
                values.push_back(std::nextafter(tie, 1e300));
            }
    // Integral values, and random ones spread evenly over magnitudes, both signs.
    for (int i = -2000; i <= 2000; ++i) values.push_back(i * 7.0);
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> exponent(-9, 9), unit(0, 1);
    for (int i = 0; i < 400000; ++i) {
        double v = std::pow(10.0, exponent(random));
        values.push_back(random() % 2 ? v : -v);
        // Values a few units from a six-digit decimal, as keyed motions often are.
        double round = std::floor(unit(random) * 1e6) / 1e3;
        values.push_back(round + (static_cast<double>(random() % 21) - 10) * 1e-13);
    }
    int differ = 0;
    for (double v : values)
        if (Ours(v) != Library(v) && ++differ <= 10) ADD_FAILURE() << "%g of " << v << ": " << Ours(v) << " vs " << Library(v);
    EXPECT_EQ(differ, 0) << "of " << values.size();
}

}  // namespace
