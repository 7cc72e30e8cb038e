// The Windows runtime put together: the imports a module may name, found in
// the parts that stand in for each DLL; the thread block Windows code reads
// through FS; and the one place a module's request to end the process ends
// the host's call into it instead.
#include "host/windows/runtime.h"

#include <asm/ldt.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <map>

#include "host/windows/runtime_parts.h"

static_assert(sizeof(void *) == 4, "the Windows runtime answers a 32-bit module in a 32-bit process");

namespace {

// ---- the thread block ----
//
// Windows code reads its thread's block through FS: the CRT's start-up takes
// the stack base at fs:[0x18] + 4 as the thread's mark. Each thread gets a
// block of its own in a local descriptor table entry of its own.
struct ThreadBlock {
    uint32_t exceptionList = 0xffffffff, stackBase = 0, stackLimit = 0, subSystem = 0, fiber = 0, arbitrary = 0;
    uint32_t self = 0, environment = 0, processId = 0, threadId = 0, rpc = 0;
    uint32_t threadLocalStorage = 0;  // at 0x2c: the thread's array of module TLS blocks
    uint32_t rest[1012] = {};
};
thread_local ThreadBlock block;
int nextDescriptor = 0;
pthread_mutex_t descriptorLock = PTHREAD_MUTEX_INITIALIZER;

// Names do not repeat across the DLLs a module imports from, so one table
// answers them all.
const std::map<std::string, uint32_t> &Functions() {
    static const std::map<std::string, uint32_t> table = [] {
        std::map<std::string, uint32_t> all;
        for (auto part : {CRuntimeExports(), KernelMemoryExports(), KernelFileExports()})
            for (const WindowsExport &e : part) all.emplace(e.name, Address(e.address));
        return all;
    }();
    return table;
}

// Where a call into the module goes back to when the module asks to end
// the process.
thread_local sigjmp_buf *callGuard = nullptr;
thread_local uint32_t endedWith = 0;

}  // namespace

uint32_t WindowsImport(const std::string &dll, const std::string &name) {
    (void)dll;
    auto found = Functions().find(name);
    if (found != Functions().end()) return found->second;
    return ScreenlessExport(name);
}

bool CallWindowsModule(void (*call)(void *), void *data, uint32_t *exitCode) {
    sigjmp_buf here;
    sigjmp_buf *outer = callGuard;
    if (sigsetjmp(here, 0)) {
        callGuard = outer;
        if (exitCode) *exitCode = endedWith;
        return false;
    }
    callGuard = &here;
    call(data);
    callGuard = outer;
    return true;
}

void EndWindowsModuleCall(uint32_t code) {
    if (callGuard) {
        std::fprintf(stderr, "vesk: the module asked to end the program (code %u); refused: its call ends instead\n", code);
        endedWith = code;
        siglongjmp(*callGuard, 1);
    }
    // A plug-in call the host did not guard (only the module's start-up is:
    // a guard on every evaluation would cost each point and pixel): the
    // module's C runtime has already shut down, so nothing of it can run
    // again. The command stops; files are written under a passing name and
    // renamed when whole, so none is left half-written under its own.
    std::fprintf(stderr, "vesk: the module asked to end the program (code %u) during a plug-in call; the command stops\n",
                 code);
    std::fflush(nullptr);
    _exit(70);
}

bool PrepareWindowsThread(std::string *error) {
    int here;
    block.self = Address(&block);
    block.stackBase = Address(&here) + 4096;  // a mark of this thread, as the start-up uses it
    block.stackLimit = Address(&here) - (1u << 20);
    block.processId = static_cast<uint32_t>(getpid());
    block.threadId = static_cast<uint32_t>(syscall(SYS_gettid));
    pthread_mutex_lock(&descriptorLock);
    int entry = nextDescriptor++;
    pthread_mutex_unlock(&descriptorLock);
    user_desc d{};
    d.entry_number = static_cast<unsigned>(entry);
    d.base_addr = Address(&block);
    d.limit = sizeof block - 1;
    d.seg_32bit = 1;
    d.useable = 1;
    if (syscall(SYS_modify_ldt, 1, &d, sizeof d) != 0) {
        *error = std::string("the system refused a thread block segment: ") + std::strerror(errno);
        return false;
    }
    const uint16_t selector = static_cast<uint16_t>(entry << 3 | 4 | 3);  // local table, user level
    asm volatile("movw %0, %%fs" : : "r"(selector));
    return true;
}

void NoteWindowsModule(uint32_t base, const std::string &path) {
    windowsModuleBase = base;
    windowsModulePath = path;
}

void SetWindowsThreadStorage(void *blocks) { block.threadLocalStorage = Address(blocks); }
