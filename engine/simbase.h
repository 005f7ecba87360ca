// The launch lists of a simulator, dll.xml and exe.xml: tested, repaired where one
// element is missing, and otherwise written fresh from an embedded template.
#pragma once

#include <cstdint>
#include <string>

// True when the document holds a Launch.Addon element at the end of the call. A
// SimBase.Document without one gets a dummy entry and is saved over itself; a file
// that is missing, does not parse, or has no SimBase.Document gives false. The
// version is accepted for symmetry with the writer and not read: both formats
// pass the same test.
bool VerifySimBaseDocument(std::wstring path, std::uint32_t version);

// Writes the template of `type` ("dll" or "exe", exactly) and `version` (1 or 3)
// to `path`. False for any other pair, or when the file cannot be written; no
// folder is created.
bool CreateSimBaseDocument(std::wstring path, std::wstring type, std::uint32_t version);
