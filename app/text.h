// Text tools of general use: printf into a wide string, cutting at a delimiter,
// comparison without regard to case, and UTF-16 for data kept in the registry.
#pragma once

#include "platform/case_folding.h"

#include <string>
#include <vector>

// Prints with printf conventions for wide text (%s takes a wide string) into a
// string of any length.
std::wstring FormatWide(const wchar_t* format, ...);

// Cuts `text` at every `delimiter`: an empty text gives no piece, a trailing
// delimiter no extra empty piece, two adjacent delimiters an empty piece.
std::vector<std::wstring> Split(const std::wstring& text, wchar_t delimiter);

// Equal when they differ only in the case of ASCII letters.
bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b);

// Registry text is UTF-16 on every platform; wchar_t is not.
std::u16string ToUtf16(const std::wstring& text);
std::wstring FromUtf16(const char16_t* text, std::size_t length);
