// Questions to the machine: running processes, files matching a pattern, the
// version a file carries.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// True when a process whose bare file name equals `name` as a whole, without
// regard to case, is running. When the process list cannot be read, logs at
// ERROR and answers `fallback`.
bool IsProcessRunning(std::wstring name, bool fallback);

// Full paths of the items matching `pattern` (wildcards * and ? in its last
// component), each the pattern's prefix up to its last backslash joined with the
// matched name. Folders, "." and ".." included when they match; no error reported.
std::vector<std::wstring> ListFiles(std::wstring pattern);

// The file version (never the product version) of a file's version resource.
// Any output may be null. False when the file has no version data.
bool GetFileVersion(std::wstring path, std::uint16_t* major, std::uint16_t* minor,
                    std::uint16_t* build, std::uint16_t* revision);

// "major.minor.build.revision" of GetFileVersion, or the empty text.
std::wstring GetFileVersionText(std::wstring path);
