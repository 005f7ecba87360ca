#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "platform/types.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace platform::posix {
namespace {

std::string& RootStorage() {
    static std::string root = [] {
        const char* fromEnvironment = std::getenv("FERRYMARK_ROOT");
        return std::string(fromEnvironment != nullptr ? fromEnvironment : "/tmp/ferrymark-root");
    }();
    return root;
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
    } else if (windowsPath.size() >= 2 && IsPathSeparator(windowsPath[0]) &&
               IsPathSeparator(windowsPath[1])) {
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

int CreateHostFolders(const std::string& hostPath) {
    std::error_code failure;
    std::filesystem::create_directories(hostPath, failure);
    return failure ? failure.value() : 0;
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
    // Each malformed sequence (a stray continuation byte, a lead byte without
    // its continuations, an overlong form, a surrogate, a value above U+10FFFF)
    // becomes one U+FFFD; decoding goes on at the first byte that does not
    // belong to it.
    std::wstring out;
    out.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size;) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            out += static_cast<wchar_t>(lead);
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t c = 0;
        std::uint32_t lowest = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            c = lead & 0x1Fu;
            lowest = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            c = lead & 0x0Fu;
            lowest = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            c = lead & 0x07u;
            lowest = 0x10000;
        }
        std::size_t used = 1;
        bool valid = length != 0;
        while (valid && used < length) {
            if (i + used >= size ||
                (static_cast<unsigned char>(text[i + used]) & 0xC0) != 0x80) {
                valid = false;
                break;
            }
            c = (c << 6) | (static_cast<unsigned char>(text[i + used]) & 0x3Fu);
            ++used;
        }
        if (valid && (c < lowest || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)))
            valid = false;
        out += valid ? static_cast<wchar_t>(c) : L'\xFFFD';
        i += valid ? length : std::max<std::size_t>(used, 1);
    }
    return out;
}

} // namespace platform::posix
