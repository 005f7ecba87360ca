// The real Ferrymark.exe under Wine: start-up order, single instance, old-install
// check, log rotation, the update framework's calls, and the ways to end it.
#include "app/machine.h"
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <regex>

namespace reg = platform::registry;

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const wchar_t* const kOldInstallKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{"
                                      L"64cd40e2-6e5e-4732-8ed4-b4a5be475825}";

std::vector<std::string> LogLines(const std::string& bytes) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < bytes.size()) {
        std::size_t end = bytes.find("\r\n", start);
        if (end == std::string::npos)
            end = bytes.size();
        lines.push_back(bytes.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

void DeleteKey(const std::wstring& parent, const std::wstring& child, bool wow32) {
    reg::KeyHandle key = reg::OpenKey(reg::Hive::LocalMachine, parent, wow32, false);
    if (key != nullptr) {
        reg::DeleteTree(key, child);
        reg::CloseKey(key);
    }
}

class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        buildFolder = Environment(L"FERRYMARK_BUILD");
        ASSERT_FALSE(buildFolder.empty()) << "FERRYMARK_BUILD names the build folder under test";
        const std::wstring built = buildFolder + L"\\bin\\Ferrymark.exe";
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = info->name();
        installFolder = L"C:\\ferrymark-e2e\\" + std::wstring(name.begin(), name.end());
        RemoveTreeQuietly(installFolder);
        CreateDirectoryW(L"C:\\ferrymark-e2e", nullptr);
        ASSERT_TRUE(CreateDirectoryW(installFolder.c_str(), nullptr));
        program = installFolder + L"\\Ferrymark.exe";
        ASSERT_TRUE(CopyFileW(built.c_str(), program.c_str(), FALSE));

        // A machine where the program never ran.
        DeleteKey(L"Software", L"Kestrane", false);
        DeleteKey(L"Software", L"Kestrane", true);
        DeleteKey(L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
                  L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}", true);
        dataFolder = GetDataFolder();
        RemoveTreeQuietly(dataFolder);
        logPath = dataFolder + L"\\log.txt";
    }

    void TearDown() override { RemoveTreeQuietly(installFolder); }

    std::vector<std::string> Log() { return LogLines(ReadAll(logPath)); }

    // Starts the program and waits for its main dialog.
    HWND StartToMainDialog(ProgramRun& run) {
        EXPECT_TRUE(run.Started());
        HWND dialog = run.WaitForDialog(L"Ferrymark");
        EXPECT_NE(dialog, nullptr) << "the main dialog did not appear";
        return dialog;
    }

    std::wstring buildFolder;
    std::wstring installFolder;
    std::wstring program;
    std::wstring dataFolder;
    std::wstring logPath;
};

const std::regex kStartLine(
    R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d   INFO    Ferrymark version 5\.0\.7\.0 running on .+ build .+)");

} // namespace

TEST_F(ProgramTest, StartsLogsItsStartAndEndsOnEscape) {
    RegistryKey system(HKLM, L"Software\\Microsoft\\Windows NT\\CurrentVersion", false);
    const std::wstring savedRelease = system.ReadString(L"ReleaseId", L"");
    system.WriteString(L"ReleaseId", L"2009");

    ProgramRun run(program);
    HWND dialog = StartToMainDialog(run);
    ASSERT_NE(dialog, nullptr);
    Screenshot(dialog, L"main-dialog");

    // The template's controls and the menu.
    // Menu handles cannot be read across processes under Wine; that the bar is
    // there shows here, and its File, Exit is pressed in another test.
    EXPECT_NE(GetMenu(dialog), nullptr);
    EXPECT_EQ(WindowText(GetDlgItem(dialog, 606)).size(), 0u);
    EXPECT_EQ(ClassName(GetDlgItem(dialog, 606)), L"SysListView32");
    EXPECT_EQ(ClassName(GetDlgItem(dialog, 604)), L"ComboBox");

    const std::vector<std::string> lines = Log();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_TRUE(std::regex_match(lines[0], kStartLine)) << lines[0];
    EXPECT_EQ(lines[0].substr(lines[0].size() - 11), " build 2009");
    int sparkleWarnings = 0;
    for (const std::string& line : lines)
        if (line.find("   WARN    WinSparkle.dll") != std::string::npos)
            ++sparkleWarnings;
    EXPECT_EQ(sparkleWarnings, 1) << "a missing update framework is said once, at WARN";
    EXPECT_NE(ReadAll(logPath).find("INFO    Appcast URL https://"), std::string::npos);

    PostKey(dialog, VK_ESCAPE);
    EXPECT_EQ(run.WaitForExit(), 0u);
    const std::vector<std::string> after = Log();
    ASSERT_FALSE(after.empty());
    EXPECT_EQ(after.back().substr(21), " INFO    Shutdown");

    // Without ReleaseId, as on older Windows, the line ends in N/A.
    system.DeleteValue(L"ReleaseId");
    RemoveTreeQuietly(dataFolder);
    ProgramRun second(program);
    HWND again = StartToMainDialog(second);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(Log().at(0).substr(Log().at(0).size() - 10), " build N/A");
    PostKey(again, VK_ESCAPE);
    EXPECT_EQ(second.WaitForExit(), 0u);
    if (!savedRelease.empty())
        system.WriteString(L"ReleaseId", savedRelease);
}

TEST_F(ProgramTest, CloseBoxAndFileExitEndTheProgram) {
    {
        ProgramRun run(program);
        HWND dialog = StartToMainDialog(run);
        ASSERT_NE(dialog, nullptr);
        PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
        EXPECT_EQ(run.WaitForExit(), 0u);
    }
    {
        ProgramRun run(program);
        HWND dialog = StartToMainDialog(run);
        ASSERT_NE(dialog, nullptr);
        PressButton(dialog, 200); // File, Exit
        EXPECT_EQ(run.WaitForExit(), 0u);
    }
    EXPECT_EQ(Log().back().substr(30), "Shutdown");
    EXPECT_EQ(LogLines(ReadAll(dataFolder + L"\\log1.txt")).back().substr(30), "Shutdown");
}

TEST_F(ProgramTest, ASecondStartIsRefusedAndLeavesTheLogAlone) {
    ProgramRun first(program);
    HWND dialog = StartToMainDialog(first);
    ASSERT_NE(dialog, nullptr);
    const std::string logBefore = ReadAll(logPath);
    ASSERT_FALSE(logBefore.empty());

    ProgramRun second(program);
    HWND box = second.WaitForDialog(L"Ferrymark");
    ASSERT_NE(box, nullptr) << "the second start shows no box";
    EXPECT_EQ(MessageBoxText(box), L"Ferrymark is already running.");
    Screenshot(box, L"already-running");
    PressButton(box, IDOK);
    EXPECT_EQ(second.WaitForExit(), 2u);
    EXPECT_EQ(ReadAll(logPath), logBefore) << "the second start must not touch the log";
    EXPECT_FALSE(FileExists(dataFolder + L"\\log1.txt")) << "nor rotate it";

    PostKey(dialog, VK_ESCAPE);
    EXPECT_EQ(first.WaitForExit(), 0u);

    // Once the first has ended, the name is free again.
    ProgramRun third(program);
    HWND thirdDialog = StartToMainDialog(third);
    ASSERT_NE(thirdDialog, nullptr);
    PostKey(thirdDialog, VK_ESCAPE);
    EXPECT_EQ(third.WaitForExit(), 0u);
}

TEST_F(ProgramTest, AnOldInstallStopsTheStart) {
    const std::wstring oldFolder = installFolder + L"\\old";
    CreateDirectoryW(oldFolder.c_str(), nullptr);
    {
        RegistryKey old(HKLM, kOldInstallKey, true);
        ASSERT_TRUE(old.WriteString(L"InstallLocation", oldFolder));
    }
    // The folder without the program in it is no old install.
    {
        ProgramRun run(program);
        HWND dialog = StartToMainDialog(run);
        ASSERT_NE(dialog, nullptr);
        PostKey(dialog, VK_ESCAPE);
        EXPECT_EQ(run.WaitForExit(), 0u);
    }
    WriteAll(oldFolder + L"\\Ferrymark.exe", "old");
    ProgramRun run(program);
    HWND box = run.WaitForDialog(L"Ferrymark");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(MessageBoxText(box),
              L"Uninstall previous version of Ferrymark and restart the program.");
    Screenshot(box, L"old-install");
    PressButton(box, IDOK);
    EXPECT_EQ(run.WaitForExit(), 1u);
    const std::vector<std::string> lines = Log();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.back().substr(21), "FATAL    Old version of Ferrymark installed");
    for (const std::string& line : lines)
        EXPECT_EQ(line.find("Appcast URL"), std::string::npos) << "start-up stopped before updates";

    // Without a key at all the check creates it, empty, in the 32-bit view and passes.
    DeleteKey(L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
              L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}", true);
    ProgramRun fresh(program);
    HWND dialog = StartToMainDialog(fresh);
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(RegistryKey::Exists(HKLM, kOldInstallKey, true));
    EXPECT_TRUE(RegistryKey::Exists(
        HKLM, std::wstring(L"Software\\WOW6432Node\\") + (kOldInstallKey + 9), false));
    PostKey(dialog, VK_ESCAPE);
    EXPECT_EQ(fresh.WaitForExit(), 0u);
}

TEST_F(ProgramTest, LogsRotateAtStartWithLogLimit) {
    CreateDirectoryW(L"C:\\ProgramData\\Kestrane", nullptr);
    CreateDirectoryW(dataFolder.c_str(), nullptr);
    WriteAll(dataFolder + L"\\log.txt", "run three\r\n");
    WriteAll(dataFolder + L"\\log1.txt", "run two\r\n");
    WriteAll(dataFolder + L"\\log2.txt", "run one\r\n");
    WriteAll(dataFolder + L"\\log3.txt", "from a higher limit\r\n");
    {
        RegistryKey settings(HKLM, L"Software\\Kestrane\\Ferrymark", false);
        ASSERT_TRUE(settings.WriteDword(L"LogLimit", 3));
    }
    ProgramRun run(program);
    HWND dialog = StartToMainDialog(run);
    ASSERT_NE(dialog, nullptr);
    PostKey(dialog, VK_ESCAPE);
    EXPECT_EQ(run.WaitForExit(), 0u);

    EXPECT_EQ(ReadAll(dataFolder + L"\\log1.txt"), "run three\r\n");
    EXPECT_EQ(ReadAll(dataFolder + L"\\log2.txt"), "run two\r\n");
    EXPECT_EQ(ReadAll(dataFolder + L"\\log3.txt"), "from a higher limit\r\n");
    const std::vector<std::string> lines = Log();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(std::regex_match(lines[0], kStartLine)) << "the new log starts fresh: " << lines[0];

    // LogLimit 0: no rotation, the log grows.
    {
        RegistryKey settings(HKLM, L"Software\\Kestrane\\Ferrymark", false);
        ASSERT_TRUE(settings.WriteDword(L"LogLimit", 0));
    }
    ProgramRun again(program);
    HWND second = StartToMainDialog(again);
    ASSERT_NE(second, nullptr);
    PostKey(second, VK_ESCAPE);
    EXPECT_EQ(again.WaitForExit(), 0u);
    EXPECT_EQ(ReadAll(dataFolder + L"\\log1.txt"), "run three\r\n");
    int startLines = 0;
    for (const std::string& line : Log())
        startLines += std::regex_match(line, kStartLine) ? 1 : 0;
    EXPECT_EQ(startLines, 2);
}

TEST_F(ProgramTest, UpdateFrameworkIsCalledInOrder) {
    const std::wstring recorder = buildFolder + L"\\test-doubles\\WinSparkle.dll";
    ASSERT_TRUE(CopyFileW(recorder.c_str(), (installFolder + L"\\WinSparkle.dll").c_str(), FALSE));
    {
        RegistryKey update(HKLM, L"Software\\Kestrane\\Ferrymark\\Update", false);
        ASSERT_TRUE(update.WriteString(L"AppcastURL", L"https://example.invalid/feed.xml"));
    }
    ProgramRun run(program);
    HWND dialog = StartToMainDialog(run);
    ASSERT_NE(dialog, nullptr);
    const std::wstring calls = installFolder + L"\\winsparkle-calls.txt";
    EXPECT_EQ(ReadAll(calls),
              "win_sparkle_set_registry_path Software\\Kestrane\\Ferrymark\\Update\n"
              "win_sparkle_set_appcast_url https://example.invalid/feed.xml\n"
              "win_sparkle_init windows=0\n");
    EXPECT_NE(ReadAll(logPath).find("INFO    Appcast URL https://example.invalid/feed.xml"),
              std::string::npos);
    EXPECT_EQ(ReadAll(logPath).find("WinSparkle.dll"), std::string::npos)
        << "no warning when the framework is there";
    PostKey(dialog, VK_ESCAPE);
    EXPECT_EQ(run.WaitForExit(), 0u);
    const std::vector<std::string> recorded = LogLines([&] {
        std::string text = ReadAll(calls);
        std::string crlf;
        for (char c : text)
            crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
        return crlf;
    }());
    ASSERT_EQ(recorded.size(), 4u);
    EXPECT_EQ(recorded.back(), "win_sparkle_cleanup");
}
