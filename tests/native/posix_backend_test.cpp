// The POSIX backend: Windows paths on the host, UTF-8 names, the shared registry store, no process table.
#include "app/machine_queries.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "platform/process.h"
#include "simulators/catalogue.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

using PosixBackendTest = SandboxTest;

TEST_F(PosixBackendTest, PathsTextAndTheRegistryStoreSharedWithAnotherProcess) {
    WriteFile(InFolder(L"file.txt"), "x");
    EXPECT_TRUE(platform::Exists(L"c:\\Sandbox\\file.txt")) << "the drive letter's case does not matter";
    EXPECT_FALSE(platform::Exists(L"C:\\Sandbox\\file.txt\\below")) << "nothing is below a file";
    // Backup names from the UTF-8 bytes: 5A C3 BC 72 69 63 68; 78 C3 BF ends in six ones.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"), L"C:\\Users\\Ferrymark backup (WsO8cmljaA==)");
    EXPECT_EQ(GetBackupPath(L"C:\\x\u00ff"), L"C:\\Ferrymark backup (eMO/)");

    // A child writes through its own connection while this one holds the key open.
    RegistryKey held(RegistryHive::LocalMachine, KeyPath(), false);
    platform::posix::CloseRegistryStore();
    const pid_t child = fork();
    const std::wstring written = KeyPath() + L"\\Child";
    if (child == 0)
        _exit(RegistryKey(RegistryHive::LocalMachine, written, false).WriteDword(L"Written", 42) ? 0 : 1);
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    platform::posix::CloseRegistryStore();
    EXPECT_EQ(RegistryKey(RegistryHive::LocalMachine, written, false).ReadDword(L"Written", 0), 42u);
}

// Where the process table cannot be read, the fallback answers and a simulator is taken to be running.
TEST_F(PosixBackendTest, NoProcessTableMeansInUse) {
    struct Reset {
        ~Reset() { platform::posix::SetProcessTableFolder(""); }
    } reset;
    OpenLog(L"Info");
    platform::posix::SetProcessTableFolder(platform::posix::Root() + "/missing");
    EXPECT_TRUE(IsProcessRunning(L"uptime", true));
    EXPECT_FALSE(IsProcessRunning(L"uptime", false));
    StoreLocation(L"Prepar3D v4", Folder());
    EXPECT_TRUE(CreateSimulators().at(4)->IsInUse());
    EXPECT_NE(LogText().find("ERROR    Failed to list running processes"), std::string::npos);
    EXPECT_NE(LogText().find("WARN    Simulator is running."), std::string::npos);
}
