// A report-style list view with columns addressed by the caller's own column
// identifiers, a coloured header and a header height that can be forced.
#pragma once

#include "ui/base_window.h"

#include <windows.h>

#include <commctrl.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct ListColumn {
    std::int32_t id;     // the caller's identifier, independent of the position
    std::wstring title;  // header text
    std::int32_t flags;  // 1 in every column the program defines; nothing reads it
    std::int32_t format; // alignment, passed as fmt
    std::int32_t width;  // initial width in pixels
};

class ListView : public BaseWindow {
public:
    ListView();
    ~ListView() override;

    // Binds the window and subclasses it and its header.
    void Attach(HWND window) override;

    void SetExtendedStyle(DWORD style);
    void SetHeaderFont(HFONT font);
    void SetHeaderTextColor(COLORREF color) { headerTextColor = color; }
    // Replaces every column.
    void SetColumns(const std::vector<ListColumn>& newColumns);
    int GetColumnCount() const;
    int ColumnIndex(std::int32_t id) const;
    static bool IsValidColumn(int index) { return index != -1; }
    // `width` may be LVSCW_AUTOSIZE; with `extra` the automatic width grows by it.
    void SetColumnWidth(std::int32_t id, int width, int extra);
    // A row from column identifiers to texts; an unknown identifier is left out.
    int AddRow(const std::map<std::int32_t, std::wstring>& row);
    std::map<std::int32_t, std::wstring> GetRow(int item) const;
    // A cell is cut at textCapacity - 1 characters.
    std::wstring GetItemText(int item, int subItem) const;
    void SetItemText(int item, int subItem, const std::wstring& text);
    LPARAM GetItemData(int item) const;
    void SetItemData(int item, LPARAM value);

private:
    static LRESULT CALLBACK ListViewSubclassProc(HWND window, UINT message, WPARAM wParam,
                                                 LPARAM lParam, UINT_PTR id, DWORD_PTR reference);
    static LRESULT CALLBACK HeaderSubclassProc(HWND window, UINT message, WPARAM wParam,
                                               LPARAM lParam, UINT_PTR id, DWORD_PTR reference);

    std::uint64_t textCapacity;
    // -1 leaves the header to the platform. Nothing sets another value: the
    // override stands ready and stays idle.
    std::int32_t headerHeight;
    COLORREF headerTextColor;
    std::vector<ListColumn> columns;
};
