// The fixed part of a file's version resource.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// The file version of the fixed file information of `path`: its two 32-bit
// halves, most significant first, as the fixed block stores them. This is the
// file version, never the product version. False when the file has no version
// data (not an executable image, no version resource, or not readable).
bool ReadFixedFileVersion(const std::wstring& path, std::uint32_t& versionMS,
                          std::uint32_t& versionLS);

} // namespace platform
