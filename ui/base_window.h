// The root of the window objects: one object per window, bound through the
// window's user data, with the few window calls that every dialog and control uses.
#pragma once

#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

class BaseWindow {
public:
    BaseWindow();
    virtual ~BaseWindow();
    BaseWindow(const BaseWindow&) = delete;
    BaseWindow& operator=(const BaseWindow&) = delete;

    virtual void Attach(HWND window);
    HWND GetHandle() const { return handle; }

    std::uint32_t GetStyle() const;
    // Sets the style and redraws the frame.
    void SetStyle(std::uint32_t style);
    void Show();
    void Enable();
    void Disable();
    void SetText(const std::wstring& text);
    void MoveWindowTo(int x, int y);
    void ResizeWindow(int width, int height);
    // The client rectangle with only its first corner in `parent`'s coordinates:
    // left and top are a position there, right and bottom stay the client size.
    RECT GetClientRectIn(HWND parent) const;
    void SetIcon(HICON icon);
    // A shared icon of the program's own module; nobody frees it.
    HICON LoadIcon(std::uint16_t id, int width, int height);
    // A bitmap of the program's own module. Unless it is shared, this window
    // object owns it until its destructor.
    HBITMAP LoadBitmap(std::uint16_t id, int width, int height, UINT flags);

protected:
    std::vector<platform::win32::UniqueGdiObject<HBITMAP>> images;
    HWND handle;
};
