// The loader's layout of the built 32-bit product, checked against what the
// file says independently of it (the static reader's exports and imported
// DLLs, the bytes of each section at its place), and damaged copies of the
// product refused with one line naming what is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "host/pe_loader.h"

namespace {

std::vector<uint8_t> Product() {
    std::ifstream in(VESK_PRODUCT_WIN32, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

uint32_t U32(const std::vector<uint8_t> &b, size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}
void Put32(std::vector<uint8_t> &b, size_t at, uint32_t v) {
    for (int k = 0; k < 4; ++k) b[at + k] = static_cast<uint8_t>(v >> (8 * k));
}

// Every import answered with a distinct made-up address, remembered.
struct Answers {
    std::vector<std::string> asked;
    PeImportResolver Resolver(const std::string &refuse = "") {
        return [this, refuse](const std::string &dll, const std::string &name) -> uint32_t {
            if (name == refuse) return 0;
            asked.push_back(dll + " " + name);
            return 0x70000000u + 16u * static_cast<uint32_t>(asked.size());
        };
    }
};

class PeLoader : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(VESK_PRODUCT_WIN32)) GTEST_SKIP() << "no win32 build at " << VESK_PRODUCT_WIN32;
        file = Product();
        pe = U32(file, 0x3c);
        sections = pe + 24 + (file[pe + 20] | file[pe + 21] << 8);
    }
    std::vector<uint8_t> file;
    size_t pe = 0, sections = 0;
};

TEST_F(PeLoader, LaysTheProductOutAtAnyAddress) {
    std::string error;
    for (uint32_t address : {0x10000000u, 0x20340000u}) {
        Answers answers;
        PeLayout layout;
        ASSERT_TRUE(LayOutPeModule(file, "vesk.p", address, answers.Resolver(), &layout, &error)) << error;
        EXPECT_EQ(layout.image.size(), U32(file, pe + 24 + 56));
        EXPECT_NE(layout.Export("_mod_descrip"), 0u);
        ASSERT_EQ(layout.exports.size(), 1u) << "the descriptor alone";
        EXPECT_EQ(layout.internalName, "vesk.uuu");
        std::set<std::string> dlls;
        for (const std::string &a : answers.asked) dlls.insert(a.substr(0, a.find(' ')));
        EXPECT_TRUE(dlls.count("KERNEL32.dll") && dlls.count("USER32.dll")) << "what a windowed module needs";
        EXPECT_GT(answers.asked.size(), 100u);  // the C runtime, kernel, drawing and window functions
        // The first section's raw bytes are at its address, except where a
        // relocation added the distance from the linked base.
        uint32_t rva = U32(file, sections + 12), raw = U32(file, sections + 20), rawSize = U32(file, sections + 16);
        size_t same = 0;
        for (uint32_t i = 0; i < rawSize; ++i) same += layout.image[rva + i] == file[raw + i];
        if (address == layout.preferredBase) {
            EXPECT_EQ(same, rawSize);
        }
        EXPECT_GT(same, rawSize * 9 / 10);
        EXPECT_TRUE(layout.sections[0].executable);
    }
}

TEST_F(PeLoader, DamagedProductsAreRefusedWithTheReason) {
    PeLayout probe;
    std::string error;
    Answers answers;
    ASSERT_TRUE(LayOutPeModule(file, "vesk.p", 0x10000000u, answers.Resolver(), &probe, &error)) << error;
    // The relocation directory's first block, to aim one entry outside the image.
    size_t directories = pe + 24 + 96;
    uint32_t relocRva = U32(file, directories + 8 * 5);
    size_t relocAt = 0;
    size_t lastSection = 0;  // where the last section's bytes start in the file
    for (size_t s = 0; s < static_cast<size_t>(file[pe + 6] | file[pe + 7] << 8); ++s) {
        size_t h = sections + 40 * s;
        uint32_t va = U32(file, h + 12), rawSize = U32(file, h + 16);
        if (relocRva >= va && relocRva - va < rawSize) relocAt = U32(file, h + 20) + (relocRva - va);
        if (rawSize) lastSection = std::max<size_t>(lastSection, U32(file, h + 20));
    }
    ASSERT_NE(relocAt, 0u);
    struct Case {
        const char *what;
        std::function<void(std::vector<uint8_t> &)> damage;
        std::string refuse;  // an import the host does not provide
        const char *reason;
    };
    const std::vector<Case> cases = {
        {"cut in its headers", [](auto &b) { b.resize(200); }, "", "cut short in its headers"},
        {"cut in its section table", [this](auto &b) { b.resize(sections + 50); }, "", "cut short in its section table"},
        {"cut in its last section", [lastSection](auto &b) { b.resize(lastSection + 16); }, "", "cut short: its section"},
        {"not i386", [this](auto &b) { b[pe + 4] = 0x64, b[pe + 5] = 0x86; }, "", "not a 32-bit x86 module (machine 0x8664)"},
        {"no MZ", [](auto &b) { b[0] = 'X'; }, "", "not a Windows module (no MZ header)"},
        {"an image of 2 GB", [this](auto &b) { Put32(b, pe + 24 + 56, 0x80000000u); }, "", "its image size"},
        {"a relocation out of range",
         [relocAt](auto &b) { Put32(b, relocAt, 0x7fff0000u); }, "", "points outside the image"},
        {"an unknown import", [](auto &) {}, "GetTickCount64", "imports KERNEL32.dll GetTickCount64, which this host does not provide"},
        {"a section past the image", [this](auto &b) { Put32(b, sections + 12, 0x7ff00000u); }, "", "a section at 0x7ff00000 lies outside the image"},
    };
    for (const Case &c : cases) {
        std::vector<uint8_t> damaged = file;
        c.damage(damaged);
        PeLayout layout;
        Answers quiet;
        EXPECT_FALSE(LayOutPeModule(damaged, "vesk.p", 0x10000000u, quiet.Resolver(c.refuse), &layout, &error)) << c.what;
        EXPECT_EQ(error.rfind("vesk.p: ", 0), 0u) << c.what << ": " << error;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << c.what;
    }
    // Every cut of the headers' first kilobyte is refused, never read past.
    for (size_t cut = 0; cut < 1024; cut += 7) {
        std::vector<uint8_t> damaged(file.begin(), file.begin() + static_cast<long>(cut));
        PeLayout layout;
        EXPECT_FALSE(LayOutPeModule(damaged, "vesk.p", 0x10000000u, answers.Resolver(), &layout, &error)) << cut;
    }
}

}  // namespace
