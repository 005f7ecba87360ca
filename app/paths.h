// Path algebra on Windows-form paths, the same on every build: both separators
// count, and root names such as C: and \\server\share are kept whole.
#pragma once

#include <string>

// The root name: "C:" or "\\server\share", or empty.
std::wstring PathRootName(const std::wstring& path);

// Joins two paths as the Windows shell does: an absolute right side wins, a right
// side that starts at the root keeps the left side's drive, otherwise one
// backslash stands between them.
std::wstring PathJoin(const std::wstring& left, const std::wstring& right);

// The path without its last component and the separators before it; a root
// stays itself ("C:\" for "C:\Sim", "" for a bare name).
std::wstring PathParent(const std::wstring& path);

// The last component: what follows the last separator ("" when the path ends in one).
std::wstring PathLastComponent(const std::wstring& path);
