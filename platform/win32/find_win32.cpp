#include "platform/find.h"
#include "platform/win32/unique_handle.h"

namespace platform {

bool FindFileNames(const std::wstring& pattern, std::vector<std::wstring>& names) {
    names.clear();
    WIN32_FIND_DATAW data;
    const win32::UniqueFind find(FindFirstFileW(pattern.c_str(), &data));
    if (!find)
        return false;
    do {
        names.emplace_back(data.cFileName);
    } while (FindNextFileW(find.get(), &data));
    return true;
}

} // namespace platform
