// Small helpers shared by the Win32 backend.
#pragma once

#include "platform/types.h"

#include <windows.h>

#include <string>

namespace platform::win32 {

// The system's text for an error code, without the trailing line end.
std::wstring SystemText(DWORD code);

inline SystemError Failure(DWORD code) {
    return SystemError{code, SystemText(code)};
}

// Owns a kernel handle: copying is deleted, moving hands the handle over.
class UniqueHandle {
public:
    UniqueHandle() = default;
    explicit UniqueHandle(HANDLE value) : handle(value) {}
    ~UniqueHandle() { Reset(); }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Reset();
            handle = other.Release();
        }
        return *this;
    }
    HANDLE get() const { return handle; }
    bool Valid() const { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    HANDLE Release() {
        HANDLE value = handle;
        handle = nullptr;
        return value;
    }
    void Reset() {
        if (Valid())
            CloseHandle(handle);
        handle = nullptr;
    }

private:
    HANDLE handle = nullptr;
};

} // namespace platform::win32
