// Writes a small LWOB object file (its points only) for plug-ins that measure
// objects from their files; `formType` other than "LWOB" makes a broken one.
#pragma once

#include <array>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

inline void WriteLwob(const std::string &path, const std::vector<std::array<double, 3>> &points,
                      const char *formType = "LWOB") {
    std::ofstream f(path, std::ios::binary);
    auto word = [&](unsigned v) { f.put(char(v >> 24)).put(char(v >> 16)).put(char(v >> 8)).put(char(v)); };
    unsigned size = static_cast<unsigned>(points.size() * 12);
    f.write("FORM", 4);
    word(4 + 8 + size);
    f.write(formType, 4);
    f.write("PNTS", 4);
    word(size);
    for (const auto &p : points)
        for (double c : p) {
            float v = static_cast<float>(c);
            unsigned bits;
            std::memcpy(&bits, &v, 4);
            word(bits);
        }
}
