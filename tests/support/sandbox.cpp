#include "support/sandbox.h"

#include "app/paths.h"
#include "platform/fs.h"

#include <fstream>
#include <iterator>

namespace reg = platform::registry;

namespace {

std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

} // namespace

void SandboxTest::SetUp() {
    folder = CreateSandboxFolder();
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    keyPath =
        L"Software\\FerrymarkTests\\" + Widen(info->test_suite_name()) + L"." + Widen(info->name());
    DeleteTestKeys();
}

void SandboxTest::TearDown() {
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

std::wstring SandboxTest::InFolder(const std::wstring& name) const {
    return PathJoin(folder, name);
}
