// The POSIX backend: Windows paths on the host, UTF-8, the shared registry store, the process table.
#include "app/machine.h"
#include "app/machine_queries.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "platform/process.h"
#include "simulators/catalogue.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using PosixBackendTest = SandboxTest;

TEST_F(PosixBackendTest, PathsTextAndTheRegistryStoreSharedWithAnotherProcess) {
    const std::string root = platform::posix::Root();
    for (const auto& [windows, host] : {std::pair{L"d:/Sim\\Addons", "/D/Sim/Addons"}, {L"C:", "/C/"},
                                        {L"\\\\server\\share\\x", "/UNC/server/share/x"},
                                        {L"C:\\Z\u00fcrich", "/C/Z\xc3\xbcrich"}})
        EXPECT_EQ(platform::posix::HostPath(windows), root + host);
    WriteFile(InFolder(L"file.txt"), "x");
    EXPECT_TRUE(platform::Exists(L"c:\\Sandbox\\file.txt"))
        << "the drive letter's case does not matter";
    EXPECT_FALSE(platform::Exists(L"C:\\Sandbox\\file.txt\\below")) << "nothing is below a file";
    // Malformed UTF-8 becomes one replacement character a bad sequence.
    const std::pair<std::string, std::wstring> texts[] = {
        {"Z\xc3\xbc\xe2\x82\xac", L"Z\u00fc\u20ac"},
        {"\xf4\x8f\xbf\xbf", {wchar_t(0x10FFFF)}}, {"a\x80" "b", L"a\ufffdb"},
        {"\xc0\xaf", L"\ufffd\ufffd"}, {"\xe0\x80\xaf", L"\ufffd"}, {"\xed\xa0\x80", L"\ufffd"},
        {"\xf4\x90\x80\x80", L"\ufffd"}, {"\xe2\x82x", L"\ufffdx"}};
    for (const auto& [bytes, text] : texts)
        EXPECT_EQ(platform::posix::FromUtf8(bytes), text) << testing::PrintToString(bytes);
    // Backup names from the UTF-8 bytes: 5A C3 BC 72 69 63 68; 78 C3 BF ends in six ones.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"),
              L"C:\\Users\\Ferrymark backup (WsO8cmljaA==)");
    EXPECT_EQ(GetBackupPath(L"C:\\x\u00ff"), L"C:\\Ferrymark backup (eMO/)");
    EXPECT_FALSE(IsAlreadyRunning());
    EXPECT_TRUE(IsAlreadyRunning()) << "the name is held until the process ends";

    // A child writes through its own connection while this one holds the key open.
    RegistryKey held(RegistryHive::LocalMachine, KeyPath(), false);
    platform::posix::CloseRegistryStore();
    const pid_t child = fork();
    if (child == 0)
        _exit(RegistryKey(RegistryHive::LocalMachine, KeyPath() + L"\\Child", false)
                      .WriteDword(L"Written", 42)
                  ? 0
                  : 1);
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    platform::posix::CloseRegistryStore();
    EXPECT_EQ(RegistryKey(RegistryHive::LocalMachine, KeyPath() + L"\\Child", false)
                  .ReadDword(L"Written", 0),
              42u);
}

TEST_F(PosixBackendTest, NamesComeFromTheExecutableLinkThenCommAndNoTableMeansInUse) {
    struct Reset {
        ~Reset() { platform::posix::SetProcessTableFolder(""); }
    } reset;
    OpenLog(L"Info");
    const std::string table = platform::posix::Root() + "/proc";
    // Process folders, with a comm file and an executable link when given.
    const std::tuple<std::string, const char*, const char*> entries[] = {
        {"", nullptr, nullptr},
        {"/1", "Prepar3D.exe", "/opt/Prepar3D.exe (deleted)"},           // replaced
        {"/2", "simulator-launc", "/usr/lib/simulator-launcher-helper"}, // comm cuts at 15
        {"/3", "kworker/0:1", nullptr},
        {"/4", nullptr, nullptr}}; // gone while read
    for (const auto& [pid, comm, exe] : entries) {
        ASSERT_EQ(mkdir((table + pid).c_str(), 0755), 0);
        if (comm != nullptr)
            std::ofstream(table + pid + "/comm") << comm << "\n";
        ASSERT_TRUE(exe == nullptr || symlink(exe, (table + pid + "/exe").c_str()) == 0);
    }
    platform::posix::SetProcessTableFolder(table);
    std::vector<std::wstring> names;
    ASSERT_EQ(platform::ListProcessNames(names), platform::ProcessListResult::Listed);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Prepar3D.exe", L"kworker/0:1",
                                                L"simulator-launcher-helper"}));
    EXPECT_EQ(LogText(), "");
    // Unreadable: the fallback answers, and a simulator is taken to be running.
    platform::posix::SetProcessTableFolder(table + "/missing");
    EXPECT_TRUE(IsProcessRunning(L"uptime", true));
    EXPECT_FALSE(IsProcessRunning(L"uptime", false));
    StoreLocation(L"Prepar3D v4", Folder());
    EXPECT_TRUE(CreateSimulators().at(4)->IsInUse());
    EXPECT_NE(LogText().find("ERROR    Failed to list running processes"), std::string::npos);
    EXPECT_NE(LogText().find("WARN    Simulator is running."), std::string::npos);
}
