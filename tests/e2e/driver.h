// The Windows-side driver: starts the real program, finds its windows, reads their
// text, presses their buttons and takes screenshots.
#pragma once

#include "platform/win32/unique_handle.h"
#include "support/file_bytes.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

class ProgramRun { // starts `program` (in its own folder unless told), ends it if it still runs
public:
    explicit ProgramRun(const std::wstring& program, const std::wstring& arguments = L"", std::wstring folder = L"");
    ~ProgramRun();
    bool Running() const;
    // A visible dialog of this caption (any if empty; with control `control` unless 0); null on timeout or exit.
    HWND WaitForDialog(const std::wstring& caption, DWORD timeoutMs = 20000, int control = 0) const;
    DWORD WaitForExit(DWORD timeoutMs = 20000) const; // STILL_ACTIVE on timeout

private:
    platform::win32::UniqueHandle process;
};

std::wstring WindowText(HWND window);
std::wstring MessageBoxText(HWND box);
void PressButton(HWND dialog, int id);
void PostKey(HWND window, UINT virtualKey); // through the queue, as a keyboard would
void DoubleClick(HWND window, POINT at);    // at a point of the client area
bool WaitUntil(const std::function<bool()>& condition, DWORD timeoutMs = 20000);
std::wstring ListText(HWND list, int item, int subItem); // read through the other process's memory
RECT ListItemRect(HWND list, int item);
std::vector<std::wstring> ComboTexts(HWND combo);
// <name>.bmp in the build's screenshots folder (or the one set), and <name>.txt: size, client area, caption.
void Screenshot(HWND window, const std::wstring& name);
void SetScreenshotFolder(const std::wstring& folder);
bool FileExists(const std::wstring& path);
void RemoveTreeQuietly(const std::wstring& path);
std::wstring Environment(const wchar_t* name);
