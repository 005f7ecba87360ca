#include "ui/about_dialog.h"

#include "app/constants.h"
#include "app/text.h"
#include "resources/resource.h"

#include <vssym32.h>

namespace {

// The version shown here is this dialog's own: it is not read from the version
// resource, but both are made from the project's version by the build.
constexpr int kShownVersion[4] = {FERRYMARK_VERSION_MAJOR, FERRYMARK_VERSION_MINOR,
                                  FERRYMARK_VERSION_PATCH, FERRYMARK_VERSION_TWEAK};

} // namespace

AboutDialog::AboutDialog() {
    HandleMessages({WM_INITDIALOG, WM_CTLCOLORSTATIC});
}

INT_PTR AboutDialog::HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        SetStyle(GetStyle() & ~static_cast<std::uint32_t>(WS_MINIMIZEBOX));
        theme.Open(window, L"TEXTSTYLE");
        SendDlgItemMessageW(window, IDC_ABOUT_ICON, STM_SETICON,
                            reinterpret_cast<WPARAM>(LoadIcon(IDI_FERRYMARK, 0, 0)), 0);
        SendDlgItemMessageW(window, IDC_ABOUT_NAME, WM_SETTEXT, 0,
                            reinterpret_cast<LPARAM>(kProductTitle));
        // The font of one text style part, the colour (below) of another.
        HFONT titleFont = theme.CreateFont(TEXT_BODYTITLE, 0, TMT_FONT, nullptr);
        SendDlgItemMessageW(window, IDC_ABOUT_NAME, WM_SETFONT, reinterpret_cast<WPARAM>(titleFont),
                            TRUE);
        SendDlgItemMessageW(window, IDC_ABOUT_PURPOSE, WM_SETTEXT, 0,
                            reinterpret_cast<LPARAM>(L"For FSX and Prepar3D"));
        const std::wstring version =
            FormatWide(L"Version %i.%i.%i.%i", kShownVersion[0], kShownVersion[1],
                       kShownVersion[2], kShownVersion[3]);
        SendDlgItemMessageW(window, IDC_ABOUT_VERSION, WM_SETTEXT, 0,
                            reinterpret_cast<LPARAM>(version.c_str()));
        return 1;
    }
    if (message == WM_CTLCOLORSTATIC) {
        auto context = reinterpret_cast<HDC>(wParam);
        if (GetDlgCtrlID(reinterpret_cast<HWND>(lParam)) == IDC_ABOUT_NAME) {
            SetTextColor(context, theme.GetColor(TEXT_CONTROLLABEL, 0, TMT_TEXTCOLOR));
            SetBkMode(context, TRANSPARENT);
        }
        return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_WINDOW));
    }
    return 0;
}
