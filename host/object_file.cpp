#include "host/object_file.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
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

// A zero-terminated string padded to even length, within [b.at, end).
std::string String(Bytes &b, size_t end) {
    std::string text;
    while (b.at < end && b.data[b.at]) text += static_cast<char>(b.data[b.at++]);
    b.at += 1 + (text.size() + 1) % 2;  // the zero and the pad
    if (b.at > end) b.at = end;
    return text;
}

// What a reading gathers besides points and polygons: the surface each
// polygon names (LWOB: its 1-based number; LWO2: a tag index) before the
// names are known, and the LWO2 layer's polygons as its PTAG chunks count them.
struct Reading {
    std::vector<std::string> names;   // SRFS or TAGS
    std::vector<long> polygonName;    // per kept polygon: index into names, -1 none
    std::vector<long> layerPolygons;  // LWO2: the layer's polygons in chunk order -> kept index or -1
};

// LWOB polygons: count, indices, surface; a negative surface has detail polygons.
bool LwobPolygons(Bytes &b, size_t end, size_t base, ObjectGeometry *out, Reading *r, std::string *error) {
    while (b.at + 2 <= end) {
        unsigned count = b.U16();
        if (!b.Has(2 * count + 2) || b.at + 2 * count + 2 > end) return *error = "a polygon runs past its chunk", false;
        std::vector<int> polygon;
        for (unsigned i = 0; i < count; ++i) polygon.push_back(static_cast<int>(base + b.U16()));
        int16_t surface = static_cast<int16_t>(b.U16());
        if (surface < 0 && b.at + 2 <= end) b.U16();  // detail polygons follow as ordinary ones
        if (count >= 3) {
            out->polygons.push_back(polygon);
            r->polygonName.push_back(std::abs(static_cast<int>(surface)) - 1);
        }
    }
    return true;
}

bool Lwo2Polygons(Bytes &b, size_t end, size_t base, ObjectGeometry *out, Reading *r, std::string *error) {
    if (b.at + 4 > end) return *error = "a POLS chunk without its type", false;
    bool faces = std::memcmp(&b.data[b.at], "FACE", 4) == 0;
    b.at += 4;
    r->layerPolygons.clear();
    while (b.at + 2 <= end) {
        unsigned count = b.U16() & 0x03FF;
        std::vector<int> polygon;
        for (unsigned i = 0; i < count; ++i) {
            if (b.at + 2 > end || (b.data[b.at] == 0xFF && b.at + 4 > end)) return *error = "a polygon runs past its chunk", false;
            polygon.push_back(static_cast<int>(base + b.Index()));
        }
        bool kept = faces && count >= 3;
        r->layerPolygons.push_back(kept ? static_cast<long>(out->polygons.size()) : -1);
        if (kept) {
            out->polygons.push_back(polygon);
            r->polygonName.push_back(-1);
        }
    }
    return true;
}

// PTAG of type SURF: (polygon of the layer, tag) pairs.
bool Lwo2Tags(Bytes &b, size_t end, Reading *r, std::string *error) {
    if (b.at + 4 > end) return *error = "a PTAG chunk without its type", false;
    bool surfaces = std::memcmp(&b.data[b.at], "SURF", 4) == 0;
    b.at += 4;
    while (surfaces && b.at + 4 <= end) {
        if (b.data[b.at] == 0xFF && b.at + 6 > end) break;
        unsigned long polygon = b.Index();
        unsigned tag = b.U16();
        if (polygon >= r->layerPolygons.size()) return *error = "a PTAG names a polygon that is not there", false;
        if (long kept = r->layerPolygons[polygon]; kept >= 0) r->polygonName[kept] = tag;
    }
    return true;
}

Surface &SurfaceNamed(ObjectGeometry *out, const std::string &name) {
    for (Surface &s : out->surfaces)
        if (s.name == name) return s;
    out->surfaces.push_back({});
    out->surfaces.back().name = name;
    return out->surfaces.back();
}

// LightWave's own angle for smoothing when a smooth surface gives none (89.5 degrees).
constexpr double kDefaultSmoothing = 1.5620696805349291;

// A SURF's sub-chunks (ID, 16-bit length, data, pad) up to end, each handed
// to visit(id, size) with b at its data; a sub-chunk past the end stops.
template <typename Visit>
void EachSubchunk(Bytes &b, size_t end, Visit visit) {
    while (b.at + 6 <= end) {
        char id[5] = {};
        std::memcpy(id, &b.data[b.at], 4);
        b.at += 4;
        unsigned size = b.U16();
        if (size > end - b.at) break;
        size_t next = b.at + size + (size & 1);
        visit(std::string(id), size);
        b.at = next;
    }
}

// The five levels by their sub-chunk names: LWOB's integer form, its float
// form, and LWO2's float form (the integer names).
struct LevelName {
    const char *integer, *real;
    double Surface::*field;
};
constexpr LevelName kLevels[5] = {{"LUMI", "VLUM", &Surface::luminosity}, {"DIFF", "VDIF", &Surface::diffuse},
                                  {"SPEC", "VSPC", &Surface::specular},   {"REFL", "VRFL", &Surface::mirror},
                                  {"TRAN", "VTRN", &Surface::transparency}};

// An LWOB SURF: the name, then sub-chunks with 16-bit lengths. The integer
// levels count 256 as 100 % (the real files' VDIF 1.0 beside DIFF 256 and VSPC
// 0.3 beside SPEC 77 agree); the float levels, when present, replace them. SMAN
// is in radians (the real files hold 1.5625, LightWave's 89.5 degrees).
void LwobSurface(Bytes &b, size_t end, ObjectGeometry *out) {
    Surface &s = SurfaceNamed(out, String(b, end));
    bool smooth = false, angleGiven = false;
    EachSubchunk(b, end, [&](const std::string &k, unsigned size) {
        for (const LevelName &l : kLevels) {
            if (k == l.integer && size >= 2) s.*l.field = static_cast<int16_t>(b.U16()) / 256.0;
            if (k == l.real && size >= 4) s.*l.field = b.F32();
        }
        if (k == "COLR" && size >= 3) s.color = {b.data[b.at] / 255.0, b.data[b.at + 1] / 255.0, b.data[b.at + 2] / 255.0};
        else if (k == "FLAG" && size >= 2) {
            unsigned flags = b.U16();
            smooth = flags & 4;
            s.doubleSided = flags & 256;
        } else if (k == "GLOS" && size >= 2) s.glossiness = b.U16();
        else if (k == "RIND" && size >= 4) s.eta = b.F32();
        else if (k == "SMAN" && size >= 4) s.smoothing = b.F32(), angleGiven = true;
        else if (k == "SHDR") s.shaders.push_back({String(b, b.at + size), {}});
        else if (k == "SDAT" && !s.shaders.empty()) s.shaders.back().data.assign(b.data.begin() + b.at, b.data.begin() + b.at + size);
    });
    if (!smooth) s.smoothing = 0;
    else if (!angleGiven) s.smoothing = kDefaultSmoothing;
}

// An LWO2 SURF: name, source, then sub-chunks with 16-bit lengths; levels are
// floats (each followed by an envelope index, not followed here). GLOS is a
// fraction there; as an exponent it is taken as 2^(2 + 10 g), which puts
// LightWave 5's low, medium, high and most (16 to 1024) at 20 % steps from 20 %.
void Lwo2Surface(Bytes &b, size_t end, ObjectGeometry *out) {
    Surface &s = SurfaceNamed(out, String(b, end));
    String(b, end);  // the surface it derives from
    EachSubchunk(b, end, [&](const std::string &k, unsigned size) {
        for (const LevelName &l : kLevels)
            if (k == l.integer && size >= 4) s.*l.field = b.F32();
        if (k == "COLR" && size >= 12) s.color = {b.F32(), b.F32(), b.F32()};
        else if (k == "GLOS" && size >= 4) s.glossiness = std::exp2(2 + 10 * std::clamp<double>(b.F32(), 0, 1));
        else if (k == "RIND" && size >= 4) s.eta = b.F32();
        else if (k == "SMAN" && size >= 4) s.smoothing = b.F32();
        else if (k == "SIDE" && size >= 2) s.doubleSided = b.U16() == 3;
    });
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
    Reading r;
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
            ok = lwo2 ? Lwo2Polygons(b, end, layerBase, out, &r, error) : LwobPolygons(b, end, layerBase, out, &r, error);
        } else if (std::strcmp(id, "SRFS") == 0 || std::strcmp(id, "TAGS") == 0) {
            while (b.at < end) r.names.push_back(String(b, end));
        } else if (std::strcmp(id, "PTAG") == 0 && lwo2) {
            ok = Lwo2Tags(b, end, &r, error);
        } else if (std::strcmp(id, "SURF") == 0) {
            lwo2 ? Lwo2Surface(b, end, out) : LwobSurface(b, end, out);
        }
        if (!ok) return false;
        b.at = end + (size & 1);
    }
    if (b.at < formEnd && formEnd - b.at < 8 && formEnd - b.at > 1)
        return *error = "the file ends inside a chunk's header", false;
    for (const auto &polygon : out->polygons)
        for (int i : polygon)
            if (i < 0 || static_cast<size_t>(i) >= out->points.size()) return *error = "a polygon names a point that is not there", false;
    // Each polygon's surface by name; an LWO2 polygon without a tag takes
    // LightWave's "Default".
    out->polygonSurface.clear();
    for (long name : r.polygonName) {
        if (lwo2 && name < 0) {
            out->polygonSurface.push_back(static_cast<int>(&SurfaceNamed(out, "Default") - out->surfaces.data()));
            continue;
        }
        if (name < 0 || static_cast<size_t>(name) >= r.names.size())
            return *error = "a polygon names surface " + std::to_string(name + 1) + " of " + std::to_string(r.names.size()),
                   false;
        out->polygonSurface.push_back(static_cast<int>(&SurfaceNamed(out, r.names[name]) - out->surfaces.data()));
    }
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
