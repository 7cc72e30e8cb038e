#include "host/windows/runtime.h"

#include <asm/ldt.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

static_assert(sizeof(void *) == 4, "the Windows runtime answers a 32-bit module in a 32-bit process");

#define WINAPI __attribute__((stdcall))

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
thread_local uint32_t lastError = 0;
thread_local void *tlsSlots[64];
int tlsNext = 0;

// ---- the C runtime's streams ----
//
// The module names stdin, stdout and stderr by the addresses of the first
// three entries of msvcrt's _iob (32-byte records); every other stream is one
// of ours, opened by fopen.
struct WindowsFile {
    uint8_t record[32];
} iob[20];
struct OpenFile {
    uint8_t record[32];  // what the module may take for msvcrt's record
    FILE *file;
    bool text;           // text mode: "\n" is written as "\r\n" and read back as "\n"
};

bool Standard(void *f) { return f >= static_cast<void *>(iob) && f < static_cast<void *>(iob + 20); }
FILE *Stream(void *f) {
    if (f == &iob[0]) return stdin;
    if (f == &iob[1]) return stdout;
    if (f == &iob[2]) return stderr;
    return f ? static_cast<OpenFile *>(f)->file : nullptr;
}
// Windows translates line ends on files opened without "b"; the standard
// streams here are a Linux terminal's and keep theirs.
bool TextMode(void *f) { return f && !Standard(f) && static_cast<OpenFile *>(f)->text; }

// msvcrt's printf: as the C library's, except that an exponent has at least
// three digits ("1e+005") and "%I64d" is a 64-bit integer. Each conversion is
// formatted by the C library alone and then given Windows' exponent.
std::string WindowsFormat(const char *format, va_list args) {
    std::string out;
    for (const char *p = format; *p; ++p) {
        if (*p != '%') {
            out += *p;
            continue;
        }
        std::string directive = "%";
        ++p;
        while (*p && std::strchr("-+ #0", *p)) directive += *p++;
        auto number = [&] {
            if (*p == '*') {
                directive += std::to_string(va_arg(args, int));
                ++p;
            } else
                while (*p >= '0' && *p <= '9') directive += *p++;
        };
        number();
        if (*p == '.') {
            directive += *p++;
            number();
        }
        bool wide = false;
        if (p[0] == 'I' && p[1] == '6' && p[2] == '4') p += 3, wide = true;
        else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') p += 3;
        else if (p[0] == 'l' && p[1] == 'l') p += 2, wide = true;
        else
            while (*p && std::strchr("hlLwjzt", *p)) ++p;  // the rest change nothing on 32-bit Windows
        char conversion = *p;
        if (!conversion) break;
        char piece[512];
        directive += conversion;
        switch (conversion) {
        case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
            if (wide) {
                directive.insert(directive.size() - 1, "ll");
                std::snprintf(piece, sizeof piece, directive.c_str(), va_arg(args, long long));
            } else
                std::snprintf(piece, sizeof piece, directive.c_str(), va_arg(args, int));
            break;
        case 'c': std::snprintf(piece, sizeof piece, directive.c_str(), va_arg(args, int)); break;
        case 's': {
            const char *s = va_arg(args, const char *);
            std::snprintf(piece, sizeof piece, directive.c_str(), s ? s : "(null)");
            break;
        }
        case 'p': std::snprintf(piece, sizeof piece, "%08X", static_cast<unsigned>(reinterpret_cast<uintptr_t>(va_arg(args, void *)))); break;
        case 'e': case 'E': case 'g': case 'G': case 'f': case 'F': case 'a': case 'A': {
            double v = va_arg(args, double);  // long double is a double on Windows
            std::snprintf(piece, sizeof piece, directive.c_str(), v);
            std::string s = piece;
            size_t e = s.find_first_of("eE");
            if (conversion != 'f' && conversion != 'F' && conversion != 'a' && conversion != 'A' && e != std::string::npos &&
                e + 2 < s.size()) {
                size_t digits = s.find_first_not_of("0123456789", e + 2);
                if (digits == std::string::npos) digits = s.size();
                size_t count = digits - (e + 2);
                if (count < 3) {
                    s.insert(e + 2, 3 - count, '0');
                    // The field's width counted the shorter exponent: give back
                    // the padding the longer one takes.
                    for (size_t extra = 3 - count; extra && !s.empty() && (s[0] == ' '); --extra) s.erase(0, 1);
                }
            }
            out += s;
            continue;
        }
        case 'n': va_arg(args, int *); continue;
        case '%': out += '%'; continue;
        default: out += directive; continue;
        }
        out += piece;
    }
    return out;
}

int Write(void *f, const std::string &text) {
    FILE *s = Stream(f);
    if (!s) return -1;
    if (TextMode(f)) {
        std::string crlf;
        for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
        return std::fwrite(crlf.data(), 1, crlf.size(), s) == crlf.size() ? static_cast<int>(text.size()) : -1;
    }
    return std::fwrite(text.data(), 1, text.size(), s) == text.size() ? static_cast<int>(text.size()) : -1;
}

// ---- msvcrt ----
extern "C" {
int mbCurMax = 1;
void *c_fopen(const char *name, const char *mode) {
    bool binary = std::strchr(mode, 'b') != nullptr;
    std::string m;
    for (const char *c = mode; *c; ++c)
        if (std::strchr("rwa+", *c)) m += *c;
    FILE *f = std::fopen(name, (m + "b").c_str());
    if (!f) return nullptr;
    OpenFile *o = new OpenFile{{}, f, !binary};
    return o;
}
int c_fclose(void *f) {
    if (!f || Standard(f)) return f ? std::fflush(Stream(f)) : -1;
    OpenFile *o = static_cast<OpenFile *>(f);
    int r = std::fclose(o->file);
    delete o;
    return r;
}
int c_fgetc(void *f) {
    FILE *s = Stream(f);
    int c = std::fgetc(s);
    if (c == '\r' && TextMode(f)) {
        int next = std::fgetc(s);
        if (next == '\n') return '\n';
        if (next != EOF) std::ungetc(next, s);
    }
    return c;
}
int c_fputc(int c, void *f) { return Write(f, std::string(1, static_cast<char>(c))) < 0 ? EOF : c & 0xff; }
int c_fputs(const char *s, void *f) { return Write(f, s) < 0 ? EOF : 0; }
size_t c_fread(void *to, size_t size, size_t n, void *f) { return std::fread(to, size, n, Stream(f)); }
size_t c_fwrite(const void *from, size_t size, size_t n, void *f) {
    if (!TextMode(f)) return std::fwrite(from, size, n, Stream(f));
    return size ? Write(f, std::string(static_cast<const char *>(from), size * n)) / size : 0;
}
int c_fseek(void *f, long offset, int whence) { return std::fseek(Stream(f), offset, whence); }
int c_vfprintf(void *f, const char *format, va_list args) { return Write(f, WindowsFormat(format, args)); }
int c_fprintf(void *f, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int r = c_vfprintf(f, format, args);
    va_end(args);
    return r;
}
int c_printf(const char *format, ...) {
    va_list args;
    va_start(args, format);
    int r = c_vfprintf(&iob[1], format, args);
    va_end(args);
    return r;
}
int *c_errno() { return &errno; }
void c_initterm(void (**begin)(), void (**end)()) {
    for (; begin < end; ++begin)
        if (*begin) (*begin)();
}
void c_lock(int) {}
void c_unlock(int) {}
void c_setusermatherr(void *) {}
void c_amsg_exit(int code) {
    std::fprintf(stderr, "vesk.p: runtime error %d\n", code);
    _exit(255);
}
int c_setjmp3(void *, int) {
    std::fputs("vesk.p: called setjmp, which this host does not answer\n", stderr);
    std::abort();
}
void c_longjmp(void *, int) { c_setjmp3(nullptr, 0); }
char *c_ultoa(unsigned long v, char *buffer, int radix) {
    char digits[40];
    int n = 0;
    do digits[n++] = "0123456789abcdefghijklmnopqrstuvwxyz"[v % radix], v /= radix;
    while (v && n < 39);
    for (int i = 0; i < n; ++i) buffer[i] = digits[n - 1 - i];
    buffer[n] = 0;
    return buffer;
}
size_t c_wcslen(const uint16_t *s) {
    size_t n = 0;
    while (s[n]) ++n;
    return n;
}
// msvcrt's ctime pads the day of the month with a zero: "Tue Nov 03 05:30:00 2026\n".
char *c_ctime(const int32_t *t) {
    static char text[32];
    time_t v = *t;
    struct tm *tm = std::localtime(&v);
    if (!tm) return nullptr;
    std::strftime(text, sizeof text, "%a %b %d %H:%M:%S %Y\n", tm);
    return text;
}
int32_t c_time(int32_t *t) {
    int32_t now = static_cast<int32_t>(std::time(nullptr));
    if (t) *t = now;
    return now;
}
char *c_setlocale(int, const char *) { return const_cast<char *>("C"); }
// msvcrt's lconv begins as the C standard's: the decimal point, the thousands
// separator and the grouping, then the monetary fields.
const char *lconvFields[18] = {".", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", ""};
void *c_localeconv() { return lconvFields; }
char *c_strdup(const char *s) { return strdup(s); }
void *c_malloc(size_t n) { return std::malloc(n); }
void *c_calloc(size_t a, size_t b) { return std::calloc(a, b); }
void *c_realloc(void *p, size_t n) { return std::realloc(p, n); }
void c_free(void *p) { std::free(p); }
void c_abort() { std::abort(); }
double c_acos(double x) { return std::acos(x); }
double c_log10(double x) { return std::log10(x); }
double c_tan(double x) { return std::tan(x); }
int c_ferror(void *f) { return std::ferror(Stream(f)); }
double c_asin(double x) { return std::asin(x); }
double c_cosh(double x) { return std::cosh(x); }
double c_sinh(double x) { return std::sinh(x); }
const void *c_memchr(const void *p, int c, size_t n) { return std::memchr(p, c, n); }
const char *c_strchr(const char *s, int c) { return std::strchr(s, c); }
void c_exit(int code) { std::exit(code); }

struct ThreadStart {
    unsigned(WINAPI *start)(void *);
    void *argument;
};
void *RunThread(void *p) {
    ThreadStart s = *static_cast<ThreadStart *>(p);
    delete static_cast<ThreadStart *>(p);
    std::string error;
    if (!PrepareWindowsThread(&error)) return nullptr;
    s.start(s.argument);
    return nullptr;
}
uintptr_t c_beginthreadex(void *, unsigned, unsigned(WINAPI *start)(void *), void *argument, unsigned, unsigned *id) {
    pthread_t thread;
    if (pthread_create(&thread, nullptr, RunThread, new ThreadStart{start, argument}) != 0) return 0;
    if (id) *id = static_cast<unsigned>(thread);
    return static_cast<uintptr_t>(thread);
}
void c_endthreadex(unsigned) { pthread_exit(nullptr); }
int c_read(int fd, void *to, unsigned n) { return static_cast<int>(read(fd, to, n)); }
int c_close(int fd) { return close(fd); }
}

// ---- kernel32 ----
uint32_t moduleBase = 0;
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
void *WINAPI GetCurrentProcess() { return reinterpret_cast<void *>(-1); }
void *WINAPI GetCurrentThread() { return reinterpret_cast<void *>(-2); }
void *WINAPI GetModuleHandleA(const char *name) { return name ? nullptr : reinterpret_cast<void *>(0x400000); }
void *WINAPI GetModuleHandleW(const void *name) { return name ? nullptr : reinterpret_cast<void *>(0x400000); }
int WINAPI GetModuleHandleExA(uint32_t, const char *, void **module) {
    if (module) *module = reinterpret_cast<void *>(moduleBase);
    return 1;
}
// No other DLL is here: the runtime then uses its own unwinder and helpers.
void *WINAPI LoadLibraryA(const char *) { return nullptr; }
void *WINAPI LoadLibraryW(const void *) { return nullptr; }
void *WINAPI GetProcAddress(void *, const char *) { return nullptr; }
int WINAPI FreeLibrary(void *) { return 1; }
int WINAPI VirtualProtect(void *, uint32_t, uint32_t, uint32_t *old) {
    if (old) *old = 0x40;  // the image is mapped readable, writable and executable
    return 1;
}
uint32_t WINAPI VirtualQuery(const void *address, uint32_t *info, uint32_t size) {
    if (size < 28) return 0;
    uint32_t page = reinterpret_cast<uintptr_t>(address) & ~0xfffu;
    const uint32_t fields[7] = {page, moduleBase, 0x40, 0x1000, 0x1000, 0x40, 0x1000000};
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
int WINAPI CloseHandle(void *) { return 1; }
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
int WINAPI IsDBCSLeadByteEx(uint32_t, uint8_t) { return 0; }
int WINAPI IsDebuggerPresent() { return 0; }
void WINAPI OutputDebugStringA(const char *) {}
void WINAPI RaiseException(uint32_t code, uint32_t, uint32_t, const void *) {
    std::fprintf(stderr, "vesk.p: raised exception 0x%08x\n", code);
    std::abort();
}
// Code pages: the module's texts are ASCII; each byte is one UTF-16 unit.
int WINAPI MultiByteToWideChar(uint32_t, uint32_t, const char *from, int n, uint16_t *to, int room) {
    if (n < 0) n = static_cast<int>(std::strlen(from)) + 1;
    if (room == 0) return n;
    if (room < n) return 0;
    for (int i = 0; i < n; ++i) to[i] = static_cast<uint8_t>(from[i]);
    return n;
}
int WINAPI WideCharToMultiByte(uint32_t, uint32_t, const uint16_t *from, int n, char *to, int room, const char *,
                               int *defaulted) {
    if (n < 0) n = static_cast<int>(c_wcslen(from)) + 1;
    if (defaulted) *defaulted = 0;
    if (room == 0) return n;
    if (room < n) return 0;
    for (int i = 0; i < n; ++i) to[i] = from[i] < 256 ? static_cast<char>(from[i]) : '?';
    return n;
}
}

// ---- windows and drawing, without a screen ----
//
// Every window and drawing function answers as a host without a screen:
// nothing is created and the screen measures 0 by 0, so a panel refuses to
// open with the module's own message. Each answer is a small stub that
// returns its value and removes its arguments from the stack, as the
// Windows calling convention asks.
struct Screenless {
    const char *name;
    int arguments;
    uint32_t answer;
};
const Screenless kScreenless[] = {
    {"BeginPaint", 2, 0}, {"CallWindowProcA", 5, 0}, {"CreateWindowExA", 12, 0}, {"DefWindowProcA", 4, 0},
    {"DestroyWindow", 1, 0}, {"DispatchMessageA", 1, 0}, {"DrawTextA", 5, 0}, {"EnableWindow", 2, 0},
    {"EndPaint", 2, 1}, {"FillRect", 3, 0}, {"GetActiveWindow", 0, 0}, {"GetClientRect", 2, 0},
    {"GetCursorPos", 1, 0}, {"GetDC", 1, 0}, {"GetKeyState", 1, 0}, {"GetMessageA", 4, 0}, {"GetParent", 1, 0},
    {"GetSystemMetrics", 1, 0}, {"GetWindowLongA", 2, 0}, {"GetWindowRect", 2, 0}, {"GetWindowTextA", 3, 0},
    {"InvalidateRect", 3, 0}, {"LoadCursorA", 2, 0}, {"PeekMessageA", 5, 0}, {"PostMessageA", 4, 0},
    {"PostQuitMessage", 1, 0}, {"PostThreadMessageA", 4, 0}, {"PtInRect", 3, 0}, {"RegisterClassA", 1, 0},
    {"ReleaseCapture", 0, 0}, {"ReleaseDC", 2, 0}, {"SendMessageA", 4, 0}, {"SetCapture", 1, 0},
    {"SetCursorPos", 2, 0}, {"SetFocus", 1, 0}, {"SetForegroundWindow", 1, 0}, {"SetWindowLongA", 3, 0},
    {"SetWindowTextA", 2, 0}, {"ShowCursor", 1, 0}, {"TranslateMessage", 1, 0},
    {"BitBlt", 9, 0}, {"CreateCompatibleBitmap", 3, 0}, {"CreateCompatibleDC", 1, 0}, {"CreateDIBitmap", 6, 0},
    {"CreateFontA", 14, 0}, {"CreatePalette", 1, 0}, {"CreatePen", 3, 0}, {"CreateSolidBrush", 1, 0},
    {"DeleteDC", 1, 0}, {"DeleteObject", 1, 0}, {"Ellipse", 5, 0}, {"GetDeviceCaps", 2, 0}, {"GetStockObject", 1, 0},
    {"GetSystemPaletteEntries", 4, 0}, {"GetTextExtentPoint32A", 4, 0}, {"LineTo", 3, 0}, {"MoveToEx", 4, 0},
    {"Rectangle", 5, 0}, {"SelectObject", 2, 0}, {"SelectPalette", 3, 0}, {"SetBkColor", 2, 0xffffffffu},
    {"SetBkMode", 2, 0}, {"SetDIBitsToDevice", 12, 0}, {"SetTextColor", 2, 0xffffffffu},
    {"ChooseColorA", 1, 0},
};

uint32_t ScreenlessStub(const Screenless &s) {
    static uint8_t *code = static_cast<uint8_t *>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    static std::map<std::string, uint32_t> made;
    if (code == MAP_FAILED) return 0;
    auto found = made.find(s.name);
    if (found != made.end()) return found->second;
    uint8_t *stub = code + 8 * made.size();
    stub[0] = 0xb8;  // mov eax, answer
    std::memcpy(stub + 1, &s.answer, 4);
    stub[5] = 0xc2;  // ret arguments * 4
    stub[6] = static_cast<uint8_t>(s.arguments * 4), stub[7] = 0;
    uint32_t address = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(stub));
    made[s.name] = address;
    return address;
}

uint32_t Address(const void *p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); }

const std::map<std::string, uint32_t> &Functions() {
#define F(name) {#name, Address(reinterpret_cast<const void *>(&name))}
#define C(name, ours) {name, Address(reinterpret_cast<const void *>(&ours))}
    static const std::map<std::string, uint32_t> table = {
        F(InitializeCriticalSection), F(DeleteCriticalSection), F(EnterCriticalSection), F(LeaveCriticalSection),
        F(TryEnterCriticalSection), F(TlsAlloc), F(TlsGetValue), F(TlsSetValue), F(GetLastError), F(SetLastError),
        F(GetCurrentThreadId), F(GetCurrentProcessId), F(GetCurrentProcess), F(GetCurrentThread), F(GetModuleHandleA),
        F(GetModuleHandleW), F(GetModuleHandleExA), F(LoadLibraryA), F(LoadLibraryW), F(GetProcAddress),
        F(FreeLibrary), F(VirtualProtect), F(VirtualQuery), F(Sleep), F(AddVectoredExceptionHandler),
        F(RemoveVectoredExceptionHandler), F(CreateEventA), F(CreateSemaphoreA), F(SetEvent), F(ResetEvent),
        F(ReleaseSemaphore), F(WaitForSingleObject), F(WaitForMultipleObjects), F(CloseHandle), F(DuplicateHandle),
        F(GetHandleInformation), F(OpenProcess), F(GetThreadContext), F(SetThreadContext), F(SuspendThread),
        F(ResumeThread), F(GetThreadPriority), F(SetThreadPriority), F(GetProcessAffinityMask),
        F(SetProcessAffinityMask), F(GetSystemTimeAsFileTime), F(GetTickCount64), F(GetTickCount),
        F(IsDBCSLeadByteEx), F(IsDebuggerPresent), F(OutputDebugStringA), F(RaiseException), F(MultiByteToWideChar),
        F(WideCharToMultiByte),
        // msvcrt: ours where Windows differs or the record is its own.
        C("__mb_cur_max", mbCurMax), C("__setusermatherr", c_setusermatherr), C("_amsg_exit", c_amsg_exit),
        C("_beginthreadex", c_beginthreadex), C("_endthreadex", c_endthreadex), C("_errno", c_errno),
        C("_initterm", c_initterm), C("_iob", iob), C("_lock", c_lock), C("_unlock", c_unlock),
        C("_setjmp3", c_setjmp3), C("longjmp", c_longjmp), C("_ultoa", c_ultoa), C("_strdup", c_strdup),
        C("_read", c_read), C("_close", c_close), C("abort", c_abort), C("exit", c_exit), C("malloc", c_malloc),
        C("calloc", c_calloc), C("realloc", c_realloc), C("free", c_free), C("fopen", c_fopen),
        C("fclose", c_fclose), C("fgetc", c_fgetc), C("fputc", c_fputc), C("fputs", c_fputs), C("fread", c_fread),
        C("fwrite", c_fwrite), C("fseek", c_fseek), C("fprintf", c_fprintf), C("printf", c_printf),
        C("vfprintf", c_vfprintf), C("ctime", c_ctime), C("time", c_time), C("setlocale", c_setlocale),
        C("localeconv", c_localeconv), C("wcslen", c_wcslen),
        // ...and the C library's own where Windows behaves the same.
        C("acos", c_acos), C("log10", c_log10), C("tan", c_tan), C("ferror", c_ferror), C("asin", c_asin), C("cosh", c_cosh), C("sinh", c_sinh),
        C("atof", std::atof), C("atoi", std::atoi), C("strtol", std::strtol), C("isalnum", isalnum),
        C("islower", islower), C("isspace", isspace), C("isupper", isupper), C("tolower", tolower),
        C("memchr", c_memchr), C("memcmp", std::memcmp),
        C("memcpy", std::memcpy), C("memmove", std::memmove), C("memset", std::memset),
        C("strchr", c_strchr), C("strcmp", std::strcmp),
        C("strlen", std::strlen), C("strncmp", std::strncmp), C("strerror", std::strerror),
    };
#undef F
#undef C
    return table;
}

}  // namespace

uint32_t WindowsImport(const std::string &dll, const std::string &name) {
    (void)dll;  // names do not repeat across the DLLs the module imports from
    auto found = Functions().find(name);
    if (found != Functions().end()) return found->second;
    for (const Screenless &s : kScreenless)
        if (name == s.name) return ScreenlessStub(s);
    return 0;
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

void NoteWindowsModuleBase(uint32_t base) { moduleBase = base; }

void SetWindowsThreadStorage(void *blocks) { block.threadLocalStorage = Address(blocks); }
