#include "app/text.h"

#include "platform/system.h"

#include <cstdarg>
#include <sstream>

std::wstring FormatWide(const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::wstring result = platform::FormatWideV(format, arguments);
    va_end(arguments);
    return result;
}

std::vector<std::wstring> Split(const std::wstring& text, wchar_t delimiter) {
    std::vector<std::wstring> pieces;
    std::wistringstream stream(text);
    std::wstring piece;
    while (std::getline(stream, piece, delimiter))
        pieces.push_back(piece);
    return pieces;
}

bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (FoldCase(a[i]) != FoldCase(b[i]))
            return false;
    return true;
}

std::u16string ToUtf16(const std::wstring& text) {
    std::u16string out;
    out.reserve(text.size());
    for (wchar_t wc : text) {
        const auto c = static_cast<std::uint32_t>(wc);
        if constexpr (sizeof(wchar_t) == 2) {
            out += static_cast<char16_t>(c);
        } else if (c >= 0x10000 && c <= 0x10FFFF) {
            out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

std::wstring FromUtf16(const char16_t* text, std::size_t length) {
    std::wstring out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t c = text[i];
        if constexpr (sizeof(wchar_t) != 2) {
            if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 &&
                text[i + 1] <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) +
                    (static_cast<std::uint32_t>(text[i + 1]) - 0xDC00);
                ++i;
            }
        }
        out += static_cast<wchar_t>(c);
    }
    return out;
}
