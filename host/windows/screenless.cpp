// user32, gdi32 and comdlg32 as a host without a screen answers them.
#include <sys/mman.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "host/windows/runtime_parts.h"

namespace {

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

}  // namespace

uint32_t ScreenlessExport(const std::string &name) {
    static std::mutex lock;
    std::lock_guard<std::mutex> hold(lock);
    for (const Screenless &s : kScreenless)
        if (name == s.name) return ScreenlessStub(s);
    return 0;
}
