#include "support/sandbox.h"

#include "app/logger.h"
#include "app/paths.h"
#include "platform/fs.h"

#include <stdexcept>

namespace reg = platform::registry;

void SandboxTest::SetUp() {
    folder = CreateSandboxFolder();
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(info->test_suite_name()) + "." + info->name();
    keyPath = L"Software\\FerrymarkTests\\" + std::wstring(name.begin(), name.end());
    DeleteTestKeys();
}

void SandboxTest::TearDown() {
    Logger::Instance().close();
    Logger::SetLevel(L"Info");
    DeleteTestKeys();
    RemoveSandboxFolder(folder);
}

void SandboxTest::DeleteTestKeys() {
    const std::wstring below = keyPath.substr(std::wstring(L"Software\\").size());
    for (RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser}) {
        for (bool wow32 : {false, true}) {
            reg::KeyHandle software = reg::OpenKey(hive, L"Software", wow32, false);
            if (software == nullptr)
                continue;
            reg::DeleteTree(software, below);
            reg::CloseKey(software);
        }
    }
}

void SandboxTest::MakeFolder(const std::wstring& path) {
    if (platform::CreateFolders(path).Failed())
        throw std::runtime_error("cannot create folder");
}

void SandboxTest::OpenLog(const wchar_t* level) {
    Logger::OpenFile(InFolder(L"log.txt"));
    Logger::SetLevel(level);
}

std::wstring SandboxTest::InFolder(const std::wstring& name) const {
    return PathJoin(folder, name);
}
