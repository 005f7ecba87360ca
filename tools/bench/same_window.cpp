// The third reference of the start measurement: the program's main window and
// nothing else. The same libraries, manifest, Common Controls and DPI calls as the
// program (which does not initialise COM at its start), the program's own resource
// script and window classes, and the same steps to build the window (icon, menu,
// theme, the list's header font, colour and columns, six rows, the targets' combo
// box with its three bitmaps, the columns sized after a paint, the button's text),
// with the rows' texts written out here. What it leaves out is the program's own
// start-up: the single-instance mutex, the settings, the data folder and its
// access list, the log and its rotation, the old-install test, the update
// framework and the six records' reads. Ferrymark.exe against it is that start-up
// alone.
#include "program_libraries.h"
#include "resources/resource.h"
#include "ui/button.h"
#include "ui/combo_box.h"
#include "ui/dialog.h"
#include "ui/list_view.h"
#include "ui/theme.h"

#include <windows.h>

#include <commctrl.h>
#include <vssym32.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

struct Row {
    const wchar_t* title;
    const wchar_t* location;
    std::uint16_t bitmap;  // 0: not a target
};

// The bench machine's six simulators as the program lists them.
const Row kRows[] = {
    {L"Flight Simulator X", L"C:\\Program Files (x86)\\Microsoft Games\\Microsoft Flight Simulator X", 0},
    {L"Prepar3D v1", L"C:\\Program Files (x86)\\Lockheed Martin\\Prepar3D", 0},
    {L"Prepar3D v2", L"C:\\Program Files (x86)\\Lockheed Martin\\Prepar3D v2", 0},
    {L"Prepar3D v3", L"C:\\Program Files (x86)\\Lockheed Martin\\Prepar3D v3", IDB_PREPAR3D_V3},
    {L"Prepar3D v4", L"C:\\Program Files\\Lockheed Martin\\Prepar3D v4", IDB_PREPAR3D_V4},
    {L"Prepar3D v5", L"C:\\Program Files\\Lockheed Martin\\Prepar3D v5", IDB_PREPAR3D_V5},
};

constexpr int kTitleColumn = 0;
constexpr int kLocationColumn = 1;
const wchar_t kNotInstalled[] = L"(not installed)";

class WindowOnly : public Dialog {
public:
    WindowOnly() { HandleMessages({WM_INITDIALOG, WM_COMMAND, WM_NOTIFY}); }

    INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override {
        switch (message) {
        case WM_INITDIALOG:
            Build(window);
            return 1;
        case WM_COMMAND:
            if (LOWORD(wParam) == IDCANCEL || LOWORD(wParam) == IDM_FILE_EXIT) {
                EndDialog(handle, LOWORD(wParam));
                PostQuitMessage(0);
            }
            return 0;
        case WM_NOTIFY: {
            const auto* header = reinterpret_cast<const NMHDR*>(lParam);
            if (header->idFrom != IDC_SIMULATOR_LIST || header->code != NM_CUSTOMDRAW)
                return 0;
            SetWindowLongPtrW(window, DWLP_MSGRESULT, Draw(reinterpret_cast<NMLVCUSTOMDRAW*>(lParam)));
            return 1;
        }
        default:
            return 0;
        }
    }

private:
    void Build(HWND window) {
        SetIcon(LoadIcon(IDI_FERRYMARK, 0, 0));
        SetMenu(window, LoadMenuW(nullptr, MAKEINTRESOURCEW(IDR_MAIN_MENU)));
        theme.Open(window, L"TEXTSTYLE");
        combo.Attach(GetDlgItem(window, IDC_TARGET_COMBO));
        button.Attach(GetDlgItem(window, IDC_TARGET_BUTTON));
        combo.SetCueBanner(L"Select simulator...");
        list.Attach(GetDlgItem(window, IDC_SIMULATOR_LIST));
        list.SetExtendedStyle(LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
        list.SetHeaderFont(theme.CreateFont(TEXT_INSTRUCTION, 0, TMT_FONT, nullptr));
        list.SetHeaderTextColor(theme.GetColor(TEXT_INSTRUCTION, 0, TMT_TEXTCOLOR));
        list.SetColumns({{kTitleColumn, L"Title", 1, 0, 200}, {kLocationColumn, L"Location", 1, 0, 500}});
        for (const Row& row : kRows)
            list.AddRow({{kTitleColumn, row.title}, {kLocationColumn, row.location}});

        combo.Clear();
        HDC context = GetDC(handle);
        TEXTMETRICW metrics{};
        GetTextMetricsW(context, &metrics);
        const int size = static_cast<int>(std::lround(metrics.tmHeight * 1.33));
        for (const Row& row : kRows)
            if (row.bitmap != 0)
                combo.AddItem(row.title, combo.LoadBitmap(row.bitmap, size, size, 0));
        combo.SelectText(L"");
        const RECT comboRect = combo.GetClientRectIn(handle);
        const RECT buttonRect = button.GetClientRectIn(handle);
        button.MoveWindowTo(buttonRect.left, comboRect.top - 1);
        button.ResizeWindow(buttonRect.right, comboRect.bottom + 2);
        list.SetColumnWidth(kTitleColumn, LVSCW_AUTOSIZE, 30);
        list.SetColumnWidth(kLocationColumn, LVSCW_AUTOSIZE, 0);

        combo.SelectText(L"");
        button.SetText(L"Activate");
        combo.Enable();
        list.Enable();
    }

    LRESULT Draw(NMLVCUSTOMDRAW* draw) {
        if (draw->nmcd.dwDrawStage == CDDS_PREPAINT)
            return CDRF_NOTIFYITEMDRAW;
        if (draw->nmcd.dwDrawStage != CDDS_ITEMPREPAINT)
            return 0;
        const std::map<std::int32_t, std::wstring> row = list.GetRow(static_cast<int>(draw->nmcd.dwItemSpec));
        const auto location = row.find(kLocationColumn);
        if (location != row.end() && location->second == kNotInstalled)
            draw->clrText = theme.GetColor(TEXT_CONTROLLABEL, TS_CONTROLLABEL_DISABLED, TMT_TEXTCOLOR);
        return CDRF_NEWFONT;
    }

    Theme theme;
    ListView list;
    ComboBox combo;
    Button button;
};

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    if (!StartLikeTheProgram(false))
        return 1;
    WindowOnly window;
    if (window.Create(nullptr, IDD_MAIN, false) == nullptr)
        return 1;
    window.Show();
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!IsDialogMessageW(window.GetHandle(), &message)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    return 0;
}
