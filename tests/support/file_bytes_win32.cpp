#include "support/file_bytes.h"

#include <cstdio>

std::string ReadAll(const std::wstring& path) {
    std::FILE* file = _wfopen(path.c_str(), L"rb");
    if (file == nullptr)
        return {};
    std::string bytes;
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes.append(buffer, got);
    std::fclose(file);
    return bytes;
}

bool WriteAll(const std::wstring& path, const std::string& bytes) {
    std::FILE* file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr)
        return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && written;
}
