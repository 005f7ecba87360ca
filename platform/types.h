// Plain value types that cross the platform seam.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// A separator of a Windows-form path: both the backslash and the slash count,
// on every build.
inline bool IsPathSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

// The outcome of a call that reports failure through an error code rather than an
// exception. code is the platform's own number (a Win32 error on Windows, errno on
// POSIX); text is the system's description of it, without a trailing line end.
struct SystemError {
    std::uint32_t code = 0;
    std::wstring text;

    bool Failed() const { return code != 0; }
};

// A calendar date and time, broken down as Windows' SYSTEMTIME is.
struct CalendarTime {
    int year = 1601;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
};

// Layout-compatible with the Windows GUID structure, so that known-folder
// identifiers can be written as constants above the seam.
struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
};

inline bool operator==(const Guid& a, const Guid& b) {
    if (a.data1 != b.data1 || a.data2 != b.data2 || a.data3 != b.data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.data4[i] != b.data4[i])
            return false;
    return true;
}

} // namespace platform
