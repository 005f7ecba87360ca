// The Windows-side test driver: starts the real program, finds its windows, reads
// their text, presses their buttons and takes screenshots.
#pragma once

#include "support/file_bytes.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

class ProgramRun {
public:
    // Starts `program` with `arguments`, from its own folder unless another is given.
    explicit ProgramRun(const std::wstring& program, const std::wstring& arguments = L"",
                        std::wstring folder = L"");
    // Ends the process if it still runs.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    bool Started() const { return process != nullptr; }
    DWORD Id() const { return processId; }

    // The first visible top-level dialog of the process with this caption (and,
    // unless 0, a control with identifier `control`), or null after `timeoutMs` or
    // once the process has ended.
    HWND WaitForDialog(const std::wstring& caption, DWORD timeoutMs = 20000, int control = 0) const;
    // Waits for the process to end; returns its exit code, or STILL_ACTIVE on timeout.
    DWORD WaitForExit(DWORD timeoutMs = 20000) const;

    bool Running() const;

private:
    HANDLE process = nullptr;
    DWORD processId = 0;
};

// Visible top-level windows of a process.
std::vector<HWND> TopLevelWindows(DWORD processId);
std::wstring WindowText(HWND window);
std::wstring ClassName(HWND window);
// The text of a message box: its static control with the system's identifier.
std::wstring MessageBoxText(HWND box);
// Presses a button of a dialog by its identifier.
void PressButton(HWND dialog, int id);
// Sends a key through the program's message queue, as a keyboard would.
void PostKey(HWND window, UINT virtualKey);
// Posts a double click with the left button at a point of the window's client area.
void DoubleClick(HWND window, POINT at);
// True once `condition` holds, false after `timeoutMs`.
bool WaitUntil(const std::function<bool()>& condition, DWORD timeoutMs = 20000);

// A list view or combo box of another process, read through memory in that process.
int ListRowCount(HWND list);
std::wstring ListText(HWND list, int item, int subItem);
RECT ListItemRect(HWND list, int item);
std::vector<std::wstring> ComboTexts(HWND combo);
// The selected item's text, empty with nothing selected.
std::wstring ComboSelection(HWND combo);

// The pixels of a window as they stand on the screen, bottom row first, 24 bits each.
struct Image {
    int width = 0, height = 0;
    std::vector<unsigned char> pixels;
    COLORREF At(int x, int y) const; // x, y from the top left corner
};
Image Capture(HWND window);
// Saves the window's image as a BMP in the screenshot folder: the build's
// screenshots folder unless another has been set.
void Screenshot(HWND window, const std::wstring& name);
void SetScreenshotFolder(const std::wstring& folder);

bool FileExists(const std::wstring& path);
void RemoveTreeQuietly(const std::wstring& path);
std::wstring Environment(const wchar_t* name);
