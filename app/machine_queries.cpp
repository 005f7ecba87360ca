#include "app/machine_queries.h"

#include "app/logger.h"
#include "app/text.h"
#include "platform/find.h"
#include "platform/process.h"
#include "platform/version.h"

bool IsProcessRunning(std::wstring name, bool fallback) {
    std::vector<std::wstring> exeNames;
    switch (platform::ListProcessNames(exeNames)) {
    case platform::ProcessListResult::SnapshotFailed:
        Logger::Write(Logger::ErrorLevel, L"Failed to list running processes");
        return fallback;
    case platform::ProcessListResult::FirstEntryFailed:
        Logger::Write(Logger::ErrorLevel, L"Failed to retrieve process information");
        return fallback;
    case platform::ProcessListResult::Listed:
        break;
    }
    // The whole list is walked; a name is a bare file name, so a full path given
    // here never matches.
    int count = 0;
    for (const std::wstring& exeName : exeNames) {
        if (EqualsIgnoringCase(exeName, name))
            ++count;
    }
    return count >= 1;
}

std::vector<std::wstring> ListFiles(std::wstring pattern) {
    const std::wstring::size_type lastBackslash = pattern.rfind(L'\\');
    const std::wstring prefix =
        lastBackslash == std::wstring::npos ? std::wstring() : pattern.substr(0, lastBackslash + 1);

    std::vector<std::wstring> result;
    std::vector<std::wstring> names;
    if (!platform::FindFileNames(pattern, names))
        return result;
    result.reserve(names.size());
    for (const std::wstring& name : names)
        result.push_back(prefix + name);
    return result;
}

bool GetFileVersion(std::wstring path, std::uint16_t* major, std::uint16_t* minor,
                    std::uint16_t* build, std::uint16_t* revision) {
    std::uint32_t versionMS = 0;
    std::uint32_t versionLS = 0;
    if (!platform::ReadFixedFileVersion(path, versionMS, versionLS))
        return false;
    if (major != nullptr)
        *major = static_cast<std::uint16_t>(versionMS >> 16);
    if (minor != nullptr)
        *minor = static_cast<std::uint16_t>(versionMS & 0xFFFF);
    if (build != nullptr)
        *build = static_cast<std::uint16_t>(versionLS >> 16);
    if (revision != nullptr)
        *revision = static_cast<std::uint16_t>(versionLS & 0xFFFF);
    return true;
}

std::wstring GetFileVersionText(std::wstring path) {
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
    std::uint16_t build = 0;
    std::uint16_t revision = 0;
    if (!GetFileVersion(path, &major, &minor, &build, &revision))
        return std::wstring();
    return FormatWide(L"%i.%i.%i.%i", static_cast<int>(major), static_cast<int>(minor),
                      static_cast<int>(build), static_cast<int>(revision));
}
