// The real Ferrymark.exe under Wine: start-up order, single instance, old-install
// check, log rotation, the update framework's calls, and the ways to end it.
#include "app/machine.h"
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const std::wstring kOldInstallKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{"
                                    L"64cd40e2-6e5e-4732-8ed4-b4a5be475825}";
// The same key in the 32-bit view, as seen from the 64-bit one.
const std::wstring kOldInstallKey32 = L"Software\\WOW6432Node" + kOldInstallKey.substr(8);
const std::wstring kSettingsKey = L"Software\\Kestrane\\Ferrymark";
// The start line up to its build number.
const std::string kStartLine =
    R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d   INFO    Ferrymark version 5\.0\.7\.0 running on .+ build )";
const std::string kShutdown = "   INFO    Shutdown";

// The ways a user ends the program.
using Ending = void (*)(HWND);
const Ending kEscape = [](HWND dialog) { PostKey(dialog, VK_ESCAPE); };
const Ending kCloseBox = [](HWND dialog) { PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0); };
const Ending kFileExit = [](HWND dialog) { PressButton(dialog, 200); };

std::vector<std::string> Lines(const std::string& bytes, const std::string& end = "\r\n") {
    std::vector<std::string> lines;
    for (std::size_t start = 0, stop = 0; start < bytes.size(); start = stop + end.size()) {
        stop = std::min(bytes.find(end, start), bytes.size());
        lines.push_back(bytes.substr(start, stop - start));
    }
    return lines;
}

std::ptrdiff_t CountMatching(const std::vector<std::string>& lines, const std::string& pattern) {
    const std::regex expression(pattern);
    return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return std::regex_search(line, expression);
    });
}

class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr &&
            Environment(L"DISPLAY").empty())
            GTEST_SKIP() << "no X display for the program's windows under Wine: run under xvfb-run";
        buildFolder = Environment(L"FERRYMARK_BUILD");
        ASSERT_FALSE(buildFolder.empty()) << "FERRYMARK_BUILD names the build folder under test";
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        installFolder = L"C:\\ferrymark-e2e-" + std::wstring(name.begin(), name.end());
        RemoveTreeQuietly(installFolder);
        ASSERT_TRUE(CreateDirectoryW(installFolder.c_str(), nullptr));
        program = installFolder + L"\\Ferrymark.exe";
        ASSERT_TRUE(
            CopyFileW((buildFolder + L"\\bin\\Ferrymark.exe").c_str(), program.c_str(), FALSE));

        // A machine where the program left nothing behind.
        const std::wstring company = L"Software\\Kestrane";
        for (const std::wstring& key :
             {company, L"Software\\WOW6432Node" + company.substr(8), kOldInstallKey32})
            platform::registry::DeleteTreeBelowHive(HKLM, key);
        dataFolder = GetDataFolder();
        RemoveTreeQuietly(dataFolder);
        // The program has greeted on this machine before.
        ASSERT_TRUE(RegistryKey(HKLM, kSettingsKey, false).WriteDword(L"FirstRun", 1));
    }

    void TearDown() override { RemoveTreeQuietly(installFolder); }

    std::string Data(const wchar_t* f = L"log.txt") { return ReadAll(dataFolder + L"\\" + f); }
    std::vector<std::string> Log() { return Lines(Data()); }
    // The log's last line without its time stamp: level and message in their columns.
    std::string LastEntry() { return Log().empty() ? "" : Log().back().erase(0, 19); }

    // Starts the program, waits for its main dialog, runs `meanwhile` on it and ends it
    // by `how`, expecting exit code 0.
    void RunOnce(Ending how = kEscape, const std::function<void(HWND)>& meanwhile = {}) {
        ProgramRun run(program);
        HWND dialog = run.Started() ? run.WaitForDialog(L"Ferrymark") : nullptr;
        ASSERT_NE(dialog, nullptr) << "the main dialog did not appear";
        if (meanwhile)
            meanwhile(dialog);
        how(dialog);
        EXPECT_EQ(run.WaitForExit(), 0u);
    }
    // Starts the program, expecting a box with `text` that ends it with `exitCode`.
    void ExpectBox(const std::wstring& text, const std::wstring& shot, DWORD exitCode) {
        ProgramRun run(program);
        HWND box = run.WaitForDialog(L"Ferrymark");
        ASSERT_NE(box, nullptr) << "no message box";
        EXPECT_EQ(MessageBoxText(box), text);
        Screenshot(box, shot);
        PressButton(box, IDOK);
        EXPECT_EQ(run.WaitForExit(), exitCode);
    }

    std::wstring buildFolder, installFolder, program, dataFolder;
};

} // namespace

TEST_F(ProgramTest, StartsLogsEndsThreeWaysAndRefusesASecondStart) {
    RegistryKey system(HKLM, L"Software\\Microsoft\\Windows NT\\CurrentVersion", false);
    const std::wstring savedRelease = system.ReadString(L"ReleaseId", L"");
    system.WriteString(L"ReleaseId", L"2009");
    RunOnce(kEscape, [&](HWND dialog) {
        Screenshot(dialog, L"main-dialog");
        // Menu handles cannot be read across processes under Wine; that the bar is
        // there shows here, and its File, Exit is pressed below.
        EXPECT_NE(GetMenu(dialog), nullptr);
        EXPECT_EQ(WindowText(GetDlgItem(dialog, 606)), L"");
        EXPECT_EQ(ClassName(GetDlgItem(dialog, 606)), L"SysListView32");
        EXPECT_EQ(ClassName(GetDlgItem(dialog, 604)), L"ComboBox");

        const std::string logBefore = Data();
        ASSERT_FALSE(logBefore.empty());
        ExpectBox(L"Ferrymark is already running.", L"already-running", 2);
        EXPECT_EQ(Data(), logBefore) << "the second start must not touch the log";
        EXPECT_FALSE(FileExists(dataFolder + L"\\log1.txt")) << "nor rotate it";
    });
    const std::vector<std::string> lines = Log();
    EXPECT_TRUE(std::regex_match(lines.at(0), std::regex(kStartLine + "2009"))) << lines[0];
    EXPECT_EQ(CountMatching(lines, "^.{19}   WARN    WinSparkle\\.dll"), 1) << "said once, at WARN";
    EXPECT_EQ(CountMatching(lines, "   INFO    Appcast URL https://"), 1);
    EXPECT_EQ(LastEntry(), kShutdown);
    // The data folder made now is the administrators' from the start.
    EXPECT_EQ(CountMatching(lines, "restrict"), 0);
    EXPECT_EQ(FolderAccessList(dataFolder), AdministratorsOnlyList());

    // Without ReleaseId, as on older Windows, the line ends in N/A. Once the first
    // run has ended the name is free again; the close box and File, Exit end it too.
    system.DeleteValue(L"ReleaseId");
    for (Ending how : {kCloseBox, kFileExit}) {
        RemoveTreeQuietly(dataFolder);
        RunOnce(how);
        EXPECT_TRUE(std::regex_match(Log().at(0), std::regex(kStartLine + "N/A"))) << Data();
        EXPECT_EQ(LastEntry(), kShutdown);
    }
    if (!savedRelease.empty())
        system.WriteString(L"ReleaseId", savedRelease);
}

TEST_F(ProgramTest, AnOldInstallStopsTheStart) {
    const std::wstring oldFolder = installFolder + L"\\old";
    CreateDirectoryW(oldFolder.c_str(), nullptr);
    ASSERT_TRUE(RegistryKey(HKLM, kOldInstallKey, true).WriteString(L"InstallLocation", oldFolder));
    RunOnce(); // the folder without the program in it is no old install

    WriteAll(oldFolder + L"\\Ferrymark.exe", "old");
    ExpectBox(L"Uninstall previous version of Ferrymark and restart the program.", L"old-install",
              1);
    EXPECT_EQ(LastEntry(), "  FATAL    Old version of Ferrymark installed");
    EXPECT_EQ(CountMatching(Log(), "Appcast URL"), 0) << "start-up stopped before updates";

    // Without a key at all the check creates it, empty, in the 32-bit view and passes.
    platform::registry::DeleteTreeBelowHive(HKLM, kOldInstallKey32);
    RunOnce();
    EXPECT_TRUE(RegistryKey::Exists(HKLM, kOldInstallKey32, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, kOldInstallKey, false)) << "not in the 64-bit view";
    EXPECT_EQ(RegistryKey(HKLM, kOldInstallKey, true).ReadString(L"InstallLocation", L"-"), L"-");
}

TEST_F(ProgramTest, LogsRotateWithLogLimitAndTheUpdateFrameworkIsCalledInOrder) {
    CreateDirectoryW(L"C:\\ProgramData\\Kestrane", nullptr);
    CreateDirectoryW(dataFolder.c_str(), nullptr);
    // An earlier version's data folder, which every user may change.
    ASSERT_TRUE(SetFolderAccessList(dataFolder, L"D:(A;OICI;FA;;;WD)"));
    WriteAll(dataFolder + L"\\log.txt", "run three\r\n");
    WriteAll(dataFolder + L"\\log1.txt", "run two\r\n");
    WriteAll(dataFolder + L"\\log2.txt", "run one\r\n");
    WriteAll(dataFolder + L"\\log3.txt", "from a higher limit\r\n");
    ASSERT_TRUE(RegistryKey(HKLM, kSettingsKey, false).WriteDword(L"LogLimit", 3));
    ASSERT_TRUE(CopyFileW((buildFolder + L"\\test-doubles\\WinSparkle.dll").c_str(),
                          (installFolder + L"\\WinSparkle.dll").c_str(), FALSE));
    ASSERT_TRUE(RegistryKey(HKLM, kSettingsKey + L"\\Update", false)
                    .WriteString(L"AppcastURL", L"https://example.invalid/feed.xml"));
    RunOnce();
    EXPECT_EQ(Data(L"log1.txt"), "run three\r\n");
    EXPECT_EQ(Data(L"log2.txt"), "run two\r\n");
    EXPECT_EQ(Data(L"log3.txt"), "from a higher limit\r\n");
    EXPECT_TRUE(std::regex_match(Log().at(0), std::regex(kStartLine + ".+"))) << Data();
    EXPECT_EQ(Log().at(1).erase(0, 19), "   INFO    Data folder restricted to administrators: "
                                        "C:\\ProgramData\\Kestrane\\Ferrymark");
    EXPECT_EQ(FolderAccessList(dataFolder), AdministratorsOnlyList());
    // The calls end with the clean-up of a normal exit; no window exists at init.
    EXPECT_EQ(Lines(ReadAll(installFolder + L"\\winsparkle-calls.txt"), "\n"),
              (std::vector<std::string>{
                  "win_sparkle_set_registry_path Software\\Kestrane\\Ferrymark\\Update",
                  "win_sparkle_set_appcast_url https://example.invalid/feed.xml",
                  "win_sparkle_init windows=0", "win_sparkle_cleanup"}));
    EXPECT_EQ(CountMatching(Log(), "INFO    Appcast URL https://example\\.invalid/feed\\.xml$"), 1);
    EXPECT_EQ(CountMatching(Log(), "WinSparkle"), 0) << "no warning when the framework is there";

    // LogLimit 0: no rotation, the log grows.
    ASSERT_TRUE(RegistryKey(HKLM, kSettingsKey, false).WriteDword(L"LogLimit", 0));
    RunOnce();
    EXPECT_EQ(Data(L"log1.txt"), "run three\r\n");
    EXPECT_EQ(CountMatching(Log(), kStartLine), 2);
}
