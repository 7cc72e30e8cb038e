#include "host/pe_loader.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

// Little-endian fields of a byte range, each read only after its bounds are
// checked; a read past the end is a damaged file, reported by the caller.
struct Bytes {
    const uint8_t *data;
    size_t size;
    bool Has(uint64_t at, uint64_t n) const { return at <= size && n <= size - at; }
    uint16_t U16(size_t at) const { return static_cast<uint16_t>(data[at] | data[at + 1] << 8); }
    uint32_t U32(size_t at) const { return U16(at) | static_cast<uint32_t>(U16(at + 2)) << 16; }
};

std::string Hex(uint32_t v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", v);
    return text;
}

// The limits a DLL of this kind stays far inside; larger counts are damage.
constexpr uint32_t kMostImageBytes = 256u << 20;
constexpr uint16_t kMostSections = 96;

constexpr uint16_t kMachineI386 = 0x14c, kPe32Magic = 0x10b, kDllFlag = 0x2000;
constexpr int kExportDirectory = 0, kImportDirectory = 1, kRelocationDirectory = 5, kTlsDirectory = 9;
constexpr uint32_t kWritable = 0x80000000, kExecutable = 0x20000000;

class Loader {
public:
    Loader(const std::string &name, PeLayout *out, std::string *error) : name_(name), out_(*out), error_(*error) {}

    bool Fail(const std::string &why) {
        error_ = name_ + ": " + why;
        return false;
    }

    bool Headers(const Bytes &file);
    bool Sections(const Bytes &file);
    bool Relocate();
    bool Imports(const PeImportResolver &resolve);
    bool Exports();
    bool Tls();

private:
    // A data directory's place and size (0, 0 when absent).
    bool Directory(int index, uint32_t *rva, uint32_t *size) {
        *rva = *size = 0;
        if (static_cast<uint32_t>(index) >= directoryCount_) return true;
        *rva = Image().U32(directories_ + 8 * index);
        *size = Image().U32(directories_ + 8 * index + 4);
        return *rva == 0 || InImage(*rva, *size, "a data directory");
    }
    Bytes Image() const { return {out_.image.data(), out_.image.size()}; }
    // A range of the laid-out image, by relative address.
    bool InImage(uint32_t rva, uint32_t n, const char *what) {
        if (Image().Has(rva, n)) return true;
        return Fail(std::string(what) + " at " + Hex(rva) + " lies outside the image (" + Hex(out_.image.size()) +
                    " bytes)");
    }
    // A zero-terminated name in the image.
    bool Name(uint32_t rva, const char *what, std::string *name) {
        Bytes img = Image();
        name->clear();
        for (uint32_t at = rva;; ++at) {
            if (!img.Has(at, 1)) return Fail(std::string(what) + " at " + Hex(rva) + " runs past the image");
            if (!img.data[at]) return true;
            if (name->size() >= 1024) return Fail(std::string(what) + " at " + Hex(rva) + " is not a name");
            *name += static_cast<char>(img.data[at]);
        }
    }
    uint32_t Virtual(uint32_t address) const { return address - out_.loadAddress; }  // a relocated address as an RVA

    std::string name_;
    PeLayout &out_;
    std::string &error_;
    size_t sectionTable_ = 0, directories_ = 0;
    uint16_t sectionCount_ = 0;
    uint32_t directoryCount_ = 0, headerSize_ = 0;

};

bool Loader::Headers(const Bytes &file) {
    if (!file.Has(0, 64) || file.U16(0) != 0x5a4d) return Fail("not a Windows module (no MZ header)");
    uint32_t pe = file.U32(0x3c);
    if (!file.Has(pe, 24) || std::memcmp(file.data + pe, "PE\0\0", 4) != 0)
        return Fail("not a Windows module (no PE header at " + Hex(pe) + ")");
    uint16_t machine = file.U16(pe + 4);
    if (machine != kMachineI386) return Fail("not a 32-bit x86 module (machine " + Hex(machine) + ")");
    sectionCount_ = file.U16(pe + 6);
    uint16_t optionalSize = file.U16(pe + 20), flags = file.U16(pe + 22);
    if (!(flags & kDllFlag)) return Fail("not a DLL");
    size_t opt = pe + 24;
    if (!file.Has(opt, optionalSize)) return Fail("cut short in its headers");
    if (optionalSize < 96 || file.U16(opt) != kPe32Magic) return Fail("its optional header is not a 32-bit one");
    out_.entryRva = file.U32(opt + 16);
    out_.preferredBase = file.U32(opt + 28);
    uint32_t imageSize = file.U32(opt + 56);
    headerSize_ = file.U32(opt + 60);
    directoryCount_ = file.U32(opt + 92);
    if (directoryCount_ > (optionalSize - 96u) / 8) return Fail("its data directories run past its optional header");
    if (imageSize == 0 || imageSize > kMostImageBytes)
        return Fail("its image size, " + std::to_string(imageSize) + " bytes, is not one a module has");
    if (sectionCount_ == 0 || sectionCount_ > kMostSections)
        return Fail(std::to_string(sectionCount_) + " sections is not a count a module has");
    sectionTable_ = opt + optionalSize;
    if (!file.Has(sectionTable_, 40u * sectionCount_)) return Fail("cut short in its section table");
    if (headerSize_ > imageSize || !file.Has(0, headerSize_)) return Fail("cut short in its headers");
    directories_ = opt + 96;
    if (directories_ + 8u * directoryCount_ > headerSize_) return Fail("its headers run past the size it gives them");
    out_.image.assign(imageSize, 0);
    std::memcpy(out_.image.data(), file.data, headerSize_);
    return true;
}

bool Loader::Sections(const Bytes &file) {
    for (uint16_t i = 0; i < sectionCount_; ++i) {
        size_t h = sectionTable_ + 40u * i;
        char name[9] = {};
        std::memcpy(name, file.data + h, 8);
        uint32_t virtualSize = file.U32(h + 8), rva = file.U32(h + 12), rawSize = file.U32(h + 16),
                 rawAt = file.U32(h + 20), flags = file.U32(h + 36);
        uint32_t inMemory = virtualSize ? virtualSize : rawSize;
        if (rva < headerSize_)
            return Fail("its section " + std::string(name) + " at " + Hex(rva) + " overlaps its headers");
        if (!InImage(rva, inMemory, "a section")) return false;
        uint32_t copied = rawSize < inMemory ? rawSize : inMemory;  // the rest is zero fill
        if (copied && !file.Has(rawAt, copied))
            return Fail("cut short: its section " + std::string(name) + " ends at byte " +
                        std::to_string(uint64_t(rawAt) + copied) + ", the file at " + std::to_string(file.size));
        std::memcpy(out_.image.data() + rva, file.data + rawAt, copied);
        out_.sections.push_back({name, rva, inMemory, (flags & kWritable) != 0, (flags & kExecutable) != 0});
    }
    return true;
}

bool Loader::Relocate() {
    uint32_t at, size;
    if (!Directory(kRelocationDirectory, &at, &size)) return false;
    uint32_t delta = out_.loadAddress - out_.preferredBase;  // wraps as the addresses do
    uint8_t *img = out_.image.data();
    for (uint32_t end = at + size; at && at + 8 <= end;) {
        uint32_t page = Image().U32(at), blockSize = Image().U32(at + 4);
        if (blockSize < 8 || blockSize > end - at) return Fail("a relocation block at " + Hex(at) + " runs past its table");
        for (uint32_t e = at + 8; e + 2 <= at + blockSize; e += 2) {
            uint16_t entry = Image().U16(e);
            uint32_t type = entry >> 12, target = page + (entry & 0xfff);
            if (type == 0) continue;  // padding
            if (type != 3) return Fail("a relocation of type " + std::to_string(type) + " at " + Hex(e) +
                                       ", which a 32-bit module does not use");
            if (!Image().Has(target, 4))
                return Fail("a relocation at " + Hex(e) + " points outside the image (" + Hex(target) + " of " +
                            Hex(out_.image.size()) + " bytes)");
            uint32_t v = Image().U32(target) + delta;
            for (int k = 0; k < 4; ++k) img[target + k] = static_cast<uint8_t>(v >> (8 * k));
        }
        at += blockSize;
    }
    return true;
}

bool Loader::Imports(const PeImportResolver &resolve) {
    uint32_t at, size;
    if (!Directory(kImportDirectory, &at, &size)) return false;
    for (; at; at += 20) {
        if (!InImage(at, 20, "an import descriptor")) return false;
        uint32_t names = Image().U32(at), dllName = Image().U32(at + 12), slots = Image().U32(at + 16);
        if (!dllName && !slots) break;  // the table's end
        std::string dll;
        if (!Name(dllName, "an imported DLL's name", &dll)) return false;
        if (!names) names = slots;
        for (uint32_t k = 0;; ++k) {
            if (!InImage(names + 4 * k, 4, "an import's name slot") || !InImage(slots + 4 * k, 4, "an import slot"))
                return false;
            uint32_t entry = Image().U32(names + 4 * k);
            if (!entry) break;
            std::string name;
            if (entry & 0x80000000u)
                name = "#" + std::to_string(entry & 0xffff);
            else if (!Name(entry + 2, "an imported name", &name))  // after its two-byte hint
                return false;
            uint32_t address = resolve(dll, name);
            if (!address) return Fail("imports " + dll + " " + name + ", which this host does not provide");
            uint8_t *slot = out_.image.data() + slots + 4 * k;
            for (int b = 0; b < 4; ++b) slot[b] = static_cast<uint8_t>(address >> (8 * b));
        }
    }
    return true;
}

bool Loader::Exports() {
    uint32_t at, size;
    if (!Directory(kExportDirectory, &at, &size)) return false;
    if (!at) return true;
    if (!InImage(at, 40, "the export directory")) return false;
    uint32_t functionCount = Image().U32(at + 20), nameCount = Image().U32(at + 24), functions = Image().U32(at + 28),
             names = Image().U32(at + 32), ordinals = Image().U32(at + 36);
    if (Image().U32(at + 12) && !Name(Image().U32(at + 12), "the module's name", &out_.internalName)) return false;
    if (nameCount > 65536 || functionCount > 65536) return Fail("its export counts are not ones a module has");
    if (!InImage(functions, 4 * functionCount, "the export address table") ||
        !InImage(names, 4 * nameCount, "the export name table") ||
        !InImage(ordinals, 2 * nameCount, "the export ordinal table"))
        return false;
    for (uint32_t i = 0; i < nameCount; ++i) {
        std::string name;
        if (!Name(Image().U32(names + 4 * i), "an export's name", &name)) return false;
        uint16_t ordinal = Image().U16(ordinals + 2 * i);
        if (ordinal >= functionCount) return Fail("the export " + name + " names a function it does not have");
        uint32_t rva = Image().U32(functions + 4 * ordinal);
        if (!Image().Has(rva, 1)) return Fail("the export " + name + " at " + Hex(rva) + " lies outside the image");
        out_.exports.emplace_back(name, rva);
    }
    return true;
}

bool Loader::Tls() {
    uint32_t at, size;
    if (!Directory(kTlsDirectory, &at, &size)) return false;
    if (!at) return true;
    if (!InImage(at, 24, "the thread-local storage directory")) return false;
    // Its fields are addresses, relocated above.
    uint32_t start = Image().U32(at), end = Image().U32(at + 4), index = Image().U32(at + 8),
             callbacks = Image().U32(at + 12);
    out_.hasTls = true;
    out_.tlsTemplateRva = Virtual(start);
    out_.tlsTemplateSize = end - start;
    out_.tlsZeroFill = Image().U32(at + 16);
    out_.tlsIndexRva = Virtual(index);
    if (end < start) return Fail("its thread-local template ends (" + Hex(end) + ") before it starts (" + Hex(start) + ")");
    if (out_.tlsZeroFill > kMostImageBytes)
        return Fail("its thread-local data asks for " + std::to_string(out_.tlsZeroFill) + " bytes of zeros");
    if (!InImage(out_.tlsTemplateRva, out_.tlsTemplateSize, "the thread-local template") ||
        !InImage(out_.tlsIndexRva, 4, "the thread-local index"))
        return false;
    for (uint32_t k = 0; callbacks; ++k) {
        if (!InImage(Virtual(callbacks) + 4 * k, 4, "the thread-local callback list")) return false;
        uint32_t callback = Image().U32(Virtual(callbacks) + 4 * k);
        if (!callback) break;
        if (!InImage(Virtual(callback), 1, "a thread-local callback")) return false;
        out_.tlsCallbackRvas.push_back(Virtual(callback));
    }
    return true;
}

}  // namespace

uint32_t PeLayout::Export(const std::string &name) const {
    for (const auto &e : exports)
        if (e.first == name) return e.second;
    return 0;
}

bool LayOutPeModule(const std::vector<uint8_t> &file, const std::string &fileName, uint32_t loadAddress,
                    const PeImportResolver &resolve, PeLayout *out, std::string *error) {
    *out = PeLayout();
    out->loadAddress = loadAddress;
    Loader loader(fileName, out, error);
    Bytes bytes{file.data(), file.size()};
    if (!loader.Headers(bytes) || !loader.Sections(bytes) || !loader.Relocate() || !loader.Imports(resolve) ||
        !loader.Exports() || !loader.Tls())
        return false;
    if (out->entryRva && out->entryRva >= out->image.size())
        return loader.Fail("its entry point, " + Hex(out->entryRva) + ", lies outside the image");
    return true;
}

namespace {

// A zero-terminated name at a relative address of the layout; empty when it
// runs past the image.
std::string LaidOutName(const PeLayout &layout, uint32_t rva) {
    const std::vector<uint8_t> &image = layout.image;
    if (rva >= image.size() || !std::memchr(&image[rva], 0, image.size() - rva)) return "";
    return reinterpret_cast<const char *>(&image[rva]);
}

}  // namespace

bool ReadPeModule(const std::string &path, PeModuleFacts *facts, std::string *error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = "cannot open " + path;
        return false;
    }
    const std::vector<uint8_t> file(std::istreambuf_iterator<char>(in), {});
    *facts = PeModuleFacts();
    // Laid out at address 0, an address stored in the module is its relative
    // address. Every import is answered, so each DLL it asks of is listed.
    PeLayout layout;
    auto note = [facts](const std::string &dll, const std::string &) -> uint32_t {
        if (facts->importedDlls.empty() || facts->importedDlls.back() != dll) facts->importedDlls.push_back(dll);
        return 1;
    };
    if (!LayOutPeModule(file, path, 0, note, &layout, error)) return false;
    facts->internalName = layout.internalName;
    for (const auto &e : layout.exports) facts->exports.push_back(e.first);
    const Bytes image{layout.image.data(), layout.image.size()};
    // The descriptor: sync, version, machine, start-up, shut-down, server table.
    uint32_t d = layout.Export("_mod_descrip");
    if (!d || !image.Has(d, 24)) return true;
    facts->hasDescriptor = true;
    facts->sysSync = image.U32(d);
    facts->sysVersion = image.U32(d + 4);
    facts->sysMachine = image.U32(d + 8);
    for (uint32_t row = image.U32(d + 20); row && image.Has(row, 12) && image.U32(row); row += 12)
        facts->servers.push_back({LaidOutName(layout, image.U32(row)), LaidOutName(layout, image.U32(row + 4))});
    return true;
}
