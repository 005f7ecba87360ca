#include "ui/combo_box.h"
#include "platform/win32/unique_handle.h"

#include <algorithm>
#include <vector>

namespace {

// The owner drawing is bound to this control alone.
constexpr UINT kDrawnControl = 604;

} // namespace

void ComboBox::Attach(HWND window) {
    handle = window;
    SetWindowSubclass(GetParent(window), &ComboBox::ComboDrawProc, 0,
                      reinterpret_cast<DWORD_PTR>(this));
}

void ComboBox::Lengthen(std::size_t length) {
    longestText = std::max<std::uint64_t>(longestText, length);
}

int ComboBox::AddItem(const std::wstring& text, HBITMAP bitmap) {
    const auto index = static_cast<int>(
        SendMessageW(handle, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    if (bitmap != nullptr) {
        SendMessageW(handle, CB_SETITEMDATA, static_cast<WPARAM>(index),
                     reinterpret_cast<LPARAM>(bitmap));
        BITMAP measures{};
        GetObjectW(bitmap, sizeof measures, &measures);
        if (measures.bmHeight > 0) {
            const auto height = static_cast<int>(SendMessageW(handle, CB_GETITEMHEIGHT, 0, 0));
            SetItemHeight(std::max(height, static_cast<int>(measures.bmHeight)));
        }
    }
    Lengthen(text.size());
    return index;
}

void ComboBox::Clear() {
    SendMessageW(handle, CB_RESETCONTENT, 0, 0);
}

std::wstring ComboBox::GetItemText(int index) const {
    std::vector<wchar_t> buffer(static_cast<std::size_t>(longestText) + 1, L'\0');
    SendMessageW(handle, CB_GETLBTEXT, static_cast<WPARAM>(index),
                 reinterpret_cast<LPARAM>(buffer.data()));
    return std::wstring(buffer.data());
}

std::wstring ComboBox::GetSelectedText() const {
    return GetItemText(static_cast<int>(SendMessageW(handle, CB_GETCURSEL, 0, 0)));
}

void ComboBox::SelectText(const std::wstring& text) {
    if (text.empty())
        SendMessageW(handle, CB_SETCURSEL, static_cast<WPARAM>(-1), 0);
    else
        SendMessageW(handle, CB_SELECTSTRING, static_cast<WPARAM>(-1),
                     reinterpret_cast<LPARAM>(text.c_str()));
}

void ComboBox::SetCueBanner(const std::wstring& text) {
    SendMessageW(handle, CB_SETCUEBANNER, 0, reinterpret_cast<LPARAM>(text.c_str()));
    Lengthen(text.size());
}

void ComboBox::SetItemHeight(int height) {
    // The selection field, then item 1; the second index is 1 and stays so.
    SendMessageW(handle, CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), height);
    SendMessageW(handle, CB_SETITEMHEIGHT, 1, height);
}

LRESULT CALLBACK ComboBox::ComboDrawProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                         UINT_PTR, DWORD_PTR reference) {
    if (message != WM_DRAWITEM)
        return DefSubclassProc(window, message, wParam, lParam);
    const auto* draw = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
    if (draw->CtlID != kDrawnControl)
        return DefSubclassProc(window, message, wParam, lParam);
    const auto* combo = reinterpret_cast<const ComboBox*>(reference);
    HDC context = draw->hDC;
    const bool selected = (draw->itemState & ODS_SELECTED) != 0;

    const COLORREF oldText =
        SetTextColor(context, GetSysColor(selected ? COLOR_HIGHLIGHTTEXT : COLOR_WINDOWTEXT));
    int background = selected ? COLOR_HIGHLIGHT : COLOR_WINDOW;
    if ((draw->itemState & ODS_DISABLED) != 0)
        background = COLOR_BTNFACE;
    const COLORREF oldBackground = SetBkColor(context, GetSysColor(background));

    TEXTMETRICW metrics{};
    GetTextMetricsW(context, &metrics);
    const int y = (draw->rcItem.bottom + draw->rcItem.top - metrics.tmHeight) / 2;
    const int gap = metrics.tmAveCharWidth / 4;

    // The images are square: their width serves as both measures.
    auto* bitmap = reinterpret_cast<HBITMAP>(draw->itemData);
    int size = 0;
    if (bitmap != nullptr) {
        BITMAP measures{};
        GetObjectW(bitmap, sizeof measures, &measures);
        size = measures.bmWidth;
    }

    if (draw->itemID != static_cast<UINT>(-1)) {
        const std::wstring text = combo->GetItemText(static_cast<int>(draw->itemID));
        ExtTextOutW(context, size + 4 * gap, y, ETO_OPAQUE | ETO_CLIPPED, &draw->rcItem,
                    text.c_str(), static_cast<UINT>(text.size()), nullptr);
    } else {
        std::vector<wchar_t> cue(static_cast<std::size_t>(combo->longestText) + 1, L'\0');
        SendMessageW(draw->hwndItem, CB_GETCUEBANNER, reinterpret_cast<WPARAM>(cue.data()),
                     static_cast<LPARAM>(cue.size()));
        LOGFONTW description{};
        GetObjectW(reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)),
                   sizeof description, &description);
        description.lfItalic = 1;
        const platform::win32::UniqueGdiObject<HFONT> italic(CreateFontIndirectW(&description));
        SelectObject(context, italic.get());
        SetTextColor(context, GetSysColor(selected ? COLOR_HIGHLIGHTTEXT : COLOR_GRAYTEXT));
        // The whole buffer, not only the text in it.
        ExtTextOutW(context, 4 * gap, y, ETO_OPAQUE | ETO_CLIPPED, &draw->rcItem, cue.data(),
                    static_cast<UINT>(cue.size()), nullptr);
        // The font is deleted here, at the end of this branch, while still selected;
        // the old one is not selected back, and the next draw selects a new one.
    }

    SetTextColor(context, oldText);
    SetBkColor(context, oldBackground);

    if (bitmap != nullptr) {
        const platform::win32::UniqueMemoryDc memory(CreateCompatibleDC(context));
        if (!memory)
            return 0;
        SelectObject(memory.get(), bitmap);
        BitBlt(context, gap, draw->rcItem.top, size, size, memory.get(), 0, 0, SRCCOPY);
    }
    if ((draw->itemState & ODS_FOCUS) != 0)
        DrawFocusRect(context, &draw->rcItem);
    return DefSubclassProc(window, message, wParam, lParam);
}
