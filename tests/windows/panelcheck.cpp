// Drives the real panels of vesk.p under wine: a host window, the Track demo
// scene, and Track's panel opened through its interface activation while a
// second thread plays the user with window messages (type, drag, toggle, open
// the dialogs, accept, cancel, export, abort). Screenshots are asked of the
// script that runs this program: a request file names the screen rectangle,
// and the script answers with a done file.
// usage: panelcheck VESK.P SCENE.LWS OUTDIR [SHOTDIR]
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/scene_file.h"
#include "tests/text_store.h"

namespace {

int passed = 0, failed = 0;
// A cycle link driven by the item it is on.
const char *const kSelf = " BEGIN RADIO CONTROL\n  SELECTION 1\n END RADIO CONTROL\n";
std::string shots;

void Check(bool ok, const std::string &what) {
    ok ? ++passed : ++failed;
    if (!ok) std::printf("FAIL: %s\n", what.c_str());
    std::fflush(stdout);
}

// ---- the user's side, on the driver thread ----

HWND WaitWindow(const char *className, const char *titleStart, int seconds = 20) {
    for (int i = 0; i < seconds * 20; ++i) {
        struct Search {
            const char *cls, *title;
            HWND found;
        } s{className, titleStart, nullptr};
        EnumWindows(
            [](HWND h, LPARAM lp) -> BOOL {
                auto *s = reinterpret_cast<Search *>(lp);
                char cls[64], title[256];
                GetClassNameA(h, cls, sizeof cls);
                GetWindowTextA(h, title, sizeof title);
                if (IsWindowVisible(h) && std::strcmp(cls, s->cls) == 0 && std::strncmp(title, s->title, std::strlen(s->title)) == 0) {
                    s->found = h;
                    return FALSE;
                }
                return TRUE;
            },
            reinterpret_cast<LPARAM>(&s));
        if (s.found) {
            Sleep(300);  // let it paint
            return s.found;
        }
        Sleep(50);
    }
    return nullptr;
}

// A panel of the module's own window class whose title starts so, checked
// to have opened.
HWND Opened(const char *title) {
    HWND w = WaitWindow("ML_CL_A10:32:44", title);
    return w;
}

void WaitGone(HWND h, int seconds = 30) {
    for (int i = 0; i < seconds * 20 && IsWindow(h); ++i) Sleep(50);
}

void Click(HWND h, int x, int y, bool shift = false) {
    WPARAM keys = MK_LBUTTON | (shift ? MK_SHIFT : 0);
    PostMessageA(h, WM_LBUTTONDOWN, keys, MAKELPARAM(x, y));
    PostMessageA(h, WM_LBUTTONUP, 0, MAKELPARAM(x, y));
    Sleep(250);
}

HWND EditAt(HWND h, int x, int y) {
    POINT p{x + 3, y + 3};
    HWND child = ChildWindowFromPoint(h, p);
    return child != h ? child : nullptr;
}

void Type(HWND h, int x, int y, const char *text) {
    HWND edit = EditAt(h, x, y);
    Check(edit != nullptr, std::string("an edit field at ") + std::to_string(x) + "," + std::to_string(y));
    if (!edit) return;
    SendMessageA(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
    PostMessageA(edit, WM_KEYDOWN, VK_TAB, 0);
    Sleep(200);
}

bool EditEnabled(HWND h, int x, int y) {
    HWND edit = EditAt(h, x, y);
    return edit && IsWindowEnabled(edit);
}

// Drags a numeric field's knob by dx screen pixels.
void DragKnob(HWND h, int x, int y, int dx) {
    PostMessageA(h, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
    Sleep(600);
    POINT at;
    GetCursorPos(&at);  // the knob has moved the cursor to x = 320
    SetCursorPos(at.x + dx, at.y);
    PostMessageA(h, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(x, y));
    Sleep(400);
    PostMessageA(h, WM_LBUTTONUP, 0, MAKELPARAM(x, y));
    Sleep(200);
}

void Screenshot(HWND h, const std::string &name) {
    if (shots.empty() || !h) return;
    RECT r;
    GetWindowRect(h, &r);
    std::string request = shots + "/" + name + ".req", done = shots + "/" + name + ".done";
    {
        std::ofstream out(request);
        out << (r.right - r.left) << "x" << (r.bottom - r.top) << "+" << r.left << "+" << r.top << "\n";
    }
    for (int i = 0; i < 400; ++i) {
        if (std::ifstream(done)) return;
        Sleep(50);
    }
    Check(false, "screenshot " + name + " answered");
}

// Continue: the button row sits below the lowest control; a panel that
// closes by Enter is sent one too.
void Accept(HWND w) {
    RECT size;
    GetClientRect(w, &size);
    Click(w, size.right - 180 + 10, size.bottom - 26 + 10);
    if (IsWindow(w)) PostMessageA(w, WM_KEYDOWN, VK_RETURN, 0);
}

COLORREF PixelOf(HWND w, int x, int y) {
    HDC dc = GetDC(w);
    COLORREF c = GetPixel(dc, x, y);
    ReleaseDC(w, dc);
    return c;
}

// ---- the host's side, on the main thread ----

// A shader or filter instance, made through its handler's create (every
// class's record begins with create, destroy, copy, load and save).
struct Made {
    const ShaderHandler *handler = nullptr;
    LWInstance instance = nullptr;
};
Made Make(EmbeddedHost &host, const char *cls, const char *server) {
    std::string error;
    Made m;
    m.handler = static_cast<const ShaderHandler *>(host.Handler(cls, server, &error));
    LWError failure = nullptr;
    m.instance = m.handler ? m.handler->create(&failure) : nullptr;
    return m;
}

struct Plugin {
    const ItemMotionHandler *handler;
    LWInstance instance;
};

std::string Settings(const Plugin &p) {
    std::string text;
    LWSaveState save = {LWIO_SCENE, &text, [](void *d, char *buf, int) {
                            *static_cast<std::string *>(d) += std::string(buf) + "\n";
                        }};
    p.handler->save(p.instance, &save);
    return text;
}

std::string Block(const std::string &settings, const std::string &begin) {
    size_t at = settings.find(begin);
    if (at == std::string::npos) return "";
    size_t end = settings.find(" END", at);
    return settings.substr(at, end - at);
}

// Opens the panel through the interface activation while `user` acts.
int OpenPanel(const LoadedModule &module, const ServerRecord &options, LWInstance instance,
              const std::function<void()> &user) {
    // Whatever the user's script left open is closed, so that a failed step
    // cannot keep the host waiting.
    std::thread driver([&] {
        user();
        for (int tries = 0; tries < 10; ++tries) {
            HWND left = FindWindowA("ML_CL_A10:32:44", nullptr);
            if (!left) break;
            PostMessageA(left, WM_CLOSE, 0, 0);
            Sleep(300);
        }
    });
    int code = ActivateServer(module, options, 3, EmbeddedHost::Lookup(), instance);
    driver.join();
    return code;
}

LRESULT CALLBACK HostProc(HWND h, UINT m, WPARAM w, LPARAM l) { return DefWindowProcA(h, m, w, l); }

}  // namespace

int main(int argc, char **argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: panelcheck VESK.P SCENE.LWS OUTDIR [SHOTDIR]\n");
        return 2;
    }
    std::string out = argv[3];
    if (argc > 4) shots = argv[4];
    bool smallScreen = argc > 5 && std::string(argv[5]) == "--small-screen";
    EmbeddedHost host;
    WNDCLASSA wc{};
    wc.lpfnWndProc = HostProc;
    wc.hInstance = GetModuleHandleA(nullptr);
    wc.hbrBackground = CreateSolidBrush(RGB(90, 90, 96));
    wc.lpszClassName = "VeskHostWindow";
    RegisterClassA(&wc);
    HWND main = CreateWindowExA(0, "VeskHostWindow", "Layout", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 1000, 700, nullptr,
                                nullptr, wc.hInstance, nullptr);
    host.display = {wc.hInstance, main};

    LoadedModule module;
    std::string error;
    if (!LoadModuleFile(argv[1], &module, &error)) return std::printf("FAIL: %s\n", error.c_str()), 1;
    host.UseModule(&module);
    if (!LoadSceneFile(host, argv[2], &error)) return std::printf("FAIL: %s\n", error.c_str()), 1;
    Item &camera = *host.scene.cameras.front();
    Plugin track{camera.motionPlugins.at(0).handler, camera.motionPlugins.at(0).instance};
    const ServerRecord *options = FindServer(module, "ItemMotionInterface", "Track");
    // Track's panel opened on an instance, `user` acting on its window once it shows.
    auto onTrack = [&](LWInstance instance, const std::function<void(HWND)> &user) {
        return OpenPanel(module, *options, instance, [&] {
            if (HWND w = Opened("Tracking Control")) user(w);
        });
    };

    if (smallScreen) {
        // A screen smaller than the advanced definition (550 x 480): Track's own
        // panel opens, the dialog refuses with the host's error message.
        host.messages.clear();
        onTrack(track.instance, [&](HWND w) {
            Click(w, 300 + 75 + 17 + 5, 107 + 5);
            Sleep(500);
            Click(w, 448 - 90 + 10, 310 - 26 + 10);
        });
        Check(!host.messages.empty() &&
                  host.messages[0].line1 == "This plugin's interface requires a screen resolution of at least 550 by 480.",
              "the screen-size message");
        std::printf("%d passed, %d failed\n", passed, failed);
        return failed ? 1 : 0;
    }

    // 1. Type, drag, toggle, choose, open both dialogs, accept.
    bool ghostedWhenDisabled = false, limitsGhostedOnX = false, hostOffWhileOpen = false, hostOffWhileNested = false;
    int code = onTrack(track.instance, [&](HWND w) {
        Screenshot(w, "track");
        hostOffWhileOpen = !IsWindowEnabled(main);
        Type(w, 300, 107, "12");
        DragKnob(w, 300 + 75 + 8, 132 + 8, -10);  // STRENGTH: ten pixels at 0.005
        Click(w, 100, 225);                        // DISABLE on
        ghostedWhenDisabled = !EditEnabled(w, 300, 132) && !EditEnabled(w, 300, 107);
        Click(w, 100, 225);  // and off
        Click(w, 100, 65 + 5);  // "Track with +X"
        limitsGhostedOnX = !EditEnabled(w, 300, 165) && EditEnabled(w, 300, 107);
        Click(w, 100, 65 + 4 * 18 + 5);  // back to "Track with +Z"

        Click(w, 300 + 75 + 17 + 5, 107 + 5);  // DELAY's advanced button
        HWND advanced = Opened("Advanced Definition of");
        if (advanced) {
            Click(advanced, 215, 30 + 10 * 18 + 6);  // "Linear Change Over Time"
            Type(advanced, 124, 185, "0.5");
            Screenshot(advanced, "advanced");
            Click(advanced, 550 - 90 + 10, 480 - 26 + 10);  // cancel: nothing changes
            WaitGone(advanced);
            hostOffWhileNested = !IsWindowEnabled(main);  // the outer panel is still open
        }
        Click(w, 205 + 20, 70 + 10);  // the target opens the item selection
        HWND select = Opened("Select Item");
        if (select) {
            Screenshot(select, "item_select");
            Click(select, 412 + 10, 175 + 8);  // Clear all Selections
            Click(select, 20 + 20, 30 + 8);    // and pick the first row again: Target
            Click(select, 550 - 180 + 10, 400 - 26 + 10);
            WaitGone(select);
        }
        Screenshot(w, "track_edited");
        Click(w, 448 - 180 + 10, 310 - 26 + 10);  // accept
    });
    Check(code == 0, "the interface returns 0 after the window closed, got " + std::to_string(code));
    Check(hostOffWhileOpen && hostOffWhileNested, "the host's window stays disabled while panels are open");
    Check(IsWindowEnabled(main), "the host's window is enabled again after the last panel closed");
    Check(ghostedWhenDisabled, "DISABLE greys STRENGTH and DELAY");
    Check(limitsGhostedOnX, "+X greys the limits and leaves DELAY");
    std::string after = Settings(track);
    Check(Block(after, "BEGIN NUM DELAY").find("VALUE 12") != std::string::npos, "DELAY typed as 12:\n" + Block(after, "BEGIN NUM DELAY"));
    Check(Block(after, "BEGIN NUM DELAY").find("ANIMATE") == std::string::npos, "the cancelled advanced dialog changed nothing");
    Check(Block(after, "BEGIN NUM STRENGTH").find("VALUE 0.95") != std::string::npos,
          "STRENGTH dragged to 0.95:\n" + Block(after, "BEGIN NUM STRENGTH"));
    Check(Block(after, "BEGIN RADIO AXIS").find("SELECTION 4") != std::string::npos, "AXIS back on +Z");
    Check(Block(after, "BEGIN BUTTON DISABLE").find("CHECKED NO") != std::string::npos, "DISABLE off again");
    Check(Block(after, "BEGIN ITEM TRACKITEM").find("@Target") != std::string::npos, "the target kept");

    // 2. Cancel puts everything back.
    onTrack(track.instance, [&](HWND w) {
        Type(w, 300, 107, "99");
        Click(w, 100, 225);
        Click(w, 448 - 90 + 10, 310 - 26 + 10);  // cancel
    });
    std::string cancelled = Settings(track);
    Check(Block(cancelled, "BEGIN NUM DELAY") == Block(after, "BEGIN NUM DELAY") &&
              Block(cancelled, "BEGIN BUTTON DISABLE") == Block(after, "BEGIN BUTTON DISABLE"),
          "cancel keeps the settings as they were");

    // 3. Export Motion to a file. The script bakes the same scene with these
    // settings (written out below) and compares the files byte for byte.
    {
        std::ofstream edited(out + "/edited.lws", std::ios::binary);
        edited << SceneText(host);
        Check(static_cast<bool>(edited), "the edited scene written");
    }
    std::string exported = out + "/export.mot";
    host.fileAnswers.push_back({1, exported});
    onTrack(track.instance, [&](HWND w) {
        Click(w, 30 + 10, 250 + 10);  // Export Motion
        HWND panel = Opened("Export Motion of");
        if (panel) {
            Screenshot(panel, "export_motion");
            Click(panel, 370 - 180 + 10, 160 - 26 + 10);  // Save Motion
            WaitGone(panel);
        }
        Click(w, 448 - 180 + 10, 310 - 26 + 10);
    });
    Check(std::ifstream(exported).good(), "the motion file was written");

    // 4. A long export, its progress window, and Abort.
    std::string aborted = out + "/aborted.mot";
    host.fileAnswers.push_back({1, aborted});
    onTrack(track.instance, [&](HWND w) {
        Click(w, 30 + 10, 250 + 10);
        HWND panel = Opened("Export Motion of");
        if (!panel) return;
        Type(panel, 160, 30, "2000000");
        Click(panel, 370 - 180 + 10, 160 - 26 + 10);
        HWND progress = WaitWindow("MLStatus", "Progress Status");
        Check(progress != nullptr, "the progress window shows");
        if (progress) {
            Sleep(400);
            Screenshot(progress, "progress");
            Click(progress, 412 - 96 + 10, 124 - 32 + 10);  // Abort
            WaitGone(progress);
        }
        WaitGone(panel);
        Click(w, 448 - 180 + 10, 310 - 26 + 10);
    });
    // 5. The settings memory: Shift and Save keeps Track's settings; Shift and
    // Load in another Track instance takes them.
    std::string error2;
    Item &other = *host.scene.objects.front();
    LWInstance second = host.AddMotionPlugin(other, "Track", &error2);
    Check(second != nullptr, "a second Track: " + error2);
    onTrack(track.instance, [&](HWND w) {
        Click(w, 60 + 10, 310 - 26 + 10, true);  // Save with Shift
        Click(w, 448 - 180 + 10, 310 - 26 + 10);
    });
    onTrack(second, [&](HWND w) {
        Click(w, 6 + 10, 310 - 26 + 10, true);  // Load with Shift
        Click(w, 448 - 180 + 10, 310 - 26 + 10);
    });
    Check(Block(Settings({track.handler, second}), "BEGIN NUM DELAY") == Block(after, "BEGIN NUM DELAY"),
          "the memory carried DELAY 12 to the second Track");

    // 6. Without the host's display information the panel cannot open.
    host.Withhold(LWSERVICE_HOST_DISPLAY);
    host.messages.clear();
    int refused = ActivateServer(module, *options, 3, EmbeddedHost::Lookup(), track.instance);
    Check(refused == 999, "no display information: 999, got " + std::to_string(refused));
    Check(!host.messages.empty() && host.messages[0].line1 == "Error B: Cannot open Lightwave's Display Info" &&
              host.messages[0].line2 == "Try freeing RAM, or restarting LightWave?",
          "the display information message");
    host.Offer(LWSERVICE_HOST_DISPLAY);

    // 7. The other plug-ins' panels; Rayleigh's fog colour brightened by a
    // right-button drag, and the colour chooser left with Cancel.
    struct Other {
        const char *cls, *interfaceCls, *server, *title, *shot;
    } others[] = {
        {"DisplacementHandler", "DisplacementInterface", "SuperQ", "SuperQ", "superq"},
        {"ShaderHandler", "ShaderInterface", "Unveil", "Unveil", "unveil"},
        {"PixelFilterHandler", "PixelFilterInterface", "Rayleigh", "Rayleigh", "rayleigh"},
    };
    for (const Other &o : others) {
        LWInstance instance = std::string(o.cls) == "DisplacementHandler"
                                  ? host.AddDisplacementPlugin(other, o.server, &error2)
                                  : Make(host, o.cls, o.server).instance;
        Check(instance != nullptr, std::string(o.server) + " created: " + error2);
        if (!instance) continue;
        const ServerRecord *row = FindServer(module, o.interfaceCls, o.server);
        bool rayleigh = std::string(o.server) == "Rayleigh";
        OpenPanel(module, *row, instance, [&] {
            HWND w = Opened(o.title);
            if (!w) return;
            if (!rayleigh) Screenshot(w, o.shot);
            if (rayleigh) {
                // Waits long enough for the window to have taken each step, so
                // that a busy machine does not cut the drag short.
                PostMessageA(w, WM_RBUTTONDOWN, MK_RBUTTON, MAKELPARAM(108 + 10, 111 + 10));
                Sleep(600);
                POINT at;
                GetCursorPos(&at);
                SetCursorPos(at.x + 40, at.y);
                PostMessageA(w, WM_MOUSEMOVE, MK_RBUTTON, MAKELPARAM(118, 121));
                Sleep(400);
                PostMessageA(w, WM_RBUTTONUP, 0, MAKELPARAM(118, 121));
                Sleep(200);
                Screenshot(w, o.shot);  // the preview redrawn in the brighter fog
                Click(w, 108 + 10, 111 + 10);  // the colour chooser
                HWND chooser = WaitWindow("#32770", "Color", 10);
                Check(chooser != nullptr, "the colour chooser opens");
                if (chooser) {
                    Screenshot(chooser, "colour_chooser");
                    PostMessageA(chooser, WM_COMMAND, IDCANCEL, 0);
                    WaitGone(chooser);
                }
            }
            Click(w, 400 - 180 + 10, 280 - 26 + 10);  // accept (Rayleigh's size; the others close by Enter)
            if (IsWindow(w)) PostMessageA(w, WM_KEYDOWN, VK_RETURN, 0);
        });
        if (rayleigh) {
            std::string colour = Block(Settings({track.handler, instance}), "BEGIN COLOR COLOR");
            // Forty pixels brighten by a fifth: (38.1, 134.1, 185.1) times 1.2.
            Check(colour.find("RED 45") != std::string::npos && colour.find("GREEN 160") != std::string::npos &&
                      colour.find("BLUE 222") != std::string::npos,
                  "the brightness drag: " + colour);
        }
    }

    // 8. The panels of the newer motion and displacement plug-ins: a typed
    // field and a toggle each, read back from the settings they save.
    struct MotionPanel {
        bool displacement;
        const char *server, *title, *shot;
        int fieldX, fieldY;
        const char *typed, *field;
        int toggleX, toggleY;
        const char *toggle, *toggleState;
        const char *savedValue = nullptr;  // what the typed text is kept as, when it differs
        const char *preset = nullptr;      // settings blocks loaded before the panel opens
    } motionPanels[] = {
        {false, "Blink", "Blink: Keyed Replay", "blink", 200, 125, "48", "BEGIN NUM PERIOD", 470, 245,
         "BEGIN BUTTON VARY", "CHECKED YES"},
        {false, "Diffuser", "Diffuser: Random Drift", "diffuser", 470, 115, "7", "BEGIN NUM SEED", 300, 180,
         "BEGIN BUTTON SMOOTH", "CHECKED NO"},
        {true, "Flexor", "Flexor: Guided Bend", "flexor", 340, 150, "90", "BEGIN NUM MAXBEND", 60, 222,
         "BEGIN BUTTON INTERACTIVE", "CHECKED NO"},
        {true, "Diffuse", "Diffuse Point Drift", "diffuse", 440, 60, "5", "BEGIN NUM SEED", 440, 164,
         "BEGIN BUTTON SMOOTH", "CHECKED YES"},
        {true, "Dangle", "Dangle", "dangle", 0, 0, nullptr, nullptr, 150, 100, "BEGIN BUTTON INTERACTIVE",
         "CHECKED YES"},
        {true, "Poke", "Poke", "poke", 420, 65, "30", "BEGIN NUM HISTLENGTH", 418, 145, "BEGIN BUTTON INTERACTIVE",
         "CHECKED YES"},
        // The third of Objblur's modes, "Normal Blur", one row of 18 pixels each.
        {false, "Objblur", "OBJBlur", "objblur", 280, 65, "20", "BEGIN NUM BACK", 95, 65 + 2 * 18, "BEGIN RADIO MODE",
         "SELECTION 2"},
        {false, "Wheelie", "Wheelie!", "wheelie", 325, 129, "50", "BEGIN NUM RATE", 422, 158, "BEGIN BUTTON INTERACTIVE",
         "CHECKED NO"},
        {false, "Speedlimit", "Speedlimit", "speedlimit", 350, 134, "4", "BEGIN NUM V", 135, 85 + 18,
         "BEGIN RADIO VEL", "SELECTION 1"},
        {false, "Limiter", "Limiter", "limiter", 155, 79, "0.5", "BEGIN NUM PYLVAL", 130, 79, "BEGIN BUTTON PYL",
         "CHECKED YES"},
        {false, "VelAccel", "Velaccel", "velaccel", 265, 88, "-9.8", "BEGIN NUM YACCEL", 360, 143, "BEGIN BUTTON DISABLE",
         "CHECKED YES"},
        {false, "Parent", "Parent", "parent", 25, 90, "12", "BEGIN NUM DURATION1", 360, 370, "BEGIN BUTTON REPEAT",
         "CHECKED YES"},
        {false, "Whip", "Antenna Whip", "whip", 150, 60, "80", "BEGIN NUM RESTORE", 400, 150,
         "BEGIN BUTTON INTERACTIVE", "CHECKED NO"},
        {false, "PathAlign", "PathAlign", "pathalign", 270, 115, "4", "BEGIN NUM LOOKAHEAD", 95, 65 + 2 * 18,
         "BEGIN RADIO AXIS", "SELECTION 2"},
        // The cycle links, each driven by the item itself so that its graph shows.
        {false, "PhaseLink", "PhaseLink", "phaselink", 526, 518, "100", "BEGIN NUM HIGHGRAPH", 246, 140 + 3 * 18,
         "BEGIN RADIO TRACKFROM", "SELECTION 3", nullptr, kSelf},
        {false, "SpeedLink", "SpeedLink", "speedlink", 45, 518, "20", "BEGIN NUM LOWGRAPH", 245, 150 + 3 * 18,
         "BEGIN RADIO TRACKFROM", "SELECTION 3", nullptr, kSelf},
        {false, "AccelLink", "AccelLink", "accellink", 190, 330, "5", "BEGIN NUM HIGHFROM", 245, 150 + 18,
         "BEGIN RADIO TRACKFROM", "SELECTION 1", nullptr, kSelf},
        {false, "ThrottleLink", "ThrottleLink", "throttlelink", 150, 175, "50", "BEGIN NUM PHASEVELOCITY", 534, 328,
         "BEGIN BUTTON INTERACTIVE", "CHECKED NO", "0.5"},
        {false, "DistLink", "DistLink", "distlink", 175, 290, "2", "BEGIN NUM DISTANCE", 245, 170 + 3 * 18,
         "BEGIN RADIO TRACKFROM", "SELECTION 3", nullptr, kSelf},
    };
    for (const MotionPanel &m : motionPanels) {
        // Each on an item of its own: plug-ins on one item evaluate each other.
        Item &own = host.scene.AddNullObject(std::string("Panel ") + m.server);
        own.SetRest({0, 1, 0});
        own.AddKey(60, {4, 1, 2, 30, 0, 0, 1, 1, 1});
        LWInstance instance = m.displacement ? host.AddDisplacementPlugin(own, m.server, &error2)
                                             : host.AddMotionPlugin(own, m.server, &error2);
        Check(instance != nullptr, std::string(m.server) + " created: " + error2);
        if (!instance) continue;
        if (m.preset) {
            TextStore text = TextStore::Text(std::string("BEGIN MARVEN_LABS_PLUGIN ") + m.server + "\nVERSION 1\n" +
                                             m.preset + "END MARVEN_LABS_PLUGIN " + m.server + "\n");
            LWLoadState load = text.LoadState();
            track.handler->load(instance, &load);
        }
        const ServerRecord *row =
            FindServer(module, m.displacement ? "DisplacementInterface" : "ItemMotionInterface", m.server);
        int shown = OpenPanel(module, *row, instance, [&] {
            HWND w = Opened(m.title);
            if (!w) return;
            if (m.typed) Type(w, m.fieldX, m.fieldY, m.typed);
            Click(w, m.toggleX + 5, m.toggleY + 5);
            Screenshot(w, m.shot);
            Accept(w);
        });
        Check(shown == 0, std::string(m.server) + "'s panel accepted");
        std::string saved = Settings({track.handler, instance});
        // A percentage is typed in percent and kept as a fraction.
        std::string server = m.server;
        std::string value = m.savedValue           ? m.savedValue
                            : server == "Wheelie" ? "0.5"
                            : server == "Whip"    ? "0.8"
                            : m.typed             ? m.typed
                                                  : "";
        if (m.typed)
            Check(Block(saved, m.field).find("VALUE " + value) != std::string::npos,
                  std::string(m.server) + ": typed " + m.typed + ":\n" + Block(saved, m.field));
        Check(Block(saved, m.toggle).find(m.toggleState) != std::string::npos,
              std::string(m.server) + ": toggled:\n" + Block(saved, m.toggle));
    }

    // 9. The panels with previews: a field typed, the preview redrawn (a pixel
    // of it read before and after), the value read back from the settings.
    // Then the plug-ins drawn on rendered geometry: a field typed in each,
    // read back.
    using ColourTest = bool (*)(COLORREF);
    struct TypedPanel {
        const char *cls, *interfaceCls, *server, *title, *shot;
        int fieldX, fieldY;
        const char *typed, *field;
        int pixelX = 0, pixelY = 0;  // a preview pixel the change must alter
        ColourTest before = nullptr, after = nullptr;
    } typedPanels[] = {
        // A pixel near the rim of HSVBoost's hue swatch: orange turned 90
        // degrees by the glancing hue shift is green.
        {"ShaderHandler", "ShaderInterface", "HSVBoost", "HSVBoost", "hsvboost", 180, 180, "90", "BEGIN NUM GLANCEHUE",
         350 + 3, 166 + 32, [](COLORREF c) { return GetRValue(c) > GetGValue(c); },
         [](COLORREF c) { return GetGValue(c) > GetRValue(c); }},
        {"ShaderHandler", "ShaderInterface", "EdgeRGB", "Simple Edge Coloring Tool", "edgergb", 185, 100, "0.8",
         "BEGIN NUM TRANS"},
        // The test card's yellow top-left corner; barrel distortion pulls it in.
        {"ImageFilterHandler", "ImageFilterInterface", "Lens", "Lens", "lens", 120, 60, "-0.3", "BEGIN NUM XPIN",
         300 + 2, 60 + 2, [](COLORREF c) { return GetRValue(c) > 200 && GetGValue(c) > 150 && GetBValue(c) < 60; },
         [](COLORREF c) { return !(GetRValue(c) > 200 && GetGValue(c) > 150 && GetBValue(c) < 60); }},
        // F-stop 0.5 brings the cap in to 65.8 m, so the focus line stands at
        // 170 * 10 / 65.8 = 25 pixels.
        {"ImageFilterHandler", "ImageFilterInterface", "Confusion", "Confusion", "confusion", 116, 65, "0.5",
         "BEGIN NUM FSTOP", 258 + 25, 67 + 80,
         [](COLORREF c) { return !(GetRValue(c) > 200 && GetGValue(c) > 200 && GetBValue(c) < 60); },
         [](COLORREF c) { return GetRValue(c) > 200 && GetGValue(c) > 200 && GetBValue(c) < 60; }},
        // Right of the disc, in its shadow; an X offset to the other side clears it.
        {"ImageFilterHandler", "ImageFilterInterface", "DropShadow", "DropShadow", "dropshadow", 120, 60, "-0.1",
         "BEGIN NUM XOFF", 322 + 80, 60 + 58, [](COLORREF c) { return GetRValue(c) < 170; },
         [](COLORREF c) { return GetRValue(c) > 180; }},
        {"PixelFilterHandler", "PixelFilterInterface", "VFog", "Vertical Fog Layer", "vfog", 140, 65, "12.5",
         "BEGIN NUM ALTITUDE"},
        {"PixelFilterHandler", "PixelFilterInterface", "Enviro", "Environment Map Renderer", "enviro", 300, 150, "45",
         "BEGIN NUM HEADING"},
        {"ShaderHandler", "ShaderInterface", "PolyPop", "PolyPop Polygon Builder", "polypop", 300, 160, "4",
         "BEGIN NUM FADE"},
        {"ShaderHandler", "ShaderInterface", "BladeBlur", "Rotor Blade Blur", "bladeblur", 150, 88, "1500",
         "BEGIN NUM RPM"},
        {"ShaderHandler", "ShaderInterface", "Acid", "Acid Surface Eater", "acid", 160, 126, "6",
         "BEGIN NUM DETAIL"},
    };
    for (const TypedPanel &f : typedPanels) {
        Made made = Make(host, f.cls, f.server);
        Check(made.instance != nullptr, std::string(f.server) + " created");
        if (!made.instance) continue;
        COLORREF before = 0, after = 0;
        OpenPanel(module, *FindServer(module, f.interfaceCls, f.server), made.instance, [&] {
            HWND w = Opened(f.title);
            if (!w) return;
            Sleep(200);
            before = PixelOf(w, f.pixelX, f.pixelY);
            Type(w, f.fieldX, f.fieldY, f.typed);
            Sleep(300);
            after = PixelOf(w, f.pixelX, f.pixelY);
            Screenshot(w, f.shot);
            Accept(w);
        });
        std::string saved = Settings({track.handler, made.instance});
        Check(Block(saved, f.field).find(std::string("VALUE ") + f.typed) != std::string::npos,
              std::string(f.server) + ": typed " + f.typed + ":\n" + Block(saved, f.field));
        if (f.before)
            Check(f.before(before) && f.after(after), std::string(f.server) + "'s preview redrawn: " +
                                                          std::to_string(before) + " then " + std::to_string(after));
        made.handler->destroy(made.instance);
    }

    std::ifstream cut(aborted);
    std::string magic, version, channels, keys;
    cut >> magic >> version >> channels >> keys;
    size_t lines = 4;
    for (std::string line; std::getline(cut, line);) ++lines;
    Check(keys == "2000001", "the aborted file announces every key, got " + keys);
    Check(lines < 4 + 2 * 2000001, "the aborted file stops early");

    // The module stays loaded: the host's plug-in instances are destroyed with
    // the host, through the module's own slots, as the program ends.
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
