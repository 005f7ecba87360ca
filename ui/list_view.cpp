#include "ui/list_view.h"

ListView::ListView() : textCapacity(512), headerHeight(-1), headerTextColor(0) {}

ListView::~ListView() {
    columns.clear();
}

void ListView::Attach(HWND window) {
    handle = window;
    SetWindowSubclass(handle, &ListView::ListViewSubclassProc, 0,
                      reinterpret_cast<DWORD_PTR>(this));
    HWND header = reinterpret_cast<HWND>(SendMessageW(handle, LVM_GETHEADER, 0, 0));
    SetWindowSubclass(header, &ListView::HeaderSubclassProc, 0, reinterpret_cast<DWORD_PTR>(this));
}

void ListView::SetExtendedStyle(DWORD style) {
    SendMessageW(handle, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, static_cast<LPARAM>(style));
}

void ListView::SetHeaderFont(HFONT font) {
    HWND header = reinterpret_cast<HWND>(SendMessageW(handle, LVM_GETHEADER, 0, 0));
    SendMessageW(header, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
}

void ListView::SetColumns(const std::vector<ListColumn>& newColumns) {
    for (int index = GetColumnCount() - 1; index >= 0; --index)
        SendMessageW(handle, LVM_DELETECOLUMN, static_cast<WPARAM>(index), 0);
    int position = 0;
    for (const ListColumn& column : newColumns) {
        std::wstring title = column.title;
        LVCOLUMNW description{};
        description.mask = LVCF_FMT | LVCF_WIDTH | LVCF_TEXT;
        description.fmt = column.format;
        description.cx = column.width;
        description.pszText = title.data();
        SendMessageW(handle, LVM_INSERTCOLUMNW, static_cast<WPARAM>(position++),
                     reinterpret_cast<LPARAM>(&description));
    }
    columns = newColumns;
}

int ListView::GetColumnCount() const {
    HWND header = reinterpret_cast<HWND>(SendMessageW(handle, LVM_GETHEADER, 0, 0));
    return static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
}

int ListView::ColumnIndex(std::int32_t id) const {
    for (std::size_t index = 0; index < columns.size(); ++index) {
        if (columns[index].id == id)
            return static_cast<int>(index);
    }
    return -1;
}

void ListView::SetColumnWidth(std::int32_t id, int width, int extra) {
    // An unknown column's -1 is sent on as it is.
    const auto index = static_cast<WPARAM>(ColumnIndex(id));
    SendMessageW(handle, LVM_SETCOLUMNWIDTH, index, MAKELPARAM(width, 0));
    if (extra != 0) {
        // The automatic size takes effect once the list has been painted.
        UpdateWindow(handle);
        const auto current = static_cast<int>(SendMessageW(handle, LVM_GETCOLUMNWIDTH, index, 0));
        SendMessageW(handle, LVM_SETCOLUMNWIDTH, index, MAKELPARAM(current + extra, 0));
    }
}

int ListView::AddRow(const std::map<std::int32_t, std::wstring>& row) {
    LVITEMW item{};
    item.iItem = static_cast<int>(SendMessageW(handle, LVM_GETITEMCOUNT, 0, 0));
    const auto added =
        static_cast<int>(SendMessageW(handle, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
    for (const auto& [id, text] : row) {
        const int index = ColumnIndex(id);
        if (IsValidColumn(index))
            SetItemText(added, index, text);
    }
    return added;
}

std::map<std::int32_t, std::wstring> ListView::GetRow(int item) const {
    std::map<std::int32_t, std::wstring> row;
    const int count = GetColumnCount();
    for (int position = 0; position < count; ++position)
        row[columns.at(static_cast<std::size_t>(position)).id] = GetItemText(item, position);
    return row;
}

std::wstring ListView::GetItemText(int item, int subItem) const {
    std::wstring buffer(static_cast<std::size_t>(textCapacity), L'\0');
    LVITEMW description{};
    description.iSubItem = subItem;
    description.pszText = buffer.data();
    description.cchTextMax = static_cast<int>(textCapacity);
    SendMessageW(handle, LVM_GETITEMTEXTW, static_cast<WPARAM>(item),
                 reinterpret_cast<LPARAM>(&description));
    return std::wstring(buffer.c_str());
}

void ListView::SetItemText(int item, int subItem, const std::wstring& text) {
    std::wstring copy = text;
    LVITEMW description{};
    description.iSubItem = subItem;
    description.pszText = copy.data();
    SendMessageW(handle, LVM_SETITEMTEXTW, static_cast<WPARAM>(item),
                 reinterpret_cast<LPARAM>(&description));
}

LPARAM ListView::GetItemData(int item) const {
    LVITEMW description{};
    description.mask = LVIF_PARAM;
    description.iItem = item;
    SendMessageW(handle, LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&description));
    return description.lParam;
}

void ListView::SetItemData(int item, LPARAM value) {
    LVITEMW description{};
    description.mask = LVIF_PARAM;
    description.iItem = item;
    description.lParam = value;
    SendMessageW(handle, LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&description));
}

LRESULT CALLBACK ListView::ListViewSubclassProc(HWND window, UINT message, WPARAM wParam,
                                                LPARAM lParam, UINT_PTR, DWORD_PTR reference) {
    // The header's drawing notifications come to its parent, the list view.
    if (message == WM_NOTIFY && reinterpret_cast<NMHDR*>(lParam)->code == NM_CUSTOMDRAW) {
        auto* draw = reinterpret_cast<NMCUSTOMDRAW*>(lParam);
        if (draw->dwDrawStage == CDDS_PREPAINT)
            return CDRF_NOTIFYITEMDRAW;
        if (draw->dwDrawStage == CDDS_ITEMPREPAINT) {
            SetTextColor(draw->hdc, reinterpret_cast<ListView*>(reference)->headerTextColor);
            return CDRF_NEWFONT;
        }
    }
    return DefSubclassProc(window, message, wParam, lParam);
}

LRESULT CALLBACK ListView::HeaderSubclassProc(HWND window, UINT message, WPARAM wParam,
                                              LPARAM lParam, UINT_PTR, DWORD_PTR reference) {
    const std::int32_t height = reinterpret_cast<ListView*>(reference)->headerHeight;
    if (message == HDM_LAYOUT && height >= 0) {
        auto* layout = reinterpret_cast<HDLAYOUT*>(lParam);
        layout->prc->top = height;
        layout->pwpos->x = layout->prc->left;
        layout->pwpos->y = 0;
        layout->pwpos->cx = layout->prc->right - layout->prc->left;
        layout->pwpos->cy = height;
        layout->pwpos->flags = SWP_FRAMECHANGED;
        return 1;
    }
    return DefSubclassProc(window, message, wParam, lParam);
}
