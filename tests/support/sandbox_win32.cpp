#include "support/sandbox.h"

#include "platform/fs.h"
#include "support/file_bytes.h"

#include <windows.h>

#include <stdexcept>

std::wstring CreateSandboxFolder() {
    wchar_t temp[MAX_PATH + 1] = {};
    std::wstring base(temp, GetTempPathW(MAX_PATH, temp));
    if (!base.empty() && base.back() == L'\\')
        base.pop_back();
    for (unsigned attempt = 0; attempt < 100; ++attempt) {
        const std::wstring folder = base + L"\\ferrymark-test-" +
                                    std::to_wstring(GetCurrentProcessId()) + L"-" +
                                    std::to_wstring(GetTickCount() + attempt);
        if (CreateDirectoryW(folder.c_str(), nullptr))
            return folder;
    }
    throw std::runtime_error("cannot create a sandbox folder");
}

void RemoveSandboxFolder(const std::wstring& folder) {
    platform::RemoveTree(folder);
}

void SandboxTest::WriteFile(const std::wstring& path, const std::string& bytes) {
    if (!WriteAll(path, bytes))
        throw std::runtime_error("cannot write " + Narrow(path));
}

std::wstring SandboxTest::AccessList(const std::wstring& folder) {
    return FolderAccessList(folder);
}

void SandboxTest::OpenToEveryone(const std::wstring& folder) {
    if (!SetFolderAccessList(folder, L"D:(A;OICI;FA;;;WD)"))
        throw std::runtime_error("cannot open a folder to everyone");
}
