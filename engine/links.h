// The symbolic links by which one simulator's folders and files stand for
// another's. The link comes first, then what it points to.
#pragma once

#include <string>

// A folder link; a missing target (and the link's parent) is created first.
// Whatever already stands at the link path makes the call fail.
bool CreateDirectoryLink(std::wstring link, std::wstring target);

// A file link; true without a link when the target does not exist. An old link
// at the link path is replaced, a real file there is not.
bool CreateFileLink(std::wstring link, std::wstring target);

// True when the link is gone or nothing is there; false for anything that is not
// a link or cannot be removed.
bool RemoveLink(std::wstring path);

// The target text as the system should store it: single backslashes throughout.
std::wstring CleanLinkTarget(const std::wstring& target);
