// kernel32's memory, threads and synchronisation: critical sections,
// thread-local slots, the last error, heaps on the C library's heap, virtual
// memory reserved and committed on the system's pages, events and semaphores
// of a host that calls the module from one thread at a time, thread and
// process identities, time, and the debugger's functions.
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <unordered_set>

#include "host/windows/runtime_parts.h"

namespace {

thread_local uint32_t lastError = 0;
thread_local void *tlsSlots[64];
int tlsNext = 0;

// ---- heaps ----
//
// A heap is a set of blocks from the C library's heap, so that destroying it
// frees what it still holds, as Windows does. The handle is the set.
constexpr uint32_t kHeapZeroMemory = 0x8;
struct Heap {
    std::unordered_set<void *> blocks;
};
std::mutex heapLock;

// ---- virtual memory ----
//
// Reserved ranges are mapped without access; committing a part gives it read
// and write (its pages read as zeros, as Windows' freshly committed pages
// do); decommitting gives the pages back and takes the access away.
constexpr uint32_t kMemCommit = 0x1000, kMemReserve = 0x2000, kMemDecommit = 0x4000, kMemRelease = 0x8000;
std::map<uint32_t, uint32_t> reservations;  // base: size
std::mutex reservationLock;
constexpr uint32_t kPage = 4096;
constexpr uint32_t kLowMemory = 0x20000000u;  // where reservations are first looked for

int Protection(uint32_t windows) {
    switch (windows & 0xff) {
    case 0x01: return PROT_NONE;                           // PAGE_NOACCESS
    case 0x02: return PROT_READ;                           // PAGE_READONLY
    case 0x10: return PROT_EXEC;                           // PAGE_EXECUTE
    case 0x20: return PROT_READ | PROT_EXEC;               // PAGE_EXECUTE_READ
    case 0x40: return PROT_READ | PROT_WRITE | PROT_EXEC;  // PAGE_EXECUTE_READWRITE
    default: return PROT_READ | PROT_WRITE;                // PAGE_READWRITE and the copy-on-write kinds
    }
}

}  // namespace

void SetWindowsLastError(uint32_t error) { lastError = error; }
uint32_t windowsModuleBase = 0;

extern "C" {
void WINAPI InitializeCriticalSection(void *) {}
void WINAPI DeleteCriticalSection(void *) {}
// One lock for all of the module's critical sections: it takes them only
// briefly, and this host calls it from one thread at a time.
pthread_mutex_t sectionLock = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
void WINAPI EnterCriticalSection(void *) { pthread_mutex_lock(&sectionLock); }
void WINAPI LeaveCriticalSection(void *) { pthread_mutex_unlock(&sectionLock); }
int WINAPI TryEnterCriticalSection(void *) { return pthread_mutex_trylock(&sectionLock) == 0; }
uint32_t WINAPI TlsAlloc() { return tlsNext < 64 ? tlsNext++ : 0xffffffffu; }
void *WINAPI TlsGetValue(uint32_t i) { return i < 64 ? tlsSlots[i] : nullptr; }
int WINAPI TlsSetValue(uint32_t i, void *v) { return i < 64 ? (tlsSlots[i] = v, 1) : 0; }
uint32_t WINAPI GetLastError() { return lastError; }
void WINAPI SetLastError(uint32_t e) { lastError = e; }
uint32_t WINAPI GetCurrentThreadId() { return static_cast<uint32_t>(syscall(SYS_gettid)); }
uint32_t WINAPI GetCurrentProcessId() { return static_cast<uint32_t>(getpid()); }
void *WINAPI GetCurrentThread() { return reinterpret_cast<void *>(-2); }

void *WINAPI HeapCreate(uint32_t, uint32_t, uint32_t) { return new Heap; }
int WINAPI HeapDestroy(void *heap) {
    if (!heap) return SetLastError(6), 0;  // ERROR_INVALID_HANDLE
    std::lock_guard<std::mutex> hold(heapLock);
    for (void *p : static_cast<Heap *>(heap)->blocks) std::free(p);
    delete static_cast<Heap *>(heap);
    return 1;
}
void *WINAPI HeapAlloc(void *heap, uint32_t flags, uint32_t size) {
    if (!heap) return nullptr;
    // Windows hands out a block even for no bytes.
    void *p = flags & kHeapZeroMemory ? std::calloc(1, size ? size : 1) : std::malloc(size ? size : 1);
    if (!p) return SetLastError(8), nullptr;  // ERROR_NOT_ENOUGH_MEMORY
    std::lock_guard<std::mutex> hold(heapLock);
    static_cast<Heap *>(heap)->blocks.insert(p);
    return p;
}
int WINAPI HeapFree(void *heap, uint32_t, void *p) {
    if (!p) return 1;
    std::lock_guard<std::mutex> hold(heapLock);
    if (!heap || !static_cast<Heap *>(heap)->blocks.erase(p)) return SetLastError(87), 0;  // not one of its blocks
    std::free(p);
    return 1;
}

void *WINAPI VirtualAlloc(void *at, uint32_t size, uint32_t type, uint32_t protect) {
    if (!size) return SetLastError(87), nullptr;
    uint32_t from = Address(at) & ~(kPage - 1), to = (Address(at) + size + kPage - 1) & ~(kPage - 1);
    std::lock_guard<std::mutex> hold(reservationLock);
    if ((type & kMemReserve) || (!at && (type & kMemCommit))) {  // committing nowhere in particular reserves too
        // A new range: at the address asked for (Windows rounds it to 64 KB)
        // or wherever the system has room.
        if (at) from = Address(at) & ~0xffffu;
        uint32_t length = to - from;
        if (!at) length = (size + kPage - 1) & ~(kPage - 1);
        int access = type & kMemCommit ? Protection(protect) : PROT_NONE;
        void *p = MAP_FAILED;
        if (at) {
            p = mmap(reinterpret_cast<void *>(static_cast<uintptr_t>(from)), length, access,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        } else {
            // Below 2 GB, where Windows gives a process its memory: C
            // runtimes of the time take a set top bit for a failure.
            for (uint32_t hint = kLowMemory; p == MAP_FAILED && hint + length < 0x80000000u; hint += 0x100000) {
                p = mmap(reinterpret_cast<void *>(static_cast<uintptr_t>(hint)), length, access,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
                if (p == MAP_FAILED && errno != EEXIST) break;
            }
        }
        if (p == MAP_FAILED) return SetLastError(8), nullptr;
        reservations[Address(p)] = length;
        return p;
    }
    if (!(type & kMemCommit) || !at) return SetLastError(87), nullptr;
    // Committing within a reservation.
    auto r = reservations.upper_bound(from);
    if (r == reservations.begin() || (--r, to > r->first + r->second)) return SetLastError(487), nullptr;  // ERROR_INVALID_ADDRESS
    if (mprotect(reinterpret_cast<void *>(static_cast<uintptr_t>(from)), to - from, Protection(protect)) != 0)
        return SetLastError(8), nullptr;
    return reinterpret_cast<void *>(static_cast<uintptr_t>(from));
}
int WINAPI VirtualFree(void *at, uint32_t size, uint32_t type) {
    uint32_t base = Address(at);
    std::lock_guard<std::mutex> hold(reservationLock);
    if (type & kMemRelease) {
        auto r = reservations.find(base);
        if (size || r == reservations.end()) return SetLastError(87), 0;  // a whole reservation, by its base
        munmap(at, r->second);
        reservations.erase(r);
        return 1;
    }
    if (!(type & kMemDecommit)) return SetLastError(87), 0;
    uint32_t from = base & ~(kPage - 1), to = (base + size + kPage - 1) & ~(kPage - 1);
    auto r = reservations.upper_bound(from);
    if (r == reservations.begin()) return SetLastError(487), 0;
    --r;
    if (!size) to = r->first + r->second;  // to the reservation's end
    if (to > r->first + r->second) return SetLastError(487), 0;
    void *p = reinterpret_cast<void *>(static_cast<uintptr_t>(from));
    madvise(p, to - from, MADV_DONTNEED);
    mprotect(p, to - from, PROT_NONE);
    return 1;
}
int WINAPI VirtualProtect(void *, uint32_t, uint32_t, uint32_t *old) {
    if (old) *old = 0x40;  // the image is mapped readable, writable and executable
    return 1;
}
uint32_t WINAPI VirtualQuery(const void *address, uint32_t *info, uint32_t size) {
    if (size < 28) return 0;
    uint32_t page = Address(address) & ~0xfffu;
    const uint32_t fields[7] = {page, windowsModuleBase, 0x40, 0x1000, 0x1000, 0x40, 0x1000000};
    std::memcpy(info, fields, sizeof fields);
    return 28;
}
void WINAPI Sleep(uint32_t ms) { usleep(ms * 1000); }
void *WINAPI AddVectoredExceptionHandler(uint32_t, void *handler) { return handler; }
uint32_t WINAPI RemoveVectoredExceptionHandler(void *) { return 1; }
// Events and semaphores of a host that runs the module on one thread at a time.
uint32_t nextHandle = 0x100;
void *WINAPI CreateEventA(void *, int, int, const char *) { return reinterpret_cast<void *>(nextHandle += 4); }
void *WINAPI CreateSemaphoreA(void *, int, int, const char *) { return reinterpret_cast<void *>(nextHandle += 4); }
int WINAPI SetEvent(void *) { return 1; }
int WINAPI ResetEvent(void *) { return 1; }
int WINAPI ReleaseSemaphore(void *, int, int *previous) {
    if (previous) *previous = 0;
    return 1;
}
uint32_t WINAPI WaitForSingleObject(void *, uint32_t) { return 0; }
uint32_t WINAPI WaitForMultipleObjects(uint32_t, void *const *, int, uint32_t) { return 0; }
int WINAPI DuplicateHandle(void *, void *source, void *, void **target, uint32_t, int, uint32_t) {
    if (target) *target = source;
    return 1;
}
int WINAPI GetHandleInformation(void *, uint32_t *flags) {
    if (flags) *flags = 0;
    return 1;
}
void *WINAPI OpenProcess(uint32_t, int, uint32_t) { return nullptr; }
int WINAPI GetThreadContext(void *, void *) { return 0; }
int WINAPI SetThreadContext(void *, const void *) { return 0; }
uint32_t WINAPI SuspendThread(void *) { return 0xffffffffu; }
uint32_t WINAPI ResumeThread(void *) { return 0xffffffffu; }
int WINAPI GetThreadPriority(void *) { return 0; }
int WINAPI SetThreadPriority(void *, int) { return 1; }
int WINAPI GetProcessAffinityMask(void *, uint32_t *process, uint32_t *system) {
    if (process) *process = 1;
    if (system) *system = 1;
    return 1;
}
int WINAPI SetProcessAffinityMask(void *, uint32_t) { return 1; }
void WINAPI GetSystemTimeAsFileTime(uint32_t *fileTime) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    // 100-nanosecond steps since 1601.
    uint64_t t = (static_cast<uint64_t>(now.tv_sec) + 11644473600ull) * 10000000ull + now.tv_nsec / 100;
    fileTime[0] = static_cast<uint32_t>(t), fileTime[1] = static_cast<uint32_t>(t >> 32);
}
uint64_t WINAPI GetTickCount64() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}
uint32_t WINAPI GetTickCount() { return static_cast<uint32_t>(GetTickCount64()); }
int WINAPI IsDebuggerPresent() { return 0; }
void WINAPI OutputDebugStringA(const char *) {}
void WINAPI RaiseException(uint32_t code, uint32_t, uint32_t, const void *) {
    std::fprintf(stderr, "vesk.p: raised exception 0x%08x\n", code);
    std::abort();
}
}

std::span<const WindowsExport> KernelMemoryExports() {
#define F(name) {#name, reinterpret_cast<const void *>(&name)}
    static const WindowsExport table[] = {
        F(InitializeCriticalSection), F(DeleteCriticalSection), F(EnterCriticalSection), F(LeaveCriticalSection),
        F(TryEnterCriticalSection), F(TlsAlloc), F(TlsGetValue), F(TlsSetValue), F(GetLastError), F(SetLastError),
        F(GetCurrentThreadId), F(GetCurrentProcessId), F(GetCurrentThread), F(HeapCreate), F(HeapDestroy),
        F(HeapAlloc), F(HeapFree), F(VirtualAlloc), F(VirtualFree), F(VirtualProtect), F(VirtualQuery), F(Sleep),
        F(AddVectoredExceptionHandler), F(RemoveVectoredExceptionHandler), F(CreateEventA), F(CreateSemaphoreA),
        F(SetEvent), F(ResetEvent), F(ReleaseSemaphore), F(WaitForSingleObject), F(WaitForMultipleObjects),
        F(DuplicateHandle), F(GetHandleInformation), F(OpenProcess), F(GetThreadContext), F(SetThreadContext),
        F(SuspendThread), F(ResumeThread), F(GetThreadPriority), F(SetThreadPriority), F(GetProcessAffinityMask),
        F(SetProcessAffinityMask), F(GetSystemTimeAsFileTime), F(GetTickCount64), F(GetTickCount),
        F(IsDebuggerPresent), F(OutputDebugStringA), F(RaiseException),
    };
#undef F
    return table;
}
