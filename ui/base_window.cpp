#include "ui/base_window.h"

#include <string>

BaseWindow::BaseWindow() : handle(nullptr) {
    // Without a window this binds nothing; the binding that counts is made when
    // the dialog receives WM_INITDIALOG.
    SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

BaseWindow::~BaseWindow() = default;

void BaseWindow::Attach(HWND window) {
    handle = window;
}

std::uint32_t BaseWindow::GetStyle() const {
    return static_cast<std::uint32_t>(GetWindowLongPtrW(handle, GWL_STYLE));
}

void BaseWindow::SetStyle(std::uint32_t style) {
    SetWindowLongPtrW(handle, GWL_STYLE, static_cast<LONG_PTR>(style));
    SetWindowPos(handle, nullptr, 0, 0, 0, 0,
                 SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
}

void BaseWindow::Show() {
    ShowWindow(handle, SW_SHOW);
}

void BaseWindow::Enable() {
    EnableWindow(handle, TRUE);
}

void BaseWindow::Disable() {
    EnableWindow(handle, FALSE);
}

void BaseWindow::SetText(const std::wstring& text) {
    SetWindowTextW(handle, text.c_str());
}

void BaseWindow::MoveWindowTo(int x, int y) {
    SetWindowPos(handle, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
}

void BaseWindow::ResizeWindow(int width, int height) {
    SetWindowPos(handle, nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER);
}

RECT BaseWindow::GetClientRectIn(HWND parent) const {
    RECT rectangle{};
    GetClientRect(handle, &rectangle);
    if (parent != nullptr)
        MapWindowPoints(handle, parent, reinterpret_cast<POINT*>(&rectangle), 1);
    return rectangle;
}

void BaseWindow::SetIcon(HICON icon) {
    SendMessageW(handle, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon));
    SendMessageW(handle, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon));
}

HICON BaseWindow::LoadIcon(std::uint16_t id, int width, int height) {
    return static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id),
                                         IMAGE_ICON, width, height, LR_SHARED | LR_DEFAULTSIZE));
}

HBITMAP BaseWindow::LoadBitmap(std::uint16_t id, int width, int height, UINT flags) {
    auto* image = static_cast<HBITMAP>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id),
                                                  IMAGE_BITMAP, width, height, flags));
    if (image != nullptr && (flags & LR_SHARED) == 0)
        images.emplace_back(image);
    return image;
}
