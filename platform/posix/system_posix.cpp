#include "platform/known_folders.h"
#include "platform/posix/host.h"
#include "platform/registry.h"
#include "platform/system.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {
namespace {

struct KnownFolderPlace {
    Guid id;
    const wchar_t* path;
};

// Fixed Windows-form locations, the same on every run, so that tests can name them.
const KnownFolderPlace knownFolders[] = {
    {KnownFolder::ProgramData, L"C:\\ProgramData"},
    {KnownFolder::LocalAppData, L"C:\\Users\\Pilot\\AppData\\Local"},
    {KnownFolder::RoamingAppData, L"C:\\Users\\Pilot\\AppData\\Roaming"},
    {KnownFolder::Documents, L"C:\\Users\\Pilot\\Documents"},
    {KnownFolder::Pictures, L"C:\\Users\\Pilot\\Pictures"},
    {KnownFolder::ProgramFiles, L"C:\\Program Files"},
    {KnownFolder::ProgramFilesX86, L"C:\\Program Files (x86)"},
};

// Windows' printf family gives %s and %c the width of the format string; glibc's
// wide printf reads them as narrow. Rewrite the conversions so that the same
// format means the same on both.
std::wstring ToGlibcFormat(const wchar_t* format) {
    std::wstring out;
    for (const wchar_t* p = format; *p != L'\0'; ++p) {
        out += *p;
        if (*p != L'%')
            continue;
        ++p;
        if (*p == L'%') {
            out += *p;
            continue;
        }
        while (*p != L'\0' && std::wcschr(L"-+ #0123456789.*", *p) != nullptr)
            out += *p++;
        bool narrow = false;
        bool wide = false;
        while (*p != L'\0' && std::wcschr(L"hlLqjztIw", *p) != nullptr) {
            if (*p == L'I' && p[1] == L'6' && p[2] == L'4') {
                out += L"ll";
                p += 3;
                continue;
            }
            if (*p == L'h') {
                narrow = true;
            } else if (*p == L'w' || *p == L'l') {
                wide = true;
                out += L'l';
            } else {
                out += *p;
            }
            ++p;
        }
        if (*p == L'\0')
            break;
        wchar_t conversion = *p;
        if (conversion == L's' || conversion == L'c') {
            if (!narrow && !wide)
                out += L'l';
        } else if (conversion == L'S' || conversion == L'C') {
            conversion = conversion == L'S' ? L's' : L'c';
        } else if (narrow) {
            out += L'h';
        }
        out += conversion;
    }
    return out;
}

} // namespace

std::wstring KnownFolderPath(const Guid& id) {
    // Documents and Pictures follow the user's shell folder values, as Windows'
    // own do when a user or a synced-folder client has moved them.
    const wchar_t* shellValue = id == KnownFolder::Documents  ? L"Personal"
                                : id == KnownFolder::Pictures ? L"My Pictures"
                                                              : nullptr;
    if (shellValue != nullptr) {
        if (const registry::UniqueKey key(
                registry::Hive::CurrentUser,
                L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders", false, false);
            key) {
            std::uint8_t data[2048] = {};
            std::uint32_t size = sizeof data - sizeof(wchar_t);
            registry::ValueType type = registry::ValueType::None;
            const bool found = registry::QueryValue(key.get(), shellValue, &type, data, &size) == registry::kSuccess &&
                               (type == registry::ValueType::String || type == registry::ValueType::ExpandString);
            std::wstring moved;
            for (std::uint32_t i = 0; found && i + 1 < size && (data[i] | data[i + 1]) != 0; i += 2)
                moved += static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
            if (!moved.empty())
                return moved;
        }
    }
    for (const KnownFolderPlace& folder : knownFolders)
        if (folder.id == id)
            return folder.path;
    // Windows' call gives no text for an unknown folder and the caller reads through
    // the null pointer; end the same way, without a handler catching it.
    std::abort();
}

MutexResult CreateNamedMutex(const std::wstring& name) {
    const std::string folder = posix::Root() + "/.mutex";
    posix::CreateHostFolders(folder);
    std::string file = folder + "/";
    for (char c : posix::ToUtf8(name))
        file += (c == '/' ? '_' : c);
    int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return MutexResult::Failed;
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        int error = errno;
        close(descriptor);
        return error == EWOULDBLOCK ? MutexResult::AlreadyExists : MutexResult::Failed;
    }
    // The descriptor stays open for the life of the process: holding it is the guard.
    return MutexResult::Created;
}

void NotifyShellOfChanges() {}

CalendarTime LocalTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm parts{};
    localtime_r(&now.tv_sec, &parts);
    CalendarTime result;
    result.year = parts.tm_year + 1900;
    result.month = parts.tm_mon + 1;
    result.day = parts.tm_mday;
    result.hour = parts.tm_hour;
    result.minute = parts.tm_min;
    result.second = parts.tm_sec;
    result.milliseconds = static_cast<int>(now.tv_nsec / 1000000);
    return result;
}

std::wstring FormatWideV(const wchar_t* format, std::va_list arguments) {
    const std::wstring translated = ToGlibcFormat(format);
    wchar_t* buffer = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_wmemstream(&buffer, &length);
    if (stream == nullptr)
        return {};
    int written = std::vfwprintf(stream, translated.c_str(), arguments);
    std::fclose(stream);
    std::wstring result;
    if (written >= 0 && buffer != nullptr)
        result.assign(buffer, length);
    std::free(buffer);
    return result;
}

} // namespace platform
