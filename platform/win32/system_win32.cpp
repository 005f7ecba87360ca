#include "platform/system.h"
#include "platform/win32/win32_util.h"

#include <shlobj.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace platform {

namespace win32 {
std::wstring SystemText(DWORD code) {
    UniqueLocalMemory<wchar_t> buffer;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<wchar_t*>(buffer.put()), 0, nullptr);
    std::wstring text;
    if (length != 0 && buffer)
        text.assign(buffer.get(), length);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' '))
        text.pop_back();
    if (text.empty())
        text = L"Error " + std::to_wstring(code);
    return text;
}
} // namespace win32

static_assert(sizeof(Guid) == sizeof(GUID), "Guid must match the Windows GUID layout");

std::wstring KnownFolderPath(const Guid& id) {
    GUID folder;
    static_assert(sizeof folder == sizeof id);
    std::memcpy(&folder, &id, sizeof folder);
    win32::UniqueCoTaskMemory<wchar_t> path;
    std::wstring result;
    if (SUCCEEDED(SHGetKnownFolderPath(folder, 0, nullptr, path.put()))) {
        result = path.get();
        return result;
    }
    // No text can be formed and no caller has a failure path: the process ends
    // with an access fault, which no C++ handler catches.
    RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), EXCEPTION_NONCONTINUABLE, 0,
                   nullptr);
    return result;
}

MutexResult CreateNamedMutex(const std::wstring& name) {
    win32::UniqueHandle mutex(CreateMutexW(nullptr, FALSE, name.c_str()));
    const DWORD error = GetLastError();
    if (!mutex)
        return MutexResult::Failed;
    if (error == ERROR_ALREADY_EXISTS)
        return MutexResult::AlreadyExists;
    // The handle is never closed: holding the name for the life of the process is
    // the whole guard.
    mutex.release();
    return MutexResult::Created;
}

void NotifyShellOfChanges() {
    SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_FLUSHNOWAIT, nullptr, nullptr);
}

CalendarTime LocalTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    CalendarTime result;
    result.year = now.wYear;
    result.month = now.wMonth;
    result.day = now.wDay;
    result.hour = now.wHour;
    result.minute = now.wMinute;
    result.second = now.wSecond;
    result.milliseconds = now.wMilliseconds;
    return result;
}

std::wstring FormatWideV(const wchar_t* format, std::va_list arguments) {
    // The C runtime's own functions, where %s in a wide format takes a wide string.
    std::va_list measure;
    va_copy(measure, arguments);
    const int length = _vscwprintf(format, measure);
    va_end(measure);
    if (length < 0)
        return {};
    std::vector<wchar_t> buffer(static_cast<std::size_t>(length) + 1, L'\0');
    _vsnwprintf(buffer.data(), buffer.size(), format, arguments);
    return std::wstring(buffer.data(), static_cast<std::size_t>(length));
}

} // namespace platform
