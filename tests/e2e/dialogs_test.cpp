// The real Ferrymark.exe on the six-simulator machine, driven through its dialogs
// by control identifier: the first start, the list and the simulator dialog, the
// target combo box, a switch and back, the menu, and an exception out of a handler.
#include "app/machine.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "e2e/driver.h"
#include "engine/backup.h"
#include "platform/registry.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <gtest/gtest.h>

#include <commctrl.h>
#include <uxtheme.h>

#include <algorithm>
#include <memory>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const std::wstring kSettingsKey = L"Software\\Kestrane\\Ferrymark";
const std::wstring kNotInstalled = L"(not installed)";
enum Control { Combo = 604, TargetButton = 605, List = 606, Heading = 801, Location = 802,
               Browse = 803, Remove = 804, Apply = 805 };

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

class DialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (Environment(L"DISPLAY").empty() &&
            GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr)
            GTEST_SKIP() << "no X display for the program's windows under Wine: run under xvfb-run";
        const std::wstring build = Environment(L"FERRYMARK_BUILD");
        ASSERT_FALSE(build.empty()) << "FERRYMARK_BUILD names the build folder under test";
        RemoveTreeQuietly(installFolder);
        ASSERT_TRUE(CreateDirectoryW(installFolder.c_str(), nullptr));
        ASSERT_TRUE(CopyFileW((build + L"\\bin\\Ferrymark.exe").c_str(), program().c_str(), FALSE));
        ASSERT_TRUE(CopyFileW((build + L"\\test-doubles\\WinSparkle.dll").c_str(),
                              (installFolder + L"\\WinSparkle.dll").c_str(), FALSE));
        machine.Remove();
        machine.Install(storeLocations);
        RegistryKey(HKLM, kSettingsKey, false).WriteString(L"LogLevel", L"Debug");
        if (storeLocations)
            RegistryKey(HKLM, kSettingsKey, false).WriteDword(L"FirstRun", 1);
    }
    void TearDown() override {
        run.reset();
        machine.Remove();
        RemoveTreeQuietly(installFolder);
    }

    std::wstring program() const { return installFolder + L"\\Ferrymark.exe"; }
    HWND Item(int id) const { return GetDlgItem(main, id); }
    RegistryKey Settings() const { return RegistryKey(HKLM, kSettingsKey, false); }
    std::wstring Stored(const std::wstring& title, const wchar_t* value) const {
        return RegistryKey(HKLM, kSettingsKey + L"\\Simulators\\" + title, false).ReadString(value, L"-");
    }
    // The simulator's own value that SetLocation writes.
    static std::wstring SetupPath(const std::wstring& title) {
        for (const auto& record : CreateSimulators())
            if (record->GetTitle() == title)
                return RegistryKey(HKLM, record->RegistryKeyPath(), record->Is32Bit())
                    .ReadString(L"SetupPath", L"-");
        return L"?";
    }
    std::wstring LogText() const {
        const std::string bytes = ReadAll(GetDataFolder() + L"\\log.txt");
        return std::wstring(bytes.begin(), bytes.end());
    }

    // Starts the program and waits for its main dialog; with `greeting` the first
    // start's box comes first and is dismissed.
    void Start(bool greeting = false) {
        run = std::make_unique<ProgramRun>(program());
        if (greeting) {
            HWND box = run->WaitForDialog(L"Ferrymark", 20000, IDOK);
            ASSERT_NE(box, nullptr) << "no greeting";
            EXPECT_EQ(MessageBoxText(box),
                      L"Welcome to Ferrymark!\n\nClick on each simulator you have installed to set "
                      L"its location.\nBe sure to keep the list updated.");
            EXPECT_EQ(Settings().ReadDword(L"FirstRun", 7), 7u) << "written only once dismissed";
            Screenshot(box, L"greeting");
            PressButton(box, IDOK);
            EXPECT_TRUE(WaitUntil([&] { return Settings().ReadDword(L"FirstRun", 0) == 1; }));
        }
        main = run->WaitForDialog(L"Ferrymark", 20000, List);
        ASSERT_NE(main, nullptr) << "the main dialog did not appear";
    }
    // Ends the program by Escape, expecting exit code 0.
    void End() {
        PostKey(main, VK_ESCAPE);
        EXPECT_EQ(run->WaitForExit(), 0u);
        run.reset();
    }
    // A box of the program with this caption, checked, shot, and closed by OK.
    void ExpectBox(const std::wstring& caption, const std::wstring& text, const wchar_t* shot) {
        HWND box = run->WaitForDialog(caption, 60000, IDOK);
        ASSERT_NE(box, nullptr) << "no box " << Narrow(caption);
        EXPECT_EQ(MessageBoxText(box), text);
        if (shot != nullptr)
            Screenshot(box, shot);
        PressButton(box, IDOK);
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(box); }));
    }
    // Double-clicks a cell of the list and returns the simulator dialog.
    HWND Edit(int row, int column = 1) {
        const RECT bounds = ListItemRect(Item(List), row);
        const auto titleWidth = static_cast<LONG>(SendMessageW(Item(List), LVM_GETCOLUMNWIDTH, 0, 0));
        DoubleClick(Item(List), {bounds.left + 8 + (column == 1 ? titleWidth : 0),
                                 (bounds.top + bounds.bottom) / 2});
        return run->WaitForDialog(L"Configure simulator", 20000, Location);
    }
    // Sets a location through the simulator dialog in Add mode.
    void Add(int row, const std::wstring& folder) {
        HWND editor = Edit(row);
        ASSERT_NE(editor, nullptr);
        SetWindowTextW(GetDlgItem(editor, Location), folder.c_str());
        PressButton(editor, Apply);
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(editor); }));
    }
    std::vector<std::wstring> Rows(int column) const {
        std::vector<std::wstring> rows;
        for (int row = 0; row < ListRowCount(Item(List)); ++row)
            rows.push_back(ListText(Item(List), row, column));
        return rows;
    }
    const InstalledSimulator& Sim(const wchar_t* title) const { return machine.Simulator(title); }

    bool storeLocations = false;
    const std::wstring installFolder = L"C:\\ferrymark-dialogs";
    SixSimulatorMachine machine;
    std::unique_ptr<ProgramRun> run;
    HWND main = nullptr;
};

// The machine after the user confirmed every location.
class ConfiguredTest : public DialogTest {
protected:
    ConfiguredTest() { storeLocations = true; }
    void Select(const std::wstring& title) {
        const std::vector<std::wstring> texts = ComboTexts(Item(Combo));
        const auto at = std::find(texts.begin(), texts.end(), title) - texts.begin();
        SendMessageW(Item(Combo), CB_SETCURSEL, static_cast<WPARAM>(at), 0);
    }
    bool ButtonReads(const wchar_t* text) const { return WindowText(Item(TargetButton)) == text; }
};


} // namespace

TEST_F(DialogTest, FirstStartGreetsAndTheSimulatorDialogAddsEditsAndRemoves) {
    Start(true);
    Screenshot(main, L"main-first-start");
    EXPECT_EQ(Rows(0), (std::vector<std::wstring>{L"Flight Simulator X", L"Prepar3D v1", L"Prepar3D v2",
                                                   L"Prepar3D v3", L"Prepar3D v4", L"Prepar3D v5"}));
    EXPECT_EQ(Rows(1), std::vector<std::wstring>(6, kNotInstalled));
    EXPECT_TRUE(ComboTexts(Item(Combo)).empty());
    EXPECT_EQ(WindowText(Item(TargetButton)), L"Activate");

    // Add mode on Prepar3D v4: what Apply refuses keeps the dialog open and stores nothing.
    const std::wstring markerOnly = installFolder + L"\\marker only";
    CreateDirectoryW(markerOnly.c_str(), nullptr);
    WriteAll(markerOnly + L"\\eula_prepar3d_v4_academic.rtf", "{\\rtf1}");
    const std::wstring invalid = L"This folder is not recognized as Prepar3D v4 location.";
    const std::wstring ownValue = SetupPath(L"Prepar3D v4");
    struct Refusal {
        const char* name;
        std::wstring folder, caption, text;
    };
    for (const Refusal& refusal : std::vector<Refusal>{
             {"empty field", L"", L"Invalid folder", invalid},
             {"no marker file", Sim(L"Prepar3D v5").location, L"Invalid folder", invalid},
             {"no readable version", markerOnly, L"Verification error", L"Failed to read Prepar3D v4 version."},
             {"Escape after a valid folder", Sim(L"Prepar3D v4").location, L"", L""}}) {
        SCOPED_TRACE(refusal.name);
        HWND editor = Edit(4);
        ASSERT_NE(editor, nullptr);
        EXPECT_EQ(WindowText(GetDlgItem(editor, Heading)), L"Set Prepar3D v4 location");
        EXPECT_EQ(WindowText(GetDlgItem(editor, Apply)), L"Add");
        EXPECT_FALSE(IsWindowVisible(GetDlgItem(editor, Remove)));
        SetWindowTextW(GetDlgItem(editor, Location), refusal.folder.c_str());
        if (!refusal.caption.empty()) {
            Screenshot(editor, L"simulator-dialog-add");
            PressButton(editor, Apply);
            HWND box = run->WaitForDialog(refusal.caption, 20000, IDOK);
            ASSERT_NE(box, nullptr);
            EXPECT_EQ(MessageBoxText(box), refusal.text);
            EXPECT_EQ(GetDlgItem(box, IDRETRY), nullptr) << "OK only";
            EXPECT_EQ(GetDlgItem(box, IDCANCEL), nullptr) << "OK only";
            Screenshot(box, refusal.caption == L"Invalid folder" ? L"invalid-folder" : L"verification-error");
            PressButton(box, IDOK);
            EXPECT_TRUE(WaitUntil([&] { return !IsWindow(box); }));
            EXPECT_TRUE(IsWindow(editor)) << "the dialog stays open";
        }
        PostKey(editor, VK_ESCAPE);
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(editor); }));
        EXPECT_EQ(Stored(L"Prepar3D v4", L"InstallLocation"), L"-");
        EXPECT_EQ(SetupPath(L"Prepar3D v4"), ownValue) << "the simulator's own value is untouched";
    }

    // Browse, and the picker cancelled (or not made at all, without COM): the field
    // keeps its text.
    HWND editor = Edit(4);
    ASSERT_NE(editor, nullptr);
    SetWindowTextW(GetDlgItem(editor, Location), L"typed");
    PressButton(editor, Browse);
    // Wine's picker shows a caption of its own for folders.
    HWND picker = run->WaitForDialog(L"Select Prepar3D v4 folder", 3000);
    if (picker == nullptr)
        picker = run->WaitForDialog(L"Select Folder", 3000);
    if (picker != nullptr) {
        Screenshot(picker, L"folder-picker");
        PostMessageW(picker, WM_COMMAND, IDCANCEL, 0);
    }
    EXPECT_TRUE(WaitUntil([&] { return LogText().find(L"Selecting cancelled") != std::wstring::npos; }));
    EXPECT_EQ(WindowText(GetDlgItem(editor, Location)), L"typed");
    PostKey(editor, VK_ESCAPE);
    ASSERT_TRUE(WaitUntil([&] { return !IsWindow(editor); }));

    // Valid folders: stored with their version, the simulator's own values written,
    // the cell updated and the combo box refilled at once, sorted, its selection kept.
    Add(5, Sim(L"Prepar3D v5").location);
    Add(0, Sim(L"Flight Simulator X").location);
    EXPECT_EQ(ComboTexts(Item(Combo)), std::vector<std::wstring>{L"Prepar3D v5"}) << "FSX is no target";
    SendMessageW(Item(Combo), CB_SETCURSEL, 0, 0);
    // Without its own value, so that Apply is seen to write it.
    RegistryKey(HKLM, CreateSimulators()[4]->RegistryKeyPath(), false).DeleteValue(L"SetupPath");
    Add(4, Sim(L"Prepar3D v4").location);
    EXPECT_EQ(Stored(L"Prepar3D v4", L"InstallLocation"), Sim(L"Prepar3D v4").location);
    EXPECT_EQ(Stored(L"Prepar3D v4", L"Version"), L"4.5.14.34698");
    EXPECT_EQ(SetupPath(L"Prepar3D v4"), Sim(L"Prepar3D v4").location + L"\\");
    EXPECT_EQ(Rows(1)[4], Sim(L"Prepar3D v4").location);
    EXPECT_EQ(ComboTexts(Item(Combo)), (std::vector<std::wstring>{L"Prepar3D v4", L"Prepar3D v5"}));
    EXPECT_EQ(ComboSelection(Item(Combo)), L"Prepar3D v5");
    for (int index = 0; index < 2; ++index)
        EXPECT_NE(SendMessageW(Item(Combo), CB_GETITEMDATA, static_cast<WPARAM>(index), 0), 0)
            << "each target carries its bitmap";
    Screenshot(main, L"main-three-locations");

    // Edit mode: Apply and Remove; Remove asks nothing and clears both sides.
    editor = Edit(4);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(WindowText(GetDlgItem(editor, Apply)), L"Apply");
    EXPECT_TRUE(IsWindowVisible(GetDlgItem(editor, Remove)));
    EXPECT_EQ(WindowText(GetDlgItem(editor, Location)), Sim(L"Prepar3D v4").location);
    Screenshot(editor, L"simulator-dialog-edit");
    PressButton(editor, Remove);
    EXPECT_TRUE(WaitUntil([&] { return !IsWindow(editor); }));
    EXPECT_EQ(Stored(L"Prepar3D v4", L"InstallLocation"), L"-");
    EXPECT_EQ(Stored(L"Prepar3D v4", L"Version"), L"-");
    EXPECT_EQ(SetupPath(L"Prepar3D v4"), L"-");
    EXPECT_EQ(Rows(1)[4], kNotInstalled);
    EXPECT_EQ(ComboTexts(Item(Combo)), std::vector<std::wstring>{L"Prepar3D v5"});
    End();

    // The second start greets no more and shows the stored locations.
    Start();
    EXPECT_EQ(run->WaitForDialog(L"Ferrymark", 2000, IDOK), nullptr) << "no second greeting";
    EXPECT_EQ(Rows(1)[5], Sim(L"Prepar3D v5").location);
    End();
}

TEST_F(DialogTest, RowsWithoutLocationAreDrawnInTheThemesDisabledColour) {
    HTHEME theme = OpenThemeData(nullptr, L"TEXTSTYLE");
    COLORREF disabled = 0;
    const bool themed = SUCCEEDED(GetThemeColor(theme, 9, 2, 3803, &disabled));
    if (theme != nullptr)
        CloseThemeData(theme);
    const COLORREF normal = GetSysColor(COLOR_WINDOWTEXT);
    if (!themed || disabled == normal)
        GTEST_SKIP() << "the visual style has no distinct disabled text colour (TEXTSTYLE"
                     << (themed ? " gives the normal colour" : " is missing, as under Wine 8") << ")";
    Start(true);
    Add(0, Sim(L"Flight Simulator X").location);
    Add(4, Sim(L"Prepar3D v4").location); // leaves row 0 unselected
    const Image image = Capture(Item(List));
    RECT frame{}, client{};
    GetWindowRect(Item(List), &frame);
    GetClientRect(Item(List), &client);
    MapWindowPoints(Item(List), nullptr, reinterpret_cast<POINT*>(&client), 2);
    for (int row = 0; row < 4; ++row) {
        const RECT bounds = ListItemRect(Item(List), row);
        int disabledPixels = 0, normalPixels = 0;
        for (int y = bounds.top; y < bounds.bottom; ++y)
            for (int x = bounds.left; x < bounds.right; ++x) {
                const COLORREF pixel =
                    image.At(x + client.left - frame.left, y + client.top - frame.top);
                disabledPixels += pixel == disabled;
                normalPixels += pixel == normal;
            }
        SCOPED_TRACE(row);
        EXPECT_EQ(row == 0 ? disabledPixels : normalPixels, 0);
        EXPECT_GT(row == 0 ? normalPixels : disabledPixels, 10);
    }
    End();
}

TEST_F(DialogTest, TheComboBoxShowsItsCueBannerWithNothingSelected) {
    Start(true);
    HWND combo = Item(Combo);
    // The cue banner as the control keeps it, read in the program's process.
    const std::wstring cue = [&] {
        wchar_t text[64] = {};
        DWORD processId = 0;
        GetWindowThreadProcessId(combo, &processId);
        HANDLE process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, processId);
        void* remote = VirtualAllocEx(process, nullptr, sizeof text, MEM_COMMIT, PAGE_READWRITE);
        SendMessageW(combo, CB_GETCUEBANNER, reinterpret_cast<WPARAM>(remote), 64);
        ReadProcessMemory(process, remote, text, sizeof text, nullptr);
        VirtualFreeEx(process, remote, 0, MEM_RELEASE);
        CloseHandle(process);
        return std::wstring(text);
    }();
    Screenshot(main, L"combo-cue-banner");
    if (cue.empty())
        GTEST_SKIP() << "the combo box keeps no cue banner (CB_SETCUEBANNER is not implemented in Wine 8)";
    EXPECT_EQ(cue, L"Select simulator...");
    // Nothing selected: the field shows grey text and no bitmap.
    const Image image = Capture(combo);
    int grey = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            grey += image.At(x, y) == GetSysColor(COLOR_GRAYTEXT);
    EXPECT_GT(grey, 10);
    End();
}

TEST_F(ConfiguredTest, ActivatesRefusesWhileInUseAndDeactivatesAcrossARestart) {
    Start();
    PressButton(main, TargetButton);
    ExpectBox(L"Ferrymark", L"Select target simulator.", L"select-target");
    EXPECT_EQ(ComboTexts(Item(Combo)), (std::vector<std::wstring>{L"Prepar3D v3", L"Prepar3D v4", L"Prepar3D v5"}));
    Select(L"Prepar3D v4");
    const MachineSnapshot before = TakeSnapshot();
    const auto records = CreateSimulators();
    const GenericSimulator& fsx = *records[0];
    const GenericSimulator& target = *records[4];
    {
        other_process::Holder holder(other_process::Hold::WorkingFolder, fsx.GetFolder(ProgramData));
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        PressButton(main, TargetButton);
        ExpectBox(L"Files in use",
                  L"Flight Simulator X files are in use.\nClose all open files and running programs and try again.",
                  L"files-in-use");
        for (const Difference& d : DiffSnapshots(before, TakeSnapshot()))
            EXPECT_EQ(d.item, GetDataFolder() + L"\\log.txt") << "nothing but the log changed";
    }

    PressButton(main, TargetButton);
    ASSERT_TRUE(WaitUntil([&] { return ButtonReads(L"Deactivate"); }, 120000));
    Screenshot(main, L"main-active");
    EXPECT_FALSE(IsWindowEnabled(Item(Combo)));
    EXPECT_FALSE(IsWindowEnabled(Item(List)));
    EXPECT_EQ(Settings().ReadDword(L"TargetActive", 0), 1u);
    EXPECT_EQ(Settings().ReadString(L"TargetTitle", L""), L"Prepar3D v4");
    EXPECT_TRUE(FileExists(target.GetFolder(Root) + L"\\fsx.exe"));
    for (const auto& record : records) {
        if (record->GetTitle() == L"Prepar3D v4")
            continue;
        SCOPED_TRACE(Narrow(record->GetTitle()));
        EXPECT_TRUE(FileExists(GetBackupPath(record->GetFolder(RootExecutable))));
        EXPECT_EQ(RegistryKey(HKLM, record->RegistryKeyPath(), record->Is32Bit()).ReadString(L"SetupPath", L""),
                  target.GetFolder(Root) + L"\\");
    }
    End();

    // The recorded state comes back; the button alone leads on.
    Start();
    EXPECT_TRUE(ButtonReads(L"Deactivate"));
    EXPECT_EQ(ComboSelection(Item(Combo)), L"Prepar3D v4");
    EXPECT_FALSE(IsWindowEnabled(Item(Combo)));
    PressButton(main, TargetButton);
    ASSERT_TRUE(WaitUntil([&] { return ButtonReads(L"Activate"); }, 120000));
    EXPECT_TRUE(IsWindowEnabled(Item(Combo)));
    EXPECT_TRUE(IsWindowEnabled(Item(List)));
    End();
    // The program's own folder holds the recording update framework's calls.
    // The program's own logs change too.
    const std::vector<ResidueItem> residue = RoundTripResidue(target);
    for (const Difference& d : DiffSnapshots(before, TakeSnapshot()))
        EXPECT_TRUE(std::any_of(residue.begin(), residue.end(), [&](const ResidueItem& r) { return r.allows(d); }) ||
                    IsBelow(d.item, GetDataFolder()) || PathParent(d.item) == installFolder)
            << Narrow(Describe(d));
}

TEST_F(ConfiguredTest, MenuCommandsAndTheAboutDialog) {
    Start();
    PressButton(main, 500);
    ExpectBox(L"Missing manual", L"User manual is missing.", L"missing-manual");
    EXPECT_NE(LogText().find(L"WARN    User manual is missing."), std::wstring::npos);
    // With the manual in the working folder the shell is asked to open it.
    WriteAll(installFolder + L"\\Manual.pdf", "%PDF-1.4\n");
    PressButton(main, 500);
    EXPECT_EQ(run->WaitForDialog(L"Missing manual", 3000), nullptr);

    PressButton(main, 501);
    EXPECT_TRUE(WaitUntil([&] {
        return ReadAll(installFolder + L"\\winsparkle-calls.txt").find("win_sparkle_check_update_with_ui") !=
               std::string::npos;
    }));

    // About ends on Close, Escape and the close box.
    using Ending = std::function<void(HWND)>;
    for (const Ending& end : std::vector<Ending>{
             [](HWND about) { PressButton(about, IDOK); }, [](HWND about) { PostKey(about, VK_ESCAPE); },
             [](HWND about) { PostMessageW(about, WM_SYSCOMMAND, SC_CLOSE, 0); }}) {
        PressButton(main, 502);
        HWND about = run->WaitForDialog(L"About", 20000, 704);
        ASSERT_NE(about, nullptr);
        EXPECT_EQ(WindowText(GetDlgItem(about, 702)), L"Ferrymark");
        EXPECT_EQ(WindowText(GetDlgItem(about, 703)), L"For FSX and Prepar3D");
        EXPECT_EQ(WindowText(GetDlgItem(about, 704)), L"Version 5.0.7.0");
        Screenshot(about, L"about");
        end(about);
        EXPECT_TRUE(WaitUntil([&] { return !IsWindow(about); }));
    }
    // File, Exit.
    PressButton(main, 200);
    EXPECT_EQ(run->WaitForExit(), 0u);
    EXPECT_NE(LogText().rfind(L"INFO    Shutdown\r\n"), std::wstring::npos);
}

TEST_F(ConfiguredTest, AnExceptionOutOfAHandlerEndsTheProgramWithItsBox) {
    // The target's program has gone since its location was confirmed: the copy that
    // activation makes of it raises.
    const std::wstring executable = Sim(L"Prepar3D v4").location + L"\\Prepar3D.exe";
    ASSERT_TRUE(MoveFileW(executable.c_str(), (executable + L".gone").c_str()));
    Start();
    Select(L"Prepar3D v4");
    PressButton(main, TargetButton);
    HWND box = run->WaitForDialog(L"Ferrymark", 60000, IDOK);
    ASSERT_NE(box, nullptr);
    const std::wstring details = L"An unexpected error has occurred.\n\nError details:\ncopy_file: ";
    EXPECT_EQ(MessageBoxText(box).substr(0, details.size()), details);
    Screenshot(box, L"unexpected-error");
    PressButton(box, IDOK);
    EXPECT_EQ(run->WaitForExit(), 1u);
    const std::wstring log = LogText();
    const std::wstring last = log.substr(log.rfind(L'\n', log.size() - 3) + 1);
    EXPECT_NE(last.find(L"  FATAL    Unexpected error: copy_file: "), std::wstring::npos) << Narrow(last);
    MoveFileW((executable + L".gone").c_str(), executable.c_str());
}
