#include "platform/posix/host.h"
#include "platform/system.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

struct KnownFolder {
    Guid id;
    const wchar_t* path;
};

// Fixed Windows-form locations, the same on every run, so that tests can name them.
const KnownFolder knownFolders[] = {
    {{0x62AB5D82, 0xFDC1, 0x4DC3, {0xA9, 0xDD, 0x07, 0x0D, 0x1D, 0x49, 0x5D, 0x97}},
     L"C:\\ProgramData"},
    {{0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}},
     L"C:\\Users\\Pilot\\AppData\\Local"},
    {{0x3EB685DB, 0x65F9, 0x4CF6, {0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D}},
     L"C:\\Users\\Pilot\\AppData\\Roaming"},
    {{0xFDD39AD0, 0x238F, 0x46AF, {0xAD, 0xB4, 0x6C, 0x85, 0x48, 0x03, 0x69, 0xC7}},
     L"C:\\Users\\Pilot\\Documents"},
    {{0x33E28130, 0x4E1E, 0x4676, {0x83, 0x5A, 0x98, 0x39, 0x5C, 0x3B, 0xC3, 0xBB}},
     L"C:\\Users\\Pilot\\Pictures"},
    {{0x905E63B6, 0xC1BF, 0x494E, {0xB2, 0x9C, 0x65, 0xB7, 0x32, 0xD3, 0xD2, 0x1A}},
     L"C:\\Program Files"},
    {{0x7C5A40EF, 0xA0FB, 0x4BFC, {0x87, 0x4A, 0xC0, 0xF2, 0xE0, 0xB9, 0xFA, 0x8E}},
     L"C:\\Program Files (x86)"},
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
    for (const KnownFolder& folder : knownFolders)
        if (folder.id == id)
            return folder.path;
    // Windows' call gives no text for an unknown folder and the caller reads through
    // the null pointer; end the same way, without a handler catching it.
    std::abort();
}

MutexResult CreateNamedMutex(const std::wstring& name) {
    const std::string folder = posix::Root() + "/.mutex";
    mkdir(posix::Root().c_str(), 0777);
    mkdir(folder.c_str(), 0777);
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
