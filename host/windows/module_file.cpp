#include "host/windows/module_file.h"

#include <sys/mman.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "host/pe_loader.h"
#include "host/windows/runtime.h"

#define WINAPI __attribute__((stdcall))

struct WindowsModule {
    uint8_t *memory = nullptr;
    size_t size = 0;
    PeLayout layout;
    std::vector<uint8_t> threadBlock;  // the main thread's copy of the module's thread-local template
    void *threadBlocks[64] = {};
    bool started = false;  // attached: detach before unmapping
};

namespace {

constexpr uint32_t kProcessAttach = 1, kProcessDetach = 0;
using EntryPoint = int(WINAPI *)(void *instance, uint32_t reason, void *reserved);

// The thread-local callbacks, then the entry point, as Windows calls them.
bool Notify(WindowsModule &m, uint32_t reason) {
    for (uint32_t callback : m.layout.tlsCallbackRvas)
        reinterpret_cast<EntryPoint>(m.memory + callback)(m.memory, reason, nullptr);
    if (!m.layout.entryRva) return true;
    return reinterpret_cast<EntryPoint>(m.memory + m.layout.entryRva)(m.memory, reason,
                                                                      reason == kProcessDetach ? m.memory : nullptr) != 0;
}

}  // namespace

WindowsModule *StartWindowsModule(const std::string &path, const void **descriptor, std::string *error) {
    // (Through the C++ library: the C library's records are laid out without
    // this build's alignment of doubles.)
    std::error_code failed;
    if (!std::filesystem::exists(path, failed)) return *error = path + ": no such file", nullptr;
    if (!std::filesystem::is_regular_file(path, failed)) return *error = path + ": not a file", nullptr;
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> file{std::istreambuf_iterator<char>(in), {}};
    std::string name = path.substr(path.find_last_of('/') + 1);
    // The size first, from a layout nowhere in particular; then the real one at
    // the address the mapping got.
    auto none = [](const std::string &, const std::string &) { return 1u; };
    PeLayout sizing;
    if (!LayOutPeModule(file, name, 0x10000000u, none, &sizing, error)) return nullptr;
    auto *m = new WindowsModule;
    m->size = sizing.image.size();
    // At the address it was linked for when that is free, as Windows does;
    // elsewhere, relocated.
    void *memory = mmap(reinterpret_cast<void *>(static_cast<uintptr_t>(sizing.preferredBase)), m->size,
                        PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (memory == MAP_FAILED)
        memory = mmap(nullptr, m->size, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        delete m;
        return *error = name + ": no memory for its " + std::to_string(sizing.image.size()) + " bytes", nullptr;
    }
    m->memory = static_cast<uint8_t *>(memory);
    uint32_t base = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(memory));
    if (!LayOutPeModule(file, name, base, WindowsImport, &m->layout, error) || !PrepareWindowsThread(error)) {
        StopWindowsModule(m);
        return nullptr;
    }
    std::memcpy(m->memory, m->layout.image.data(), m->size);
    m->layout.image.clear();
    NoteWindowsModule(base, std::filesystem::absolute(path, failed).string());
    // A Windows process computes on the x87 at double precision (53 bits), as
    // its C runtime sets the unit at start-up; Linux leaves it at 64. The
    // module runs in this process's unit, so it gets Windows' setting.
    const uint16_t doublePrecision = 0x027f;
    asm volatile("fldcw %0" : : "m"(doublePrecision));
    if (m->layout.hasTls) {
        // The main thread's block of the module's thread-local data, at index 0.
        m->threadBlock.assign(m->layout.tlsTemplateSize + m->layout.tlsZeroFill, 0);
        std::memcpy(m->threadBlock.data(), m->memory + m->layout.tlsTemplateRva, m->layout.tlsTemplateSize);
        m->threadBlocks[0] = m->threadBlock.data();
        std::memset(m->memory + m->layout.tlsIndexRva, 0, 4);
        SetWindowsThreadStorage(m->threadBlocks);
    }
    struct Attach {
        WindowsModule *m;
        bool started;
    } attach{m, false};
    uint32_t code = 0;
    bool returned = CallWindowsModule([](void *a) {
        auto *at = static_cast<Attach *>(a);
        at->started = Notify(*at->m, kProcessAttach);
    }, &attach, &code);
    if (!returned || !attach.started) {
        *error = name + (returned ? ": its entry point refused to start"
                                  : ": its entry point asked to end the program (code " + std::to_string(code) + ")");
        munmap(m->memory, m->size);
        delete m;
        return nullptr;
    }
    m->started = true;
    uint32_t exported = m->layout.Export("_mod_descrip");
    if (!exported) {
        *error = name + ": exports no _mod_descrip";
        StopWindowsModule(m);
        return nullptr;
    }
    *descriptor = m->memory + exported;
    return m;
}

void StopWindowsModule(WindowsModule *m) {
    if (!m) return;
    if (m->started) Notify(*m, kProcessDetach);
    if (m->memory) munmap(m->memory, m->size);
    delete m;
}
