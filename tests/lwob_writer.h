// Writes small LWOB object files: `WriteLwob` its points only, for plug-ins
// that measure objects from their files (`formType` other than "LWOB" makes a
// broken one); the `Lwob` pieces build any other chunk, big-endian as the
// format is.
#pragma once

#include <array>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace Lwob {
inline std::string U32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }
inline std::string U16(unsigned v) { return {char(v >> 8), char(v)}; }
inline std::string F32(double d) {
    float f = static_cast<float>(d);
    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    return U32(bits);
}
inline std::string Pad(const std::string &body) { return body.size() % 2 ? std::string(1, '\0') : ""; }
inline std::string Chunk(const std::string &id, const std::string &body) {
    return id + U32(static_cast<uint32_t>(body.size())) + body + Pad(body);
}
inline std::string SubChunk(const std::string &id, const std::string &body) {
    return id + U16(static_cast<unsigned>(body.size())) + body + Pad(body);
}
inline std::string Points(const std::vector<std::array<double, 3>> &points) {
    std::string bytes;
    for (const auto &p : points)
        for (double c : p) bytes += F32(c);
    return Chunk("PNTS", bytes);
}
inline void Write(const std::string &path, const std::string &chunks, const char *formType = "LWOB") {
    std::ofstream(path, std::ios::binary) << Chunk("FORM", formType + chunks);
}
}  // namespace Lwob

inline void WriteLwob(const std::string &path, const std::vector<std::array<double, 3>> &points,
                      const char *formType = "LWOB") {
    Lwob::Write(path, Lwob::Points(points), formType);
}
