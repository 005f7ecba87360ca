// The real Ferrymark.exe under Wine and Xvfb, driven through its windows by a table
// of stories: each starts from a clean machine (bare, or with the six simulators,
// their locations confirmed or not) and runs its steps, each an action or a check.
// Built a second time as the installer's tests (FERRYMARK_NEWER_VERSION defined): the
// package stories, which install, run, upgrade, repair and remove the package.
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "platform/registry.h"
#include "platform/win32/unique_handle.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <gtest/gtest.h>

#include <commctrl.h>
#include <shlobj.h>
#include <shobjidl.h>

#include <filesystem>
#include <memory>
#include <regex>

#define INSTALL L"C:\\ferrymark-e2e"
#define DATA L"C:\\ProgramData\\Kestrane\\Ferrymark"
#define SETTINGS L"Software\\Kestrane\\Ferrymark"
#define STORE4 SETTINGS L"\\Simulators\\Prepar3D v4"
#define KEY4 L"Software\\Lockheed Martin\\Prepar3D v4"
#define UNINSTALL L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
#define OLD_ENTRY L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}"
#define OLD UNINSTALL L"\\" OLD_ENTRY
#define WOW_OLD L"Software\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{64cd40e2-6e5e-4732-8ed4-b4a5be475825}"
#define FSX L"C:\\Program Files (x86)\\Microsoft Games\\Microsoft Flight Simulator X"
#define P3D4 L"C:\\Program Files\\Lockheed Martin\\Prepar3D v4"
#define P3D5 L"C:\\Program Files\\Lockheed Martin\\Prepar3D v5"
#define START L"^\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d   INFO    Ferrymark version 5\\.0\\.7\\.0 running on .+ build "
#define INVALID4 L"This folder is not recognized as Prepar3D v4 location."
#define NONE L"(not installed)"
#define GREETING L"Welcome to Ferrymark!\n\nClick on each simulator you have installed to set its location.\n" \
                 L"Be sure to keep the list updated."
#define INSTALLED L"C:\\Program Files\\Kestrane\\Ferrymark"
#define OURS L"5.0.7.0"
#ifndef FERRYMARK_NEWER_VERSION // the stories of the program alone
#define FERRYMARK_NEWER_VERSION L""
#endif
#define NEWER FERRYMARK_NEWER_VERSION
#define STUB INSTALL L"\\stub"

namespace {

using other_process::RunningUnderWine;

// Actions: Start (program a, in folder b, arguments c; the copy in INSTALL unless told); Main (its main dialog in
// front); Box (caption a or any, OK alone, text b, n 1: b its start, screenshot c); Ok, Escape, CloseBox, Gone (the
// front window ends); Exit (code n; in 20 s, with a (msiexec) 4 min); NoBox (none of caption a in 2 s); Press, Edit
// (row n), Type, Select, Shot; Set (HKLM key a, n 1: 32-bit view, b = c ("#1": a number) or b deleted); WriteFile,
// Copy (a to b), Erase, OpenAcl (folder a open to all); Hold, Release (a process in folder a); Snap, Unchanged
// (nothing changes since the snapshot but the items that a matches), Residue; Msiexec (command a, {this} and {newer}
// the packages, {log} the story's installer log; with /qn it ends with code n); Installed (version a, or none);
// WineSkip (reason a). Checks wait 20 s (Until 2 min) for their last text: Text, Until, Visible, Enabled (control
// n); Rows (column n); Combo ('*' the selected); Value (key a, value b); FileIs, Exists, Acl (folder a); Log (n lines
// match a); LastLog (the last line, n 1: its start); InstallLog (holds a). {build} in a is the build folder.
enum Op { Start, Main, Box, Ok, Escape, CloseBox, Gone, Exit, NoBox, Press, Edit, Type, Select, Shot, Set, WriteFile,
          Copy, Erase, OpenAcl, Hold, Release, Snap, Unchanged, Residue, Msiexec, Installed, WineSkip,
          Text, Until, Visible, Enabled, Rows, Combo, Value, FileIs, Exists, Acl, Log, LastLog, InstallLog };
struct Step { Op op; int n = 0; const wchar_t *a = nullptr, *b = nullptr, *c = nullptr; };
enum Machine { Bare, Fresh, Configured, Packaged }; // Fresh: the six simulators, no location confirmed
struct Story { const char* name; Machine machine; std::vector<Step> steps; };
void PrintTo(const Story& story, std::ostream* out) { *out << story.name; }

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }
std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }
std::vector<std::string> LogLines() {
    std::vector<std::string> lines;
    const std::string bytes = ReadAll(DATA L"\\log.txt");
    for (std::size_t start = 0, stop = 0; start < bytes.size(); start = stop + 2)
        lines.push_back(bytes.substr(start, (stop = std::min(bytes.find("\r\n", start), bytes.size())) - start));
    return lines;
}
std::string Flat(std::string text) { // without line ends and the zero bytes of UTF-16
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return !c || c == '\r' || c == '\n'; }), text.end());
    return text;
}
std::wstring ShellFolder(REFKNOWNFOLDERID id) {
    platform::win32::UniqueCoTaskMemory<wchar_t> path;
    return SUCCEEDED(SHGetKnownFolderPath(id, 0, nullptr, path.put())) ? path.get() : L"";
}
// Under Wine the shortcut is read where Wine puts it (the story shortcut_scope is skipped there).
std::wstring ShortcutFile() {
    const std::wstring common = ShellFolder(FOLDERID_CommonPrograms) + L"\\Ferrymark.lnk";
    return !FileExists(common) && RunningUnderWine() ? ShellFolder(FOLDERID_Programs) + L"\\Ferrymark.lnk" : common;
}
std::wstring ReadShortcut(const std::wstring& file) { // what it starts, "|", in which folder
    platform::win32::UniqueCom<IShellLinkW> link;
    platform::win32::UniqueCom<IPersistFile> persist;
    wchar_t target[MAX_PATH] = {}, folder[MAX_PATH] = {};
    const bool read = SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                                 link.put_void())) &&
        SUCCEEDED(link->QueryInterface(IID_IPersistFile, persist.put_void())) &&
        SUCCEEDED(persist->Load(file.c_str(), STGM_READ)) && SUCCEEDED(link->GetPath(target, MAX_PATH, nullptr, 0)) &&
        SUCCEEDED(link->GetWorkingDirectory(folder, MAX_PATH));
    return read ? std::wstring(target) + L"|" + folder : L"";
}
// The installed programs' entries named Ferrymark in one view: "name version" each.
std::vector<std::wstring> Entries(bool wow32) {
    std::vector<std::wstring> found;
    for (const std::wstring& name : RegistryKey(RegistryHive::LocalMachine, UNINSTALL, wow32).SubKeys()) {
        const RegistryKey entry(RegistryHive::LocalMachine, UNINSTALL L"\\" + name, wow32);
        if (entry.ReadString(L"DisplayName", L"") == L"Ferrymark")
            found.push_back(name + L" " + entry.ReadString(L"DisplayVersion", L""));
    }
    return found;
}

class StoryTest : public ::testing::TestWithParam<Story> {
protected:
    void SetUp() override {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        if (RunningUnderWine() && Environment(L"DISPLAY").empty())
            GTEST_SKIP() << "no X display for the program's windows under Wine: run under xvfb-run";
        build = Environment(L"FERRYMARK_BUILD");
        newer = Environment(L"FERRYMARK_NEWER_BUILD");
        ASSERT_FALSE(build.empty()) << "FERRYMARK_BUILD names the build folder under test";
        RemoveTreeQuietly(INSTALL);
        ASSERT_TRUE(CreateDirectoryW(INSTALL, nullptr));
        ASSERT_TRUE(CopyFileW((build + L"\\bin\\Ferrymark.exe").c_str(), INSTALL L"\\Ferrymark.exe", FALSE));
        for (const wchar_t* key : {L"Software\\Kestrane", L"Software\\WOW6432Node\\Kestrane", WOW_OLD})
            platform::registry::DeleteTreeBelowHive(HKLM, key);
        machine.Remove();
        if (GetParam().machine == Packaged) {
            ASSERT_FALSE(newer.empty()) << "FERRYMARK_NEWER_BUILD names the newer package's build";
            ASSERT_TRUE(FileExists(Expand(L"{this}"))) << "no package " << Narrow(Expand(L"{this}"));
            Uninstall();
            RemoveTreeQuietly(DATA);
        } else if (GetParam().machine != Bare) {
            machine.Install(GetParam().machine == Configured);
            RegistryKey(HKLM, SETTINGS, false).WriteString(L"LogLevel", L"Debug");
        }
        if (GetParam().machine == Bare || GetParam().machine == Configured)
            RegistryKey(HKLM, SETTINGS, false).WriteDword(L"FirstRun", 1);
    }
    void TearDown() override {
        runs.clear();
        holder.reset();
        if (GetParam().machine == Packaged && !build.empty())
            Uninstall();
        machine.Remove();
        RemoveTreeQuietly(INSTALL);
        CoUninitialize();
    }
    void Uninstall() const { // the settings first: with a target active the removal would be refused
        platform::registry::DeleteTreeBelowHive(HKLM, L"Software\\Kestrane");
        for (const wchar_t* command : {L"/x \"{this}\" /qn", L"/x \"{newer}\" /qn"})
            ProgramRun(L"C:\\windows\\system32\\msiexec.exe", Expand(command)).WaitForExit(240000);
    }
    std::wstring Expand(std::wstring text) const {
        for (const auto& [name, value] : {std::pair{L"{build}", build},
                                          {L"{this}", build + L"\\Ferrymark-" OURS L"-x64.msi"},
                                          {L"{newer}", newer + L"\\Ferrymark-" NEWER L"-x64.msi"},
                                          {L"{log}", LogFile()}, {L"{programs}", ShellFolder(FOLDERID_CommonPrograms)}})
            if (text.find(name) != std::wstring::npos)
                text.replace(text.find(name), wcslen(name), value);
        return text;
    }
    std::wstring LogFile() const { return build + L"\\install-" + Wide(GetParam().name) + L".log"; }
    void Run(const Step& step);
    std::wstring Read(const Step& step) const;
    HWND Item(int id) const { return GetDlgItem(windows.back(), id); }

    const RegistryHive HKLM = RegistryHive::LocalMachine;
    std::wstring build, newer;
    SixSimulatorMachine machine;
    std::vector<std::unique_ptr<ProgramRun>> runs;
    std::vector<HWND> windows; // the main dialog first, the one in front last
    std::unique_ptr<other_process::Holder> holder;
    MachineSnapshot before;
};

void StoryTest::Run(const Step& s) {
    const std::wstring a = s.a != nullptr ? Expand(s.a) : L"", b = s.b != nullptr ? s.b : L"";
    const bool one = s.n == 1;
    RECT row{};
    std::vector<std::wstring> texts;
    switch (s.op) {
    case Start:
        runs.push_back(std::make_unique<ProgramRun>(s.a ? a : INSTALL L"\\Ferrymark.exe", s.c ? s.c : L"", b));
        break;
    case Main:
        windows.assign(1, runs.back()->WaitForDialog(L"Ferrymark", 20000, 606));
        ASSERT_NE(windows.back(), nullptr) << "no main dialog";
        break;
    case Box:
        windows.push_back(runs.back()->WaitForDialog(a, 60000, IDOK));
        ASSERT_NE(windows.back(), nullptr) << "no window " << Narrow(a);
        EXPECT_EQ(Narrow(s.b != nullptr ? MessageBoxText(windows.back()).substr(0, one ? b.size() : b.npos) : L""),
                  Narrow(b));
        EXPECT_TRUE(Item(IDCANCEL) == nullptr && Item(IDRETRY) == nullptr) << "OK alone";
        if (s.c != nullptr)
            Screenshot(windows.back(), s.c);
        break;
    case Ok: PressButton(windows.back(), IDOK); [[fallthrough]];
    case Gone:
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(windows.back()); })) << "the window stays";
        windows.pop_back();
        break;
    case Escape:
    case CloseBox:
        s.op == Escape ? PostKey(windows.back(), VK_ESCAPE) : void(PostMessageW(windows.back(), WM_SYSCOMMAND, SC_CLOSE, 0));
        if (windows.size() > 1) // the main dialog's end is seen in its program's
            Run({Gone});
        break;
    case Exit: EXPECT_EQ(runs.back()->WaitForExit(s.a ? 240000 : 20000), static_cast<DWORD>(s.n)); runs.pop_back(); break;
    case NoBox: EXPECT_EQ(runs.back()->WaitForDialog(a, 2000, IDOK), nullptr) << "a box " << Narrow(a); break;
    case Press: PressButton(windows.back(), s.n); break;
    case Edit:
        row = ListItemRect(Item(606), s.n);
        DoubleClick(Item(606), {row.left + 8 + static_cast<LONG>(SendMessageW(Item(606), LVM_GETCOLUMNWIDTH, 0, 0)),
                                (row.top + row.bottom) / 2});
        windows.push_back(runs.back()->WaitForDialog(L"Configure simulator", 20000, 802));
        ASSERT_NE(windows.back(), nullptr) << "no simulator dialog";
        break;
    case Type: SetWindowTextW(Item(s.n), a.c_str()); break;
    case Select:
        texts = ComboTexts(Item(604));
        SendMessageW(Item(604), CB_SETCURSEL, std::find(texts.begin(), texts.end(), a) - texts.begin(), 0);
        break;
    case Shot: Screenshot(windows.back(), a); break;
    case Set:
        EXPECT_TRUE(s.c == nullptr ? RegistryKey(HKLM, a, one).DeleteValue(b)
                    : s.c[0] == L'#' ? RegistryKey(HKLM, a, one).WriteDword(b, std::wcstoul(s.c + 1, nullptr, 10))
                                     : RegistryKey(HKLM, a, one).WriteString(b, s.c));
        break;
    case WriteFile:
        std::filesystem::create_directories(a.substr(0, a.rfind(L'\\')));
        EXPECT_TRUE(WriteAll(a, Narrow(b)));
        break;
    case Copy:
        std::filesystem::create_directories(b.substr(0, b.rfind(L'\\')));
        EXPECT_TRUE(CopyFileW(a.c_str(), b.c_str(), FALSE)) << Narrow(a);
        break;
    case Erase:
        EXPECT_TRUE(FileExists(a)) << Narrow(a);
        RemoveTreeQuietly(a);
        break;
    case OpenAcl: EXPECT_TRUE(SetFolderAccessList(a, L"D:(A;OICI;FA;;;WD)")); break;
    case Hold:
        holder = std::make_unique<other_process::Holder>(other_process::Hold::WorkingFolder, a);
        ASSERT_TRUE(holder->Started()) << holder->Failure();
        break;
    case Release: holder.reset(); break;
    case Snap: before = TakeSnapshot(); break;
    case Unchanged:
        for (const Difference& d : DiffSnapshots(before, TakeSnapshot()))
            EXPECT_TRUE(s.a != nullptr && std::regex_match(Narrow(d.item), std::regex(Narrow(a), std::regex::icase)))
                << Narrow(Describe(d));
        break;
    case Residue: // the program's data folder and its own folder change too
        EXPECT_EQ(Narrow(Describe(Unexplained(before, *CreateSimulators()[4], {{"the program's own files",
            [](const Difference& d) { return IsBelow(d.item, DATA) || IsBelow(d.item, INSTALL); }}}))), "");
        break;
    case Msiexec:
        DeleteFileW(LogFile().c_str());
        runs.push_back(std::make_unique<ProgramRun>(L"C:\\windows\\system32\\msiexec.exe", a));
        if (a.find(L"/qn") != std::wstring::npos)
            Run({Exit, s.n, L"msiexec"});
        break;
    case Installed: { // that version's files, its shortcut and its one entry (64-bit view alone), or nothing at all
        const std::vector<std::wstring> entries = Entries(false);
        EXPECT_EQ(FileExists(L"C:\\Program Files\\Kestrane"), !a.empty());
        EXPECT_EQ(entries.size(), a.empty() ? 0u : 1u) << "entries in the installed programs";
        EXPECT_EQ(Entries(true).size(), 0u) << "entries in the 32-bit view";
        EXPECT_EQ(FileExists(ShortcutFile()), !a.empty());
        if (a.empty() || entries.size() != 1)
            break;
        for (const wchar_t* name : {L"\\bin\\Ferrymark.exe", L"\\Manual.pdf"})
            EXPECT_TRUE(ReadAll(INSTALLED + std::wstring(name[1] == L'b' ? name + 4 : name)) ==
                        ReadAll((a == OURS ? build : newer) + name)) << Narrow(name) << " is not that build's";
        EXPECT_EQ(Narrow(ReadShortcut(ShortcutFile())), Narrow(INSTALLED L"\\Ferrymark.exe|" INSTALLED L"\\"));
        EXPECT_EQ(Narrow(entries[0].substr(39)), Narrow(a));
        EXPECT_NE(Narrow(entries[0].substr(0, 38)), Narrow(OLD_ENTRY)) << "the old install's";
        const RegistryKey entry(HKLM, UNINSTALL L"\\" + entries[0].substr(0, 38), false);
        const std::wstring icon = entry.ReadString(L"DisplayIcon", L"");
        EXPECT_EQ(Narrow(entry.ReadString(L"Publisher", L"")), "Kestrane");
        EXPECT_TRUE(FileExists(icon.substr(0, icon.rfind(L',')))) << "no icon: " << Narrow(icon);
        break;
    }
    case WineSkip:
        if (RunningUnderWine())
            GTEST_SKIP() << Narrow(a);
        break;
    default: { // a check
        const std::wstring expected = s.op == Log ? std::to_wstring(s.n) : s.c != nullptr ? s.c : s.b != nullptr ? b : a;
        WaitUntil([&] { return Read(s) == expected; }, s.op == Until ? 120000 : 20000);
        EXPECT_EQ(Narrow(Read(s)), Narrow(expected));
    }
    }
}

std::wstring StoryTest::Read(const Step& s) const {
    const std::wstring a = s.a != nullptr ? Expand(s.a) : L"", b = s.b != nullptr ? s.b : L"";
    const std::vector<std::string> lines = s.op == Log || s.op == LastLog ? LogLines() : std::vector<std::string>{};
    std::wstring text;
    switch (s.op) {
    case Text:
    case Until: return WindowText(Item(s.n));
    case Visible: return IsWindowVisible(Item(s.n)) ? L"1" : L"0";
    case Enabled: return IsWindowEnabled(Item(s.n)) ? L"1" : L"0";
    case Rows:
        for (int row = 0; row < static_cast<int>(SendMessageW(Item(606), LVM_GETITEMCOUNT, 0, 0)); ++row)
            text += (row > 0 ? L"|" : L"") + ListText(Item(606), row, s.n);
        return text;
    case Combo: {
        const std::vector<std::wstring> items = ComboTexts(Item(604));
        const auto selected = static_cast<std::size_t>(SendMessageW(Item(604), CB_GETCURSEL, 0, 0));
        for (std::size_t at = 0; at < items.size(); ++at)
            text += (at > 0 ? L"|" : L"") + items[at] + (at == selected ? L"*" : L"") +
                    (SendMessageW(Item(604), CB_GETITEMDATA, at, 0) == 0 ? L" without its bitmap" : L"");
        return text;
    }
    case Value: {
        const RegistryKey key(HKLM, a, s.n == 1);
        const std::uint32_t number = key.ReadDword(b, 0xFFFFFFFF);
        return number != 0xFFFFFFFF ? std::to_wstring(number) : key.ReadString(b, L"-");
    }
    case FileIs: return FileExists(a) ? Wide(ReadAll(a)) : L"-";
    case Exists: return FileExists(a) ? a : L"-";
    case Acl: return FolderAccessList(a) == AdministratorsOnlyList() ? L"administrators only" : FolderAccessList(a);
    case Log:
        return std::to_wstring(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return std::regex_search(line, std::regex(Narrow(a)));
        }));
    case LastLog:
        text = lines.empty() ? L"" : Wide(lines.back().substr(std::min<std::size_t>(19, lines.back().size())));
        return s.n == 1 ? text.substr(0, a.size()) : text;
    case InstallLog:
        return Flat(ReadAll(LogFile())).find(Flat(Narrow(a))) != std::string::npos ? a : L"not in " + LogFile();
    default: return L"not a check";
    }
}

// The stub as fsx.exe beside language.dll `fixture`, started from a folder with a decoy one: one box naming `name`.
#define STUB_RUN(name, arguments, shot) {Start, 0, STUB L"\\fsx.exe", STUB L"\\elsewhere", arguments}, \
    {Box, 0, L"Ferrymark", L"Ferrymark has disabled " name L" to prevent corruption of configuration files.\n\nTo use " \
     name L", select it as target in Ferrymark.", shot}, {Ok}, {Exit, -1}
#define STUBBED(fixture, name) {Copy, 0, L"{build}\\bin\\stub-fixtures\\language-" fixture L".dll", \
    STUB L"\\language.dll"}, STUB_RUN(name, nullptr, nullptr)
const std::vector<Story> kStories = {
    {"StartLogsEndsThreeWaysAndRefusesASecondStart", Bare, {
        {Start}, {Main}, {Log, 1, START}, {Start},
        {Box, 0, L"Ferrymark", L"Ferrymark is already running.", L"already-running"}, {Ok}, {Exit, 2},
        {Log, 1, START}, {Log, 0, L"Shutdown"}, {FileIs, 0, DATA L"\\log1.txt", L"-"}, {Escape}, {Exit, 0},
        {Log, 1, START}, {Log, 1, L"^.{19}   WARN    WinSparkle\\.dll"},
        {Log, 1, L"   INFO    Appcast URL https://"}, {LastLog, 0, L"   INFO    Shutdown"}, {Log, 0, L"restrict"},
        {Acl, 0, DATA, L"administrators only"}, {Start}, {Main}, {CloseBox}, {Exit, 0},
        {Log, 1, START}, {LastLog, 0, L"   INFO    Shutdown"}, {Start}, {Main}, {Press, 200}, {Exit, 0},
        {LastLog, 0, L"   INFO    Shutdown"}}},
    {"AnOldInstallStopsTheStart", Bare, {
        {WriteFile, 0, INSTALL L"\\old\\readme.txt", L"not the program"},
        {Set, 1, OLD, L"InstallLocation", INSTALL L"\\old"}, {Start}, {Main}, {Escape}, {Exit, 0},
        {WriteFile, 0, INSTALL L"\\old\\Ferrymark.exe", L"old"}, {Start},
        {Box, 0, L"Ferrymark", L"Uninstall previous version of Ferrymark and restart the program.", L"old-install"},
        {Ok}, {Exit, 1}, {LastLog, 0, L"  FATAL    Old version of Ferrymark installed"}, {Log, 0, L"Appcast URL"}}},
    {"TheUpdateFrameworkIsCalledInOrderAndAnOpenDataFolderIsRestricted", Bare, {
        {WriteFile, 0, DATA L"\\log.txt", L""}, {OpenAcl, 0, DATA},
        {Copy, 0, L"{build}\\test-doubles\\WinSparkle.dll", INSTALL L"\\WinSparkle.dll"},
        {Set, 0, SETTINGS L"\\Update", L"AppcastURL", L"https://example.invalid/feed.xml"}, {Start}, {Main}, {Press, 501},
        {Escape}, {Exit, 0},
        {FileIs, 0, INSTALL L"\\winsparkle-calls.txt", L"win_sparkle_set_registry_path Software\\Kestrane\\Ferrymark\\Update\n"
         L"win_sparkle_set_appcast_url https://example.invalid/feed.xml\nwin_sparkle_init windows=0\n"
         L"win_sparkle_check_update_with_ui\nwin_sparkle_cleanup\n"},
        {Log, 1, L"INFO    Appcast URL https://example\\.invalid/feed\\.xml$"}, {Log, 0, L"WinSparkle"},
        {Log, 1, L"^.{19}   INFO    Data folder restricted to administrators: C:\\\\ProgramData\\\\Kestrane\\\\Ferrymark$"},
        {Acl, 0, DATA, L"administrators only"}}},
    {"FirstStartGreetsAndTheSimulatorDialogAddsEditsAndRemoves", Fresh, {
        {WriteFile, 0, INSTALL L"\\marker only\\eula_prepar3d_v4_academic.rtf", L"{\\rtf1}"}, {Start},
        {Box, 0, L"Ferrymark", GREETING, L"greeting"},
        {Ok}, {Value, 0, SETTINGS, L"FirstRun", L"1"}, {Main}, {Shot, 0, L"main-first-start"},
        {Rows, 0, L"Flight Simulator X|Prepar3D v1|Prepar3D v2|Prepar3D v3|Prepar3D v4|Prepar3D v5"},
        {Rows, 1, NONE L"|" NONE L"|" NONE L"|" NONE L"|" NONE L"|" NONE}, {Combo, 0, L""},
        {Text, 605, L"Activate"},
        // What Apply refuses keeps the dialog open and stores nothing.
        {Edit, 4}, {Text, 801, L"Set Prepar3D v4 location"}, {Text, 805, L"Add"}, {Visible, 804, L"0"},
        {Type, 802, L""}, {Shot, 0, L"simulator-dialog-add"}, {Press, 805},
        {Box, 0, L"Invalid folder", INVALID4, L"invalid-folder"}, {Ok}, {Type, 802, P3D5}, {Press, 805},
        {Box, 0, L"Invalid folder", INVALID4}, {Ok}, {Type, 802, INSTALL L"\\marker only"}, {Press, 805},
        {Box, 0, L"Verification error", L"Failed to read Prepar3D v4 version.", L"verification-error"}, {Ok},
        {Type, 802, P3D4}, {Escape}, {Value, 0, STORE4, L"InstallLocation", L"-"},
        {Value, 0, KEY4, L"SetupPath", P3D4 L"\\"},
        {Edit, 5}, {Type, 802, P3D5}, {Press, 805}, {Gone}, {Edit, 0},
        {Type, 802, FSX}, {Press, 805}, {Gone}, {Combo, 0, L"Prepar3D v5"}, {Select, 0, L"Prepar3D v5"},
        {Set, 0, KEY4, L"SetupPath"}, {Edit, 4}, {Type, 802, P3D4}, {Press, 805},
        {Gone}, {Value, 0, STORE4, L"InstallLocation", P3D4}, {Value, 0, STORE4, L"Version", L"4.5.14.34698"},
        {Value, 0, KEY4, L"SetupPath", P3D4 L"\\"},
        {Rows, 1, FSX L"|" NONE L"|" NONE L"|" NONE L"|" P3D4 L"|" P3D5},
        {Combo, 0, L"Prepar3D v4|Prepar3D v5*"}, {Shot, 0, L"main-three-locations"}, {Edit, 4},
        {Text, 805, L"Apply"}, {Visible, 804, L"1"}, {Text, 802, P3D4}, {Shot, 0, L"simulator-dialog-edit"},
        {Press, 804}, {Gone}, {Value, 0, STORE4, L"InstallLocation", L"-"}, {Value, 0, STORE4, L"Version", L"-"},
        {Value, 0, KEY4, L"SetupPath", L"-"},
        {Rows, 1, FSX L"|" NONE L"|" NONE L"|" NONE L"|" NONE L"|" P3D5}, {Combo, 0, L"Prepar3D v5*"}, {Escape},
        {Exit, 0}, {Start}, {Main}, {NoBox, 0, L"Ferrymark"},
        {Rows, 1, FSX L"|" NONE L"|" NONE L"|" NONE L"|" NONE L"|" P3D5}, {Escape}, {Exit, 0}}},
    {"ActivatesRefusesWhileInUseAndDeactivatesAcrossARestart", Configured, {
        {Start}, {Main}, {Press, 605}, {Box, 0, L"Ferrymark", L"Select target simulator.", L"select-target"}, {Ok},
        {Combo, 0, L"Prepar3D v3|Prepar3D v4|Prepar3D v5"}, {Select, 0, L"Prepar3D v4"}, {Snap},
        {Hold, 0, L"C:\\ProgramData\\Microsoft\\FSX"}, {Press, 605},
        {Box, 0, L"Files in use", L"Flight Simulator X files are in use.\nClose all open files and running programs "
                                  L"and try again.", L"files-in-use"},
        {Ok}, {Release}, {Unchanged, 0, L"C:\\\\ProgramData\\\\Kestrane\\\\Ferrymark\\\\log\\.txt"}, {Press, 605},
        {Until, 605, L"Deactivate"}, {Shot, 0, L"main-active"},
        {Enabled, 604, L"0"}, {Enabled, 606, L"0"}, {Value, 0, SETTINGS, L"TargetActive", L"1"},
        {Value, 0, SETTINGS, L"TargetTitle", L"Prepar3D v4"}, {Exists, 0, P3D4 L"\\fsx.exe"},
        {Exists, 0, FSX L"\\Ferrymark backup (ZnN4LmV4ZQ==)"},
        {Exists, 0, P3D5 L"\\Ferrymark backup (UHJlcGFyM0QuZXhl)"},
        {Value, 1, L"Software\\Microsoft\\Microsoft Games\\Flight Simulator\\10.0", L"SetupPath", P3D4 L"\\"},
        {Value, 0, L"Software\\Lockheed Martin\\Prepar3D v5", L"SetupPath", P3D4 L"\\"}, {Escape}, {Exit, 0},
        // The recorded state comes back; the button alone leads on.
        {Start}, {Main}, {Text, 605, L"Deactivate"},
        {Combo, 0, L"Prepar3D v3|Prepar3D v4*|Prepar3D v5"}, {Enabled, 604, L"0"}, {Press, 605},
        {Until, 605, L"Activate"}, {Enabled, 604, L"1"}, {Enabled, 606, L"1"}, {Escape}, {Exit, 0}, {Residue}}},
    {"MenuCommandsAndTheAboutDialog", Configured, {
        {Start}, {Main}, {Press, 501},
        {Box, 0, L"Ferrymark", L"Updates can't be checked: WinSparkle.dll is missing."}, {Ok}, {Press, 500},
        {Box, 0, L"Missing manual", L"User manual is missing.", L"missing-manual"}, {Ok},
        {Log, 1, L"WARN    User manual is missing\\.$"},
        // With the manual in the working folder the shell is asked to open it.
        {WriteFile, 0, INSTALL L"\\Manual.pdf", L"%PDF-1.4\n"}, {Press, 500}, {NoBox, 0, L"Missing manual"},
        {Press, 502}, {Box, 0, L"About", nullptr, L"about"}, {Text, 702, L"Ferrymark"},
        {Text, 703, L"For FSX and Prepar3D"}, {Text, 704, L"Version 5.0.7.0"}, {Ok}, {Press, 502},
        {Box, 0, L"About"}, {Escape}, {Press, 502}, {Box, 0, L"About"}, {CloseBox}, {Press, 200}, {Exit, 0},
        {LastLog, 0, L"   INFO    Shutdown"}}},
    // The target's program has gone since its location was confirmed: the copy that
    // activation makes of it raises out of the button's handler.
    {"AnExceptionOutOfAHandlerEndsTheProgramWithItsBox", Configured, {
        {Erase, 0, P3D4 L"\\Prepar3D.exe"}, {Start}, {Main}, {Select, 0, L"Prepar3D v4"}, {Press, 605},
        {Box, 1, L"Ferrymark", L"An unexpected error has occurred.\n\nError details:\ncopy_file: ", L"unexpected-error"},
        {Ok}, {Exit, 1}, {LastLog, 1, L"  FATAL    Unexpected error: copy_file: "}}},
    // Only the language.dll beside the stub may name the simulator; the stub ends with status -1.
    {"TheLauncherStubNamesTheSimulatorOfItsLanguageDllTwiceAndFails", Bare, {
        {Copy, 0, L"{build}\\bin\\" FERRYMARK_STUB_FILE_NAME, STUB L"\\fsx.exe"},
        {Copy, 0, L"{build}\\bin\\stub-fixtures\\language-unversioned.dll", STUB L"\\elsewhere\\language.dll"},
        STUBBED("10.3.7.9", L"Flight Simulator X"), STUB_RUN(L"Flight Simulator X", L"-cfg:\"C:\\other\\fsx.cfg\" "
                                                                L"language.dll /restore --target \"Prepar3D v5\"",
                                                     L"stub-flight-simulator-x"),
        STUBBED("1", L"Prepar3D v1"), STUBBED("2", L"Prepar3D v2"), STUBBED("3", L"Prepar3D v3"),
        STUBBED("4.5.0.0", L"Prepar3D v4"), STUBBED("5", L"Prepar3D v5"), STUBBED("file3-product5", L"Prepar3D v3"),
        STUBBED("6", L"this simulator"), STUBBED("11", L"this simulator"), STUBBED("unversioned", L"this simulator"),
        {Erase, 0, STUB L"\\language.dll"}, STUB_RUN(L"this simulator", nullptr, nullptr)}},
};

// The package installed, a target active or not, and what the program leaves in its data folder.
#define PACKAGED(package, active) {Msiexec, 0, L"/i \"{" package L"}\" /qn"}, {Set, 0, SETTINGS, L"TargetActive", active}, \
    {Set, 0, SETTINGS, L"TargetTitle", L"Prepar3D v4"}, {WriteFile, 0, DATA L"\\backup\\fsx.cfg", L"[Main]\n"}, \
    {WriteFile, 0, DATA L"\\log.txt", L"INFO    Finished activating Prepar3D v4\n"}
// What the package may change when it is not refused: all but the settings and the data folder.
#define ELSEWHERE L"(?!C:\\\\ProgramData\\\\Kestrane|HKLM64\\\\Software\\\\Kestrane).*"
#define REFUSED_REMOVAL L"Ferrymark has disabled all simulators but Prepar3D v4, the active target.\n\n" \
                        L"To remove Ferrymark, open Ferrymark, press Deactivate and then remove it."
#define REFUSED_DOWNGRADE L"A newer version of Ferrymark is already installed."
#define REFUSED 1603
// Its program and manual deleted, then repaired by that command: the settings and the data folder stay.
#define REPAIRED_BY(command) PACKAGED("this", L"#1"), {Erase, 0, INSTALLED L"\\Ferrymark.exe"}, \
    {Erase, 0, INSTALLED L"\\Manual.pdf"}, {Snap}, {Msiexec, 0, command}, {Unchanged, 0, ELSEWHERE}, {Installed, 0, OURS}
const std::vector<Story> kPackageStories = {
    // Started as its shortcut does, it finds its manual: About, posted behind it, stands with no "Missing manual".
    // The uninstall leaves the data folder with its log and the settings key that the program wrote.
    {"install", Packaged, {
        {Msiexec, 0, L"/i \"{this}\" /qn"}, {Installed, 0, OURS}, {Start, 0, INSTALLED L"\\Ferrymark.exe", INSTALLED L"\\"},
        {Box, 0, L"Ferrymark", GREETING}, {Ok}, {Main}, {Press, 500}, {Press, 502}, {Box, 0, L"About"},
        {NoBox, 0, L"Missing manual"}, {Ok}, {Escape}, {Exit, 0}, {Log, 1, START}, {Log, 0, L"User manual is missing"},
        {Acl, 0, DATA, L"administrators only"}, {Msiexec, 0, L"/x \"{this}\" /qn"}, {Installed}, {Log, 1, START},
        {Value, 0, SETTINGS, L"FirstRun", L"1"}}},
    {"shortcut_scope", Packaged, {
        {WineSkip, 0, L"Wine's installer puts a per-machine package's Start menu shortcut into the user's Start menu "
                      L"(ProgramMenuFolder ignores ALLUSERS in its msi)"},
        {Msiexec, 0, L"/i \"{this}\" /qn"}, {Exists, 0, L"{programs}\\Ferrymark.lnk"}}},
    // One msiexec command on the package over its life: the settings and the data folder come through unchanged,
    // a refusal changes nothing and shows (full UI) or logs its message.
    {"package_refused_removal", Packaged, {
        PACKAGED("this", L"#1"), {Snap}, {Msiexec, REFUSED, L"/x \"{this}\" /qn"}, {Unchanged}, {Installed, 0, OURS}}},
    {"package_refused_removal_box", Packaged, {
        PACKAGED("this", L"#1"), {Snap}, {Msiexec, 0, L"/x \"{this}\""}, {Box, 0, nullptr, REFUSED_REMOVAL}, {Ok},
        {Exit, REFUSED, L"msiexec"}, {Unchanged}, {Installed, 0, OURS}}},
    {"package_refused_removal_log", Packaged, {
        {WineSkip, 0, L"Wine's installer shows a failed launch condition's text in full UI only, and writes it to no log"},
        PACKAGED("this", L"#1"), {Snap}, {Msiexec, REFUSED, L"/x \"{this}\" /qn /l*v \"{log}\""},
        {InstallLog, 0, REFUSED_REMOVAL}, {Unchanged}, {Installed, 0, OURS}}},
    {"package_removal_inactive", Packaged, {
        PACKAGED("this", L"#0"), {Snap}, {Msiexec, 0, L"/x \"{this}\" /qn"}, {Unchanged, 0, ELSEWHERE}, {Installed}}},
    {"package_upgrade_active", Packaged, {
        PACKAGED("this", L"#1"), {Snap}, {Msiexec, 0, L"/i \"{newer}\" /qn"}, {Unchanged, 0, ELSEWHERE},
        {Installed, 0, NEWER}}},
    {"package_downgrade_refused", Packaged, {
        PACKAGED("newer", L"#0"), {Snap}, {Msiexec, REFUSED, L"/i \"{this}\" /qn"}, {Unchanged}, {Installed, 0, NEWER}}},
    {"package_downgrade_refused_box", Packaged, {
        PACKAGED("newer", L"#0"), {Snap}, {Msiexec, 0, L"/i \"{this}\""}, {Box, 0, nullptr, REFUSED_DOWNGRADE}, {Ok},
        {Exit, REFUSED, L"msiexec"}, {Unchanged}, {Installed, 0, NEWER}}},
    {"package_repair", Packaged, {REPAIRED_BY(L"/i \"{this}\" REINSTALL=ALL REINSTALLMODE=amus /qn")}},
    {"package_repair_fa", Packaged, {
        {WineSkip, 0, L"Wine's msiexec /f passes the package's path to MsiReinstallProduct, which takes a product code, "
                      L"and has no repair by product code; the same repair by REINSTALL=ALL is the story package_repair"},
        REPAIRED_BY(L"/fa \"{this}\" /qn")}},
};

} // namespace

TEST_P(StoryTest, Runs) {
    for (std::size_t at = 0; at < GetParam().steps.size() && !HasFatalFailure() && !IsSkipped(); ++at) {
        SCOPED_TRACE("step " + std::to_string(at + 1));
        Run(GetParam().steps[at]);
    }
}

// The installer's build of these stories runs the package stories alone, after the package is built.
INSTANTIATE_TEST_SUITE_P(Stories, StoryTest, ::testing::ValuesIn(NEWER[0] != L'\0' ? kPackageStories : kStories),
                         [](const ::testing::TestParamInfo<Story>& row) { return row.param.name; });
