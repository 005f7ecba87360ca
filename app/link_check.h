// The program writes, moves and removes below folders of its own (the data folder,
// the backup base folder) and never through a link that someone planted there: a
// link, a junction or any other reparse point on the way is refused, not followed.
#pragma once

#include "platform/types.h"

#include <string>

// The reason given in the failure line of a step refused for a link, and that
// failure as a result (its code only marks it as one).
inline constexpr const wchar_t* kLinkInTheWay = L"the path leads through a link";
inline platform::SystemError LinkRefusal() {
    return {1, kLinkInTheWay};
}

// The first of `base`, the folders below it and `item` itself, from `base` down,
// that is a link of any kind; empty when there is none. Missing parts are no links.
std::wstring LinkOnTheWay(const std::wstring& base, const std::wstring& item);

// LinkOnTheWay, and a WARN line that names the link found. True when there was one.
bool RefuseLinkOnTheWay(const std::wstring& base, const std::wstring& item);

// The WARN line that names a link refused.
void WarnOfLink(const std::wstring& link);
