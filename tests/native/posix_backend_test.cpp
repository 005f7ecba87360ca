// The POSIX backend's own translations: Windows paths onto the host, UTF-8, the
// SQLite registry store across connections and processes, the process table, and
// backup names from the UTF-8 bytes of a name.
#include "app/machine.h"
#include "app/machine_queries.h"
#include "app/registry_key.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "platform/posix/host.h"
#include "platform/process.h"
#include "simulators/catalogue.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using PosixBackendTest = SandboxTest;
const RegistryHive HKLM = RegistryHive::LocalMachine;

TEST_F(PosixBackendTest, PathsTextNamesAndFolders) {
    const std::string root = platform::posix::Root();
    const std::pair<std::wstring, std::string> paths[] = {
        {L"C:\\ProgramData\\Kestrane", root + "/C/ProgramData/Kestrane"}, {L"d:/Sim\\Addons", root + "/D/Sim/Addons"},
        {L"C:", root + "/C/"}, {L"\\\\server\\share\\x", root + "/UNC/server/share/x"},
        {L"relative\\x", "relative/x"}, {L"C:\\Z\u00fcrich", root + "/C/Z\xc3\xbcrich"}};
    for (const auto& [windows, host] : paths)
        EXPECT_EQ(platform::posix::HostPath(windows), host);
    WriteFile(InFolder(L"file.txt"), "x");
    EXPECT_TRUE(platform::Exists(L"c:\\Sandbox\\file.txt")) << "the drive letter's case does not matter";
    EXPECT_FALSE(platform::Exists(L"C:\\Sandbox\\file.txt\\below")) << "nothing is below a file";
    EXPECT_FALSE(platform::IsFolder(L"C:\\Sandbox\\file.txt\\below"));

    // Malformed UTF-8 becomes one replacement character a bad sequence.
    const std::pair<std::string, std::wstring> texts[] = {
        {"Z\xc3\xbcrich", L"Z\u00fcrich"}, {"\xe2\x82\xac", L"\u20ac"},
        {"\xf4\x8f\xbf\xbf", std::wstring(1, static_cast<wchar_t>(0x10FFFF))},
        {"a\x80" "b", L"a\ufffdb"}, {"\xc0\xaf", L"\ufffd\ufffd"}, {"\xe0\x80\xaf", L"\ufffd"},
        {"\xed\xa0\x80", L"\ufffd"}, {"\xf4\x90\x80\x80", L"\ufffd"}, {"\xf5\x80\x80\x80", L"\ufffd\ufffd\ufffd\ufffd"},
        {"x\xe2\x82", L"x\ufffd"}, {"\xe2\x82x", L"\ufffdx"}, {"\xc3\xc3\xbc", L"\ufffd\u00fc"}};
    for (const auto& [bytes, text] : texts)
        EXPECT_EQ(platform::posix::FromUtf8(bytes), text) << testing::PrintToString(bytes);
    // "Z\u00fcrich" is 5A C3 BC 72 69 63 68; 78 C3 BF ends in six ones, the sign for 63.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"), L"C:\\Users\\Ferrymark backup (WsO8cmljaA==)");
    EXPECT_EQ(GetBackupPath(L"C:\\x\u00ff"), L"C:\\Ferrymark backup (eMO/)");

    EXPECT_FALSE(IsAlreadyRunning());
    EXPECT_TRUE(IsAlreadyRunning()) << "the name is held until the process ends";
    EXPECT_EQ(GetKnownFolder(KnownFolder::ProgramData), L"C:\\ProgramData");
    EXPECT_EQ(GetDataFolder(), L"C:\\ProgramData\\Kestrane\\Ferrymark");
}

TEST_F(PosixBackendTest, TheRegistryStoreSurvivesReopeningAndIsSharedWithOtherProcesses) {
    ASSERT_TRUE(RegistryKey(HKLM, KeyPath(), false).WriteString(L"BackupRoot", L"D:\\Backups"));
    platform::posix::CloseRegistryStore();
    EXPECT_EQ(RegistryKey(HKLM, KeyPath(), false).ReadString(L"BackupRoot", L""), L"D:\\Backups");
    RegistryKey held(HKLM, KeyPath(), false);
    platform::posix::CloseRegistryStore();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const bool written = RegistryKey(HKLM, KeyPath() + L"\\FromChild", false).WriteDword(L"Written", 42);
        platform::posix::CloseRegistryStore();
        _exit(written ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(RegistryKey(HKLM, KeyPath() + L"\\FromChild", false).ReadDword(L"Written", 0), 42u);
    // A handle on a deleted key fails its calls.
    EXPECT_EQ(platform::registry::DeleteTree(held.Handle(), L"FROMCHILD"), platform::registry::kSuccess);
    RegistryKey gone(HKLM, KeyPath() + L"\\Gone", false);
    platform::registry::DeleteTree(held.Handle(), L"Gone");
    EXPECT_FALSE(gone.WriteDword(L"Late", 1));
}

TEST_F(PosixBackendTest, ProcessNamesComeFromTheExecutableLinkThenFromCommAndAnUnreadableTableMeansInUse) {
    struct Reset {
        ~Reset() { platform::posix::SetProcessTableFolder(""); }
    } reset;
    OpenLog(L"Info");
    const std::string table = platform::posix::Root() + "/proc";
    // Process folders, with a comm file and an executable link when given.
    const std::tuple<std::string, const char*, const char*> entries[] = {
        {"", nullptr, nullptr},
        {"/100", "Prepar3D.exe", "/opt/Sims/Prepar3D.exe (deleted)"}, // replaced since it started
        {"/200", "simulator-launc", "/usr/lib/simulator-launcher-helper"}, // comm cuts at 15
        {"/300", "kworker/0:1", nullptr}, {"/400", nullptr, nullptr}}; // gone while read
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
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Prepar3D.exe", L"kworker/0:1", L"simulator-launcher-helper"}));
    EXPECT_TRUE(IsProcessRunning(L"PREPAR3D.EXE", false));
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
