// Arbitrary bytes as a 32-bit Windows module: the loader either refuses them
// with a reason or lays out an image whose entry point, exports, sections and
// thread-local storage all lie inside it. Nothing of the module runs.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "host/pe_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    PeLayout layout;
    std::string error;
    // Every import is answered (at an address of no consequence), so that
    // what lies past the imports is read too.
    auto answer = [](const std::string &, const std::string &) { return 0x7f000000u; };
    if (!LayOutPeModule(file, "fuzz.p", 0x10000000u, answer, &layout, &error)) {
        if (error.empty()) std::abort();  // refused without saying why
        return 0;
    }
    const uint64_t image = layout.image.size();
    auto inside = [image](uint64_t rva, uint64_t bytes) { return rva + bytes <= image; };
    if (layout.entryRva && !inside(layout.entryRva, 1)) std::abort();
    for (const auto &e : layout.exports)
        if (!inside(e.second, 1)) std::abort();
    for (const auto &s : layout.sections)
        if (!inside(s.rva, s.size)) std::abort();
    if (layout.hasTls) {
        if (!inside(layout.tlsIndexRva, 4) || !inside(layout.tlsTemplateRva, layout.tlsTemplateSize)) std::abort();
        for (uint32_t callback : layout.tlsCallbackRvas)
            if (!inside(callback, 1)) std::abort();
    }
    return 0;
}
