#include "app/paths.h"

#include "platform/types.h"

namespace {

using platform::IsPathSeparator;

bool IsDriveLetter(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

} // namespace

std::wstring PathRootName(const std::wstring& path) {
    if (path.size() >= 2 && IsDriveLetter(path[0]) && path[1] == L':')
        return path.substr(0, 2);
    if (path.size() >= 3 && IsPathSeparator(path[0]) && IsPathSeparator(path[1]) && !IsPathSeparator(path[2])) {
        std::size_t server = 2;
        while (server < path.size() && !IsPathSeparator(path[server]))
            ++server;
        if (server >= path.size())
            return path;
        std::size_t share = server + 1;
        while (share < path.size() && !IsPathSeparator(path[share]))
            ++share;
        return path.substr(0, share);
    }
    return {};
}

std::wstring PathJoin(const std::wstring& left, const std::wstring& right) {
    if (right.empty())
        return left;
    if (left.empty())
        return right;
    const std::wstring rightRoot = PathRootName(right);
    if (!rightRoot.empty())
        return right;
    if (IsPathSeparator(right[0]))
        return PathRootName(left) + right;
    const std::wstring leftRoot = PathRootName(left);
    if (IsPathSeparator(left.back()) || (leftRoot.size() == 2 && left.size() == 2))
        return left + right;
    return left + L"\\" + right;
}

std::wstring PathParent(const std::wstring& path) {
    const std::size_t rootLength = PathRootName(path).size();
    std::size_t end = path.size();
    while (end > rootLength && !IsPathSeparator(path[end - 1]))
        --end;
    // end now stands behind the last separator, or at the root name.
    std::size_t cut = end;
    while (cut > rootLength && IsPathSeparator(path[cut - 1]))
        --cut;
    if (cut == rootLength && end > rootLength)
        return path.substr(0, rootLength + 1); // keep the root's own separator
    return path.substr(0, cut);
}

std::wstring PathLastComponent(const std::wstring& path) {
    const std::size_t rootLength = PathRootName(path).size();
    std::size_t start = path.size();
    while (start > rootLength && !IsPathSeparator(path[start - 1]))
        --start;
    return path.substr(start);
}
