#include "host/object_file.h"

#include <cstring>
#include <string>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

struct Bytes {
    const std::vector<unsigned char> &data;
    size_t at;
    bool Has(size_t n) const { return at <= data.size() && n <= data.size() - at; }
    unsigned U16() {
        unsigned v = data[at] << 8 | data[at + 1];
        at += 2;
        return v;
    }
    unsigned long U32() {
        unsigned long v = static_cast<unsigned long>(U16()) << 16;
        return v | U16();
    }
    float F32() {
        uint32_t bits = static_cast<uint32_t>(U32());
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
    }
    // LWO2's variable-length index: two bytes below 0xFF00, else four.
    unsigned long Index() {
        if (data[at] == 0xFF) return U32() & 0x00FFFFFF;
        return U16();
    }
};

bool Points(Bytes &b, size_t end, ObjectGeometry *out) {
    while (b.at + 12 <= end) out->points.push_back({b.F32(), b.F32(), b.F32()});
    return true;
}

// LWOB polygons: count, indices, surface; a negative surface has detail polygons.
bool LwobPolygons(Bytes &b, size_t end, size_t base, ObjectGeometry *out, std::string *error) {
    while (b.at + 2 <= end) {
        unsigned count = b.U16();
        if (!b.Has(2 * count + 2) || b.at + 2 * count + 2 > end) return *error = "a polygon runs past its chunk", false;
        std::vector<int> polygon;
        for (unsigned i = 0; i < count; ++i) polygon.push_back(static_cast<int>(base + b.U16()));
        int16_t surface = static_cast<int16_t>(b.U16());
        if (surface < 0 && b.at + 2 <= end) b.U16();  // detail polygons follow as ordinary ones
        if (count >= 3) out->polygons.push_back(polygon);
    }
    return true;
}

bool Lwo2Polygons(Bytes &b, size_t end, size_t base, ObjectGeometry *out, std::string *error) {
    if (b.at + 4 > end) return *error = "a POLS chunk without its type", false;
    bool faces = std::memcmp(&b.data[b.at], "FACE", 4) == 0;
    b.at += 4;
    while (b.at + 2 <= end) {
        unsigned count = b.U16() & 0x03FF;
        std::vector<int> polygon;
        for (unsigned i = 0; i < count; ++i) {
            if (b.at + 2 > end || (b.data[b.at] == 0xFF && b.at + 4 > end)) return *error = "a polygon runs past its chunk", false;
            polygon.push_back(static_cast<int>(base + b.Index()));
        }
        if (faces && count >= 3) out->polygons.push_back(polygon);
    }
    return true;
}

}  // namespace

bool ReadObjectBytes(const std::vector<unsigned char> &data, ObjectGeometry *out, std::string *error) {
    Bytes b{data, 0};
    if (!b.Has(12) || std::memcmp(data.data(), "FORM", 4) != 0) return *error = "not an IFF object file", false;
    b.at = 8;
    bool lwo2 = std::memcmp(&data[8], "LWO2", 4) == 0;
    if (!lwo2 && std::memcmp(&data[8], "LWOB", 4) != 0) return *error = "neither an LWOB nor an LWO2 object", false;
    // The FORM's own size says where the object ends: a file shorter than
    // that was cut short, and whatever follows the FORM is not the object's.
    b.at = 4;
    unsigned long formSize = b.U32();
    if (formSize < 4 || formSize > data.size() - 8)
        return *error = "the file is cut short: its FORM holds " + std::to_string(formSize) + " bytes, the file " +
                        std::to_string(data.size() - 8),
               false;
    const size_t formEnd = 8 + formSize;
    b.at = 12;
    size_t layerBase = 0;
    while (b.at + 8 <= formEnd) {
        char id[5] = {};
        std::memcpy(id, &data[b.at], 4);
        b.at += 4;
        unsigned long size = b.U32();
        if (size > formEnd - b.at) return *error = std::string("the ") + id + " chunk runs past the end of the file", false;
        size_t end = b.at + size;
        bool ok = true;
        if (std::strcmp(id, "PNTS") == 0) {
            if (size % 12) return *error = "a PNTS chunk of " + std::to_string(size) + " bytes is not whole points", false;
            layerBase = out->points.size();
            ok = Points(b, end, out);
        } else if (std::strcmp(id, "POLS") == 0) {
            ok = lwo2 ? Lwo2Polygons(b, end, layerBase, out, error) : LwobPolygons(b, end, layerBase, out, error);
        }
        if (!ok) return false;
        b.at = end + (size & 1);
    }
    if (b.at < formEnd && formEnd - b.at < 8 && formEnd - b.at > 1)
        return *error = "the file ends inside a chunk's header", false;
    for (const auto &polygon : out->polygons)
        for (int i : polygon)
            if (i < 0 || static_cast<size_t>(i) >= out->points.size()) return *error = "a polygon names a point that is not there", false;
    return true;
}

bool ReadObjectFile(const std::string &path, ObjectGeometry *out, std::string *error) {
    // A folder or a device is refused before it is opened: reading one would
    // fail deep inside the stream, or never end.
    std::error_code why;
    if (path.empty()) return *error = "an object with no file name", false;
    if (!std::filesystem::exists(path, why)) return *error = path + ": no such file", false;
    if (!std::filesystem::is_regular_file(path, why)) return *error = path + ": not a file", false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return *error = path + ": cannot be read", false;
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
    if (!ReadObjectBytes(bytes, out, error)) {
        *error = path + ": " + *error;
        return false;
    }
    return true;
}
