// POSIX backend of the pattern search. The host's directory listing is matched
// against the pattern's last component the way FindFirstFileW matches: * stands
// for any run of characters, ? for exactly one, case is ignored, "*.*" finds
// every name, trailing dots and spaces of the last component are dropped as
// Windows drops them from any path ("*." is "*", "README." is "README"), and "."
// and ".." are listed like any other item. Windows also matches the generated
// short (8.3) names, so that "*.htm" finds "page.html" there; the host has no
// short names and this backend does not make them up.
#include "platform/case_folding.h"
#include "platform/find.h"
#include "platform/posix/host.h"

#include <dirent.h>

namespace platform {
namespace {

// Iterative wildcard match with one point of return for the last *.
bool Matches(const std::wstring& mask, const std::wstring& name) {
    std::size_t m = 0;
    std::size_t n = 0;
    std::size_t starMask = std::wstring::npos;
    std::size_t starName = 0;
    while (n < name.size()) {
        if (m < mask.size() && mask[m] == L'*') {
            starMask = m++;
            starName = n;
        } else if (m < mask.size() &&
                   (mask[m] == L'?' || FoldCase(mask[m]) == FoldCase(name[n]))) {
            ++m;
            ++n;
        } else if (starMask != std::wstring::npos) {
            m = starMask + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (m < mask.size() && mask[m] == L'*')
        ++m;
    return m == mask.size();
}

} // namespace

bool FindFileNames(const std::wstring& pattern, std::vector<std::wstring>& names) {
    names.clear();
    const std::wstring::size_type separator = pattern.find_last_of(L"\\/");
    std::wstring mask = separator == std::wstring::npos ? pattern : pattern.substr(separator + 1);
    if (mask.find_first_not_of(L'.') != std::wstring::npos) {
        const std::wstring::size_type last = mask.find_last_not_of(L". ");
        mask.erase(last == std::wstring::npos ? 0 : last + 1);
    }
    if (mask.empty())
        return false;
    if (mask == L"*.*")
        mask = L"*";
    std::string hostFolder = ".";
    if (separator != std::wstring::npos)
        hostFolder = posix::HostPath(pattern.substr(0, separator + 1));

    DIR* folder = opendir(hostFolder.c_str());
    if (folder == nullptr)
        return false;
    while (dirent* entry = readdir(folder)) {
        std::wstring name = posix::FromUtf8(entry->d_name);
        if (Matches(mask, name))
            names.push_back(std::move(name));
    }
    closedir(folder);
    return !names.empty();
}

} // namespace platform
