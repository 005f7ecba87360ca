#include "platform/process.h"
#include "platform/win32/win32_util.h"

#include <windows.h>

#include <tlhelp32.h>

namespace platform {

ProcessListResult ListProcessNames(std::vector<std::wstring>& exeNames) {
    exeNames.clear();
    win32::UniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot)
        return ProcessListResult::SnapshotFailed;
    PROCESSENTRY32W entry;
    ZeroMemory(&entry, sizeof entry);
    entry.dwSize = sizeof entry;
    if (!Process32FirstW(snapshot.get(), &entry))
        return ProcessListResult::FirstEntryFailed;
    do {
        exeNames.emplace_back(entry.szExeFile);
    } while (Process32NextW(snapshot.get(), &entry));
    return ProcessListResult::Listed;
}

} // namespace platform
