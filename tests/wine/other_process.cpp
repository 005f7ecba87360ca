// Another process that holds an item, for the tests on Windows: the holder
// program beside the test program, started with CreateProcessW and spoken to
// through two named events.
#include <windows.h>

#include <string>

namespace other_process {

enum class Hold { OpenFile, WorkingFolder };

struct OtherProcess {
    HANDLE process = nullptr;
    HANDLE stop = nullptr;
};

namespace {

std::wstring HolderProgram() {
    wchar_t own[MAX_PATH + 1] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    std::wstring folder(own);
    folder.erase(folder.find_last_of(L"\\/") + 1);
    return folder + L"backup_holder.exe";
}

std::string Narrow(const std::wstring& text) {
    std::string out;
    for (wchar_t c : text)
        out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
}

} // namespace

OtherProcess* StartHolder(Hold how, const std::wstring& path, std::string& why) {
    static unsigned counter = 0;
    const std::wstring stem = L"FerrymarkBackupTest-" + std::to_wstring(GetCurrentProcessId()) +
                              L"-" + std::to_wstring(++counter);
    HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, (stem + L"-ready").c_str());
    HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, (stem + L"-stop").c_str());
    std::wstring command = L"\"" + HolderProgram() + L"\" " +
                           (how == Hold::OpenFile ? L"file" : L"folder") + L" \"" + path + L"\" " +
                           stem + L"-ready " + stem + L"-stop";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &started)) {
        why = "CreateProcessW failed with " + std::to_string(GetLastError()) + " for " +
              Narrow(command);
        CloseHandle(ready);
        CloseHandle(stop);
        return nullptr;
    }
    CloseHandle(started.hThread);
    HANDLE waits[2] = {ready, started.hProcess};
    const DWORD woke = WaitForMultipleObjects(2, waits, FALSE, 30000);
    CloseHandle(ready);
    if (woke != WAIT_OBJECT_0) {
        DWORD code = 0;
        GetExitCodeProcess(started.hProcess, &code);
        why = "the holder could not take hold of " + Narrow(path) + " (exit code " +
              std::to_string(code) + ")";
        TerminateProcess(started.hProcess, 1);
        CloseHandle(started.hProcess);
        CloseHandle(stop);
        return nullptr;
    }
    return new OtherProcess{started.hProcess, stop};
}

void StopHolder(OtherProcess* process) {
    if (process == nullptr)
        return;
    SetEvent(process->stop);
    if (WaitForSingleObject(process->process, 30000) != WAIT_OBJECT_0)
        TerminateProcess(process->process, 1);
    CloseHandle(process->process);
    CloseHandle(process->stop);
    delete process;
}

bool RunningUnderWine() {
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

} // namespace other_process
