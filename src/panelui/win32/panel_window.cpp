// The panel window on Windows: a borderless pop-up over the host, painted by
// us, with an edit field per numeric control. Everything a click or a key means
// is decided by the control model; this file draws and forwards.
#include <windows.h>
#include <commdlg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/panel_files.h"
#include "panelui/artwork.h"
#include "panelui/dialogs.h"
#include "panelui/panel_window.h"
#include "panelui/stored_image.h"

namespace {

constexpr UINT kSettingsChanged = 34901;
constexpr const char *kClassName = "ML_CL_A10:32:44";
constexpr int kBand = 24;  // the title band's height
constexpr int kRow = 16;   // a list row

// Colours of the panels.
const COLORREF kBack = RGB(62, 66, 80), kBandText = RGB(240, 236, 220), kText = RGB(214, 216, 226),
               kGhost = RGB(118, 120, 132), kField = RGB(28, 30, 38), kLight = RGB(120, 126, 148),
               kDark = RGB(26, 27, 34), kFace = RGB(84, 88, 108), kLit = RGB(120, 128, 176),
               kChosen = RGB(255, 229, 148), kEditText = RGB(220, 220, 165), kEditOff = RGB(100, 100, 100),
               kEditDrag = RGB(255, 255, 191);

int openWindows = 0;
COLORREF customColours[16] = {};  // kept for the module's life, shared by all colour controls

struct Window {
    HWND hwnd = nullptr, hostActive = nullptr, hostMain = nullptr;
    Panel *panel = nullptr;
    HFONT font = nullptr, bold = nullptr;
    HBRUSH back = nullptr, field = nullptr;
    HBITMAP strip = nullptr, logo = nullptr;
    int stripW = 0, logoW = 0;
    HPALETTE palette = nullptr;
    std::vector<std::pair<NumericControl *, HWND>> edits;
    std::vector<std::pair<ControlRecord *, void (*)(ControlRecord *, int)>> draws;
    NumericControl *dragging = nullptr;
    ColorControl *brightening = nullptr;
    POINT dragFrom{};
    double base[3] = {}, baseLength = 0;
    int travel = 0;
    bool gone = false;
};

Window *Of(HWND hwnd) { return reinterpret_cast<Window *>(GetWindowLongPtr(hwnd, GWLP_USERDATA)); }
Window *Of(Panel *panel) { return panel ? static_cast<Window *>(panel->window) : nullptr; }

// ---- where things are ----

RECT Box(int x, int y, int w, int h) { return RECT{x, y, x + w, y + h}; }
bool Inside(const RECT &r, int x, int y) { return x >= r.left && x < r.right && y >= r.top && y < r.bottom; }

int WindowHeight(Panel *p);
RECT AcceptRect(Panel *p) { return Box(p->width - 180, WindowHeight(p) - 26, 84, 20); }
RECT CancelRect(Panel *p) { return Box(p->width - 90, WindowHeight(p) - 26, 84, 20); }
RECT LoadRect(Panel *p) { return Box(6, WindowHeight(p) - 26, 50, 20); }
RECT SaveRect(Panel *p) { return Box(60, WindowHeight(p) - 26, 50, 20); }
RECT MemoryRect(Panel *p) { return Box(114, WindowHeight(p) - 21, 10, 10); }

int ListRows(Panel *p, ControlRecord *r) { return std::max(1, std::min(18, (p->height - 40 - r->y) / kRow)); }

int RadioLabelWidth(RadioControl *rc) {
    size_t longest = 0;
    for (int i = 0; i < rc->count && i < kRadioChoices && !rc->dotsOnly; ++i)
        longest = std::max(longest, std::strlen(rc->choices[i]));
    return 6 * static_cast<int>(longest);
}
bool RadioLabelsLeft(Panel *p, RadioControl *rc) {
    return rc->labelsLeft || rc->record.x + 20 + RadioLabelWidth(rc) > p->width - 6;
}

RECT BodyRect(Panel *p, ControlRecord *r) {
    switch (r->kind) {
    case kKindNumeric: {
        auto *n = reinterpret_cast<NumericControl *>(r);
        return Box(r->x, r->y, n->width, n->height);
    }
    case kKindButton: {
        auto *b = reinterpret_cast<ButtonControl *>(r);
        return Box(r->x, r->y, b->width, b->height);
    }
    case kKindColor: return Box(r->x, r->y, 32, 20);
    case kKindRadio: {
        // The dots and their labels: as wide as the longest label, on whichever
        // side of the dots the panel has room for.
        auto *rc = reinterpret_cast<RadioControl *>(r);
        int rows = rc->rowSpacing * std::max(1, rc->count), labels = RadioLabelWidth(rc);
        if (RadioLabelsLeft(p, rc)) return Box(r->x - labels - 6, r->y, labels + 18, rows);
        return Box(r->x, r->y, 20 + labels, rows);
    }
    case kKindListbox: return Box(r->x, r->y, 180, kRow * ListRows(p, r));
    case kKindItem: return Box(r->x, r->y, reinterpret_cast<ItemControl *>(r)->width, 21);
    case kKindGraph: {
        auto *gr = reinterpret_cast<GraphControl *>(r);
        return Box(r->x, r->y, gr->width, gr->height);
    }
    case kKindPreview: {
        auto *pv = reinterpret_cast<PreviewControl *>(r);
        return Box(r->x, r->y, pv->width, pv->height);
    }
    case kKindExportMotion: return Box(r->x, r->y, 100, 20);
    default: return Box(r->x, r->y, 0, 0);
    }
}
// The window is the panel's size, grown downwards where a control reaches into
// the row of Load, Save, Continue and Cancel, so that the row stays clear.
int WindowHeight(Panel *p) {
    int height = p->height;
    for (ControlRecord *r = p->record.next; r; r = r->next) {
        RECT body = BodyRect(p, r);
        if (body.bottom > body.top && body.bottom > p->height - 28) height = std::max(height, static_cast<int>(body.bottom) + 30);
    }
    return height;
}
RECT KnobRect(NumericControl *n) { return Box(n->record.x + n->width + 3, n->record.y, 12, n->height); }
RECT AdvancedRect(NumericControl *n) { return Box(n->record.x + n->width + 17, n->record.y, 12, n->height); }
bool HasAdvanced(NumericControl *n) { return n->hasAdvancedButton && n->animatable; }

// ---- painting ----

void Bevel(HDC dc, RECT r, bool sunken) {
    HPEN light = CreatePen(PS_SOLID, 1, sunken ? kDark : kLight), dark = CreatePen(PS_SOLID, 1, sunken ? kLight : kDark);
    HGDIOBJ old = SelectObject(dc, light);
    MoveToEx(dc, r.left, r.bottom - 1, nullptr);
    LineTo(dc, r.left, r.top);
    LineTo(dc, r.right - 1, r.top);
    SelectObject(dc, dark);
    LineTo(dc, r.right - 1, r.bottom - 1);
    LineTo(dc, r.left, r.bottom - 1);
    SelectObject(dc, old);
    DeleteObject(light);
    DeleteObject(dark);
}

void Fill(HDC dc, RECT r, COLORREF c) {
    HBRUSH b = CreateSolidBrush(c);
    FillRect(dc, &r, b);
    DeleteObject(b);
}

void Text(HDC dc, const char *s, RECT r, COLORREF c, UINT align) {
    SetTextColor(dc, c);
    SetBkMode(dc, TRANSPARENT);
    DrawTextA(dc, s, -1, &r, align | DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX);
}

// An on/off button's label: right of the box, or left of it where the panel
// ends first. Drawing and clicks use the same rectangle, so a click on one
// toggle's label never reaches a toggle beside it.
RECT ToggleLabelRect(HDC dc, Panel *p, ButtonControl *b) {
    RECT body = BodyRect(p, &b->record);
    SIZE size;
    GetTextExtentPoint32A(dc, b->record.label, static_cast<int>(std::strlen(b->record.label)), &size);
    if (!b->labelLeft && body.right + 6 + size.cx <= p->width - 6) return Box(body.right + 6, body.top, size.cx + 4, b->height);
    return Box(body.left - 10 - size.cx, body.top, size.cx + 4, b->height);
}

void ButtonFace(HDC dc, RECT r, const char *caption, bool lit, bool ghosted) {
    Fill(dc, r, lit ? kLit : kFace);
    Bevel(dc, r, lit);
    Text(dc, caption, r, ghosted ? kGhost : kText, DT_CENTER);
}

void Label(HDC dc, const char *label, int rightEdge, int y, int height, bool ghosted) {
    Text(dc, label, Box(rightEdge - 240, y, 240, height), ghosted ? kGhost : kText, DT_RIGHT | DT_NOCLIP);  // glyphs may overhang their box by a pixel
}

void DrawControl(Window *w, HDC dc, ControlRecord *r) {
    Panel *p = w->panel;
    bool g = r->ghosted != 0;
    RECT body = BodyRect(p, r);
    switch (r->kind) {
    case kKindNumeric: {
        auto *n = reinterpret_cast<NumericControl *>(r);
        Label(dc, r->label, r->x - 6, r->y, n->height, g);
        RECT frame = Box(body.left - 1, body.top - 1, n->width + 2, n->height + 2);
        Bevel(dc, frame, true);
        RECT knob = KnobRect(n);
        if (knob.right <= p->width - 2) {  // a field at the panel's edge is typed into only
            ButtonFace(dc, knob, "", n->window.dragging, g);
            Fill(dc, Box(knob.left + 4, knob.top + n->height / 2 - 2, 4, 4), g ? kGhost : kChosen);
        }
        if (HasAdvanced(n)) ButtonFace(dc, AdvancedRect(n), "A", n->mode != kFixed, g);
        break;
    }
    case kKindButton: {
        auto *b = reinterpret_cast<ButtonControl *>(r);
        if (b->width <= 24) {  // an on/off button: a box and its label
            Fill(dc, body, kField);
            Bevel(dc, body, true);
            if (ToggleIsOn(b)) Fill(dc, Box(body.left + 4, body.top + 4, b->width - 8, b->height - 8), g ? kGhost : kChosen);
            RECT label = ToggleLabelRect(dc, p, b);
            Text(dc, r->label, label, g ? kGhost : kText, label.left > body.left ? DT_LEFT : DT_RIGHT);
            // A switch without a label carries its text on its face (Parent's X, Y, Z).
            if (!r->label[0] && b->text[0]) Text(dc, b->text, body, g ? kGhost : (ToggleIsOn(b) ? kBack : kText), DT_CENTER);
        } else {
            ButtonFace(dc, body, b->text, (b->state & kHighlighted) != 0, g);
        }
        break;
    }
    case kKindColor: {
        auto *c = reinterpret_cast<ColorControl *>(r);
        int red = g ? WashedChannel(c->red) : c->red, green = g ? WashedChannel(c->green) : c->green,
            blue = g ? WashedChannel(c->blue) : c->blue;
        Fill(dc, body, RGB(std::clamp(red, 0, 255), std::clamp(green, 0, 255), std::clamp(blue, 0, 255)));
        Bevel(dc, body, true);
        Label(dc, r->label, body.left - 5, body.top, 20, g);
        break;
    }
    case kKindRadio: {
        auto *rc = reinterpret_cast<RadioControl *>(r);
        int count = std::min(rc->count, kRadioChoices - 1), chosen = ShownRadioSelection(rc);
        for (int i = 0; i < count; ++i) {
            RECT dot = Box(r->x, r->y + i * rc->rowSpacing + 3, 11, 11);
            HBRUSH well = CreateSolidBrush(kField), mark = CreateSolidBrush(g ? kGhost : kChosen);
            HPEN rim = CreatePen(PS_SOLID, 1, kLight);
            HGDIOBJ oldBrush = SelectObject(dc, well), oldPen = SelectObject(dc, rim);
            Ellipse(dc, dot.left, dot.top, dot.right, dot.bottom);
            if (i == chosen) {
                SelectObject(dc, mark);
                SelectObject(dc, GetStockObject(NULL_PEN));
                Ellipse(dc, dot.left + 3, dot.top + 3, dot.right - 2, dot.bottom - 2);
            }
            SelectObject(dc, oldBrush);
            SelectObject(dc, oldPen);
            DeleteObject(well);
            DeleteObject(mark);
            DeleteObject(rim);
            COLORREF colour = g ? kGhost : (i == chosen ? kChosen : kText);
            if (rc->dotsOnly) continue;
            if (RadioLabelsLeft(p, rc))
                Text(dc, rc->choices[i], Box(r->x - 246, r->y + i * rc->rowSpacing, 240, 17), colour, DT_RIGHT | DT_NOCLIP);
            else
                Text(dc, rc->choices[i], Box(r->x + 17, r->y + i * rc->rowSpacing, 220, 17), colour, DT_LEFT);
        }
        break;
    }
    case kKindListbox: {
        auto *l = reinterpret_cast<ListboxControl *>(r);
        Fill(dc, body, kField);
        Bevel(dc, body, true);
        for (int i = 0; i < l->count && i < ListRows(p, r); ++i) {
            RECT row = Box(body.left + 2, body.top + i * kRow + 1, 176, kRow - 1);
            if (l->selected[i]) Fill(dc, row, kLit);
            Text(dc, l->entries[i], Box(row.left + 4, row.top, 170, kRow - 1), l->selected[i] ? kChosen : kText, DT_LEFT);
        }
        break;
    }
    case kKindItem: {
        auto *it = reinterpret_cast<ItemControl *>(r);
        FormatItemDisplay(it);
        Fill(dc, body, kField);
        Bevel(dc, body, true);
        Text(dc, it->display, Box(body.left + 6, body.top, body.right - body.left - 8, 21), g ? kGhost : kEditText, DT_LEFT);
        // The label sits above the field, clear of whatever stands to its left.
        Text(dc, r->label, Box(body.left, body.top - 17, 230, 16), g ? kGhost : kText, DT_LEFT);
        break;
    }
    case kKindText: {
        auto *t = reinterpret_cast<TextControl *>(r);
        // A text longer than the room to its right moves left to end at the margin.
        SIZE size;
        GetTextExtentPoint32A(dc, t->text, static_cast<int>(std::strlen(t->text)), &size);
        int left = r->x + size.cx > p->width - 8 ? std::max(8, static_cast<int>(p->width - 8 - size.cx)) : r->x;
        COLORREF colour = g ? kGhost : (t->coloured ? RGB(t->rgb[0], t->rgb[1], t->rgb[2]) : kText);
        Text(dc, t->text, Box(left, r->y, p->width - left - 8, 16), colour, DT_LEFT | DT_END_ELLIPSIS);
        break;
    }
    case kKindGraph: {
        // The points over the horizontal range, the vertical range scaled to
        // what is shown with its ends written at the left; faint lines at the
        // quarters; the label centred below ("Frame").
        auto *gr = reinterpret_cast<GraphControl *>(r);
        Fill(dc, body, kField);
        Bevel(dc, body, true);
        int w = gr->width - 10, h = gr->height - 10;
        HPEN grid = CreatePen(PS_DOT, 1, kGhost);
        HGDIOBJ old = SelectObject(dc, grid);
        for (int q = 1; q < 4; ++q) {
            int gx = body.left + 5 + w * q / 4, gy = body.top + 5 + h * q / 4;
            MoveToEx(dc, gx, body.top + 2, nullptr), LineTo(dc, gx, body.bottom - 2);
            MoveToEx(dc, body.left + 2, gy, nullptr), LineTo(dc, body.right - 2, gy);
        }
        SelectObject(dc, old);
        DeleteObject(grid);
        if (r->label[0]) Text(dc, r->label, Box(body.left, body.bottom + 1, gr->width, 14), g ? kGhost : kText, DT_CENTER);
        if (gr->count < 2) break;
        double lo = *std::min_element(gr->y, gr->y + gr->count), hi = *std::max_element(gr->y, gr->y + gr->count);
        if (hi - lo < 1e-9) lo -= 1, hi += 1;
        double span = gr->xHigh - gr->xLow > 0 ? gr->xHigh - gr->xLow : 1;
        HPEN pen = CreatePen(PS_SOLID, 2, g ? kGhost : kChosen);
        old = SelectObject(dc, pen);
        for (int i = 0; i < gr->count; ++i) {
            int px = body.left + 5 + static_cast<int>((gr->x[i] - gr->xLow) / span * w);
            int py = body.bottom - 5 - static_cast<int>((gr->y[i] - lo) / (hi - lo) * h);
            i ? LineTo(dc, px, py) : MoveToEx(dc, px, py, nullptr);
        }
        SelectObject(dc, old);
        DeleteObject(pen);
        char scale[64];
        std::snprintf(scale, sizeof scale, "%.3g", hi);
        Text(dc, scale, Box(body.left + 4, body.top + 2, 100, 14), kGhost, DT_LEFT);
        std::snprintf(scale, sizeof scale, "%.3g", lo);
        Text(dc, scale, Box(body.left + 4, body.bottom - 16, 100, 14), kGhost, DT_LEFT);
        break;
    }
    case kKindExportMotion: ButtonFace(dc, body, "Export Motion", false, g); break;
    case kKindPreview: {
        // The plug-in filled the pixels; here they only change order (GDI
        // wants blue first) and reach the screen.
        auto *pv = reinterpret_cast<PreviewControl *>(r);
        // GDI rows start on four-byte boundaries.
        static unsigned char bgr[(kPreviewSide * 3 + 3) / 4 * 4 * kPreviewSide];
        int w = std::min(pv->width, kPreviewSide), h = std::min(pv->height, kPreviewSide), stride = (w * 3 + 3) / 4 * 4;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 3; ++c) bgr[y * stride + x * 3 + c] = pv->rgb[(y * w + x) * 3 + 2 - c];
        BITMAPINFO info{};
        info.bmiHeader = {sizeof(BITMAPINFOHEADER), w, -h, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
        SetDIBitsToDevice(dc, r->x, r->y, w, h, 0, 0, 0, h, bgr, &info, DIB_RGB_COLORS);
        break;
    }
    default: break;
    }
}

void DrawBitmap(HDC dc, HBITMAP bitmap, int x, int y, int w, int h) {
    if (!bitmap) return;
    HDC memory = CreateCompatibleDC(dc);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(dc, x, y, w, h, memory, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    DeleteDC(memory);
}

void Paint(Window *w, HDC dc) {
    Panel *p = w->panel;
    RECT all = Box(0, 0, p->width, WindowHeight(p));
    FillRect(dc, &all, w->back);
    // The title band: the panel's strip, its title, the collection's mark.
    Fill(dc, Box(0, 0, p->width, kBand), RGB(14, 22, 48));
    DrawBitmap(dc, w->strip, 0, 0, w->stripW, kBand);
    HGDIOBJ oldFont = SelectObject(dc, w->bold);
    SIZE title;
    GetTextExtentPoint32A(dc, p->title, static_cast<int>(std::strlen(p->title)), &title);
    // The collection's mark gives way when the title needs its room.
    bool logo = w->stripW + 16 + title.cx + w->logoW <= p->width;
    if (logo) DrawBitmap(dc, w->logo, p->width - w->logoW, 0, w->logoW, kBand);
    Text(dc, p->title, Box(w->stripW + 8, 0, p->width - w->stripW - (logo ? w->logoW : 0) - 16, kBand), kBandText,
         DT_LEFT | DT_END_ELLIPSIS);
    SelectObject(dc, w->font);
    Bevel(dc, all, false);
    for (ControlRecord *r = p->record.next; r; r = r->next) DrawControl(w, dc, r);
    ButtonFace(dc, AcceptRect(p), p->acceptLabel, false, false);
    ButtonFace(dc, CancelRect(p), p->cancelLabel, false, false);
    if (p->fileButtons) {
        ButtonFace(dc, LoadRect(p), "Load", false, false);
        ButtonFace(dc, SaveRect(p), "Save", false, false);
        RECT lamp = MemoryRect(p);
        Fill(dc, lamp, p->memoryIndicator ? kChosen : kField);
        Bevel(dc, lamp, true);
    }
    SelectObject(dc, oldFont);
}

// ---- the numeric fields ----

WNDPROC editProc = nullptr;

NumericControl *FieldOf(Window *w, HWND edit) {
    for (auto &e : w->edits)
        if (e.second == edit) return e.first;
    return nullptr;
}

void ShowValue(Window *w, NumericControl *n) {
    for (auto &e : w->edits)
        if (e.first == n) {
            FormatNumeric(n, n->value, n->window.text);
            SetWindowTextA(e.second, n->window.text);
        }
}

void CommitField(Window *w, NumericControl *n, HWND edit, bool report) {
    char text[64];
    GetWindowTextA(edit, text, sizeof text);
    CommitNumericText(n, text, report);
    SetWindowTextA(edit, n->window.text);
}

void FocusNext(Window *w, HWND edit, bool back) {
    auto at = std::find_if(w->edits.begin(), w->edits.end(), [&](auto &e) { return e.second == edit; });
    if (at == w->edits.end() || w->edits.size() < 2) return;
    size_t i = at - w->edits.begin(), n = w->edits.size();
    for (size_t k = 1; k < n; ++k) {
        size_t j = back ? (i + n - k) % n : (i + k) % n;
        if (!w->edits[j].first->record.ghosted) {
            SetFocus(w->edits[j].second);
            SendMessageA(w->edits[j].second, EM_SETSEL, 0, -1);
            return;
        }
    }
}

LRESULT CALLBACK EditProc(HWND edit, UINT msg, WPARAM wp, LPARAM lp) {
    Window *w = Of(GetParent(edit));
    NumericControl *n = w ? FieldOf(w, edit) : nullptr;
    if (n && (msg == WM_CHAR || msg == WM_KEYDOWN || msg == WM_PASTE || msg == WM_CUT || msg == WM_CLEAR)) {
        bool locked = n->record.ghosted || (n->animatable && n->mode != kFixed);
        if (msg == WM_KEYDOWN && (wp == VK_TAB || wp == VK_RETURN)) {
            if (!locked) CommitField(w, n, edit, true);
            if (wp == VK_TAB) FocusNext(w, edit, GetKeyState(VK_SHIFT) < 0);
            return 0;
        }
        if (msg == WM_CHAR && (wp == '\t' || wp == '\r')) return 0;
        if (locked) return 0;  // typing is swallowed while disabled or animated
    }
    return CallWindowProcA(editProc, edit, msg, wp, lp);
}

// ---- opening and closing ----

HBITMAP MakeBitmap(HDC dc, StoredImage stored, int *width) {
    BitmapRecord *record = DecodeImage(stored.data, stored.size);
    if (!record) return nullptr;
    BITMAPINFO info{};
    std::memcpy(&info.bmiHeader, &record->header, sizeof record->header);
    HBITMAP bitmap = CreateDIBitmap(dc, &info.bmiHeader, CBM_INIT, record->pixels, &info, DIB_RGB_COLORS);
    *width = record->width;
    FreeBitmapRecord(record);
    return bitmap;
}

void CreateResources(Window *w) {
    w->font = CreateFontA(-12, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, 0, 0, ANTIALIASED_QUALITY, 0, "Arial");
    w->bold = CreateFontA(-14, 0, 0, 0, FW_BOLD, 0, 0, 0, ANSI_CHARSET, 0, 0, ANTIALIASED_QUALITY, 0, "Arial");
    w->back = CreateSolidBrush(kBack);
    w->field = CreateSolidBrush(kField);
    HDC screen = GetDC(nullptr);
    w->strip = MakeBitmap(screen, TitleStripImage(w->panel->shortName), &w->stripW);
    w->logo = MakeBitmap(screen, CollectionTitleImage(), &w->logoW);
    ReleaseDC(nullptr, screen);
}

void DeleteResources(Window *w) {
    for (HGDIOBJ o : {static_cast<HGDIOBJ>(w->font), static_cast<HGDIOBJ>(w->bold), static_cast<HGDIOBJ>(w->back),
                      static_cast<HGDIOBJ>(w->field), static_cast<HGDIOBJ>(w->strip), static_cast<HGDIOBJ>(w->logo),
                      static_cast<HGDIOBJ>(w->palette)})
        if (o) DeleteObject(o);
}

void RedrawWhileOpen(ControlRecord *r, int) {
    Window *w = Of(r->panel);
    if (!w || !w->hwnd) return;
    if (r->kind == kKindNumeric)
        for (auto &e : w->edits)
            if (e.first == reinterpret_cast<NumericControl *>(r)) EnableWindow(e.second, !r->ghosted);
    InvalidateRect(w->hwnd, nullptr, FALSE);
}

void CloseWindow(Window *w, bool accepted) {
    Panel *p = w->panel;
    for (auto &e : w->edits) {
        NumericControl *n = e.first;
        if (!n->record.ghosted && (!n->animatable || n->mode == kFixed)) CommitField(w, n, e.second, false);
        n->window.windowless = 1;
    }
    p->cancelled = accepted ? 0 : 1;
    if (p->record.close) p->record.close(&p->record);
    for (auto &d : w->draws) d.first->draw = d.second;
    w->draws.clear();
    DeleteResources(w);
    openWindows = std::max(0, openWindows - 1);
    if (openWindows == 0) EnableWindow(w->hostMain, TRUE);
    if (w->hostActive) EnableWindow(w->hostActive, TRUE);
    w->gone = true;
    DestroyWindow(w->hwnd);
}

// ---- input ----

void ToggleOrPress(Window *w, ButtonControl *b, bool modifier) {
    if (b->click) {
        b->click(b, modifier);
    } else if (b->width <= 24) {
        SetToggle(b, !ToggleIsOn(b));
        ReportChange(&b->record);
    }
    InvalidateRect(w->hwnd, nullptr, FALSE);
}

void PickColour(Window *w, ColorControl *c) {
    CHOOSECOLORA choose{};
    choose.lStructSize = sizeof choose;
    choose.hwndOwner = w->hwnd;
    choose.rgbResult = RGB(std::clamp(c->red, 0, 255), std::clamp(c->green, 0, 255), std::clamp(c->blue, 0, 255));
    choose.lpCustColors = customColours;
    choose.Flags = CC_RGBINIT | CC_FULLOPEN;
    if (!ChooseColorA(&choose) || choose.rgbResult == RGB(c->red, c->green, c->blue)) return;
    c->red = GetRValue(choose.rgbResult), c->green = GetGValue(choose.rgbResult), c->blue = GetBValue(choose.rgbResult);
    ReportChange(&c->record);
    InvalidateRect(w->hwnd, nullptr, FALSE);
}

// Leaves the window, committing typed text first (and keeping what the
// plug-in's twin held when the window is left with cancel).
void Leave(Window *w, bool accepted);

void Click(Window *w, int x, int y, bool modifier) {
    Panel *p = w->panel;
    if (Inside(AcceptRect(p), x, y)) return Leave(w, true);
    if (Inside(CancelRect(p), x, y)) return Leave(w, false);
    if (p->fileButtons && Inside(LoadRect(p), x, y)) {
        PanelLoadButton(p, modifier);
        for (auto &e : w->edits) ShowValue(w, e.first);
        InvalidateRect(w->hwnd, nullptr, FALSE);
        return;
    }
    if (p->fileButtons && Inside(SaveRect(p), x, y)) return PanelSaveButton(p, modifier);
    if (y < kBand) return ShowAboutBox(p);
    for (ControlRecord *r = p->record.next; r; r = r->next) {
        if (r->ghosted) continue;
        RECT body = BodyRect(p, r);
        switch (r->kind) {
        case kKindNumeric: {
            auto *n = reinterpret_cast<NumericControl *>(r);
            if (Inside(KnobRect(n), x, y) && (!n->animatable || n->mode == kFixed)) {
                for (auto &e : w->edits)
                    if (e.first == n) {
                        char text[64];
                        GetWindowTextA(e.second, text, sizeof text);
                        CopyText(n->window.text, sizeof n->window.text, text);
                    }
                GetCursorPos(&w->dragFrom);
                ShowCursor(FALSE);
                SetCursorPos(NumericDragBegin(n), w->dragFrom.y);
                w->dragging = n;
                SetCapture(w->hwnd);
                ShowValue(w, n);
                InvalidateRect(w->hwnd, nullptr, FALSE);
                return;
            }
            if (HasAdvanced(n) && Inside(AdvancedRect(n), x, y)) {
                if (OpenAdvancedDefinition(n, modifier)) ShowValue(w, n);
                InvalidateRect(w->hwnd, nullptr, FALSE);
                return;
            }
            break;
        }
        case kKindButton:
        {
            auto *b = reinterpret_cast<ButtonControl *>(r);
            bool onLabel = false;
            if (b->width <= 24) {  // an on/off button also answers on its label
                HDC dc = GetDC(w->hwnd);
                HGDIOBJ old = SelectObject(dc, w->font);
                onLabel = Inside(ToggleLabelRect(dc, p, b), x, y);
                SelectObject(dc, old);
                ReleaseDC(w->hwnd, dc);
            }
            if (Inside(body, x, y) || onLabel) return ToggleOrPress(w, b, modifier);
            break;
        }
        case kKindColor:
            if (Inside(body, x, y)) return PickColour(w, reinterpret_cast<ColorControl *>(r));
            break;
        case kKindRadio:
            if (Inside(body, x, y)) {
                auto *rc = reinterpret_cast<RadioControl *>(r);
                int option = (y - r->y) / rc->rowSpacing;
                if (option >= 0 && option < rc->count && option != rc->selection) {
                    rc->selection = option;
                    ReportChange(r);
                    InvalidateRect(w->hwnd, nullptr, FALSE);
                }
                return;
            }
            break;
        case kKindListbox:
            if (Inside(body, x, y)) {
                auto *l = reinterpret_cast<ListboxControl *>(r);
                int row = (y - r->y) / kRow;
                if (row >= 0 && row < l->count) {
                    l->selected[row] = !l->selected[row];
                    ReportChange(r);
                    InvalidateRect(w->hwnd, nullptr, FALSE);
                }
                return;
            }
            break;
        case kKindItem:
            if (Inside(body, x, y)) {
                OpenItemSelection(reinterpret_cast<ItemControl *>(r));
                InvalidateRect(w->hwnd, nullptr, FALSE);
                return;
            }
            break;
        case kKindExportMotion:
            if (Inside(body, x, y)) {
                auto *e = reinterpret_cast<ExportMotionControl *>(r);
                e->click ? e->click(e, modifier) : RunExportMotion(p);
                return;
            }
            break;
        default: break;
        }
    }
}

void Drag(Window *w) {
    POINT at;
    GetCursorPos(&at);
    if (NumericControl *n = w->dragging) {
        int warp = NumericDragMove(n, at.x);
        if (warp >= 0) SetCursorPos(warp, at.y);
        for (auto &e : w->edits)
            if (e.first == n) SetWindowTextA(e.second, n->window.text);
        return;
    }
    if (ColorControl *c = w->brightening) {
        // The travel from the centre scales the three channels together.
        w->travel += at.x - kDragCentre;
        if (at.x != kDragCentre) SetCursorPos(kDragCentre, at.y);
        double k = std::max(0.0, 1 + w->travel / 200.0);
        c->red = std::clamp(static_cast<int>(w->base[0] * k), 0, 255);
        c->green = std::clamp(static_cast<int>(w->base[1] * k), 0, 255);
        c->blue = std::clamp(static_cast<int>(w->base[2] * k), 0, 255);
        InvalidateRect(w->hwnd, nullptr, FALSE);
    }
}

void EndDrag(Window *w) {
    if (!w->dragging && !w->brightening) return;
    ReleaseCapture();
    SetCursorPos(w->dragFrom.x, w->dragFrom.y);
    ShowCursor(TRUE);
    if (NumericControl *n = w->dragging) {
        NumericDragEnd(n);
        ShowValue(w, n);
    }
    if (ColorControl *c = w->brightening) ReportChange(&c->record);
    w->dragging = nullptr;
    w->brightening = nullptr;
    InvalidateRect(w->hwnd, nullptr, FALSE);
}

void Leave(Window *w, bool accepted) { CloseWindow(w, accepted); }

LRESULT CALLBACK PanelProc(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
    Window *w = Of(hwnd);
    switch (msg) {
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(hwnd, &ps);
        // Painted off screen first, so that nothing flickers.
        RECT r;
        GetClientRect(hwnd, &r);
        HDC memory = CreateCompatibleDC(dc);
        HBITMAP canvas = CreateCompatibleBitmap(dc, r.right, r.bottom);
        HGDIOBJ old = SelectObject(memory, canvas);
        if (w->palette) SelectPalette(memory, w->palette, FALSE);
        Paint(w, memory);
        BitBlt(dc, 0, 0, r.right, r.bottom, memory, 0, 0, SRCCOPY);
        SelectObject(memory, old);
        DeleteObject(canvas);
        DeleteDC(memory);
        EndPaint(hwnd, &ps);
        return 0;
    }
    case WM_ERASEBKGND: return 1;
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORSTATIC: {
        NumericControl *n = w ? FieldOf(w, reinterpret_cast<HWND>(lp)) : nullptr;
        HDC dc = reinterpret_cast<HDC>(wp);
        bool off = !n || n->record.ghosted || (n->animatable && n->mode != kFixed);
        SetTextColor(dc, n && n->window.dragging ? kEditDrag : (off ? kEditOff : kEditText));
        SetBkColor(dc, kField);
        return reinterpret_cast<LRESULT>(w ? w->field : GetStockObject(BLACK_BRUSH));
    }
    case WM_LBUTTONDOWN:
        if (w) Click(w, static_cast<short>(LOWORD(lp)), static_cast<short>(HIWORD(lp)), (wp & MK_SHIFT) != 0);
        return 0;
    case WM_RBUTTONDOWN:
        if (w) {
            int x = static_cast<short>(LOWORD(lp)), y = static_cast<short>(HIWORD(lp));
            for (ControlRecord *r = w->panel->record.next; r; r = r->next)
                if (r->kind == kKindColor && !r->ghosted && Inside(BodyRect(w->panel, r), x, y)) {
                    auto *c = reinterpret_cast<ColorControl *>(r);
                    w->brightening = c;
                    w->base[0] = c->red + 0.1, w->base[1] = c->green + 0.1, w->base[2] = c->blue + 0.1;
                    w->baseLength = std::sqrt(w->base[0] * w->base[0] + w->base[1] * w->base[1] + w->base[2] * w->base[2]);
                    w->travel = 0;
                    GetCursorPos(&w->dragFrom);
                    ShowCursor(FALSE);
                    SetCursorPos(kDragCentre, w->dragFrom.y);
                    SetCapture(hwnd);
                }
        }
        return 0;
    case WM_MOUSEMOVE:
        if (w && (w->dragging || w->brightening)) Drag(w);
        return 0;
    case WM_LBUTTONUP:
    case WM_RBUTTONUP:
        if (w) EndDrag(w);
        return 0;
    case WM_KEYDOWN:
        if (w && wp == VK_ESCAPE) Leave(w, false);
        if (w && wp == VK_RETURN) Leave(w, true);
        return 0;
    case WM_CLOSE:
        if (w && !w->gone) Leave(w, false);
        return 0;
    default:
        if (msg == kSettingsChanged) {
            if (w) InvalidateRect(hwnd, nullptr, FALSE);
            return 0;
        }
        return DefWindowProcA(hwnd, msg, wp, lp);
    }
}

void ShowError(const char *line1, const char *line2) {
    if (hostServices.messages) hostServices.messages->error(line1, line2);
}

// Opens the window; 0 after it was shown and closed again, 1 when it could not open.
int OpenPanelModal(Panel *panel) {
    if (!panel) return ShowError("Error A: Internal GUIInfo head Missing!", "Try freeing RAM, or restarting LightWave?"), 1;
    int screenW = GetSystemMetrics(SM_CXSCREEN), screenH = GetSystemMetrics(SM_CYSCREEN);
    if (screenW < panel->width || screenH < panel->height) {
        char line[160];
        std::snprintf(line, sizeof line, "This plugin's interface requires a screen resolution of at least %d by %d.",
                      panel->width, panel->height);
        ShowError(line, "");
        return 1;
    }
    auto *display = static_cast<HostDisplayInfo *>(hostServices.global(LWSERVICE_HOST_DISPLAY, GFUSE_TRANSIENT));
    if (!display) return ShowError("Error B: Cannot open Lightwave's Display Info", "Try freeing RAM, or restarting LightWave?"), 1;
    if (!display->instance || !display->window)
        return ShowError("Error C: LightWave's Display Info is incorrect!", "Try freeing RAM, or restarting LightWave?"), 1;

    Window w;
    w.panel = panel;
    w.hostMain = static_cast<HWND>(display->window);
    w.hostActive = GetActiveWindow();
    CreateResources(&w);
    if (w.hostActive) EnableWindow(w.hostActive, FALSE);
    EnableWindow(w.hostMain, FALSE);
    ++openWindows;

    HINSTANCE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&PanelProc), &module);
    WNDCLASSA wc{};
    wc.lpfnWndProc = PanelProc;
    wc.hInstance = module;
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.lpszClassName = kClassName;
    RegisterClassA(&wc);

    RECT host;
    GetWindowRect(w.hostMain, &host);
    int height = WindowHeight(panel);
    int x = (host.left + host.right - panel->width) / 2, y = (host.top + host.bottom - height) / 2;
    x = std::max(0, std::min(x, screenW - panel->width));
    y = std::max(0, std::min(y, screenH - 25 - height));

    // While open, a control's redraw repaints the window.
    for (ControlRecord *r = &panel->record; r; r = r->next) {
        w.draws.push_back({r, r->draw});
        r->draw = RedrawWhileOpen;
    }
    panel->window = &w;
    panel->cancelled = 1;
    w.hwnd = CreateWindowExA(0, kClassName, panel->title, WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, x, y, panel->width,
                             height, w.hostMain, nullptr, module, nullptr);
    if (!w.hwnd) {
        for (auto &d : w.draws) d.first->draw = d.second;
        panel->window = nullptr;
        DeleteResources(&w);
        --openWindows;
        if (openWindows == 0) EnableWindow(w.hostMain, TRUE);
        if (w.hostActive) EnableWindow(w.hostActive, TRUE);
        return 1;
    }
    SetWindowLongPtr(w.hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&w));
    if (GetDeviceCaps(GetDC(w.hwnd), RASTERCAPS) & RC_PALETTE) {
        // A palette display: the first 17 system colours, then the panel's own.
        struct {
            WORD version, count;
            PALETTEENTRY entries[32];
        } logical = {0x300, 0, {}};
        HDC dc = GetDC(w.hwnd);
        logical.count = static_cast<WORD>(GetSystemPaletteEntries(dc, 0, 17, logical.entries));
        for (COLORREF c : {kBack, kText, kGhost, kField, kLight, kDark, kFace, kLit, kChosen, kEditText, kEditOff, kEditDrag})
            logical.entries[logical.count++] = {GetRValue(c), GetGValue(c), GetBValue(c), 0};
        w.palette = CreatePalette(reinterpret_cast<LOGPALETTE *>(&logical));
        ReleaseDC(w.hwnd, dc);
    }
    // Each numeric control gets its edit field.
    for (ControlRecord *r = panel->record.next; r; r = r->next) {
        if (r->kind != kKindNumeric) continue;
        auto *n = reinterpret_cast<NumericControl *>(r);
        HWND edit = CreateWindowExA(0, "EDIT", "", WS_CHILD | WS_VISIBLE | ES_AUTOHSCROLL, r->x, r->y, n->width, n->height,
                                    w.hwnd, nullptr, module, nullptr);
        SendMessageA(edit, WM_SETFONT, reinterpret_cast<WPARAM>(w.font), TRUE);
        editProc = reinterpret_cast<WNDPROC>(SetWindowLongPtrA(edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(EditProc)));
        w.edits.push_back({n, edit});
        n->window.windowless = 0;
        ShowValue(&w, n);
        EnableWindow(edit, !r->ghosted);
    }
    if (panel->afterLoad && panel->instance) panel->afterLoad(panel->instance);
    if (panel->windowOpened) panel->windowOpened(panel);
    SetForegroundWindow(w.hwnd);

    MSG msg;
    while (!w.gone) {
        int got = GetMessageA(&msg, nullptr, 0, 0);
        if (got <= 0) {
            if (got == 0) PostQuitMessage(static_cast<int>(msg.wParam));
            if (!w.gone) CloseWindow(&w, false);
            break;
        }
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    panel->window = nullptr;
    if (panel->followUp) panel->followUp(panel);
    return 0;
}

}  // namespace

int RunPanelModal(Panel *panel) {
    // A plug-in's own panel keeps a twin of its settings: cancel puts them back.
    LWInstance twin = nullptr;
    PluginInstance *instance = panel ? panel->instance : nullptr;
    if (instance && panel->create && panel->copy) {
        LWError err = nullptr;
        twin = panel->create(&err, panel->ownerItem);
        if (twin) panel->copy(instance, twin, panel->ownerItem);
    }
    int shown = OpenPanelModal(panel);
    if (twin) {
        if (shown == 0 && panel->cancelled) {
            panel->copy(twin, instance, panel->ownerItem);
            panel->pendingUpdate = 1;
        }
        panel->destroy(twin);
    }
    return shown;
}

void ShowAboutBox(Panel *panel) {
    if (hostServices.messages) hostServices.messages->info("The Vesk Collection", panel ? panel->title : "");
}

void DrawPanelChrome(Panel *panel, int) {
    if (Window *w = Of(panel)) InvalidateRect(w->hwnd, nullptr, FALSE);
}

void CloseWindowRecords(Panel *) {}

void PostSettingsChanged(Panel *panel) {
    if (Window *w = Of(panel)) PostMessageA(w->hwnd, kSettingsChanged, 0, 0);
}

void EnablePanelWindow(Panel *panel, bool enabled) {
    if (Window *w = Of(panel)) EnableWindow(w->hwnd, enabled);
}
