// Lays a 32-bit x86 Windows DLL out in memory as the Windows loader does,
// from its file: headers and sections at their relative addresses, base
// relocations applied for the address it will run at, and every import
// answered by the caller. Every size, offset and count in the file is checked
// before it is used; a damaged file gives one line naming the file, the place
// and the reason. Nothing here runs the module: a 32-bit host maps the layout
// at its address and calls the entry point itself.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The address (in the process that will run the module) of an imported
// function or data, by DLL and name ("#7" for an import by ordinal 7); 0 when
// the host does not provide it.
using PeImportResolver = std::function<uint32_t(const std::string &dll, const std::string &name)>;

struct PeLayout {
    std::vector<uint8_t> image;  // SizeOfImage bytes: what the module's memory holds at its start
    uint32_t preferredBase = 0;  // the address it was linked for
    uint32_t loadAddress = 0;    // the address the relocations were applied for
    uint32_t entryRva = 0;       // its DLL entry point (0: none)
    std::string internalName;  // the name its export directory gives it
    // Exports by name: relative virtual addresses.
    std::vector<std::pair<std::string, uint32_t>> exports;
    // The thread-local storage directory, when it has one: where the loader
    // writes the TLS index, the template to copy for each thread, and the
    // callbacks to call before the entry point (all relative addresses).
    bool hasTls = false;
    uint32_t tlsIndexRva = 0, tlsTemplateRva = 0, tlsTemplateSize = 0, tlsZeroFill = 0;
    std::vector<uint32_t> tlsCallbackRvas;
    // The sections: name, relative address, size in memory, and whether they
    // may be written and executed (what the host's page protection follows).
    struct Section {
        std::string name;
        uint32_t rva, size;
        bool writable, executable;
    };
    std::vector<Section> sections;
    uint32_t Export(const std::string &name) const;  // its RVA, 0 when not exported
};

// Lays the module out for loadAddress. `fileName` names it in messages.
bool LayOutPeModule(const std::vector<uint8_t> &file, const std::string &fileName, uint32_t loadAddress,
                    const PeImportResolver &resolve, PeLayout *out, std::string *error);

// What a module file says of itself, read without running it (the same
// checked layout, at address 0): its internal name, exports, the DLLs it
// imports, and the descriptor and server table it exports under
// "_mod_descrip". This is how a 32-bit module is listed and checked on
// machines that cannot load it.
struct StaticServerRow {
    std::string className, name;
};
struct PeModuleFacts {
    std::string internalName;
    std::vector<std::string> exports;
    std::vector<std::string> importedDlls;
    bool hasDescriptor = false;
    uint32_t sysSync = 0, sysVersion = 0, sysMachine = 0;
    std::vector<StaticServerRow> servers;
};

// False, with the reason, when the file cannot be read or is not a 32-bit
// module this reader understands.
bool ReadPeModule(const std::string &path, PeModuleFacts *facts, std::string *error);
