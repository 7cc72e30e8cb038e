// The 32-bit product, read from its file: what the host sees of vesk.p without
// loading it (no 32-bit Windows runs here).
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "host/module_loader.h"
#include "host/pe_loader.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

TEST(Product, Win32ModuleIsWhatTheHostLoads) {
    const char *path = VESK_PRODUCT_WIN32;
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no win32 build at " << path;
    PeModuleFacts facts;
    std::string error;
    ASSERT_TRUE(ReadPeModule(path, &facts, &error)) << error;

    EXPECT_EQ(facts.internalName, "vesk.uuu");
    EXPECT_EQ(facts.exports, std::vector<std::string>{"_mod_descrip"});
    // Windows' own DLLs only: the C++ runtime is linked in.
    const std::vector<std::string> system = {"kernel32.dll", "user32.dll", "gdi32.dll",
                                             "comdlg32.dll", "msvcrt.dll", "advapi32.dll"};
    for (const std::string &dll : facts.importedDlls)
        EXPECT_NE(std::find(system.begin(), system.end(), Lower(dll)), system.end()) << dll;

    ASSERT_TRUE(facts.hasDescriptor);
    EXPECT_EQ(facts.sysSync, 0x04121994u);
    EXPECT_EQ(facts.sysVersion, 2u);
    EXPECT_EQ(facts.sysMachine, 0x300u);
    LoadedModule linked{&_mod_descrip};
    auto rows = ServerRows(linked);
    ASSERT_EQ(facts.servers.size(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(facts.servers[i].className, rows[i]->className) << i;
        EXPECT_EQ(facts.servers[i].name, rows[i]->name) << i;
    }
}

}  // namespace
