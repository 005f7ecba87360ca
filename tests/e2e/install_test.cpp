// The installer under Wine: a silent install of the package, the installed program
// started from its shortcut's working folder and finding its manual, and a silent
// uninstall that leaves only the data folder and the settings key.
#include "app/constants.h"
#include "app/machine.h"
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <algorithm>

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

// The name of the entry in the installed programs whose DisplayName is Ferrymark,
// in the given view; empty when there is none.
std::wstring FindEntry(bool wow32) {
    if (!RegistryKey::Exists(HKLM, kUninstall, wow32))
        return L"";
    for (const std::wstring& name : RegistryKey(HKLM, kUninstall, wow32).SubKeys())
        if (RegistryKey(HKLM, kUninstall + L"\\" + name, wow32).ReadString(L"DisplayName", L"") ==
            kProductTitle)
            return name;
    return L"";
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
        // A machine without Ferrymark: no earlier install, settings or data.
        Msiexec(L"/x");
        platform::registry::DeleteTreeBelowHive(HKLM, L"Software\\Kestrane");
        RemoveTreeQuietly(GetDataFolder());
        companyFolder = ShellFolder(FOLDERID_ProgramFiles) + L"\\Kestrane";
        installFolder = companyFolder + L"\\Ferrymark";
    }
    void TearDown() override {
        if (!package.empty())
            Msiexec(L"/x");
        CoUninitialize();
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
