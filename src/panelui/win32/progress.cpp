// The progress status window on Windows: its own thread and message loop, so it
// keeps painting and answering while the caller computes. The caller only posts
// requests and waits for the window's answers, pumping its own messages.
#include <windows.h>
#include <process.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "services/host_services.h"
#include "panelui/progress.h"

namespace {

constexpr UINT kRepaint = 1264, kQuit = 1265, kReady = 1266, kGone = 1267;
constexpr WPARAM kMark = 30219;
constexpr int kWidth = 412, kHeight = 124;

struct Progress {
    bool sectionMade = false;
    CRITICAL_SECTION section;
    char title[256] = "", line1[256] = "", line2[256] = "";
    double fraction = 0;
    bool abortable = false, aborted = false, open = false;
    int flag = 0;
    HWND window = nullptr, host = nullptr;
    DWORD creator = 0;
    DWORD lastUpdate = 0;
    HBRUSH brushes[6] = {};
    HPEN pens[3] = {};
    HFONT font = nullptr;
} state;

double Held(double f) { return f < 0 ? 0 : (f > 1 ? 1 : f); }

RECT AbortRect() { return RECT{kWidth - 96, kHeight - 32, kWidth - 12, kHeight - 10}; }

void Paint(HWND hwnd, HDC dc) {
    EnterCriticalSection(&state.section);
    RECT all{0, 0, kWidth, kHeight};
    FillRect(dc, &all, state.brushes[0]);
    HGDIOBJ oldFont = SelectObject(dc, state.font);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, RGB(20, 20, 30));
    RECT title{12, 6, kWidth - 12, 24};
    DrawTextA(dc, state.title, -1, &title, DT_SINGLELINE | DT_LEFT | DT_END_ELLIPSIS);
    RECT l1{12, 26, kWidth - 12, 42}, l2{12, 42, kWidth - 12, 58};
    DrawTextA(dc, state.line1, -1, &l1, DT_SINGLELINE | DT_LEFT | DT_END_ELLIPSIS);
    DrawTextA(dc, state.line2, -1, &l2, DT_SINGLELINE | DT_LEFT | DT_END_ELLIPSIS);
    RECT bar{12, 62, kWidth - 72, 80};
    FillRect(dc, &bar, state.brushes[3]);
    RECT done = bar;
    done.right = bar.left + static_cast<int>((bar.right - bar.left) * Held(state.fraction));
    FillRect(dc, &done, state.brushes[4]);
    SelectObject(dc, state.pens[0]);
    SelectObject(dc, GetStockObject(NULL_BRUSH));
    Rectangle(dc, bar.left, bar.top, bar.right, bar.bottom);
    char percent[16];
    FormatProgressPercent(state.fraction, percent);
    RECT figure{kWidth - 68, 62, kWidth - 12, 80};
    DrawTextA(dc, percent, -1, &figure, DT_SINGLELINE | DT_RIGHT | DT_VCENTER);
    RECT abort = AbortRect();
    FillRect(dc, &abort, state.aborted ? state.brushes[5] : state.brushes[1]);
    SelectObject(dc, state.pens[1]);
    Rectangle(dc, abort.left, abort.top, abort.right, abort.bottom);
    SetTextColor(dc, state.abortable ? RGB(20, 20, 30) : RGB(128, 128, 128));
    DrawTextA(dc, "Abort", -1, &abort, DT_SINGLELINE | DT_CENTER | DT_VCENTER);
    SelectObject(dc, state.pens[2]);
    Rectangle(dc, 0, 0, kWidth, kHeight);
    SelectObject(dc, oldFont);
    LeaveCriticalSection(&state.section);
}

LRESULT CALLBACK StatusProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(hwnd, &ps);
        Paint(hwnd, dc);
        EndPaint(hwnd, &ps);
        return 0;
    }
    case WM_LBUTTONDOWN: {
        POINT at{static_cast<short>(LOWORD(lp)), static_cast<short>(HIWORD(lp))};
        RECT abort = AbortRect();
        if (PtInRect(&abort, at)) {
            EnterCriticalSection(&state.section);
            state.aborted = true;
            LeaveCriticalSection(&state.section);
            InvalidateRect(hwnd, nullptr, FALSE);
        }
        return 0;
    }
    case kRepaint: InvalidateRect(hwnd, nullptr, FALSE); return 0;
    case kQuit:
        DestroyWindow(hwnd);
        return 0;
    case WM_DESTROY: PostQuitMessage(0); return 0;
    default: return DefWindowProcA(hwnd, msg, wp, lp);
    }
}

bool OffScreen(const RECT &r) {
    for (LONG v : {r.left, r.top, r.right, r.bottom})
        if (v < -1500 || v > 3000) return true;
    return false;
}

unsigned __stdcall WindowThread(void *creatorId) {
    DWORD creator = static_cast<DWORD>(reinterpret_cast<uintptr_t>(creatorId));
    RECT host;
    GetWindowRect(state.host, &host);
    if (OffScreen(host)) {
        PostThreadMessageA(creator, kReady, kMark, 0);
        return 0;
    }
    int sw = GetSystemMetrics(SM_CXSCREEN), sh = GetSystemMetrics(SM_CYSCREEN);
    int x = std::clamp(static_cast<int>((host.left + host.right - kWidth) / 2), 3, std::max(3, sw - 415));
    int y = std::clamp(static_cast<int>((host.top + host.bottom + 114) / 2), 3, std::max(3, sh - 127));
    if (!state.brushes[0]) {
        const COLORREF colours[6] = {RGB(156, 156, 168), RGB(207, 207, 255), RGB(144, 144, 144),
                                     RGB(128, 128, 128), RGB(102, 41, 41),   RGB(150, 141, 141)};
        for (int i = 0; i < 6; ++i) state.brushes[i] = CreateSolidBrush(colours[i]);
        const COLORREF pens[3] = {RGB(96, 96, 96), RGB(0, 0, 0), RGB(208, 208, 208)};
        for (int i = 0; i < 3; ++i) {
            state.pens[i] = CreatePen(PS_SOLID, 1, pens[i]);
            if (!state.pens[i]) state.pens[i] = static_cast<HPEN>(GetStockObject(BLACK_PEN));
        }
        state.font = CreateFontA(-12, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, ANTIALIASED_QUALITY, 0, "Arial");
    }
    HINSTANCE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&StatusProc), &module);
    WNDCLASSA wc{};
    wc.style = CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS;
    wc.lpfnWndProc = StatusProc;
    wc.hInstance = module;
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.lpszClassName = "MLStatus";
    RegisterClassA(&wc);
    HWND window = CreateWindowExA(WS_EX_TOPMOST, "MLStatus", "Progress Status", WS_POPUP | WS_VISIBLE, x, y, kWidth,
                                  kHeight, state.host, nullptr, module, nullptr);
    if (!window) {
        PostThreadMessageA(creator, kReady, kMark, 0);
        return 0;
    }
    EnterCriticalSection(&state.section);
    state.window = window;
    LeaveCriticalSection(&state.section);
    PostThreadMessageA(creator, kReady, 0, 0);
    MSG msg;
    while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    EnterCriticalSection(&state.section);
    state.window = nullptr;
    LeaveCriticalSection(&state.section);
    PostThreadMessageA(creator, kGone, 0, 0);
    return 0;
}

// Pumps this thread's messages until `wanted` arrives.
void WaitFor(UINT wanted) {
    MSG msg;
    while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
        if (!msg.hwnd && msg.message == wanted) return;
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

void Pump() {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

void StartWindow() {
    RECT host;
    GetWindowRect(state.host, &host);
    if (OffScreen(host)) return;
    state.creator = GetCurrentThreadId();
    // Make sure this thread has a queue before the window thread posts to it.
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
    uintptr_t thread = _beginthreadex(nullptr, 0, WindowThread, reinterpret_cast<void *>(static_cast<uintptr_t>(state.creator)), 0, nullptr);
    if (!thread) return;
    CloseHandle(reinterpret_cast<HANDLE>(thread));
    LeaveCriticalSection(&state.section);  // the window thread takes it while it starts
    WaitFor(kReady);
    EnterCriticalSection(&state.section);
}

}  // namespace

int OpenProgress(const char *title, double fraction, bool abortable, int flag) {
    auto *display = static_cast<HostDisplayInfo *>(hostServices.global(LWSERVICE_HOST_DISPLAY, GFUSE_TRANSIENT));
    if (!display || !display->window) return 1;
    if (!state.sectionMade) {
        InitializeCriticalSection(&state.section);
        state.sectionMade = true;
    }
    EnterCriticalSection(&state.section);
    state.host = static_cast<HWND>(display->window);
    state.abortable = abortable;
    state.flag = flag;
    state.fraction = Held(fraction);
    state.aborted = false;
    state.line1[0] = state.line2[0] = 0;
    std::snprintf(state.title, sizeof state.title, "%s", title ? title : "");
    state.open = true;
    state.lastUpdate = 0;
    if (!state.window) StartWindow();
    LeaveCriticalSection(&state.section);
    return 0;
}

int UpdateProgress(const char *line1, const char *line2, double fraction) {
    if (state.abortable && state.aborted) return 1;
    if (!state.open) return 0;
    Pump();
    DWORD now = GetTickCount();
    if (state.lastUpdate && now - state.lastUpdate < 50) return 0;
    state.lastUpdate = now ? now : 1;
    EnterCriticalSection(&state.section);
    std::snprintf(state.line1, sizeof state.line1, "%s", line1 ? line1 : "");
    std::snprintf(state.line2, sizeof state.line2, "%s", line2 ? line2 : "");
    state.fraction = Held(fraction);
    if (!state.window) StartWindow();
    if (state.window) PostMessageA(state.window, kRepaint, kMark, 0);
    LeaveCriticalSection(&state.section);
    Pump();
    return state.abortable && state.aborted ? 1 : 0;
}

int CloseProgress() {
    if (!state.open) return state.abortable && state.aborted ? 1 : 0;
    EnterCriticalSection(&state.section);
    HWND window = state.window;
    LeaveCriticalSection(&state.section);
    if (window) {
        PostMessageA(window, kQuit, 0, 0);
        WaitFor(kGone);
    }
    DeleteCriticalSection(&state.section);
    state.sectionMade = false;
    state.open = false;
    return state.abortable && state.aborted ? 1 : 0;
}
