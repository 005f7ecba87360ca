// The Windows-side driver: starts the real program, finds its windows, reads their
// text, presses their buttons and takes screenshots.
#pragma once

#include "support/file_bytes.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

class ProgramRun { // ends the process, if it still runs, when it goes
public:
    // Starts `program` with `arguments`, from its own folder unless another is given.
    explicit ProgramRun(const std::wstring& program, const std::wstring& arguments = L"", std::wstring folder = L"");
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;
    bool Started() const { return process != nullptr; }
    DWORD Id() const { return processId; }
    bool Running() const;
    // A visible dialog of the process with this caption (and, unless 0, a control
    // `control`); null after `timeoutMs` or once the process has ended.
    HWND WaitForDialog(const std::wstring& caption, DWORD timeoutMs = 20000, int control = 0) const;
    DWORD WaitForExit(DWORD timeoutMs = 20000) const; // STILL_ACTIVE on timeout

private:
    HANDLE process = nullptr;
    DWORD processId = 0;
};

std::vector<HWND> TopLevelWindows(DWORD processId); // the visible ones
std::wstring WindowText(HWND window);
std::wstring ClassName(HWND window);
std::wstring MessageBoxText(HWND box);
void PressButton(HWND dialog, int id);
void PostKey(HWND window, UINT virtualKey); // through the queue, as a keyboard would
void DoubleClick(HWND window, POINT at);    // at a point of the client area
bool WaitUntil(const std::function<bool()>& condition, DWORD timeoutMs = 20000);
// List views and combo boxes of another process, read through its memory.
std::wstring ListText(HWND list, int item, int subItem);
RECT ListItemRect(HWND list, int item);
std::vector<std::wstring> ComboTexts(HWND combo);
// Saves the window as <name>.bmp in the build's screenshots folder (or the one set),
// with <name>.txt beside it: the window's size, its client area and its caption.
void Screenshot(HWND window, const std::wstring& name);
void SetScreenshotFolder(const std::wstring& folder);
bool FileExists(const std::wstring& path);
void RemoveTreeQuietly(const std::wstring& path);
std::wstring Environment(const wchar_t* name);
bool UnderWine();
