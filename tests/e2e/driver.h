// The Windows-side test driver: starts the real program, finds its windows, reads
// their text, presses their buttons and takes screenshots.
#pragma once

#include "support/file_bytes.h"

#include <windows.h>

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

    // The first visible top-level dialog of the process with this caption, or null
    // after `timeoutMs` or once the process has ended.
    HWND WaitForDialog(const std::wstring& caption, DWORD timeoutMs = 20000) const;
    // Waits for the process to end; returns its exit code, or STILL_ACTIVE on timeout.
    DWORD WaitForExit(DWORD timeoutMs = 20000) const;

private:
    bool Running() const;

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
// Saves the window's image as a BMP in the screenshot folder, if one is set.
void Screenshot(HWND window, const std::wstring& name);

bool FileExists(const std::wstring& path);
void RemoveTreeQuietly(const std::wstring& path);
std::wstring Environment(const wchar_t* name);
