#include "e2e/driver.h"

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

HWND ProgramRun::WaitForDialog(const std::wstring& caption, DWORD timeoutMs) const {
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < timeoutMs) {
        for (HWND window : TopLevelWindows(processId))
            if (ClassName(window) == L"#32770" && WindowText(window) == caption)
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

void Screenshot(HWND window, const std::wstring& name) {
    const std::wstring build = Environment(L"FERRYMARK_BUILD");
    const std::wstring folder = build + L"\\screenshots";
    if (build.empty() || window == nullptr)
        return;
    RECT bounds{};
    GetWindowRect(window, &bounds);
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    if (width <= 0 || height <= 0)
        return;
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    Sleep(300);
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
    HGDIOBJ previous = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, bounds.left, bounds.top, SRCCOPY);
    SelectObject(memory, previous);

    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biCompression = BI_RGB;
    const DWORD stride = ((static_cast<DWORD>(width) * 3 + 3) / 4) * 4;
    std::vector<char> pixels(stride * static_cast<DWORD>(height));
    GetDIBits(memory, bitmap, 0, static_cast<UINT>(height), pixels.data(),
              reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS);
    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof file + sizeof header;
    file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
    std::string bytes(reinterpret_cast<const char*>(&file), sizeof file);
    bytes.append(reinterpret_cast<const char*>(&header), sizeof header);
    bytes.append(pixels.data(), pixels.size());
    WriteAll(folder + L"\\" + name + L".bmp", bytes);

    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
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
