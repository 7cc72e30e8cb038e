// msvcrt, as the module's C library: streams (the standard three by the
// addresses of _iob's first records, others opened by fopen, with Windows'
// text mode), printf with Windows' exponents, memory, strings, numbers, time,
// the locale, and threads. Ours where Windows differs, the C library's where
// it behaves the same.
#include <pthread.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "host/windows/runtime.h"
#include "host/windows/runtime_parts.h"

namespace {

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

}  // namespace

std::span<const WindowsExport> CRuntimeExports() {
#define C(name, ours) {name, reinterpret_cast<const void *>(&ours)}
    static const WindowsExport table[] = {
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
#undef C
    return table;
}
