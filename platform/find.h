// Finding the items of a folder by a pattern, as FindFirstFileW does.
#pragma once

#include <string>
#include <vector>

namespace platform {

// The names (last components only) of the items matching `pattern`, a path whose
// last component may hold the wildcards * and ?. Matching ignores case; folders,
// "." and ".." are found like files when they match. False when nothing could be
// found: no match, a missing or unreadable folder, or a malformed pattern.
bool FindFileNames(const std::wstring& pattern, std::vector<std::wstring>& names);

} // namespace platform
