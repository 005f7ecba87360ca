// The installer under Wine: a silent install, the program started as its shortcut starts it finding its
// manual, a silent uninstall; then the package over its life, one table row each.
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"
#include "tools/machine/machine_snapshot.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

#define UNINSTALL L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
#define INSTALLED L"C:\\Program Files\\Kestrane\\Ferrymark"
#define DATA L"C:\\ProgramData\\Kestrane\\Ferrymark"
#define OURS L"5.0.7.0"
#define NEWER FERRYMARK_NEWER_VERSION

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::wstring ShellFolder(REFKNOWNFOLDERID id) {
    PWSTR path = nullptr;
    const std::wstring result = SUCCEEDED(SHGetKnownFolderPath(id, 0, nullptr, &path)) ? path : L"";
    CoTaskMemFree(path);
    return result;
}
DWORD Msiexec(const std::wstring& arguments, DWORD timeoutMs = 240000) {
    return ProgramRun(L"C:\\windows\\system32\\msiexec.exe", arguments).WaitForExit(timeoutMs);
}
// What a shortcut starts, and in which folder, "|" between.
std::wstring ReadShortcut(const std::wstring& file) {
    std::wstring found;
    IShellLinkW* link = nullptr;
    IPersistFile* persist = nullptr;
    wchar_t target[MAX_PATH] = {}, folder[MAX_PATH] = {};
    if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                   reinterpret_cast<void**>(&link))) &&
        SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&persist))) &&
        SUCCEEDED(persist->Load(file.c_str(), STGM_READ)) && SUCCEEDED(link->GetPath(target, MAX_PATH, nullptr, 0)) &&
        SUCCEEDED(link->GetWorkingDirectory(folder, MAX_PATH)))
        found = std::wstring(target) + L"|" + folder;
    if (persist != nullptr)
        persist->Release();
    if (link != nullptr)
        link->Release();
    return found;
}
// The installed programs' entries named Ferrymark in one view: "name version" each.
std::vector<std::wstring> Entries(bool wow32) {
    std::vector<std::wstring> found;
    for (const std::wstring& name : RegistryKey(HKLM, UNINSTALL, wow32).SubKeys()) {
        const RegistryKey entry(HKLM, UNINSTALL L"\\" + name, wow32);
        if (entry.ReadString(L"DisplayName", L"") == L"Ferrymark")
            found.push_back(name + L" " + entry.ReadString(L"DisplayVersion", L""));
    }
    return found;
}
// Under Wine the shortcut is read where Wine puts it (TheShortcutIsInTheAllUsersStartMenu is skipped there).
std::wstring ShortcutFile() {
    const std::wstring common = ShellFolder(FOLDERID_CommonPrograms) + L"\\Ferrymark.lnk";
    return !FileExists(common) && UnderWine() ? ShellFolder(FOLDERID_Programs) + L"\\Ferrymark.lnk" : common;
}

class InstallerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (UnderWine() && Environment(L"DISPLAY").empty())
            GTEST_SKIP() << "no X display for the program's windows under Wine: run under xvfb-run";
        build = Environment(L"FERRYMARK_BUILD");
        newer = Environment(L"FERRYMARK_NEWER_BUILD");
        ASSERT_FALSE(build.empty() || newer.empty()) << "FERRYMARK_BUILD and FERRYMARK_NEWER_BUILD name the builds";
        package = build + L"\\Ferrymark-5.0.7.0-x64.msi";
        newerPackage = newer + L"\\Ferrymark-" FERRYMARK_NEWER_VERSION L"-x64.msi";
        ASSERT_TRUE(FileExists(package)) << "no package " << Narrow(package);
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        Clean();
        RemoveTreeQuietly(DATA);
    }
    void TearDown() override {
        if (!build.empty())
            Clean();
        CoUninitialize();
    }
    void Clean() const { // the settings first: with a target active the removal would be refused
        platform::registry::DeleteTreeBelowHive(HKLM, L"Software\\Kestrane");
        for (const std::wstring& each : {package, newerPackage})
            Msiexec(L"/x \"" + each + L"\" /qn");
    }
    // The files of that version's build, the shortcut and the one entry (64-bit view alone), or nothing at all.
    void ExpectInstalled(const std::wstring& version) const {
        const std::vector<std::wstring> entries = Entries(false);
        EXPECT_EQ(FileExists(L"C:\\Program Files\\Kestrane"), !version.empty());
        EXPECT_EQ(entries.size(), version.empty() ? 0u : 1u) << "entries in the installed programs";
        EXPECT_EQ(Entries(true).size(), 0u) << "entries in the 32-bit view";
        EXPECT_EQ(FileExists(ShortcutFile()), !version.empty());
        if (version.empty() || entries.size() != 1)
            return;
        const std::wstring from = version == OURS ? build : newer;
        for (const wchar_t* name : {L"\\Ferrymark.exe", L"\\Manual.pdf"})
            EXPECT_TRUE(ReadAll(INSTALLED + std::wstring(name)) == ReadAll(from + (name[1] == L'F' ? L"\\bin" : L"") + name))
                << Narrow(name) << " is not that build's";
        EXPECT_EQ(Narrow(ReadShortcut(ShortcutFile())), Narrow(INSTALLED L"\\Ferrymark.exe|" INSTALLED L"\\"));
        EXPECT_EQ(Narrow(entries[0].substr(39)), Narrow(version));
        EXPECT_NE(Narrow(entries[0].substr(0, 38)), "{64cd40e2-6e5e-4732-8ed4-b4a5be475825}") << "the old install's";
        const RegistryKey entry(HKLM, UNINSTALL L"\\" + entries[0].substr(0, 38), false);
        EXPECT_EQ(Narrow(entry.ReadString(L"Publisher", L"")), "Kestrane");
        const std::wstring icon = entry.ReadString(L"DisplayIcon", L"");
        EXPECT_TRUE(FileExists(icon.substr(0, icon.rfind(L',')))) << "no icon: " << Narrow(icon);
    }

    std::wstring build, newer, package, newerPackage;
};

} // namespace

TEST_F(InstallerTest, InstallsSilentlyRunsFromItsShortcutAndUninstallsSilently) {
    ASSERT_EQ(Msiexec(L"/i \"" + package + L"\" /qn"), 0u);
    ExpectInstalled(OURS);
    // Started as its shortcut does, it finds its manual: About, posted behind it, stands with no "Missing manual".
    ProgramRun run(INSTALLED L"\\Ferrymark.exe", L"", INSTALLED L"\\");
    HWND greeting = run.WaitForDialog(L"Ferrymark", 20000, IDOK);
    ASSERT_NE(greeting, nullptr) << "no greeting on the first start";
    PressButton(greeting, IDOK);
    HWND main = run.WaitForDialog(L"Ferrymark", 20000, 606), about = nullptr;
    ASSERT_NE(main, nullptr);
    PressButton(main, 500);
    PressButton(main, 502);
    ASSERT_NE(about = run.WaitForDialog(L"About", 20000, 704), nullptr);
    EXPECT_EQ(run.WaitForDialog(L"Missing manual", 200), nullptr);
    PressButton(about, IDOK);
    EXPECT_TRUE(WaitUntil([&] { return !IsWindow(about); }));
    PostKey(main, VK_ESCAPE);
    EXPECT_EQ(run.WaitForExit(), 0u);
    const std::string log = ReadAll(DATA L"\\log.txt");
    EXPECT_NE(log.find("INFO    Ferrymark version 5.0.7.0"), std::string::npos) << log;
    EXPECT_EQ(log.find("User manual is missing."), std::string::npos) << log;
    EXPECT_EQ(FolderAccessList(DATA), AdministratorsOnlyList());

    // The uninstall leaves the data folder with its log and the settings key that the program wrote.
    ASSERT_EQ(Msiexec(L"/x \"" + package + L"\" /qn"), 0u);
    ExpectInstalled(L"");
    EXPECT_FALSE(ReadAll(DATA L"\\log.txt").empty());
    EXPECT_EQ(RegistryKey(HKLM, L"Software\\Kestrane\\Ferrymark", false).ReadDword(L"FirstRun", 0), 1u);
}

TEST_F(InstallerTest, TheShortcutIsInTheAllUsersStartMenu) {
    if (UnderWine())
        GTEST_SKIP() << "Wine's installer puts a per-machine package's Start menu shortcut into the "
                        "user's Start menu (ProgramMenuFolder ignores ALLUSERS in its msi)";
    ASSERT_EQ(Msiexec(L"/i \"" + package + L"\" /qn"), 0u);
    EXPECT_TRUE(FileExists(ShellFolder(FOLDERID_CommonPrograms) + L"\\Ferrymark.lnk"));
}

// A package installed, a target active or not, its files perhaps deleted, one msiexec command: the settings and
// the data folder come through unchanged, a refusal changes nothing and shows (full UI) or logs its message.
namespace {
struct PackageRow { // {this}, {newer}, {log} in the command: the packages and a log file
    const char* name;
    const wchar_t *first, *command; // the version installed before it
    bool active, deleteFiles, refused;
    const wchar_t *after, *message; // the version installed after it, "" for none
    const char* wineSkip;
};
#define REMOVAL_REFUSED L"Ferrymark has disabled all simulators but Prepar3D v4, the active target.\n\n" \
                        L"To remove Ferrymark, open Ferrymark, press Deactivate and then remove it."
const PackageRow kRows[] = {
    {"refused_removal", OURS, L"/x {this} /qn", true, false, true, OURS, nullptr, nullptr},
    {"refused_removal_box", OURS, L"/x {this}", true, false, true, OURS, REMOVAL_REFUSED, nullptr},
    {"refused_removal_log", OURS, L"/x {this} /qn /l*v {log}", true, false, true, OURS, REMOVAL_REFUSED,
     "Wine's installer shows a failed launch condition's text in full UI only, and writes it to no log"},
    {"removal_inactive", OURS, L"/x {this} /qn", false, false, false, L"", nullptr, nullptr},
    {"upgrade_active", OURS, L"/i {newer} /qn", true, false, false, NEWER, nullptr, nullptr},
    {"downgrade_refused", NEWER, L"/i {this} /qn", false, false, true, NEWER, nullptr, nullptr},
    {"downgrade_refused_box", NEWER, L"/i {this}", false, false, true, NEWER,
     L"A newer version of Ferrymark is already installed.", nullptr},
    {"repair", OURS, L"/i {this} REINSTALL=ALL REINSTALLMODE=amus /qn", true, true, false, OURS, nullptr, nullptr},
    {"repair_fa", OURS, L"/fa {this} /qn", true, true, false, OURS, nullptr,
     "Wine's msiexec /f passes the package's path to MsiReinstallProduct, which takes a product code, and has no "
     "repair by product code; the same repair by REINSTALL=ALL is the row repair"},
};
} // namespace

class PackageTest : public InstallerTest, public ::testing::WithParamInterface<PackageRow> {};

TEST_P(PackageTest, Runs) {
    const PackageRow& row = GetParam();
    if (row.wineSkip != nullptr && UnderWine())
        GTEST_SKIP() << row.wineSkip;
    ASSERT_EQ(Msiexec(L"/i \"" + (std::wstring(row.first) == OURS ? package : newerPackage) + L"\" /qn"), 0u);
    RegistryKey settings(HKLM, L"Software\\Kestrane\\Ferrymark", false);
    settings.WriteDword(L"TargetActive", row.active ? 1 : 0);
    settings.WriteString(L"TargetTitle", L"Prepar3D v4");
    ASSERT_EQ(SHCreateDirectoryExW(nullptr, DATA L"\\backup", nullptr), ERROR_SUCCESS);
    ASSERT_TRUE(WriteAll(DATA L"\\log.txt", "INFO    Finished activating Prepar3D v4\n"));
    ASSERT_TRUE(WriteAll(DATA L"\\backup\\fsx.cfg", "[Main]\n"));
    for (const wchar_t* name : {INSTALLED L"\\Ferrymark.exe", INSTALLED L"\\Manual.pdf"})
        EXPECT_TRUE(!row.deleteFiles || DeleteFileW(name));

    const MachineSnapshot before = TakeSnapshot();
    const std::wstring log = build + L"\\install-" + std::wstring(row.name, row.name + strlen(row.name)) + L".log";
    DeleteFileW(log.c_str());
    std::wstring command = row.command;
    for (const auto& [name, value] : {std::pair{L"{this}", package}, {L"{newer}", newerPackage}, {L"{log}", log}})
        if (command.find(name) != std::wstring::npos)
            command.replace(command.find(name), wcslen(name), L"\"" + value + L"\"");
    ProgramRun run(L"C:\\windows\\system32\\msiexec.exe", command);
    if (row.message != nullptr && command.find(L"/qn") == std::wstring::npos) { // the installer's own box
        HWND box = nullptr;
        EXPECT_TRUE(WaitUntil([&] {
            for (HWND window : TopLevelWindows(run.Id()))
                box = ClassName(window) == L"#32770" && !MessageBoxText(window).empty() ? window : box;
            return box != nullptr;
        }, 60000)) << "no message box";
        EXPECT_EQ(Narrow(MessageBoxText(box)), Narrow(row.message));
        PressButton(box, IDOK);
    }
    const DWORD code = run.WaitForExit(240000);
    auto flat = [](std::string text) { // without line ends and the zero bytes of UTF-16
        text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return !c || c == '\r' || c == '\n'; }),
                   text.end());
        return text;
    };
    EXPECT_TRUE(std::wstring(row.command).find(L"{log}") == std::wstring::npos ||
                flat(ReadAll(log)).find(flat(Narrow(row.message))) != std::string::npos) << Narrow(log);
    for (const Difference& change : DiffSnapshots(before, TakeSnapshot())) {
        std::wstring item = change.item;
        std::transform(item.begin(), item.end(), item.begin(), ::towupper);
        EXPECT_FALSE(row.refused || item.rfind(L"C:\\PROGRAMDATA\\KESTRANE", 0) == 0 ||
                     item.rfind(L"HKLM64\\SOFTWARE\\KESTRANE", 0) == 0) << Narrow(Describe(change));
    }
    EXPECT_EQ(code == 0, !row.refused) << "exit code " << code;
    ExpectInstalled(row.after);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, PackageTest, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<PackageRow>& row) { return row.param.name; });
