#include "platform/posix/host.h"

#include <cstdint>
#include <cstdlib>

namespace platform::posix {
namespace {

std::string& RootStorage() {
    static std::string root = [] {
        const char* fromEnvironment = std::getenv("FERRYMARK_ROOT");
        return std::string(fromEnvironment != nullptr ? fromEnvironment : "/tmp/ferrymark-root");
    }();
    return root;
}

bool IsSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

} // namespace

void SetRoot(const std::string& hostFolder) {
    CloseRegistryStore();
    RootStorage() = hostFolder;
}

std::string Root() {
    return RootStorage();
}

std::string HostPath(const std::wstring& windowsPath) {
    std::wstring rest;
    std::string prefix;
    if (windowsPath.size() >= 2 && windowsPath[1] == L':' &&
        ((windowsPath[0] >= L'A' && windowsPath[0] <= L'Z') ||
         (windowsPath[0] >= L'a' && windowsPath[0] <= L'z'))) {
        wchar_t drive = windowsPath[0];
        if (drive >= L'a')
            drive = static_cast<wchar_t>(drive - L'a' + L'A');
        prefix = Root() + "/" + static_cast<char>(drive);
        rest = windowsPath.substr(2);
    } else if (windowsPath.size() >= 2 && IsSeparator(windowsPath[0]) &&
               IsSeparator(windowsPath[1])) {
        prefix = Root() + "/UNC";
        rest = windowsPath.substr(1);
    } else {
        rest = windowsPath;
    }
    std::string mapped = ToUtf8(rest);
    for (char& c : mapped)
        if (c == '\\')
            c = '/';
    if (!prefix.empty() && (mapped.empty() || mapped[0] != '/'))
        mapped.insert(mapped.begin(), '/');
    return prefix + mapped;
}

std::wstring WindowsPath(const std::string& hostPath) {
    const std::string root = Root() + "/";
    std::string rest = hostPath;
    std::wstring prefix;
    if (hostPath.rfind(root, 0) == 0) {
        rest = hostPath.substr(root.size());
        const std::string::size_type end = rest.find('/');
        const std::string first = rest.substr(0, end);
        if (first == "UNC") {
            prefix = L"\\";
            rest = end == std::string::npos ? std::string() : rest.substr(end + 1);
        } else if (first.size() == 1) {
            prefix = std::wstring(1, static_cast<wchar_t>(first[0])) + L":";
            rest = end == std::string::npos ? std::string("/") : rest.substr(end);
        }
    }
    std::wstring path = prefix + FromUtf8(rest);
    for (wchar_t& c : path)
        if (c == L'/')
            c = L'\\';
    return path;
}

std::string ToUtf8(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t wc : text) {
        auto c = static_cast<std::uint32_t>(wc);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::wstring FromUtf8(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        auto b = static_cast<unsigned char>(text[i]);
        std::uint32_t c = 0xFFFD;
        std::size_t length = 1;
        if (b < 0x80) {
            c = b;
        } else if ((b & 0xE0) == 0xC0 && i + 1 < text.size()) {
            c = ((b & 0x1Fu) << 6) | (static_cast<unsigned char>(text[i + 1]) & 0x3Fu);
            length = 2;
        } else if ((b & 0xF0) == 0xE0 && i + 2 < text.size()) {
            c = ((b & 0x0Fu) << 12) | ((static_cast<unsigned char>(text[i + 1]) & 0x3Fu) << 6) |
                (static_cast<unsigned char>(text[i + 2]) & 0x3Fu);
            length = 3;
        } else if ((b & 0xF8) == 0xF0 && i + 3 < text.size()) {
            c = ((b & 0x07u) << 18) | ((static_cast<unsigned char>(text[i + 1]) & 0x3Fu) << 12) |
                ((static_cast<unsigned char>(text[i + 2]) & 0x3Fu) << 6) |
                (static_cast<unsigned char>(text[i + 3]) & 0x3Fu);
            length = 4;
        }
        out += static_cast<wchar_t>(c);
        i += length;
    }
    return out;
}

} // namespace platform::posix
