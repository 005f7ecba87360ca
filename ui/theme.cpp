#include "ui/theme.h"

Theme::~Theme() {
    if (theme != nullptr)
        CloseThemeData(theme);
}

void Theme::Open(HWND window, const wchar_t* classList) {
    if (theme == nullptr)
        theme = OpenThemeData(window, classList);
}

COLORREF Theme::GetColor(int part, int state, int property) const {
    // The result is not looked at: a failed call leaves the colour at 0.
    COLORREF color = 0;
    GetThemeColor(theme, part, state, property, &color);
    return color;
}

HFONT Theme::CreateFont(int part, int state, int property, HDC deviceContext) {
    LOGFONTW description{};
    GetThemeFont(theme, deviceContext, part, state, property, &description);
    HFONT font = CreateFontIndirectW(&description);
    fonts.emplace_back(font);
    return font;
}
