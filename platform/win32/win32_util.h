// Small helpers shared by the Win32 backend.
#pragma once

#include "platform/types.h"
#include "platform/win32/unique_handle.h"

#include <windows.h>

#include <string>

namespace platform::win32 {

// The system's text for an error code, without the trailing line end.
std::wstring SystemText(DWORD code);

inline SystemError Failure(DWORD code) {
    return SystemError{code, SystemText(code)};
}

} // namespace platform::win32
