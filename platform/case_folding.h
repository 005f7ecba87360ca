// Case folding, written once: the POSIX backend's registry store and file masks,
// the program's own comparisons and the machine snapshot all fold names alike,
// so a name found by one is found by the others.
#pragma once

#include <string>

// Which letters case folding takes to upper case: the ASCII ones, or the Latin-1
// ones besides (not the division sign), which covers the names that simulators
// and installers write into the registry.
enum class FoldedLetters { Ascii, Latin1 };

// The upper case of a letter of the chosen set; every other character stays.
inline wchar_t FoldCase(wchar_t c, FoldedLetters letters = FoldedLetters::Ascii) {
    // Both ranges lie 0x20 above their upper case.
    const bool ascii = c >= L'a' && c <= L'z';
    const bool latin1 =
        letters == FoldedLetters::Latin1 && (c >= 0xE0 && c <= 0xFE && c != 0xF7);
    return ascii || latin1 ? static_cast<wchar_t>(c - 0x20) : c;
}

inline std::wstring FoldCase(const std::wstring& text, FoldedLetters letters = FoldedLetters::Ascii) {
    std::wstring folded = text;
    for (wchar_t& c : folded)
        c = FoldCase(c, letters);
    return folded;
}
