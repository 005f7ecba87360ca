// A drop-down list of texts with a bitmap each, drawn by the owner; with nothing
// selected it shows its cue banner in italics.
#pragma once

#include "ui/base_window.h"

#include <windows.h>

#include <commctrl.h>

#include <cstdint>
#include <string>

class ComboBox : public BaseWindow {
public:
    ComboBox() = default;

    // Binds the window and subclasses its dialog, which receives the drawing.
    void Attach(HWND window) override;

    // The bitmap is drawn, not owned; a taller bitmap makes the items taller.
    int AddItem(const std::wstring& text, HBITMAP bitmap);
    void Clear();
    std::wstring GetItemText(int index) const;
    std::wstring GetSelectedText() const;
    // Selects the first item that begins with `text`; an empty text clears the selection.
    void SelectText(const std::wstring& text);
    void SetCueBanner(const std::wstring& text);
    void SetItemHeight(int height);

private:
    // Draws the items of control 604, the only owner-drawn combo box.
    static LRESULT CALLBACK ComboDrawProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                          UINT_PTR id, DWORD_PTR reference);

    void Lengthen(std::size_t length);

    // The longest text ever given, items and cue banner alike; only grows.
    std::uint64_t longestText = 0;
};
