#include "e2e/driver.h"

#include <commctrl.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

ProgramRun::ProgramRun(const std::wstring& program, const std::wstring& arguments,
                       std::wstring folder) {
    if (folder.empty())
        folder = program.substr(0, program.find_last_of(L'\\'));
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                       folder.c_str(), &startup, &info)) {
        CloseHandle(info.hThread);
        process = info.hProcess;
        processId = info.dwProcessId;
    }
}

ProgramRun::~ProgramRun() {
    if (process != nullptr) {
        if (Running()) {
            TerminateProcess(process, 99);
            WaitForSingleObject(process, 5000);
        }
        CloseHandle(process);
    }
}

bool ProgramRun::Running() const {
    return process != nullptr && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
}

DWORD ProgramRun::WaitForExit(DWORD timeoutMs) const {
    if (process == nullptr || WaitForSingleObject(process, timeoutMs) != WAIT_OBJECT_0)
        return STILL_ACTIVE;
    DWORD code = STILL_ACTIVE;
    GetExitCodeProcess(process, &code);
    return code;
}

HWND ProgramRun::WaitForDialog(const std::wstring& caption, DWORD timeoutMs, int control) const {
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < timeoutMs) {
        for (HWND window : TopLevelWindows(processId))
            if (ClassName(window) == L"#32770" && WindowText(window) == caption &&
                (control == 0 || GetDlgItem(window, control) != nullptr))
                return window;
        if (!Running())
            return nullptr;
        Sleep(100);
    }
    return nullptr;
}

namespace {
struct Search {
    DWORD processId;
    std::vector<HWND> found;
};

BOOL CALLBACK Collect(HWND window, LPARAM parameter) {
    auto* search = reinterpret_cast<Search*>(parameter);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == search->processId && IsWindowVisible(window))
        search->found.push_back(window);
    return TRUE;
}
} // namespace

std::vector<HWND> TopLevelWindows(DWORD processId) {
    Search search{processId, {}};
    EnumWindows(&Collect, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

std::wstring WindowText(HWND window) {
    wchar_t buffer[1024] = {};
    SendMessageTimeoutW(window, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(buffer), SMTO_BLOCK,
                        5000, nullptr);
    return buffer;
}

std::wstring ClassName(HWND window) {
    wchar_t buffer[256] = {};
    GetClassNameW(window, buffer, 256);
    return buffer;
}

std::wstring MessageBoxText(HWND box) {
    HWND text = GetDlgItem(box, 0xFFFF);
    return text != nullptr ? WindowText(text) : std::wstring();
}

void PressButton(HWND dialog, int id) {
    HWND button = GetDlgItem(dialog, id);
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(button));
}

void PostKey(HWND window, UINT virtualKey) {
    const UINT scan = MapVirtualKeyW(virtualKey, MAPVK_VK_TO_VSC);
    PostMessageW(window, WM_KEYDOWN, virtualKey, 1 | (static_cast<LPARAM>(scan) << 16));
    PostMessageW(window, WM_KEYUP, virtualKey,
                 1 | (static_cast<LPARAM>(scan) << 16) | (1u << 30) | (1u << 31));
}

void DoubleClick(HWND window, POINT at) {
    const LPARAM position = MAKELPARAM(at.x, at.y);
    PostMessageW(window, WM_LBUTTONDBLCLK, MK_LBUTTON, position);
    PostMessageW(window, WM_LBUTTONUP, 0, position);
}

bool WaitUntil(const std::function<bool()>& condition, DWORD timeoutMs) {
    const DWORD start = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - start >= timeoutMs)
            return false;
        Sleep(100);
    }
    return true;
}

namespace {

// A block of memory in the process of a window, for messages that carry pointers.
class RemoteMemory {
public:
    RemoteMemory(HWND window, std::size_t bytes) {
        DWORD processId = 0;
        GetWindowThreadProcessId(window, &processId);
        process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE,
                              processId);
        if (process != nullptr)
            address = static_cast<char*>(
                VirtualAllocEx(process, nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    }
    ~RemoteMemory() {
        if (address != nullptr)
            VirtualFreeEx(process, address, 0, MEM_RELEASE);
        if (process != nullptr)
            CloseHandle(process);
    }
    RemoteMemory(const RemoteMemory&) = delete;
    RemoteMemory& operator=(const RemoteMemory&) = delete;

    char* At(std::size_t offset) const { return address + offset; }
    void Write(std::size_t offset, const void* data, std::size_t size) const {
        WriteProcessMemory(process, At(offset), data, size, nullptr);
    }
    void Read(std::size_t offset, void* data, std::size_t size) const {
        ReadProcessMemory(process, At(offset), data, size, nullptr);
    }

private:
    HANDLE process = nullptr;
    char* address = nullptr;
};

constexpr std::size_t kTextCapacity = 1024;

} // namespace

int ListRowCount(HWND list) {
    return static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
}

std::wstring ListText(HWND list, int item, int subItem) {
    RemoteMemory memory(list, sizeof(LVITEMW) + kTextCapacity * sizeof(wchar_t));
    LVITEMW request{};
    request.iSubItem = subItem;
    request.pszText = reinterpret_cast<wchar_t*>(memory.At(sizeof request));
    request.cchTextMax = kTextCapacity;
    memory.Write(0, &request, sizeof request);
    const auto length = static_cast<std::size_t>(SendMessageW(
        list, LVM_GETITEMTEXTW, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(memory.At(0))));
    std::wstring text(std::min(length, kTextCapacity - 1), L'\0');
    memory.Read(sizeof request, text.data(), text.size() * sizeof(wchar_t));
    return text;
}

RECT ListItemRect(HWND list, int item) {
    RemoteMemory memory(list, sizeof(RECT));
    RECT bounds{};
    bounds.left = LVIR_BOUNDS;
    memory.Write(0, &bounds, sizeof bounds);
    SendMessageW(list, LVM_GETITEMRECT, static_cast<WPARAM>(item),
                 reinterpret_cast<LPARAM>(memory.At(0)));
    memory.Read(0, &bounds, sizeof bounds);
    return bounds;
}

std::vector<std::wstring> ComboTexts(HWND combo) {
    std::vector<std::wstring> texts;
    const auto count = static_cast<int>(SendMessageW(combo, CB_GETCOUNT, 0, 0));
    for (int index = 0; index < count; ++index) {
        wchar_t buffer[kTextCapacity] = {};
        SendMessageW(combo, CB_GETLBTEXT, static_cast<WPARAM>(index),
                     reinterpret_cast<LPARAM>(buffer));
        texts.push_back(buffer);
    }
    return texts;
}

std::wstring ComboSelection(HWND combo) {
    const auto index = static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0));
    if (index < 0)
        return L"";
    wchar_t buffer[kTextCapacity] = {};
    SendMessageW(combo, CB_GETLBTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(buffer));
    return buffer;
}

COLORREF Image::At(int x, int y) const {
    const std::size_t stride = ((static_cast<std::size_t>(width) * 3 + 3) / 4) * 4;
    const std::size_t offset =
        static_cast<std::size_t>(height - 1 - y) * stride + static_cast<std::size_t>(x) * 3;
    return RGB(pixels[offset + 2], pixels[offset + 1], pixels[offset]);
}

namespace {
// The header of a bottom-up 24-bit image of the capture's size, for reading its
// pixels and for writing them to a file alike.
BITMAPINFOHEADER BottomUpRgb24(const Image& image) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = image.width;
    header.biHeight = image.height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biCompression = BI_RGB;
    return header;
}
} // namespace

Image Capture(HWND window) {
    Image image;
    RECT bounds{};
    GetWindowRect(window, &bounds);
    image.width = bounds.right - bounds.left;
    image.height = bounds.bottom - bounds.top;
    if (image.width <= 0 || image.height <= 0)
        return Image{};
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    Sleep(300);
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, image.width, image.height);
    HGDIOBJ previous = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, image.width, image.height, screen, bounds.left, bounds.top, SRCCOPY);
    SelectObject(memory, previous);

    BITMAPINFOHEADER header = BottomUpRgb24(image);
    const DWORD stride = ((static_cast<DWORD>(image.width) * 3 + 3) / 4) * 4;
    image.pixels.resize(stride * static_cast<DWORD>(image.height));
    GetDIBits(memory, bitmap, 0, static_cast<UINT>(image.height), image.pixels.data(),
              reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return image;
}

namespace {
std::wstring& ScreenshotFolder() {
    static std::wstring folder;
    return folder;
}
} // namespace

void SetScreenshotFolder(const std::wstring& folder) {
    ScreenshotFolder() = folder;
}

void Screenshot(HWND window, const std::wstring& name) {
    std::wstring folder = ScreenshotFolder();
    const std::wstring build = Environment(L"FERRYMARK_BUILD");
    if (folder.empty() && !build.empty())
        folder = build + L"\\screenshots";
    if (folder.empty() || window == nullptr)
        return;
    const Image image = Capture(window);
    if (image.pixels.empty())
        return;
    BITMAPINFOHEADER header = BottomUpRgb24(image);
    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof file + sizeof header;
    file.bfSize = file.bfOffBits + static_cast<DWORD>(image.pixels.size());
    std::string bytes(reinterpret_cast<const char*>(&file), sizeof file);
    bytes.append(reinterpret_cast<const char*>(&header), sizeof header);
    bytes.append(reinterpret_cast<const char*>(image.pixels.data()), image.pixels.size());
    WriteAll(folder + L"\\" + name + L".bmp", bytes);

    // Beside the picture, what the release tests check it against: the caption, the
    // window's size, and where the client area lies in it (the caption bar and the
    // frame are the rest).
    RECT client{};
    GetClientRect(window, &client);
    POINT origin{0, 0};
    ClientToScreen(window, &origin);
    RECT bounds{};
    GetWindowRect(window, &bounds);
    const std::wstring caption = WindowText(window);
    char facts[256];
    std::snprintf(facts, sizeof facts, "window %d %d\nclient %ld %ld %ld %ld\ncaption ", image.width,
                  image.height, origin.x - bounds.left, origin.y - bounds.top, client.right, client.bottom);
    std::string text = facts;
    for (wchar_t c : caption)
        text += c < 0x80 ? static_cast<char>(c) : '?';
    WriteAll(folder + L"\\" + name + L".txt", text + "\n");
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void RemoveTreeQuietly(const std::wstring& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::wstring Environment(const wchar_t* name) {
    wchar_t buffer[4096] = {};
    const DWORD length = GetEnvironmentVariableW(name, buffer, 4096);
    return length > 0 && length < 4096 ? std::wstring(buffer, length) : std::wstring();
}
