#include "app/link_check.h"

#include "app/logger.h"
#include "app/paths.h"
#include "platform/fs.h"

#include <vector>

std::wstring LinkOnTheWay(const std::wstring& base, const std::wstring& item) {
    // The item and its folders up to the base, which is the shortest of them.
    std::vector<std::wstring> chain{item};
    while (chain.back().size() > base.size()) {
        const std::wstring parent = PathParent(chain.back());
        if (parent == chain.back())
            break;
        chain.push_back(parent);
    }
    // From the base down, so that the outermost link is the one named.
    for (auto path = chain.rbegin(); path != chain.rend(); ++path)
        if (platform::IsReparsePoint(*path))
            return *path;
    return {};
}

bool RefuseLinkOnTheWay(const std::wstring& base, const std::wstring& item) {
    const std::wstring link = LinkOnTheWay(base, item);
    if (link.empty())
        return false;
    WarnOfLink(link);
    return true;
}

void WarnOfLink(const std::wstring& link) {
    Logger::Write(Logger::WarnLevel, L"Not following the link " + link);
}
