// The SQLite registry store below RegistryKey: what only a store on disk can get
// wrong, a reopened connection and a second process.
#include "app/registry_key.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

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

TEST_F(RegistryStoreTest, ShortBuffersTheEndDeletedKeysAndEmptiedKeysAnswerAsWindowsDoes) {
    namespace reg = platform::registry;
    RegistryKey parent(HKLM, KeyPath(), false), child(HKLM, KeyPath() + L"\\b-key", false);
    RegistryKey(HKLM, KeyPath() + L"\\A-Key", false).WriteDword(L"Four", 4);
    wchar_t name[8] = {};
    std::uint32_t length = 8, size = 2;
    ASSERT_EQ(reg::EnumKey(parent.Handle(), 0, name, &length), reg::kSuccess);
    EXPECT_EQ(std::wstring(name, length), L"A-Key");
    length = 5;
    EXPECT_EQ(reg::EnumKey(parent.Handle(), 1, name, &length), reg::kMoreData)
        << "five characters and a terminator do not fit in five";
    EXPECT_EQ(reg::EnumKey(parent.Handle(), 2, name, &length), reg::kNoMoreItems);
    std::uint8_t small[2] = {};
    RegistryKey a(HKLM, KeyPath() + L"\\a-key", false);
    EXPECT_EQ(reg::QueryValue(a.Handle(), L"Four", nullptr, small, &size), reg::kMoreData);
    EXPECT_EQ(size, 4u);
    // A handle on a deleted key fails its calls; with no subkey name the key stays.
    ASSERT_EQ(reg::DeleteTree(parent.Handle(), L"B-KEY"), reg::kSuccess);
    EXPECT_EQ(reg::DeleteTree(parent.Handle(), L"b-key"), reg::kFileNotFound);
    EXPECT_FALSE(child.WriteDword(L"Late", 1));
    ASSERT_EQ(reg::DeleteTree(a.Handle(), L""), reg::kSuccess);
    EXPECT_EQ(a.ReadDword(L"Four", 0), 0u);
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\A-Key", false));
}
