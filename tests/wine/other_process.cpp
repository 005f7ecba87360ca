// On Windows: the holder program beside the test program (or its copy), spoken to through two
// named events.
#include "support/other_process.h"

#include "platform/win32/unique_handle.h"

#include <windows.h>

namespace other_process {

using platform::win32::UniqueHandle;

struct OtherProcess {
    UniqueHandle process, stop;
};

OtherProcess* StartHolder(Hold how, const std::wstring& path, const std::wstring& as, std::string& why) {
    static unsigned counter = 0;
    const std::wstring stem = L"FerrymarkHolder-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(++counter);
    const UniqueHandle ready(CreateEventW(nullptr, TRUE, FALSE, (stem + L"-ready").c_str()));
    UniqueHandle stop(CreateEventW(nullptr, TRUE, FALSE, (stem + L"-stop").c_str()));
    wchar_t own[MAX_PATH + 1] = {};
    std::wstring program(own, GetModuleFileNameW(nullptr, own, MAX_PATH));
    program.replace(program.find_last_of(L'\\') + 1, std::wstring::npos, L"backup_holder.exe");
    if (!as.empty() && !CopyFileW(program.c_str(), as.c_str(), FALSE))
        return why = "cannot copy the holder program", nullptr;
    std::wstring command = L"\"" + (as.empty() ? program : as) + L"\" " +
                           (how == Hold::OpenFile ? L"file \"" : L"folder \"") + path + L"\" " +
                           stem + L"-ready " + stem + L"-stop";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    DWORD woke = WAIT_FAILED, code = 0;
    if (CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &started)) {
        CloseHandle(started.hThread);
        HANDLE waits[2] = {ready.get(), started.hProcess};
        woke = WaitForMultipleObjects(2, waits, FALSE, 30000);
    }
    UniqueHandle process(started.hProcess);
    if (woke == WAIT_OBJECT_0)
        return new OtherProcess{std::move(process), std::move(stop)};
    if (process && GetExitCodeProcess(process.get(), &code))
        TerminateProcess(process.get(), 1);
    why = "the holder could not start or take hold (error " + std::to_string(GetLastError()) +
          ", exit code " + std::to_string(code) + ")";
    return nullptr;
}

void StopHolder(OtherProcess* process) {
    if (process == nullptr)
        return;
    SetEvent(process->stop.get());
    if (WaitForSingleObject(process->process.get(), 30000) != WAIT_OBJECT_0)
        TerminateProcess(process->process.get(), 1);
    delete process;
}

bool RunningUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

} // namespace other_process
