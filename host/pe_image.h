// Reads a Windows module file without running it: machine, internal name,
// exports, imported DLLs, and for a 32-bit module the descriptor and server
// table it exports under "_mod_descrip". This is how the 32-bit product is
// checked on machines that cannot load it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct StaticServerRow {
    std::string className, name;
};

struct PeModuleFacts {
    uint16_t machine = 0;  // 0x14c i386, 0x8664 x86-64
    std::string internalName;
    std::vector<std::string> exports;
    std::vector<std::string> importedDlls;
    // Read from the exported descriptor (32-bit modules only).
    bool hasDescriptor = false;
    uint32_t sysSync = 0, sysVersion = 0, sysMachine = 0;
    std::vector<StaticServerRow> servers;
};

// False, with the reason, when the file is not a module this reader understands.
bool ReadPeModule(const std::string &path, PeModuleFacts *facts, std::string *error);
