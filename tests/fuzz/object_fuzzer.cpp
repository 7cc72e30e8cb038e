// Arbitrary bytes as an LWOB or LWO2 object file: the reader either refuses
// them with a reason or returns points and polygons whose every index names a
// point that is there.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "host/object_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    ObjectGeometry geometry;
    std::string error;
    if (!ReadObjectBytes(bytes, &geometry, &error)) {
        if (error.empty()) std::abort();  // refused without saying why
        return 0;
    }
    for (const auto &polygon : geometry.polygons)
        for (int i : polygon)
            if (i < 0 || static_cast<size_t>(i) >= geometry.points.size()) std::abort();
    return 0;
}
