// The installer under Wine: a silent install of the package, the installed program
// started from its shortcut's working folder and finding its manual, and a silent
// uninstall that leaves only the data folder and the settings key. Then the package
// over its life, one table row each: removal refused while a target is active,
// removal when none is, upgrade to a newer package while active, downgrade refused,
// repair.
#include "app/constants.h"
#include "app/machine.h"
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"
#include "tools/machine/machine_snapshot.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <algorithm>
#include <cstring>
#include <cwctype>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const std::wstring kUninstall = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

std::wstring ShellFolder(REFKNOWNFOLDERID id) {
    PWSTR path = nullptr;
    std::wstring result;
    if (SUCCEEDED(SHGetKnownFolderPath(id, 0, nullptr, &path)))
        result = path;
    CoTaskMemFree(path);
    return result;
}

// Runs a command line to its end: its exit code, or STILL_ACTIVE after four minutes.
DWORD RunToEnd(std::wstring commandLine) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &info))
        return GetLastError();
    CloseHandle(info.hThread);
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(info.hProcess, 240000) == WAIT_OBJECT_0)
        GetExitCodeProcess(info.hProcess, &code);
    CloseHandle(info.hProcess);
    return code;
}

// What a shortcut starts, and in which folder.
struct Shortcut {
    std::wstring target, workingFolder;
};
Shortcut ReadShortcut(const std::wstring& file) {
    Shortcut shortcut;
    IShellLinkW* link = nullptr;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                reinterpret_cast<void**>(&link))))
        return shortcut;
    IPersistFile* persist = nullptr;
    if (SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&persist)))) {
        if (SUCCEEDED(persist->Load(file.c_str(), STGM_READ))) {
            wchar_t text[MAX_PATH] = {};
            if (SUCCEEDED(link->GetPath(text, MAX_PATH, nullptr, 0)))
                shortcut.target = text;
            if (SUCCEEDED(link->GetWorkingDirectory(text, MAX_PATH)))
                shortcut.workingFolder = text;
        }
        persist->Release();
    }
    link->Release();
    return shortcut;
}

// The names of the entries in the installed programs whose DisplayName is
// Ferrymark, in the given view.
std::vector<std::wstring> Entries(bool wow32) {
    std::vector<std::wstring> found;
    if (RegistryKey::Exists(HKLM, kUninstall, wow32))
        for (const std::wstring& name : RegistryKey(HKLM, kUninstall, wow32).SubKeys())
            if (RegistryKey(HKLM, kUninstall + L"\\" + name, wow32).ReadString(L"DisplayName", L"") ==
                kProductTitle)
                found.push_back(name);
    return found;
}
std::wstring FindEntry(bool wow32) {
    const std::vector<std::wstring> found = Entries(wow32);
    return found.empty() ? L"" : found.front();
}

bool UnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// Wine's installer resolves ProgramMenuFolder to the user's Start menu whatever the
// package's scope (a known gap in its msi), so there the shortcut is read where
// Wine put it; TheShortcutIsInTheAllUsersStartMenu is skipped.
std::wstring ShortcutFile() {
    const std::wstring common = ShellFolder(FOLDERID_CommonPrograms) + L"\\Ferrymark.lnk";
    if (!FileExists(common) && UnderWine())
        return ShellFolder(FOLDERID_Programs) + L"\\Ferrymark.lnk";
    return common;
}

class InstallerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (UnderWine() && Environment(L"DISPLAY").empty())
            GTEST_SKIP() << "no X display for the program's windows under Wine: run under xvfb-run";
        build = Environment(L"FERRYMARK_BUILD");
        ASSERT_FALSE(build.empty()) << "FERRYMARK_BUILD names the build folder under test";
        const std::string version = FERRYMARK_VERSION_TEXT;
        package = build + L"\\Ferrymark-" + std::wstring(version.begin(), version.end()) + L"-x64.msi";
        ASSERT_TRUE(FileExists(package)) << "no package " << Narrow(package);
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        // A machine without Ferrymark: no earlier install, settings or data. The
        // settings go first: with a target active the removal would be refused.
        platform::registry::DeleteTreeBelowHive(HKLM, L"Software\\Kestrane");
        RemoveAll();
        RemoveTreeQuietly(GetDataFolder());
        companyFolder = ShellFolder(FOLDERID_ProgramFiles) + L"\\Kestrane";
        installFolder = companyFolder + L"\\Ferrymark";
    }
    void TearDown() override {
        if (!package.empty()) {
            platform::registry::DeleteTreeBelowHive(HKLM, L"Software\\Kestrane");
            RemoveAll();
        }
        CoUninitialize();
    }
    // Removes this version and the newer one, if installed.
    void RemoveAll() const {
        Msiexec(L"/x");
        const std::wstring newer = Environment(L"FERRYMARK_NEWER_BUILD");
        if (!newer.empty())
            RunToEnd(L"msiexec.exe /x \"" + newer + L"\\Ferrymark-" FERRYMARK_NEWER_VERSION L"-x64.msi\" /qn");
    }
    DWORD Msiexec(const std::wstring& action) const {
        return RunToEnd(L"msiexec.exe " + action + L" \"" + package + L"\" /qn");
    }

    std::wstring package, build, companyFolder, installFolder;
};

} // namespace

TEST_F(InstallerTest, InstallsSilentlyRunsFromItsShortcutAndUninstallsSilently) {
    ASSERT_EQ(Msiexec(L"/i"), 0u);

    // The files, byte for byte those of the build.
    struct Installed {
        const wchar_t* name;
        std::wstring built;
    };
    const std::vector<Installed> files{{L"Ferrymark.exe", build + L"\\bin\\Ferrymark.exe"},
                                       {L"Manual.pdf", build + L"\\Manual.pdf"}};
    for (const Installed& file : files) {
        SCOPED_TRACE(Narrow(file.name));
        const std::string bytes = ReadAll(installFolder + L"\\" + file.name);
        EXPECT_FALSE(bytes.empty());
        EXPECT_TRUE(bytes == ReadAll(file.built)) << "not the built file";
    }

    // The Start menu shortcut starts the program in its own folder.
    const std::wstring shortcutFile = ShortcutFile();
    const Shortcut shortcut = ReadShortcut(shortcutFile);
    EXPECT_EQ(shortcut.target, installFolder + L"\\Ferrymark.exe");
    // The folder as the installer formats it, with its closing backslash.
    EXPECT_EQ(shortcut.workingFolder, installFolder + L"\\");

    // The entry in the installed programs, in the 64-bit view only.
    const std::wstring entry = FindEntry(false);
    ASSERT_FALSE(entry.empty()) << "no installed-programs entry named Ferrymark";
    EXPECT_EQ(FindEntry(true), L"");
    EXPECT_NE(entry, std::wstring(kOldInstallKey).substr(kUninstall.size() + 1))
        << "the old-install key would stop the program";
    const std::string version = FERRYMARK_VERSION_TEXT;
    RegistryKey values(HKLM, kUninstall + L"\\" + entry, false);
    EXPECT_EQ(values.ReadString(L"Publisher", L""), L"Kestrane");
    EXPECT_EQ(values.ReadString(L"DisplayVersion", L""), std::wstring(version.begin(), version.end()));
    const std::wstring icon = values.ReadString(L"DisplayIcon", L"");
    const std::wstring iconFile = icon.substr(0, icon.rfind(L','));
    EXPECT_TRUE(FileExists(iconFile)) << "no icon: " << Narrow(icon);

    // Started as the shortcut starts it, the program finds its manual. The About
    // command, posted behind the manual's, shows that the manual's has been handled:
    // a "Missing manual" box would stand by then.
    {
        ProgramRun run(shortcut.target, L"", shortcut.workingFolder);
        HWND greeting = run.WaitForDialog(L"Ferrymark", 20000, IDOK);
        ASSERT_NE(greeting, nullptr) << "no greeting on the first start";
        PressButton(greeting, IDOK);
        HWND main = run.WaitForDialog(L"Ferrymark", 20000, 606);
        ASSERT_NE(main, nullptr);
        PressButton(main, 500);
        PressButton(main, 502);
        HWND about = run.WaitForDialog(L"About", 20000, 704);
        ASSERT_NE(about, nullptr);
        EXPECT_EQ(run.WaitForDialog(L"Missing manual", 200), nullptr);
        PressButton(about, IDOK);
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(about); }));
        PostKey(main, VK_ESCAPE);
        EXPECT_EQ(run.WaitForExit(), 0u);
    }
    const std::string log = ReadAll(GetDataFolder() + L"\\log.txt");
    EXPECT_NE(log.find("INFO    Ferrymark version " + version), std::string::npos) << log;
    EXPECT_EQ(log.find("User manual is missing."), std::string::npos) << log;
    EXPECT_EQ(FolderAccessList(GetDataFolder()), AdministratorsOnlyList());

    // The uninstall takes away what the install brought, and leaves the data folder
    // with its log and the settings key that the program wrote.
    ASSERT_EQ(Msiexec(L"/x"), 0u);
    for (const std::wstring& gone : {installFolder + L"\\Ferrymark.exe", installFolder + L"\\Manual.pdf",
                                     installFolder, companyFolder, shortcutFile})
        EXPECT_FALSE(FileExists(gone)) << Narrow(gone);
    EXPECT_EQ(FindEntry(false), L"");
    EXPECT_FALSE(ReadAll(GetDataFolder() + L"\\log.txt").empty());
    EXPECT_EQ(RegistryKey(HKLM, kSettingsKey, false).ReadDword(L"FirstRun", 0), 1u);
}

TEST_F(InstallerTest, TheShortcutIsInTheAllUsersStartMenu) {
    if (UnderWine())
        GTEST_SKIP() << "Wine's installer puts a per-machine package's Start menu shortcut into the "
                        "user's Start menu (ProgramMenuFolder ignores ALLUSERS in its msi)";
    ASSERT_EQ(Msiexec(L"/i"), 0u);
    EXPECT_TRUE(FileExists(ShellFolder(FOLDERID_CommonPrograms) + L"\\Ferrymark.lnk"));
}

// The package over its life, one row a run: a package is installed, a target made
// active or not, the files perhaps deleted, and one msiexec command run. Whatever
// the command, the settings key and the data folder come through it unchanged; a
// refused command changes nothing at all.
namespace {

const std::wstring kRemovalRefused =
    L"Ferrymark has disabled all simulators but Prepar3D v4, the active target.\n\n"
    L"To remove Ferrymark, open Ferrymark, press Deactivate and then remove it.";
const std::wstring kDowngradeRefused = L"A newer version of Ferrymark is already installed.";
const char* const kNoFaUnderWine =
    "Wine's msiexec /f passes the package's path to MsiReinstallProduct, which takes a product "
    "code, and has no repair by product code; the same repair by REINSTALL=ALL is the row repair";

enum Installed { Nothing, ThisBuild, NewerBuild };
struct PackageScenario {
    const char* name;
    Installed first;        // the package installed before the command
    bool active;            // a target is active when the command runs
    bool deleteFiles;       // Ferrymark.exe and Manual.pdf deleted before it
    const wchar_t* command; // "{this}", "{newer}", "{log}" stand for the packages and a log file
    bool refused;           // fails and changes nothing
    Installed after;
    const std::wstring* message; // the text that the refusal shows (full UI) or logs (/qn)
    const char* wineSkip;        // why the row cannot run under Wine
};
const PackageScenario kScenarios[] = {
    {"refused_removal", ThisBuild, true, false, L"/x {this} /qn", true, ThisBuild, nullptr, nullptr},
    {"refused_removal_box", ThisBuild, true, false, L"/x {this}", true, ThisBuild, &kRemovalRefused,
     nullptr},
    {"refused_removal_log", ThisBuild, true, false, L"/x {this} /qn /l*v {log}", true, ThisBuild,
     &kRemovalRefused, "Wine's installer shows a failed launch condition's text in full UI only, "
                       "and writes it to no log"},
    {"removal_inactive", ThisBuild, false, false, L"/x {this} /qn", false, Nothing, nullptr, nullptr},
    {"upgrade_active", ThisBuild, true, false, L"/i {newer} /qn", false, NewerBuild, nullptr, nullptr},
    {"downgrade_refused", NewerBuild, false, false, L"/i {this} /qn", true, NewerBuild, nullptr, nullptr},
    {"downgrade_refused_box", NewerBuild, false, false, L"/i {this}", true, NewerBuild,
     &kDowngradeRefused, nullptr},
    {"repair", ThisBuild, true, true, L"/i {this} REINSTALL=ALL REINSTALLMODE=amus /qn", false,
     ThisBuild, nullptr, nullptr},
    {"repair_fa", ThisBuild, true, true, L"/fa {this} /qn", false, ThisBuild, nullptr, kNoFaUnderWine},
};

std::wstring Replace(std::wstring text, const std::wstring& name, const std::wstring& value) {
    for (std::size_t at = text.find(name); at != std::wstring::npos; at = text.find(name, at + value.size()))
        text.replace(at, name.size(), value);
    return text;
}

// What a command changed below the data folder or in the settings key.
std::vector<Difference> ProgramStateChanges(const std::vector<Difference>& all) {
    std::vector<Difference> found;
    for (const Difference& difference : all) {
        std::wstring item = difference.item;
        std::transform(item.begin(), item.end(), item.begin(), ::towupper);
        if (item.rfind(L"C:\\PROGRAMDATA\\KESTRANE", 0) == 0 || item.rfind(L"HKLM64\\SOFTWARE\\KESTRANE", 0) == 0)
            found.push_back(difference);
    }
    return found;
}

} // namespace

class PackageTest : public InstallerTest, public ::testing::WithParamInterface<PackageScenario> {
protected:
    std::wstring BuildOf(Installed which) const {
        return which == NewerBuild ? Environment(L"FERRYMARK_NEWER_BUILD") : build;
    }
    std::wstring PackageOf(Installed which) const {
        return which == NewerBuild ? BuildOf(which) + L"\\Ferrymark-" FERRYMARK_NEWER_VERSION L"-x64.msi"
                                   : package;
    }
    // The files, the shortcut and the one entry of the installed build, or none.
    void ExpectInstalled(Installed which) const {
        const std::vector<std::wstring> entries = Entries(false);
        if (which == Nothing) {
            EXPECT_TRUE(entries.empty());
            EXPECT_FALSE(FileExists(installFolder));
            return;
        }
        for (const wchar_t* name : {L"\\Ferrymark.exe", L"\\Manual.pdf"}) {
            const std::wstring built = BuildOf(which) + (name[1] == L'F' ? L"\\bin" : L"") + name;
            EXPECT_TRUE(ReadAll(installFolder + name) == ReadAll(built)) << Narrow(name) << " is not " << Narrow(built);
        }
        EXPECT_EQ(ReadShortcut(ShortcutFile()).target, installFolder + L"\\Ferrymark.exe");
        ASSERT_EQ(entries.size(), 1u) << "one entry in the installed programs";
        const std::string version = which == NewerBuild ? Narrow(FERRYMARK_NEWER_VERSION) : FERRYMARK_VERSION_TEXT;
        EXPECT_EQ(Narrow(RegistryKey(HKLM, kUninstall + L"\\" + entries[0], false).ReadString(L"DisplayVersion", L"")),
                  version);
    }
};

TEST_P(PackageTest, Runs) {
    const PackageScenario& row = GetParam();
    if (row.wineSkip != nullptr && UnderWine()) {
        GTEST_SKIP() << row.wineSkip;
    }
    ASSERT_FALSE(Environment(L"FERRYMARK_NEWER_BUILD").empty()) << "FERRYMARK_NEWER_BUILD names the newer build";
    ASSERT_EQ(RunToEnd(L"msiexec.exe /i \"" + PackageOf(row.first) + L"\" /qn"), 0u);
    RegistryKey settings(HKLM, kSettingsKey, false);
    settings.WriteDword(L"TargetActive", row.active ? 1 : 0);
    settings.WriteString(L"TargetTitle", L"Prepar3D v4");
    ASSERT_EQ(SHCreateDirectoryExW(nullptr, (GetDataFolder() + L"\\backup").c_str(), nullptr), ERROR_SUCCESS);
    ASSERT_TRUE(WriteAll(GetDataFolder() + L"\\log.txt", "INFO    Finished activating Prepar3D v4\n"));
    ASSERT_TRUE(WriteAll(GetDataFolder() + L"\\backup\\fsx.cfg", "[Main]\n"));
    for (const wchar_t* name : {L"\\Ferrymark.exe", L"\\Manual.pdf"}) {
        if (row.deleteFiles) {
            EXPECT_TRUE(DeleteFileW((installFolder + name).c_str()));
        }
    }

    const MachineSnapshot before = TakeSnapshot();
    const std::wstring log = build + L"\\install-" + std::wstring(row.name, row.name + strlen(row.name)) + L".log";
    DeleteFileW(log.c_str());
    std::wstring command = Replace(row.command, L"{this}", L"\"" + package + L"\"");
    command = Replace(Replace(command, L"{newer}", L"\"" + PackageOf(NewerBuild) + L"\""), L"{log}", L"\"" + log + L"\"");
    DWORD code = STILL_ACTIVE;
    if (row.message != nullptr && command.find(L"/qn") == std::wstring::npos) {
        // Full UI: the refusal is a message box of the installer's own.
        ProgramRun run(L"C:\\windows\\system32\\msiexec.exe", command);
        HWND box = nullptr;
        EXPECT_TRUE(WaitUntil([&] {
            for (HWND window : TopLevelWindows(run.Id()))
                if (ClassName(window) == L"#32770" && !MessageBoxText(window).empty())
                    box = window;
            return box != nullptr;
        }, 60000)) << "no message box";
        if (box != nullptr) {
            EXPECT_EQ(Narrow(MessageBoxText(box)), Narrow(*row.message));
            PressButton(box, IDOK);
        }
        code = run.WaitForExit(60000);
    } else {
        code = RunToEnd(L"msiexec.exe " + command);
        // The log's text without line ends (and without the zero bytes of UTF-16).
        auto flat = [](std::string text) {
            text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == 0 || c == '\r' || c == '\n'; }), text.end());
            return text;
        };
        if (row.message != nullptr) {
            EXPECT_NE(flat(ReadAll(log)).find(flat(Narrow(*row.message))), std::string::npos) << Narrow(log);
        }
    }
    const std::vector<Difference> changes = DiffSnapshots(before, TakeSnapshot());
    if (row.refused) {
        EXPECT_NE(code, 0u) << "the command was not refused";
        EXPECT_TRUE(changes.empty()) << Narrow(Describe(changes));
    } else {
        EXPECT_EQ(code, 0u);
        EXPECT_TRUE(ProgramStateChanges(changes).empty()) << Narrow(Describe(ProgramStateChanges(changes)));
    }
    ExpectInstalled(row.after);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, PackageTest, ::testing::ValuesIn(kScenarios),
                         [](const ::testing::TestParamInfo<PackageScenario>& row) { return row.param.name; });
