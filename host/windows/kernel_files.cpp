// kernel32's files, environment and code pages: handles for the standard
// streams and for files the module creates, the environment and command line,
// the ANSI code page 1252 and the C locale's character types and case
// mapping, the module functions (GetModuleHandle, GetProcAddress for what is
// loaded), the version (Windows NT 4.0), and a process the module may not end.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "host/windows/runtime.h"
#include "host/windows/runtime_parts.h"

extern char **environ;

std::string windowsModulePath;

namespace {

// ---- handles ----
//
// A handle names a slot: the standard three first, then files the module
// opened. A file created for writing is written under a name of its own and
// given its real name when closed, so that a module that stops half way
// leaves no half-written file behind.
struct OpenHandle {
    int fd = -1;
    std::string writing, finalName;  // a file written whole: where it is written, and its name when done
};
std::vector<OpenHandle> handles = {{0, {}, {}}, {1, {}, {}}, {2, {}, {}}};
std::mutex handleLock;
uint32_t standardHandles[3] = {0, 1, 2};  // input, output, error: slots

constexpr uint32_t kHandleBase = 0x1000;
constexpr uint32_t kInvalidHandle = 0xffffffffu;
void *HandleOf(uint32_t slot) { return reinterpret_cast<void *>(static_cast<uintptr_t>(kHandleBase + 4 * slot)); }
OpenHandle *Slot(void *handle) {
    uint32_t h = Address(handle);
    if (h < kHandleBase || (h - kHandleBase) % 4) return nullptr;
    uint32_t slot = (h - kHandleBase) / 4;
    return slot < handles.size() && handles[slot].fd >= 0 ? &handles[slot] : nullptr;
}

int FdOf(void *handle) {
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    return h ? h->fd : -1;
}

// Windows' errors for the system's.
uint32_t WindowsError(int error) {
    switch (error) {
    case ENOENT: return 2;   // ERROR_FILE_NOT_FOUND
    case ENOTDIR: return 3;  // ERROR_PATH_NOT_FOUND
    case EACCES: case EPERM: case EROFS: return 5;  // ERROR_ACCESS_DENIED
    case EEXIST: return 80;  // ERROR_FILE_EXISTS
    case ENOSPC: return 112;  // ERROR_DISK_FULL
    default: return 31;      // ERROR_GEN_FAILURE
    }
}

// The module names files the Windows way; here a backslash is a separator.
std::string LinuxPath(const char *name) {
    std::string path = name ? name : "";
    for (char &c : path)
        if (c == '\\') c = '/';
    return path;
}

// ---- code page 1252 ----
//
// Bytes are their own code points but for 0x80-0x9f, which 1252 gives to
// typographic marks; five of them are unassigned and map to themselves.
const uint16_t k1252High[32] = {0x20ac, 0x81,   0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021,
                                0x02c6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8d,   0x017d, 0x8f,
                                0x90,   0x2018, 0x2019, 0x201c, 0x201d, 0x2022, 0x2013, 0x2014,
                                0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0x9d,   0x017e, 0x0178};
uint16_t Wide(uint8_t c) { return c >= 0x80 && c < 0xa0 ? k1252High[c - 0x80] : c; }
// The byte for a UTF-16 unit, or 0 when 1252 has none.
int Narrow(uint16_t u) {
    if (u < 0x80 || (u >= 0xa0 && u < 0x100)) return u;
    for (int i = 0; i < 32; ++i)
        if (k1252High[i] == u) return 0x80 + i;
    return -1;
}

// The C locale's character types (CT_CTYPE1) and case: ASCII only.
constexpr uint16_t kUpper = 0x1, kLower = 0x2, kDigit = 0x4, kSpace = 0x8, kPunct = 0x10, kControl = 0x20,
                   kBlank = 0x40, kHexDigit = 0x80, kAlpha = 0x100;
uint16_t CharacterType(unsigned c) {
    if (c >= 0x80) return 0;
    uint16_t t = 0;
    if (c >= 'A' && c <= 'Z') t |= kUpper | kAlpha;
    if (c >= 'a' && c <= 'z') t |= kLower | kAlpha;
    if (c >= '0' && c <= '9') t |= kDigit;
    if (c == ' ' || (c >= 9 && c <= 13)) t |= kSpace;
    if (c == ' ' || c == '\t') t |= kBlank;
    if (c < 0x20 || c == 0x7f) t |= kControl;
    if (c > 0x20 && c < 0x7f && !(t & (kAlpha | kDigit))) t |= kPunct;
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) t |= kHexDigit;
    return t;
}
constexpr uint32_t kMapLower = 0x100, kMapUpper = 0x200;
unsigned MapCase(unsigned c, uint32_t flags) {
    if ((flags & kMapLower) && c >= 'A' && c <= 'Z') return c + 32;
    if ((flags & kMapUpper) && c >= 'a' && c <= 'z') return c - 32;
    return c;
}
// The string functions' count rule: a negative length counts up to and with
// the terminating zero.
template <typename Char>
int Counted(const Char *from, int n) {
    if (n >= 0) return n;
    n = 0;
    while (from[n]) ++n;
    return n + 1;
}

// LCMapString: no room asks for the length needed.
template <typename Char>
int MapString(uint32_t flags, const Char *from, int n, Char *to, int room) {
    n = Counted(from, n);
    if (room == 0) return n;
    if (room < n) return 0;
    for (int i = 0; i < n; ++i) to[i] = static_cast<Char>(MapCase(static_cast<unsigned>(from[i]) & (sizeof(Char) == 1 ? 0xff : 0xffff), flags));
    return n;
}

std::string CommandLine() {
    std::ifstream in("/proc/self/cmdline", std::ios::binary);
    std::string all{std::istreambuf_iterator<char>(in), {}}, line;
    for (size_t at = 0; at < all.size();) {
        std::string word = all.c_str() + at;
        at += word.size() + 1;
        if (!line.empty()) line += ' ';
        line += word.find(' ') != std::string::npos ? '"' + word + '"' : word;
    }
    return line;
}

std::string ExecutablePath() {
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    return n > 0 ? std::string(path, n) : std::string("vesk");
}

// kernel32 itself, as GetModuleHandle names it: its functions are ours.
void *const kKernelHandle = reinterpret_cast<void *>(0x7ff00000);
constexpr uint32_t kProgramHandle = 0x400000;

bool IsKernel(const std::string &name) {
    std::string lower;
    for (char c : name) lower += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return lower == "kernel32" || lower == "kernel32.dll";
}

}  // namespace

extern "C" {
// ---- modules ----
void *WINAPI GetModuleHandleA(const char *name) {
    if (!name) return reinterpret_cast<void *>(kProgramHandle);
    if (IsKernel(name)) return kKernelHandle;
    std::string base = windowsModulePath.substr(windowsModulePath.find_last_of('/') + 1);
    if (!base.empty() && strcasecmp(name, base.c_str()) == 0) return reinterpret_cast<void *>(windowsModuleBase);
    return SetWindowsLastError(126), nullptr;  // ERROR_MOD_NOT_FOUND: no other DLL is here
}
void *WINAPI GetModuleHandleW(const uint16_t *name) {
    if (!name) return reinterpret_cast<void *>(kProgramHandle);
    std::string narrow;
    for (; *name; ++name) narrow += static_cast<char>(*name < 0x80 ? *name : '?');
    return GetModuleHandleA(narrow.c_str());
}
int WINAPI GetModuleHandleExA(uint32_t, const char *, void **module) {
    if (module) *module = reinterpret_cast<void *>(windowsModuleBase);
    return 1;
}
// No other DLL is here: a runtime then uses its own unwinder and helpers.
void *WINAPI LoadLibraryA(const char *name) { return name && IsKernel(name) ? kKernelHandle : (SetWindowsLastError(126), nullptr); }
void *WINAPI LoadLibraryW(const void *) { return SetWindowsLastError(126), nullptr; }
int WINAPI FreeLibrary(void *) { return 1; }
void *WINAPI GetProcAddress(void *module, const char *name) {
    if (module == kKernelHandle && name && Address(name) > 0xffff)
        if (uint32_t address = WindowsImport("KERNEL32.dll", name)) return reinterpret_cast<void *>(address);
    return SetWindowsLastError(127), nullptr;  // ERROR_PROC_NOT_FOUND
}
uint32_t WINAPI GetModuleFileNameA(void *module, char *to, uint32_t room) {
    std::string path = !module || Address(module) == kProgramHandle ? ExecutablePath()
                       : Address(module) == windowsModuleBase   ? windowsModulePath
                                                                : std::string();
    if (path.empty()) return SetWindowsLastError(126), 0;
    if (!room) return 0;
    uint32_t n = path.size() < room ? static_cast<uint32_t>(path.size()) : room - 1;
    std::memcpy(to, path.data(), n);
    to[n] = 0;
    return n;
}
int WINAPI DisableThreadLibraryCalls(void *) { return 1; }

// ---- the process ----
// Windows NT 4.0 (build 1381): major 4, minor 0, and the build in the high
// word with its top bit clear (an NT system).
uint32_t WINAPI GetVersion() { return 0x05650004u; }
void WINAPI GetStartupInfoA(uint8_t *info) {
    std::memset(info, 0, 68);  // no window to show, no handles inherited
    info[0] = 68;              // cb: its own size
}
const char *WINAPI GetCommandLineA() {
    static const std::string line = CommandLine();
    return line.c_str();
}
char *WINAPI GetEnvironmentStrings() {
    std::string block;
    for (char **e = environ; e && *e; ++e) block.append(*e).push_back('\0');
    block.push_back('\0');
    char *copy = static_cast<char *>(std::malloc(block.size()));
    if (copy) std::memcpy(copy, block.data(), block.size());
    return copy;
}
uint16_t *WINAPI GetEnvironmentStringsW() {
    char *narrow = GetEnvironmentStrings();
    if (!narrow) return nullptr;
    size_t n = 0;
    while (narrow[n] || narrow[n + 1]) ++n;
    n += 2;
    uint16_t *wide = static_cast<uint16_t *>(std::malloc(n * sizeof(uint16_t)));
    if (wide)
        for (size_t i = 0; i < n; ++i) wide[i] = Wide(static_cast<uint8_t>(narrow[i]));
    std::free(narrow);
    return wide;
}
int WINAPI FreeEnvironmentStringsA(char *block) { return std::free(block), 1; }
int WINAPI FreeEnvironmentStringsW(uint16_t *block) { return std::free(block), 1; }
void *WINAPI GetCurrentProcess() { return reinterpret_cast<void *>(-1); }
// The module may not end the host: a request to end the process is refused,
// on the error stream, and the host goes on.
int WINAPI TerminateProcess(void *, uint32_t code) {
    std::fprintf(stderr, "vesk: the module asked to end the program (code %u); refused\n", code);
    return SetWindowsLastError(5), 0;  // ERROR_ACCESS_DENIED
}
[[noreturn]] void WINAPI ExitProcess(uint32_t code) { EndWindowsModuleCall(code); }

// ---- files ----
void *WINAPI GetStdHandle(uint32_t which) {
    int index = static_cast<int>(-10 - static_cast<int32_t>(which));  // -10 input, -11 output, -12 error
    if (index < 0 || index > 2) return SetWindowsLastError(6), reinterpret_cast<void *>(kInvalidHandle);
    return HandleOf(standardHandles[index]);
}
int WINAPI SetStdHandle(uint32_t which, void *handle) {
    int index = static_cast<int>(-10 - static_cast<int32_t>(which));
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    if (index < 0 || index > 2 || !h) return SetWindowsLastError(6), 0;
    standardHandles[index] = static_cast<uint32_t>(h - handles.data());
    return 1;
}
uint32_t WINAPI SetHandleCount(uint32_t count) { return count; }
uint32_t WINAPI GetFileType(void *handle) {
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    struct stat s;
    if (!h || fstat(h->fd, &s) != 0) return 0;  // FILE_TYPE_UNKNOWN
    if (S_ISCHR(s.st_mode)) return 2;            // FILE_TYPE_CHAR
    if (S_ISFIFO(s.st_mode) || S_ISSOCK(s.st_mode)) return 3;  // FILE_TYPE_PIPE
    return 1;                                    // FILE_TYPE_DISK
}
void *WINAPI CreateFileA(const char *name, uint32_t access, uint32_t, void *, uint32_t disposition, uint32_t, void *) {
    constexpr uint32_t kRead = 0x80000000u, kWrite = 0x40000000u;
    int flags = (access & kRead) && (access & kWrite) ? O_RDWR : (access & kWrite) ? O_WRONLY : O_RDONLY;
    switch (disposition) {
    case 1: flags |= O_CREAT | O_EXCL; break;   // CREATE_NEW
    case 2: flags |= O_CREAT | O_TRUNC; break;  // CREATE_ALWAYS
    case 3: break;                              // OPEN_EXISTING
    case 4: flags |= O_CREAT; break;            // OPEN_ALWAYS
    case 5: flags |= O_TRUNC; break;            // TRUNCATE_EXISTING
    default: return SetWindowsLastError(87), reinterpret_cast<void *>(kInvalidHandle);
    }
    OpenHandle opened;
    opened.finalName = LinuxPath(name);
    // A file made anew for writing alone is written whole or not at all.
    bool whole = disposition == 2 && !(access & kRead);
    if (whole) {
        opened.writing = opened.finalName + ".part" + std::to_string(getpid());
        flags = O_WRONLY | O_CREAT | O_TRUNC;
    }
    opened.fd = open(whole ? opened.writing.c_str() : opened.finalName.c_str(), flags | O_CLOEXEC, 0644);
    if (opened.fd < 0) return SetWindowsLastError(WindowsError(errno)), reinterpret_cast<void *>(kInvalidHandle);
    std::lock_guard<std::mutex> hold(handleLock);
    handles.push_back(opened);
    return HandleOf(static_cast<uint32_t>(handles.size() - 1));
}
int WINAPI WriteFile(void *handle, const void *from, uint32_t n, uint32_t *written, void *) {
    if (written) *written = 0;
    int fd = FdOf(handle);
    if (fd < 0) return SetWindowsLastError(6), 0;
    uint32_t done = 0;
    while (done < n) {
        ssize_t w = write(fd, static_cast<const char *>(from) + done, n - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return SetWindowsLastError(WindowsError(errno)), 0;
        done += static_cast<uint32_t>(w);
    }
    if (written) *written = done;
    return 1;
}
int WINAPI ReadFile(void *handle, void *to, uint32_t n, uint32_t *read_, void *) {
    if (read_) *read_ = 0;
    int fd = FdOf(handle);
    if (fd < 0) return SetWindowsLastError(6), 0;
    ssize_t r;
    do r = read(fd, to, n);
    while (r < 0 && errno == EINTR);
    if (r < 0) return SetWindowsLastError(WindowsError(errno)), 0;
    if (read_) *read_ = static_cast<uint32_t>(r);  // 0 at the end of the file
    return 1;
}
uint32_t WINAPI SetFilePointer(void *handle, int32_t low, int32_t *high, uint32_t method) {
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    if (!h || method > 2) return SetWindowsLastError(h ? 87 : 6), 0xffffffffu;
    int64_t distance = high ? (static_cast<int64_t>(*high) << 32) | static_cast<uint32_t>(low) : low;
    off64_t at = lseek64(h->fd, distance, method == 0 ? SEEK_SET : method == 1 ? SEEK_CUR : SEEK_END);
    if (at < 0) return SetWindowsLastError(131), 0xffffffffu;  // ERROR_NEGATIVE_SEEK
    if (high) *high = static_cast<int32_t>(at >> 32);
    SetWindowsLastError(0);
    return static_cast<uint32_t>(at);
}
int WINAPI SetEndOfFile(void *handle) {
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    if (!h) return SetWindowsLastError(6), 0;
    off64_t at = lseek64(h->fd, 0, SEEK_CUR);
    return at >= 0 && ftruncate64(h->fd, at) == 0 ? 1 : (SetWindowsLastError(WindowsError(errno)), 0);
}
int WINAPI FlushFileBuffers(void *handle) {
    std::lock_guard<std::mutex> hold(handleLock);
    return Slot(handle) ? 1 : (SetWindowsLastError(6), 0);  // written straight through: nothing waits
}
// Handles of events and semaphores are only names here; a file's is closed,
// and a file written whole takes its real name.
int WINAPI CloseHandle(void *handle) {
    std::lock_guard<std::mutex> hold(handleLock);
    OpenHandle *h = Slot(handle);
    if (!h) return 1;
    size_t slot = static_cast<size_t>(h - handles.data());
    if (slot < 3) return 1;  // the standard streams stay the host's
    bool ok = close(h->fd) == 0;
    if (!h->writing.empty()) {
        ok = ok && std::rename(h->writing.c_str(), h->finalName.c_str()) == 0;
        if (!ok) std::remove(h->writing.c_str());
    }
    *h = OpenHandle{};
    return ok ? 1 : (SetWindowsLastError(WindowsError(errno)), 0);
}

// ---- code pages and the C locale ----
uint32_t WINAPI GetACP() { return 1252; }
uint32_t WINAPI GetOEMCP() { return 437; }
int WINAPI GetCPInfo(uint32_t, uint8_t *info) {
    std::memset(info, 0, 20);  // MaxCharSize, DefaultChar[2], LeadByte[12]
    info[0] = 1;               // one byte a character: no lead bytes
    info[4] = '?';
    return 1;
}
int WINAPI IsDBCSLeadByteEx(uint32_t, uint8_t) { return 0; }
int WINAPI MultiByteToWideChar(uint32_t, uint32_t, const char *from, int n, uint16_t *to, int room) {
    n = Counted(from, n);
    if (room == 0) return n;
    if (room < n) return SetWindowsLastError(122), 0;  // ERROR_INSUFFICIENT_BUFFER
    for (int i = 0; i < n; ++i) to[i] = Wide(static_cast<uint8_t>(from[i]));
    return n;
}
int WINAPI WideCharToMultiByte(uint32_t, uint32_t, const uint16_t *from, int n, char *to, int room, const char *fallback,
                               int *defaulted) {
    n = Counted(from, n);
    if (defaulted) *defaulted = 0;
    if (room == 0) return n;
    if (room < n) return SetWindowsLastError(122), 0;
    for (int i = 0; i < n; ++i) {
        int c = Narrow(from[i]);
        if (c < 0 && defaulted) *defaulted = 1;
        to[i] = static_cast<char>(c >= 0 ? c : (fallback ? *fallback : '?'));
    }
    return n;
}
int WINAPI LCMapStringA(uint32_t, uint32_t flags, const char *from, int n, char *to, int room) {
    return MapString(flags, from, n, to, room);
}
int WINAPI LCMapStringW(uint32_t, uint32_t flags, const uint16_t *from, int n, uint16_t *to, int room) {
    return MapString(flags, from, n, to, room);
}
int WINAPI GetStringTypeA(uint32_t, uint32_t kind, const char *from, int n, uint16_t *types) {
    if (kind != 1) return SetWindowsLastError(1004), 0;  // CT_CTYPE1 only; ERROR_INVALID_FLAGS
    n = Counted(from, n);
    for (int i = 0; i < n; ++i) types[i] = CharacterType(static_cast<uint8_t>(from[i]));
    return 1;
}
int WINAPI GetStringTypeW(uint32_t kind, const uint16_t *from, int n, uint16_t *types) {
    if (kind != 1) return SetWindowsLastError(1004), 0;
    n = Counted(from, n);
    for (int i = 0; i < n; ++i) types[i] = CharacterType(from[i]);
    return 1;
}
}

std::span<const WindowsExport> KernelFileExports() {
#define F(name) {#name, reinterpret_cast<const void *>(&name)}
    static const WindowsExport table[] = {
        F(GetModuleHandleA), F(GetModuleHandleW), F(GetModuleHandleExA), F(LoadLibraryA), F(LoadLibraryW),
        F(FreeLibrary), F(GetProcAddress), F(GetModuleFileNameA), F(DisableThreadLibraryCalls), F(GetVersion),
        F(GetStartupInfoA), F(GetCommandLineA), F(GetEnvironmentStrings), F(GetEnvironmentStringsW),
        F(FreeEnvironmentStringsA), F(FreeEnvironmentStringsW), F(GetCurrentProcess), F(TerminateProcess),
        F(ExitProcess), F(GetStdHandle), F(SetStdHandle), F(SetHandleCount), F(GetFileType), F(CreateFileA),
        F(WriteFile), F(ReadFile), F(SetFilePointer), F(SetEndOfFile), F(FlushFileBuffers), F(CloseHandle),
        F(GetACP), F(GetOEMCP), F(GetCPInfo), F(IsDBCSLeadByteEx), F(MultiByteToWideChar), F(WideCharToMultiByte),
        F(LCMapStringA), F(LCMapStringW), F(GetStringTypeA), F(GetStringTypeW),
    };
#undef F
    return table;
}
