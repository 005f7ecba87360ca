// The visual style of one theme class, with the fonts made from it. Without a
// theme the colours are 0 and the fonts come from a cleared LOGFONTW.
#pragma once

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <uxtheme.h>

#include <vector>

class Theme {
public:
    Theme() = default;
    ~Theme();
    Theme(const Theme&) = delete;
    Theme& operator=(const Theme&) = delete;

    // Opens the class list once; a second call does nothing.
    void Open(HWND window, const wchar_t* classList);
    COLORREF GetColor(int part, int state, int property) const;
    // The font belongs to the theme object and goes with it.
    HFONT CreateFont(int part, int state, int property, HDC deviceContext);

private:
    HTHEME theme = nullptr;
    std::vector<platform::win32::UniqueGdiObject<HFONT>> fonts;
};
