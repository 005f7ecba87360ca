// Taking out what the program carries in its own file: the SimBase templates,
// the launcher stub and the Flight Simulator X version block.
#pragma once

#include "platform/resources.h"

#include <cstdint>
#include <string>

// Writes the embedded resource `id` of `type` to `path`, byte for byte, creating
// the file or replacing what it held. No folder is created. True when the file was
// opened and written to; the write itself is not checked.
bool ExtractResource(std::uint32_t id, std::wstring path, platform::ResourceType type);

// Writes the embedded Flight Simulator X version block into the executable at
// `path` as its version resource 1, language 1033. Every other resource of the
// file stays. True when the block stands in the file.
bool PatchToFSX(std::wstring path);
