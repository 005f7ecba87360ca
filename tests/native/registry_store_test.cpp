// The SQLite registry store below RegistryKey: what the Windows registry does
// and the tests through RegistryKey don't reach.
#include "app/registry_key.h"
#include "platform/posix/host.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace reg = platform::registry;

namespace {
const RegistryHive HKLM = RegistryHive::LocalMachine;
using RegistryStoreTest = SandboxTest;
} // namespace

TEST_F(RegistryStoreTest, SurvivesReopeningAndIsSharedWithOtherProcesses) {
    {
        RegistryKey key(HKLM, KeyPath(), false);
        ASSERT_TRUE(key.WriteString(L"BackupRoot", L"D:\\Backups"));
    }
    platform::posix::CloseRegistryStore();
    EXPECT_EQ(RegistryKey(HKLM, KeyPath(), false).ReadString(L"BackupRoot", L""), L"D:\\Backups");

    // A child process writes through its own connection while this one holds a key open.
    RegistryKey held(HKLM, KeyPath(), false);
    platform::posix::CloseRegistryStore();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        RegistryKey key(HKLM, KeyPath() + L"\\FromChild", false);
        const bool written = key.WriteDword(L"Written", 42);
        platform::posix::CloseRegistryStore();
        _exit(written ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(RegistryKey(HKLM, KeyPath() + L"\\FromChild", false).ReadDword(L"Written", 0), 42u);
}

TEST_F(RegistryStoreTest, CopyAndDeleteOfATree) {
    RegistryKey source(HKLM, KeyPath() + L"\\Uninstall\\Entry", false);
    source.WriteString(L"InstallLocation", L"C:\\Sim");
    RegistryKey(HKLM, KeyPath() + L"\\Uninstall\\Entry\\Nested", false).WriteDword(L"Level", 2);
    RegistryKey destination(HKLM, KeyPath() + L"\\Moved\\Entry", false);
    destination.WriteString(L"Stale", L"kept");

    RegistryKey uninstall(HKLM, KeyPath() + L"\\Uninstall", false);
    ASSERT_EQ(reg::CopyTree(uninstall.Handle(), L"Entry", destination.Handle()), reg::kSuccess);
    EXPECT_EQ(destination.ReadString(L"InstallLocation", L""), L"C:\\Sim");
    EXPECT_EQ(destination.ReadString(L"Stale", L""), L"kept") << "a copy merges into the target";
    EXPECT_EQ(
        RegistryKey(HKLM, KeyPath() + L"\\Moved\\Entry\\Nested", false).ReadDword(L"Level", 0), 2u);

    ASSERT_EQ(reg::DeleteTree(uninstall.Handle(), L"entry"), reg::kSuccess);
    EXPECT_FALSE(RegistryKey::Exists(HKLM, KeyPath() + L"\\Uninstall\\Entry", false));
    EXPECT_EQ(reg::DeleteTree(uninstall.Handle(), L"Entry"), reg::kFileNotFound);
    // A handle on a deleted key fails its calls; reads give their defaults.
    EXPECT_EQ(source.ReadString(L"InstallLocation", L"gone"), L"gone");
    EXPECT_FALSE(source.WriteDword(L"Late", 1));

    // With no subkey name the key stays and only its content goes.
    ASSERT_EQ(reg::DeleteTree(destination.Handle(), L""), reg::kSuccess);
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\Moved\\Entry", false));
    EXPECT_EQ(destination.ReadString(L"Stale", L"none"), L"none");
    EXPECT_TRUE(destination.SubKeys().empty());
}

TEST_F(RegistryStoreTest, EnumerationReportsShortBuffersAndTheEnd) {
    RegistryKey parent(HKLM, KeyPath(), false);
    RegistryKey(HKLM, KeyPath() + L"\\b-key", false);
    RegistryKey(HKLM, KeyPath() + L"\\A-Key", false);
    std::uint32_t count = 0;
    std::uint32_t longest = 0;
    ASSERT_EQ(reg::QueryInfo(parent.Handle(), &count, &longest, nullptr), reg::kSuccess);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(longest, 5u);
    wchar_t name[8] = {};
    std::uint32_t length = 8;
    ASSERT_EQ(reg::EnumKey(parent.Handle(), 0, name, &length), reg::kSuccess);
    EXPECT_EQ(std::wstring(name, length), L"A-Key");
    length = 5;
    EXPECT_EQ(reg::EnumKey(parent.Handle(), 1, name, &length), reg::kMoreData)
        << "five characters and a terminator do not fit in five";
    length = 8;
    EXPECT_EQ(reg::EnumKey(parent.Handle(), 2, name, &length), reg::kNoMoreItems);

    std::uint32_t size = 2;
    std::uint8_t small[2] = {};
    parent.WriteDword(L"Four", 4);
    EXPECT_EQ(reg::QueryValue(parent.Handle(), L"Four", nullptr, small, &size), reg::kMoreData);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(reg::QueryValue(parent.Handle(), L"Absent", nullptr, nullptr, &size),
              reg::kFileNotFound);
}
