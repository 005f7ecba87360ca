#include "support/sandbox.h"

#include "platform/fs.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

std::wstring CreateSandboxFolder() {
    wchar_t temp[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH, temp);
    std::wstring base(temp);
    if (!base.empty() && base.back() == L'\\')
        base.pop_back();
    for (unsigned attempt = 0;; ++attempt) {
        const std::wstring folder = base + L"\\ferrymark-test-" +
                                    std::to_wstring(GetCurrentProcessId()) + L"-" +
                                    std::to_wstring(GetTickCount() + attempt);
        if (CreateDirectoryW(folder.c_str(), nullptr))
            return folder;
        if (attempt > 100)
            throw std::runtime_error("cannot create a sandbox folder");
    }
}

void RemoveSandboxFolder(const std::wstring& folder) {
    platform::RemoveTree(folder);
}

std::string SandboxTest::ReadFile(const std::wstring& path) {
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

void SandboxTest::WriteFile(const std::wstring& path, const std::string& bytes) {
    std::FILE* file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr)
        throw std::runtime_error("cannot write a test file");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

void SandboxTest::MakeFolder(const std::wstring& path) {
    if (platform::CreateFolders(path).Failed())
        throw std::runtime_error("cannot create folder");
}
