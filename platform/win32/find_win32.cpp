#include "platform/find.h"

#include <windows.h>

namespace platform {

bool FindFileNames(const std::wstring& pattern, std::vector<std::wstring>& names) {
    names.clear();
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW(pattern.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    do {
        names.emplace_back(data.cFileName);
    } while (FindNextFileW(find, &data));
    FindClose(find);
    return true;
}

} // namespace platform
