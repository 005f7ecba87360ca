// Machine-wide queries of the platform seam.
#pragma once

#include "platform/types.h"

#include <cstdarg>
#include <string>

namespace platform {

// The path of a known folder in Windows form. An identifier the platform does not
// know has no answer: the process ends as Windows' own call would end it.
std::wstring KnownFolderPath(const Guid& id);

// Takes the named single-instance object. AlreadyExists means another process
// holds the name; the object is then released again.
enum class MutexResult { Created, AlreadyExists, Failed };
MutexResult CreateNamedMutex(const std::wstring& name);

// Tells the shell that file associations, links and folders may have changed, so
// that its views show the replaced folders. Nothing to tell on POSIX.
void NotifyShellOfChanges();

// The local wall-clock time.
CalendarTime LocalTime();

// printf for wide text with the Windows meaning of the conversions: %s and %c
// take wide arguments. Returns the formatted text, of any length.
std::wstring FormatWideV(const wchar_t* format, std::va_list arguments);

} // namespace platform
