// Whole switches over the six-simulator machine through the recording host (no links under Wine).
#include "app/machine.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "engine/simbase.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "support/other_process.h"
#include "support/sandbox.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/recording_host.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace {

using other_process::Hold;
using other_process::Holder;
const RegistryHive HKLM = RegistryHive::LocalMachine;
const wchar_t kTarget[] = L"Prepar3D v4";
const wchar_t kStore[] = L"Software\\Kestrane\\Ferrymark\\Simulators\\";
const wchar_t kUninstall[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const wchar_t kInstallShieldAside[] = L"C:\\Program Files (x86)\\InstallShield Installation Information\\"
                                      L"Ferrymark backup (ezZGN0EyQzE5LTNCODQtNEUxRC05QTUyLTBDOEQ3RTRCMUYzNn0=)";
const wchar_t kV4[] = L"C:\\Program Files\\Lockheed Martin\\Prepar3D v4";

std::wstring InUse(const wchar_t* title) {
    return std::wstring(L"Files in use: ") + title +
           L" files are in use.\nClose all open files and running programs and try again.";
}

// Each simulator: folder, program (set aside as), data folder (set aside as), own key, 32 bit,
// Content/Scenery keys, whose disabling takes its add-ons' entries (locations compare as prefixes).
struct Installed {
    const wchar_t *title, *location, *program, *programAside, *data, *dataAside, *key;
    bool wow32, contentKeys;
    const wchar_t* entriesHeldBy;
};
#define PF86 L"C:\\Program Files (x86)\\"
#define LM L"C:\\ProgramData\\Lockheed Martin\\"
#define P3D_ASIDE L"Ferrymark backup (UHJlcGFyM0QuZXhl)"
const Installed kSimulators[] = {
    {L"Flight Simulator X", PF86 L"Microsoft Games\\Microsoft Flight Simulator X", L"fsx.exe",
     L"Ferrymark backup (ZnN4LmV4ZQ==)", L"C:\\ProgramData\\Microsoft\\FSX",
     L"C:\\ProgramData\\Microsoft\\Ferrymark backup (RlNY)",
     L"Software\\Microsoft\\Microsoft Games\\Flight Simulator\\10.0", true, false, L"Flight Simulator X"},
    {L"Prepar3D v1", PF86 L"Lockheed Martin\\Prepar3D", L"Prepar3D.exe", P3D_ASIDE,
     L"C:\\ProgramData\\LockheedMartin\\Prepar3D", L"C:\\ProgramData\\LockheedMartin\\Ferrymark backup (UHJlcGFyM0Q=)",
     L"Software\\LockheedMartin\\Prepar3D", true, false, L"Prepar3D v1"},
    {L"Prepar3D v2", PF86 L"Lockheed Martin\\Prepar3D v2", L"Prepar3D.exe", P3D_ASIDE, LM L"Prepar3D v2",
     LM L"Ferrymark backup (UHJlcGFyM0QgdjI=)", L"Software\\Lockheed Martin\\Prepar3D v2", true, false, L"Prepar3D v1"},
    {L"Prepar3D v3", PF86 L"Lockheed Martin\\Prepar3D v3", L"Prepar3D.exe", P3D_ASIDE, LM L"Prepar3D v3",
     LM L"Ferrymark backup (UHJlcGFyM0QgdjM=)", L"Software\\Lockheed Martin\\Prepar3D v3", true, true, L"Prepar3D v1"},
    {L"Prepar3D v4", kV4, L"Prepar3D.exe", nullptr, LM L"Prepar3D v4", nullptr,
     L"Software\\Lockheed Martin\\Prepar3D v4", false, true, nullptr},
    {L"Prepar3D v5", L"C:\\Program Files\\Lockheed Martin\\Prepar3D v5", L"Prepar3D.exe", P3D_ASIDE, LM L"Prepar3D v5",
     LM L"Ferrymark backup (UHJlcGFyM0QgdjU=)", L"Software\\Lockheed Martin\\Prepar3D v5", false, true, L"Prepar3D v5"},
};

std::wstring State(const MachineSnapshot& snapshot, const std::wstring& path) {
    const auto found = snapshot.files.find(path);
    return found == snapshot.files.end() ? L"(nothing)" : found->second.state;
}

class MachineSwitchTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        machine.Remove();
        machine.Install(true);
        OpenLog();
        host.emplace();
        links = !other_process::RunningUnderWine();
    }
    void TearDown() override {
        host.reset();
        machine.Remove();
        SandboxTest::TearDown();
    }
    bool Switch(bool activate, const std::wstring& recorded = L"") {
        host->recordedTitle = recorded;
        host->boxes.clear();
        return SwitchTarget(*host, kTarget, activate);
    }
    // What changed since `before` that neither the round trip, the log nor `extra` explains.
    std::string Lost(const MachineSnapshot& before, std::vector<ResidueItem> extra = {}) {
        const std::wstring log = InFolder(L"log.txt");
        extra.push_back({"the test's log", [=](const Difference& d) { return d.item == log; }});
        return Narrow(Describe(Unexplained(before, host->Record(kTarget), extra)));
    }
    // Nothing but the log changed since `before`.
    std::string Changed(const MachineSnapshot& before) {
        std::vector<Difference> changes;
        for (const Difference& d : DiffSnapshots(before, TakeSnapshot()))
            if (d.item != InFolder(L"log.txt"))
                changes.push_back(d);
        return Narrow(Describe(changes));
    }

    SixSimulatorMachine machine;
    std::optional<RecordingHost> host;
    bool links = true;
};

} // namespace

TEST_F(MachineSwitchTest, ARoundTripMovesEverySimulatorAsideAndBackLeavingOnlyItsResidue) {
    // The backups of ten runs before: the oldest gives way to the rotation.
    const std::wstring data = L"C:\\ProgramData\\Kestrane\\Ferrymark\\backup";
    for (int at = 0; at <= 9; ++at) {
        MakeFolder(data + (at ? std::to_wstring(at) : L""));
        WriteFile(data + (at ? std::to_wstring(at) : L"") + L"\\earlier.cfg", std::to_string(at));
    }
    const MachineSnapshot before = TakeSnapshot();
    ASSERT_TRUE(Switch(true));
    const MachineSnapshot active = TakeSnapshot();
    EXPECT_EQ(host->settings.ReadDword(L"TargetActive", 7), 1u);
    EXPECT_EQ(host->settings.ReadString(L"TargetTitle", L""), kTarget);
    EXPECT_EQ(ReadFile(data + L"1\\earlier.cfg"), "0");
    EXPECT_EQ(ReadFile(data + L"9\\earlier.cfg"), "8");
    EXPECT_FALSE(platform::Exists(data + L"10"));

    std::vector<std::string> activation{"INFO Activating Prepar3D v4"}, others, deactivation{"INFO Deactivating Prepar3D v4"};
    for (const Installed& row : kSimulators) {
        SCOPED_TRACE(Narrow(row.title));
        const std::string title = Narrow(row.title);
        activation.insert(activation.end(), {"INFO --- " + title + " backup start ---", "INFO --- " + title + " backup end ---"});
        deactivation.insert(deactivation.end(), {"INFO --- " + title + " restore start ---", "INFO --- " + title + " restore end ---"});
        if (title != "Flight Simulator X")
            deactivation.insert(deactivation.end(), {"TRACE --- " + title + " deactivate start ---", "TRACE --- " + title + " deactivate end ---"});
        const std::wstring program = row.location + std::wstring(L"\\") + row.program;
        if (row.dataAside == nullptr)
            continue;
        others.insert(others.end(), {"INFO --- " + title + " disable start ---", "INFO --- " + title + " disable end ---"});
        // Data folder aside and linked to the target's, program aside for the stub, values name the target.
        EXPECT_EQ(State(active, row.dataAside), State(before, row.data));
        EXPECT_EQ(State(active, row.data), links ? L"link -> C:\\ProgramData\\Lockheed Martin\\Prepar3D v4" : L"(nothing)");
        EXPECT_EQ(State(active, row.location + std::wstring(L"\\") + row.programAside), State(before, program));
        EXPECT_TRUE(ReadFile(program) == Embedded(IDR_LAUNCHER_STUB)) << "not the stub: " << Narrow(program);
        std::vector<std::wstring> keys{row.key};
        if (row.contentKeys)
            keys.insert(keys.end(), {row.key + std::wstring(L" Content"), row.key + std::wstring(L" Scenery")});
        for (const std::wstring& key : keys)
            EXPECT_EQ(RegistryKey(HKLM, key, row.wow32).ReadString(L"SetupPath", L""), kV4 + std::wstring(L"\\"));
        EXPECT_EQ(RegistryKey(RegistryHive::CurrentUser, row.key, row.wow32).ReadString(L"AppPath", L""), kV4 + std::wstring(L"\\"));
        // Its add-ons' entries wait, with their time, under the simulator whose location holds theirs.
        const InstalledSimulator& installed = machine.Simulator(row.title);
        for (bool wow32 : {true, false})
            for (const std::wstring& name : wow32 ? installed.addonEntries32 : installed.addonEntries64) {
                EXPECT_FALSE(RegistryKey::Exists(HKLM, kUninstall + name, wow32)) << Narrow(name);
                const std::wstring aside = kStore + std::wstring(row.entriesHeldBy) + (wow32 ? L"\\Uninstall32\\" : L"\\Uninstall64\\");
                EXPECT_EQ(RegistryKey(HKLM, aside + name, false).ReadString(L"__LastModified", L"").size(), 19u);
            }
    }
    EXPECT_EQ(State(active, kInstallShieldAside), L"folder");

    // The target: sound launch lists, file links to the data files that are there.
    for (SimulatorFolder slot : {ProgramData, RoamingAppData})
        for (const wchar_t* name : {L"\\dll.xml", L"\\exe.xml"})
            EXPECT_TRUE(VerifySimBaseDocument(host->Record(kTarget).GetFolder(slot) + name, 3));
    EXPECT_EQ(State(active, kV4 + std::wstring(L"\\scenery.cfg")),
              links ? L"link -> C:\\ProgramData\\Lockheed Martin\\Prepar3D v4\\scenery.cfg" : L"(nothing)");
    activation.insert(activation.end(), {"TRACE --- Prepar3D v4 activate start ---", "TRACE --- Prepar3D v4 activate end ---"});
    activation.insert(activation.end(), others.begin(), others.end());
    activation.push_back("INFO Finished activating Prepar3D v4");
    const std::vector<std::string> steps{"INFO Activating", "INFO Deactivating", "INFO Finished", "INFO --- ", "TRACE --- "};
    EXPECT_EQ(LogMatching(steps), activation);

    ClearLog();
    // Deactivation records the title too, so the last target comes back preselected.
    host->settings.DeleteValue(L"TargetTitle");
    ASSERT_TRUE(Switch(false));
    EXPECT_EQ(host->settings.ReadDword(L"TargetActive", 7), 0u);
    EXPECT_EQ(host->settings.ReadString(L"TargetTitle", L""), kTarget);
    deactivation.push_back("INFO Finished deactivating Prepar3D v4");
    EXPECT_EQ(LogMatching(steps), deactivation);
    EXPECT_EQ(Lost(before), "");
}

TEST_F(MachineSwitchTest, WhatIsInUseStopsTheSwitchBeforeAnythingChanges) {
    const std::wstring backup = L"C:\\ProgramData\\Kestrane\\Ferrymark\\backup";
    MakeFolder(backup);
    WriteFile(backup + L"\\earlier.cfg", "an earlier backup");
    struct Row {
        bool activate;
        const wchar_t* recorded;
        std::vector<std::wstring> held;  // folders another process works in
        std::wstring box;
        std::string log;  // a line of the log that begins so
    };
    const Row rows[] = {
        {true, L"", {L"C:\\ProgramData\\Microsoft\\FSX"}, InUse(L"Flight Simulator X"), "ERROR Flight Simulator X is in use"},
        // The recorded target is exempt; the rotation then fails.
        {true, L"Prepar3D v5", {LM L"Prepar3D v5", backup}, L"Backup error: Cannot activate: failed to create backups.",
         "ERROR Failed to move " + Narrow(backup) + " -> " + Narrow(backup) + "1, reason: "},
        {false, kTarget, {LM L"Prepar3D v4"}, InUse(L"Prepar3D v4"), "ERROR Prepar3D v4 is in use"},
        // A simulator's folders set aside count as its own.
        {false, kTarget, {GetKnownFolder(KnownFolder::RoamingAppData) + L"\\Lockheed Martin\\Ferrymark backup (UHJlcGFyM0QgdjQ=)"},
         InUse(L"Prepar3D v4"), "ERROR Prepar3D v4 is in use"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.log);
        if (!row.activate && !host->active) {
            ASSERT_TRUE(Switch(true));
        }
        std::vector<std::unique_ptr<Holder>> holders;
        for (const std::wstring& path : row.held) {
            MakeFolder(path);
            holders.push_back(std::make_unique<Holder>(Hold::WorkingFolder, path));
            ASSERT_TRUE(holders.back()->Started()) << holders.back()->Failure();
        }
        ClearLog();
        host->updates.clear();
        const MachineSnapshot before = TakeSnapshot();
        EXPECT_FALSE(Switch(row.activate, row.recorded));
        EXPECT_EQ(host->boxes, std::vector<std::wstring>{row.box});
        EXPECT_EQ(LogMatching({row.log}).size(), 1u);
        EXPECT_EQ(host->updates, std::vector<std::wstring>{});
        holders.clear();
        EXPECT_EQ(Changed(before), "");
    }
}

TEST_F(MachineSwitchTest, ActivationLinksFilesByKindAndBuildAndDeactivationTakesThemAway) {
    struct Row {
        const wchar_t *title, *version, *location;
        bool links;
    };
    const Row rows[] = {
        {L"Prepar3D v1", L"1.4.4747.0", PF86 L"Lockheed Martin\\Prepar3D", false},
        {L"Prepar3D v2", L"2.5.0.12941", PF86 L"Lockheed Martin\\Prepar3D v2", false},
        {L"Prepar3D v2", L"2.5.0.12942", PF86 L"Lockheed Martin\\Prepar3D v2", true},
        {L"Prepar3D v2", L"2.5.12942.0", PF86 L"Lockheed Martin\\Prepar3D v2", false},
        {L"Prepar3D v3", L"", PF86 L"Lockheed Martin\\Prepar3D v3", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Narrow(row.title) + " " + Narrow(row.version));
        GenericSimulator& simulator = host->Record(row.title);
        StoreLocation(row.title, row.location, row.version);
        const std::wstring copy = row.location + std::wstring(L"\\fsx.exe"), link = row.location + std::wstring(L"\\scenery.cfg");
        ClearLog();
        EXPECT_TRUE(simulator.Activate());
        EXPECT_EQ(GetFileVersionText(copy), L"10.0.61637.0") << "a patched copy of the target's program";
        EXPECT_EQ(LogContains("TRACE CreateFileLink " + Narrow(link) + " -> " +
                              Narrow(simulator.GetFolder(ProgramData)) + "\\scenery.cfg"), row.links);
        EXPECT_EQ(platform::IsSymbolicLink(link), row.links && links);
        ClearLog();
        EXPECT_TRUE(simulator.Deactivate());
        EXPECT_FALSE(platform::Exists(copy) || platform::IsSymbolicLink(link));
        EXPECT_EQ(LogContains("TRACE RemoveLink " + Narrow(link)), row.links);
    }
}

TEST_F(MachineSwitchTest, DisableTowardsNothingAndBackupOnTheirOwn) {
    GenericSimulator& fsx = host->Record(L"Flight Simulator X");
    const std::shared_ptr<GenericSimulator> v4 = host->simulators[4];
    // Towards its own kind, or towards nothing, nothing happens.
    MachineSnapshot before = TakeSnapshot();
    EXPECT_FALSE(v4->Disable(v4) || fsx.Disable(nullptr));
    EXPECT_EQ(Changed(before), "");

    // An absent slot, or one with nothing to copy, gets no folder; a second backup keeps the first copies.
    GenericSimulator& v1 = host->Record(L"Prepar3D v1");
    ASSERT_FALSE(platform::RemoveTree(L"C:\\ProgramData\\LockheedMartin\\Prepar3D").Failed());
    for (const wchar_t* name : {L"\\Settings 1.fxml", L"\\Settings 2.fxml", L"\\Settings 1.wx", L"\\Settings 2.wx"})
        ASSERT_FALSE(platform::RemoveItem(v1.GetFolder(LocalAppData) + name).Failed());
    const std::wstring tree = InFolder(L"tree");
    EXPECT_TRUE(v1.Backup(tree));
    for (const wchar_t* slot : {L"\\Prepar3D v1\\ProgramData", L"\\Prepar3D v1\\LocalAppData", L"\\Prepar3D v1\\UserPictures"})
        EXPECT_FALSE(platform::Exists(tree + slot));
    EXPECT_TRUE(platform::Exists(tree + L"\\Prepar3D v1\\RoamingAppData\\Settings 1.bin"));
    WriteFile(tree + L"\\Prepar3D v1\\Root\\Settings 1.cfg", "first");
    EXPECT_TRUE(v1.Backup(tree));
    EXPECT_EQ(ReadFile(tree + L"\\Prepar3D v1\\Root\\Settings 1.cfg"), "first");
    EXPECT_FALSE(LogMatching({"ERROR Failed to copy file "}).empty());
}

// Machines as users have them through a round trip: nothing lost, any other outcome written in its row.
struct Bent {
    const char* name;
    std::map<std::wstring, std::wstring> locations;  // install folders other than the usual
    std::function<void()> bend = {};                 // after the install
    std::vector<ResidueItem> outcome = {};
    std::function<void()> check = {};
};

TEST_F(MachineSwitchTest, OtherFoldersStoredLocationsAndFilesComeThroughARoundTrip) {
    std::wstring deep = L"C:\\Simulation";
    while (deep.size() < 270)
        deep += L"\\Flight simulation library";
    const std::wstring gone = L"C:\\Games\\Prepar3D v2";
    const Bent rows[] = {
        {"install folders in other scripts, on a second drive and beyond 260 characters",
         {{L"Flight Simulator X", L"D:\\Jeux\\Simulateur de vol \u00c9dition or"},
          {L"Prepar3D v3", L"C:\\\u0418\u0433\u0440\u044b\\Prepar3D v3"},
          {kTarget, deep + L"\\Prepar3D v4"}}},
        {"stored locations with a closing backslash, with forward slashes, and gone", {}, [&] {
             StoreLocation(kTarget, kV4 + std::wstring(L"\\"), L"4.5.14.34698");
             StoreLocation(L"Prepar3D v5", L"C:/Program Files/Lockheed Martin/Prepar3D v5", L"5.3.17.28160");
             StoreLocation(L"Prepar3D v2", gone, L"2.5.12945.0");
         },
         {{"a simulator's own values name its stored location as confirmed", [](const Difference& d) {
               return d.kind == Difference::Changed &&
                      (d.after == L"REG_SZ: C:\\Program Files\\Lockheed Martin\\Prepar3D v4\\" ||
                       d.after == L"REG_SZ: C:/Program Files/Lockheed Martin/Prepar3D v5\\" ||
                       d.after == L"REG_SZ: C:\\Games\\Prepar3D v2\\");
           }}}},
        // An old backup beside a data folder keeps that folder in place; one beside the InstallShield folder goes.
        {"backups left beside a data folder and the InstallShield folder, and an empty launch list", {}, [&] {
             MakeFolder(kSimulators[0].dataAside);
             WriteFile(kSimulators[0].dataAside + std::wstring(L"\\left.cfg"), "left");
             MakeFolder(kInstallShieldAside);
             WriteFile(kInstallShieldAside + std::wstring(L"\\setup.ini"), "left");
             WriteFile(LM L"Prepar3D v4\\dll.xml", "");
         },
         {{"the InstallShield folder's old backup gives way", [](const Difference& d) {
               return d.kind == Difference::Removed && (d.item == kInstallShieldAside || IsBelow(d.item, kInstallShieldAside));
           }}},
         [&] {
             EXPECT_EQ(LogMatching({"WARN Unable to back up C:\\ProgramData\\Microsoft\\FSX"}).size(), 1u);
             EXPECT_EQ(ReadFile(LM L"Prepar3D v4\\dll.xml"), Embedded(IDR_SIMBASE_V3_DLL));
         }},
    };
    for (const Bent& row : rows) {
        SCOPED_TRACE(row.name);
        host.reset();
        machine.Remove();
        machine = SixSimulatorMachine();
        for (const auto& [title, location] : row.locations)
            machine.Relocate(title, location);
        machine.Install(true);
        host.emplace();
        if (row.bend)
            row.bend();
        ClearLog();
        const MachineSnapshot before = TakeSnapshot();
        testing::internal::CaptureStdout();
        EXPECT_TRUE(Switch(true, kTarget));
        EXPECT_TRUE(Switch(false));
        const std::string elsewhere = testing::internal::GetCapturedStdout();
        EXPECT_EQ(host->boxes, std::vector<std::wstring>{});
        // A record the log cannot write as narrow text ends the log; the rest go to standard output.
        EXPECT_TRUE(LogContains("INFO Finished deactivating Prepar3D v4") ||
                    elsewhere.find("Finished deactivating Prepar3D v4") != std::string::npos);
        EXPECT_EQ(Lost(before, row.outcome), "");
        if (row.check)
            row.check();
    }
}

