#include "host/pe_image.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace {

struct Section {
    uint32_t virtualAddress, virtualSize, rawOffset, rawSize;
};

class Image {
public:
    std::vector<unsigned char> bytes;
    std::vector<Section> sections;
    uint64_t imageBase = 0;

    bool Has(size_t offset, size_t n) const { return offset <= bytes.size() && n <= bytes.size() - offset; }
    uint16_t U16(size_t o) const { return Has(o, 2) ? static_cast<uint16_t>(bytes[o] | bytes[o + 1] << 8) : 0; }
    uint32_t U32(size_t o) const { return Has(o, 4) ? U16(o) | static_cast<uint32_t>(U16(o + 2)) << 16 : 0; }

    // File offset of a relative virtual address; 0 when no section holds it.
    size_t At(uint32_t rva) const {
        for (const Section &s : sections)
            if (rva >= s.virtualAddress && rva - s.virtualAddress < std::max(s.virtualSize, s.rawSize))
                return s.rawOffset + (rva - s.virtualAddress);
        return 0;
    }
    std::string Text(uint32_t rva) const {
        size_t o = At(rva);
        std::string s;
        while (o && o < bytes.size() && bytes[o]) s += static_cast<char>(bytes[o++]);
        return s;
    }
    // A 32-bit pointer stored in the image, as text.
    std::string TextAtAddress(uint32_t va) const { return va ? Text(static_cast<uint32_t>(va - imageBase)) : ""; }
};

}  // namespace

bool ReadPeModule(const std::string &path, PeModuleFacts *facts, std::string *error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = "cannot open " + path;
        return false;
    }
    Image img;
    img.bytes.assign(std::istreambuf_iterator<char>(in), {});
    uint32_t pe = img.U32(0x3c);
    if (img.U16(0) != 0x5a4d || !img.Has(pe, 24) || std::memcmp(&img.bytes[pe], "PE\0\0", 4) != 0) {
        *error = path + " is not a Windows module";
        return false;
    }
    facts->machine = img.U16(pe + 4);
    uint16_t sectionCount = img.U16(pe + 6), optionalSize = img.U16(pe + 20);
    size_t opt = pe + 24;
    bool pe32 = img.U16(opt) == 0x10b;
    img.imageBase = pe32 ? img.U32(opt + 28) : (img.U32(opt + 24) | static_cast<uint64_t>(img.U32(opt + 28)) << 32);
    size_t directories = opt + (pe32 ? 96 : 112);
    for (size_t s = opt + optionalSize, i = 0; i < sectionCount; ++i, s += 40)
        img.sections.push_back({img.U32(s + 12), img.U32(s + 8), img.U32(s + 20), img.U32(s + 16)});

    uint32_t descriptorRva = 0;
    if (size_t ed = img.At(img.U32(directories))) {
        facts->internalName = img.Text(img.U32(ed + 12));
        uint32_t names = img.U32(ed + 24), nameTable = img.U32(ed + 32), ordinals = img.U32(ed + 36),
                 functions = img.U32(ed + 28);
        for (uint32_t i = 0; i < names; ++i) {
            std::string name = img.Text(img.U32(img.At(nameTable + 4 * i)));
            facts->exports.push_back(name);
            if (name == "_mod_descrip") {
                uint16_t ordinal = img.U16(img.At(ordinals + 2 * i));
                descriptorRva = img.U32(img.At(functions + 4 * ordinal));
            }
        }
    }
    if (size_t id = img.At(img.U32(directories + 8))) {
        for (; img.Has(id, 20) && img.U32(id + 12); id += 20) facts->importedDlls.push_back(img.Text(img.U32(id + 12)));
    }

    // The descriptor's layout is the 32-bit one: six 4-byte fields.
    if (pe32 && descriptorRva) {
        size_t d = img.At(descriptorRva);
        facts->hasDescriptor = d != 0;
        facts->sysSync = img.U32(d);
        facts->sysVersion = img.U32(d + 4);
        facts->sysMachine = img.U32(d + 8);
        uint32_t table = img.U32(d + 20);
        for (size_t row = table ? img.At(static_cast<uint32_t>(table - img.imageBase)) : 0;
             row && img.Has(row, 12) && img.U32(row); row += 12)
            facts->servers.push_back({img.TextAtAddress(img.U32(row)), img.TextAtAddress(img.U32(row + 4))});
    }
    return true;
}
