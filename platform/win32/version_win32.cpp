#include "platform/version.h"

#include <windows.h>

#include <new>
#include <vector>

namespace platform {

bool ReadFixedFileVersion(const std::wstring& path, std::uint32_t& versionMS,
                          std::uint32_t& versionLS) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return false;
    std::vector<BYTE> buffer;
    try {
        buffer.resize(size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!GetFileVersionInfoW(path.c_str(), 0, size, buffer.data()))
        return false;
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(buffer.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) ||
        fixed == nullptr)
        return false;
    versionMS = fixed->dwFileVersionMS;
    versionLS = fixed->dwFileVersionLS;
    return true;
}

} // namespace platform
