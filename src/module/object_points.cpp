#include "module/object_points.h"

#include <cstdio>
#include <cstring>

#include "controls/control.h"
#include "services/host_services.h"

namespace {

bool ReadWord(std::FILE *f, char id[4], unsigned long *size) {
    unsigned char b[8];
    if (std::fread(b, 1, 8, f) != 8) return false;
    std::memcpy(id, b, 4);
    *size = (static_cast<unsigned long>(b[4]) << 24) | (b[5] << 16) | (b[6] << 8) | b[7];
    return true;
}

// IFF chunks are padded to an even length.
bool Skip(std::FILE *f, unsigned long size) { return std::fseek(f, static_cast<long>(size + (size & 1)), SEEK_CUR) == 0; }

float BigEndianFloat(const unsigned char *b) {
    unsigned long bits = (static_cast<unsigned long>(b[0]) << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
    unsigned int word = static_cast<unsigned int>(bits);
    float v;
    std::memcpy(&v, &word, sizeof v);
    return v;
}

bool ReadPoints(std::FILE *f, void (*visit)(void *, const double[3]), void *data) {
    char id[4];
    unsigned long size;
    do {  // the top level, up to the form
        if (!ReadWord(f, id, &size)) return false;
    } while (std::memcmp(id, "FORM", 4) != 0 && Skip(f, size));
    if (std::memcmp(id, "FORM", 4) != 0) return false;
    char type[4];
    if (std::fread(type, 1, 4, f) != 4) return false;
    if (std::memcmp(type, "LWOB", 4) != 0 && std::memcmp(type, "LWO2", 4) != 0) return false;
    for (;;) {
        if (!ReadWord(f, id, &size)) return false;
        if (std::memcmp(id, "PNTS", 4) == 0) break;
        if (!Skip(f, size)) return false;
    }
    if (size < 12) return false;
    unsigned char bytes[12];
    for (unsigned long n = size / 12; n > 0; --n) {
        if (std::fread(bytes, 1, 12, f) != 12) return false;
        const double point[3] = {BigEndianFloat(bytes), BigEndianFloat(bytes + 4), BigEndianFloat(bytes + 8)};
        visit(data, point);
    }
    return true;
}

}  // namespace

bool ReadObjectPoints(const char *path, void (*visit)(void *, const double[3]), void *data) {
    if (!path || !path[0]) return false;
    std::FILE *f = std::fopen(path, "rb");
    if (!f) return false;
    bool ok = ReadPoints(f, visit, data);
    std::fclose(f);
    return ok;
}

bool ReadObjectExtents(const char *path, double extents[6]) {
    double box[6] = {1e12, -1e12, 1e12, -1e12, 1e12, -1e12};
    bool ok = ReadObjectPoints(path, [](void *data, const double p[3]) {
        double *b = static_cast<double *>(data);
        for (int axis = 0; axis < 3; ++axis) {
            if (p[axis] < b[2 * axis]) b[2 * axis] = p[axis];
            if (p[axis] > b[2 * axis + 1]) b[2 * axis + 1] = p[axis];
        }
    }, box);
    if (ok) std::memcpy(extents, box, sizeof box);
    return ok;
}

bool CachedObjectExtents(ObjectExtentsCache *cache, LWItemID object, double extents[6]) {
    const char *name = hostServices.objectInfo->filename(object);
    int count = hostServices.objectInfo->numPoints(object);
    if (!cache->filled || cache->object != object || cache->pointCount != count ||
        std::strncmp(cache->filename, name ? name : "", sizeof cache->filename - 1) != 0) {
        cache->filled = 1;
        cache->object = object;
        cache->pointCount = count;
        CopyText(cache->filename, sizeof cache->filename, name ? name : "");
        cache->ok = ReadObjectExtents(name, cache->extents);
    }
    if (cache->ok) std::memcpy(extents, cache->extents, sizeof cache->extents);
    return cache->ok != 0;
}
