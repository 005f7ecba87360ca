#include "e2e/driver.h"

#include <commctrl.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

ProgramRun::ProgramRun(const std::wstring& program, const std::wstring& arguments, std::wstring folder) {
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    folder = folder.empty() ? program.substr(0, program.find_last_of(L'\\')) : folder;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(),
                       &startup, &info)) {
        CloseHandle(info.hThread);
        process.reset(info.hProcess);
    }
}

ProgramRun::~ProgramRun() {
    if (Running() && TerminateProcess(process.get(), 99))
        WaitForSingleObject(process.get(), 5000);
}

bool ProgramRun::Running() const { return process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT; }

DWORD ProgramRun::WaitForExit(DWORD timeoutMs) const {
    DWORD code = STILL_ACTIVE;
    if (process && WaitForSingleObject(process.get(), timeoutMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(process.get(), &code);
    return code;
}

HWND ProgramRun::WaitForDialog(const std::wstring& caption, DWORD timeoutMs, int control) const {
    HWND found = nullptr;
    WaitUntil([&] {
        for (HWND window = nullptr; (window = FindWindowExW(nullptr, window, L"#32770", nullptr)) != nullptr;) {
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (process && owner == GetProcessId(process.get()) && IsWindowVisible(window) &&
                (caption.empty() || WindowText(window) == caption) && (!control || GetDlgItem(window, control)))
                found = window;
        }
        return found != nullptr || !Running();
    }, timeoutMs);
    return found;
}

std::wstring WindowText(HWND window) {
    wchar_t buffer[1024] = {};
    SendMessageTimeoutW(window, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(buffer), SMTO_BLOCK, 5000, nullptr);
    return buffer;
}

std::wstring MessageBoxText(HWND box) { // its static control with the system's identifier
    return GetDlgItem(box, 0xFFFF) != nullptr ? WindowText(GetDlgItem(box, 0xFFFF)) : L"";
}

void PressButton(HWND dialog, int id) {
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
}

void PostKey(HWND window, UINT virtualKey) {
    const LPARAM scan = static_cast<LPARAM>(MapVirtualKeyW(virtualKey, MAPVK_VK_TO_VSC)) << 16;
    PostMessageW(window, WM_KEYDOWN, virtualKey, 1 | scan);
    PostMessageW(window, WM_KEYUP, virtualKey, 1 | scan | (1u << 30) | (1u << 31));
}

void DoubleClick(HWND window, POINT at) {
    PostMessageW(window, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(at.x, at.y));
    PostMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(at.x, at.y));
}

bool WaitUntil(const std::function<bool()>& condition, DWORD timeoutMs) {
    for (const DWORD start = GetTickCount(); !condition(); Sleep(100))
        if (GetTickCount() - start >= timeoutMs)
            return false;
    return true;
}

namespace {
// Sends a message pointing at a copy of `data` in the window's process, read back after; with `pointsTo`,
// the pointer at `pointerAt` in it is set to that offset of the copy (a text buffer).
void SendThroughProcess(HWND window, UINT message, WPARAM wParam, void* data, std::size_t size,
                        std::size_t pointerAt = 0, std::size_t pointsTo = 0) {
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    const platform::win32::UniqueHandle process(
        OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, processId));
    auto* remote =
        static_cast<char*>(VirtualAllocEx(process.get(), nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    char* const target = remote + pointsTo;
    if (pointsTo != 0)
        std::memcpy(static_cast<char*>(data) + pointerAt, &target, sizeof target);
    WriteProcessMemory(process.get(), remote, data, size, nullptr);
    SendMessageW(window, message, wParam, reinterpret_cast<LPARAM>(remote));
    ReadProcessMemory(process.get(), remote, data, size, nullptr);
    VirtualFreeEx(process.get(), remote, 0, MEM_RELEASE);
}
} // namespace

std::wstring ListText(HWND list, int item, int subItem) {
    struct {
        LVITEMW request;
        wchar_t text[1024];
    } block{};
    block.request.iSubItem = subItem;
    block.request.cchTextMax = 1023;
    SendThroughProcess(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(item), &block, sizeof block,
                       offsetof(LVITEMW, pszText), sizeof block.request);
    return block.text;
}

RECT ListItemRect(HWND list, int item) {
    RECT bounds{LVIR_BOUNDS, 0, 0, 0};
    SendThroughProcess(list, LVM_GETITEMRECT, static_cast<WPARAM>(item), &bounds, sizeof bounds);
    return bounds;
}

std::vector<std::wstring> ComboTexts(HWND combo) {
    std::vector<std::wstring> texts;
    for (LRESULT index = 0; index < SendMessageW(combo, CB_GETCOUNT, 0, 0); ++index) {
        wchar_t buffer[1024] = {};
        SendMessageW(combo, CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(buffer));
        texts.push_back(buffer);
    }
    return texts;
}

static std::wstring screenshotFolder;
void SetScreenshotFolder(const std::wstring& folder) { screenshotFolder = folder; }

void Screenshot(HWND window, const std::wstring& name) {
    const std::wstring folder = !screenshotFolder.empty() || Environment(L"FERRYMARK_BUILD").empty()
                                    ? screenshotFolder : Environment(L"FERRYMARK_BUILD") + L"\\screenshots";
    RECT bounds{}, client{};
    GetWindowRect(window, &bounds);
    const int width = bounds.right - bounds.left, height = bounds.bottom - bounds.top;
    if (folder.empty() || window == nullptr || width <= 0 || height <= 0)
        return;
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    Sleep(300);
    // The pixels as they stand on the screen, bottom row first, 24 bits each.
    HDC screen = GetDC(nullptr);
    const platform::win32::UniqueMemoryDc memory(CreateCompatibleDC(screen));
    const platform::win32::UniqueGdiObject<HBITMAP> bitmap(CreateCompatibleBitmap(screen, width, height));
    HGDIOBJ previous = SelectObject(memory.get(), bitmap.get());
    BitBlt(memory.get(), 0, 0, width, height, screen, bounds.left, bounds.top, SRCCOPY);
    SelectObject(memory.get(), previous);
    ReleaseDC(nullptr, screen);
    BITMAPINFOHEADER header{sizeof header, width, height, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    std::string pixels(((static_cast<std::size_t>(width) * 3 + 3) / 4) * 4 * static_cast<std::size_t>(height), '\0');
    GetDIBits(memory.get(), bitmap.get(), 0, static_cast<UINT>(height), pixels.data(),
              reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS);
    BITMAPFILEHEADER file{0x4D42, 0, 0, 0, sizeof file + sizeof header};
    file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
    WriteAll(folder + L"\\" + name + L".bmp", std::string(reinterpret_cast<const char*>(&file), sizeof file) +
                                                 std::string(reinterpret_cast<const char*>(&header), sizeof header) + pixels);
    // Beside it, what the release tests check it against.
    GetClientRect(window, &client);
    POINT origin{0, 0};
    ClientToScreen(window, &origin);
    char facts[256];
    std::snprintf(facts, sizeof facts, "window %d %d\nclient %ld %ld %ld %ld\ncaption ", width, height,
                  origin.x - bounds.left, origin.y - bounds.top, client.right, client.bottom);
    std::string text = facts;
    for (wchar_t c : WindowText(window))
        text += c < 0x80 ? static_cast<char>(c) : '?';
    WriteAll(folder + L"\\" + name + L".txt", text + "\n");
}

bool FileExists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

void RemoveTreeQuietly(const std::wstring& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::wstring Environment(const wchar_t* name) {
    wchar_t buffer[4096] = {};
    const DWORD length = GetEnvironmentVariableW(name, buffer, 4096);
    return length > 0 && length < 4096 ? std::wstring(buffer, length) : std::wstring();
}
