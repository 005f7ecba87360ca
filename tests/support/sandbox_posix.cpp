#include "support/sandbox.h"

#include "platform/fs.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"

#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>

static std::string Host(const std::wstring& path) { return platform::posix::HostPath(path); }

std::wstring CreateSandboxFolder() {
    char pattern[] = "/tmp/ferrymark-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    platform::posix::SetRoot(pattern);
    platform::CreateFolders(L"C:\\Sandbox");
    return L"C:\\Sandbox";
}

void RemoveSandboxFolder(const std::wstring&) {
    // The whole root goes: the mapped drives, the registry store and the mutex files.
    const std::string root = platform::posix::Root();
    platform::posix::CloseRegistryStore();
    if (root.rfind("/tmp/ferrymark-test-", 0) == 0)
        std::system(("rm -rf '" + root + "'").c_str());
}

void SandboxTest::WriteFile(const std::wstring& path, const std::string& bytes) {
    if (!(std::ofstream(Host(path), std::ios::binary | std::ios::trunc) << bytes))
        throw std::runtime_error("cannot write " + Host(path));
}

std::wstring SandboxTest::AccessList(const std::wstring& folder) {
    struct stat info {};
    stat(Host(folder).c_str(), &info);
    wchar_t mode[8];
    std::swprintf(mode, 8, L"%04o", static_cast<unsigned>(info.st_mode & 07777));
    return mode;
}

void SandboxTest::OpenToEveryone(const std::wstring& folder) {
    if (chmod(Host(folder).c_str(), 0777) != 0)
        throw std::runtime_error("cannot open " + Host(folder) + " to everyone");
}
