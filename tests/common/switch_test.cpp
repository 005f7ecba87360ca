// The switch over the six-simulator machine: a round trip that leaves only the
// documented residue, what stops it before anything changes, the link rule of the
// target, and the single operations' edge cases. Under Wine links cannot be made:
// there the checks take the failure path, and everything else is checked alike.
#include "common/switch_fixture.h"
#include "app/constants.h"
#include "app/machine.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "app/text.h"
#include "engine/backup.h"
#include "engine/links.h"
#include "engine/registry_backup.h"
#include "engine/simbase.h"
#include "engine/switch_target.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "simulators/catalogue.h"
#include "simulators/prepar3d.h"

#include <gtest/gtest.h>

#ifdef FERRYMARK_SIGN_CAFILE
#include "platform/posix/host.h"

#include <cstdio>
#endif

namespace {

#ifdef FERRYMARK_SIGN_CAFILE
// What osslsigncode says of a file's signature, checked against the certificate
// that signed the build: its whole report.
std::string SignatureReport(const std::wstring& path) {
    const std::string command = "osslsigncode verify -CAfile '" FERRYMARK_SIGN_CAFILE "' -in '" +
                                platform::posix::HostPath(path) + "' 2>&1";
    std::string report;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (std::size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            report.append(buffer, got);
        if (pclose(pipe) != 0)
            report += "\n(osslsigncode failed)";
    }
    return report;
}
#endif

bool MatchesPattern(const std::wstring& name, const std::wstring& pattern) {
    if (pattern.rfind(L"*", 0) == 0)
        return name.size() >= pattern.size() - 1 &&
               EqualsIgnoringCase(name.substr(name.size() - (pattern.size() - 1)), pattern.substr(1));
    return EqualsIgnoringCase(name, pattern);
}

} // namespace

TEST_F(SwitchTest, RoundTripLeavesOnlyTheDocumentedResidue) {
    const std::wstring targetTitle = L"Prepar3D v4";
    const auto target = Record(targetTitle);
    const std::wstring targetLocation = machine.Simulator(targetTitle).location;
    const std::wstring backupRoot = PathJoin(GetDataFolder(), L"backup");
    const MachineSnapshot before = TakeSnapshot();

    ASSERT_TRUE(SwitchTarget(*this, targetTitle, true));
    const MachineSnapshot active = TakeSnapshot();
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(updates, std::vector<std::wstring>{L"Prepar3D v4 active"});
    EXPECT_TRUE(targetActive);
    EXPECT_EQ(settings->ReadDword(L"TargetActive", 7), 1u);
    EXPECT_EQ(settings->ReadString(L"TargetTitle", L""), targetTitle);

    for (const auto& simulator : simulators) {
        const std::wstring title = simulator->GetTitle();
        SCOPED_TRACE(Narrow(title));
        const InstalledSimulator& installed = machine.Simulator(title);
        // The backup tree holds a flat copy of each slot's configuration files.
        std::size_t copies = 0;
        for (const auto& [slot, patterns] : simulator->BackupPatterns()) {
            const std::wstring slotFolder = simulator->GetFolder(slot);
            const std::wstring copyFolder =
                PathJoin(PathJoin(backupRoot, title), GenericSimulator::GetFolderName(slot));
            for (const auto& [path, entry] : before.files) {
                if (PathParent(path) != slotFolder || entry.state.rfind(L"file ", 0) != 0)
                    continue;
                const std::wstring name = PathLastComponent(path);
                for (const std::wstring& pattern : patterns) {
                    if (MatchesPattern(name, pattern)) {
                        EXPECT_EQ(State(active, PathJoin(copyFolder, name)), entry.state) << Narrow(path);
                        ++copies;
                        break;
                    }
                }
            }
        }
        std::size_t inTree = 0;
        for (const auto& [path, entry] : active.files)
            inTree += IsBelow(path, PathJoin(backupRoot, title)) && entry.state.rfind(L"file ", 0) == 0;
        EXPECT_GT(copies, 0u);
        EXPECT_EQ(inTree, copies) << "nothing else is copied";

        const std::wstring program = simulator->GetFolder(RootExecutable);
        if (simulator == target) {
            EXPECT_EQ(State(active, program), State(before, program));
            EXPECT_EQ(GetFileVersionText(PathJoin(installed.location, L"fsx.exe")), L"10.0.61637.0");
            continue;
        }
        // Each slot is set aside under its backup name and linked to the target's.
        for (SimulatorFolder slot : simulator->Folders()) {
            const std::wstring path = simulator->GetFolder(slot);
            const std::wstring linkTarget = target->GetFolder(slot);
            EXPECT_EQ(State(active, GetBackupPath(path)), State(before, path)) << Narrow(path);
            if (links) {
                EXPECT_EQ(State(active, path), L"link -> " + CleanLinkTarget(linkTarget));
            } else {
                EXPECT_EQ(State(active, path), L"(nothing)");
                // The system's own text for "not supported" follows the reason.
                EXPECT_EQ(LogMatching({"WARN Failed to create directory link " + Narrow(path) + " -> " +
                                         Narrow(linkTarget) + ", reason: "})
                              .size(),
                          1u);
            }
        }
        // The stub stands in for the executable, whose original waits beside it.
        // Compared as a whole, so that a failure does not print two programs.
        EXPECT_TRUE(ReadFile(program) == Embedded(IDR_LAUNCHER_STUB)) << "not the stub: " << Narrow(program);
#ifdef FERRYMARK_SIGN_CAFILE
        // Written byte for byte, the stub keeps the signature made at build time.
        const std::string report = SignatureReport(program);
        EXPECT_NE(report.find("Signature verification: ok"), std::string::npos) << report;
        EXPECT_EQ(report.find("(osslsigncode failed)"), std::string::npos) << report;
#endif
        EXPECT_EQ(State(active, GetBackupPath(program)), State(before, program));
        // The simulator's own values name the target's folder.
        std::vector<std::wstring> keys{simulator->RegistryKeyPath()};
        if (simulator->GetKind() >= 4)
            keys.insert(keys.end(), {simulator->RegistryKeyPath() + L" Content",
                                     simulator->RegistryKeyPath() + L" Scenery"});
        const bool wow = simulator->Is32Bit();
        for (const std::wstring& key : keys)
            EXPECT_EQ(RegistryKey(HKLM, key, wow).ReadString(L"SetupPath", L""), targetLocation + L"\\")
                << Narrow(key);
        EXPECT_EQ(RegistryKey(RegistryHive::CurrentUser, simulator->RegistryKeyPath(), wow)
                      .ReadString(L"AppPath", L""),
                  targetLocation + L"\\");
        // Its add-ons' Uninstall entries wait in the program's key with their time,
        // under the first simulator disabled whose folder overlaps theirs: a folder
        // is compared as a text prefix, so "...\Prepar3D" takes "...\Prepar3D v2\...".
        for (bool wow32 : {true, false}) {
            for (const std::wstring& name : wow32 ? installed.addonEntries32 : installed.addonEntries64) {
                EXPECT_FALSE(RegistryKey::Exists(HKLM, Uninstall(name), wow32)) << Narrow(name);
                std::vector<std::wstring> holders;
                std::wstring firstOverlapping;
                for (const auto& other : simulators) {
                    if (other == target)
                        continue;
                    const std::wstring moved =
                        FormatWide(L"%s\\Simulators\\%s\\%s\\%s", kSettingsKey, other->GetTitle().c_str(),
                                   wow32 ? L"Uninstall32" : L"Uninstall64", name.c_str());
                    if (!RegistryKey::Exists(HKLM, moved, false))
                        continue;
                    RegistryKey entry(HKLM, moved, false);
                    holders.push_back(other->GetTitle());
                    EXPECT_EQ(entry.ReadString(L"__LastModified", L"").size(), 19u) << Narrow(name);
                    EXPECT_TRUE(PathsOverlap(entry.ReadString(L"InstallLocation", L""), installed.location));
                }
                for (const auto& other : simulators)
                    if (other != target && firstOverlapping.empty() &&
                        PathsOverlap(installed.location, machine.Simulator(other->GetTitle()).location))
                        firstOverlapping = other->GetTitle();
                EXPECT_EQ(holders, std::vector<std::wstring>{firstOverlapping}) << Narrow(name);
            }
        }
    }
    // The simulators' own and unrelated entries stay; the InstallShield folder goes aside.
    for (bool wow32 : {true, false})
        for (const std::wstring& name : machine.OtherUninstallEntries(wow32))
            EXPECT_TRUE(RegistryKey::Exists(HKLM, Uninstall(name), wow32)) << Narrow(name);
    EXPECT_EQ(State(active, machine.InstallShieldFolder()), L"(nothing)");
    EXPECT_EQ(State(active, GetBackupPath(machine.InstallShieldFolder())), L"folder");

    // The target: launch lists sound, file links into its data folders.
    EXPECT_EQ(ReadFile(PathJoin(target->GetFolder(ProgramData), L"dll.xml")), Embedded(IDR_SIMBASE_V3_DLL));
    for (SimulatorFolder slot : {ProgramData, RoamingAppData})
        for (const wchar_t* name : {L"dll.xml", L"exe.xml"})
            EXPECT_TRUE(VerifySimBaseDocument(PathJoin(target->GetFolder(slot), name), 3));
    const auto* prepar3d = dynamic_cast<const Prepar3D*>(target.get());
    ASSERT_NE(prepar3d, nullptr);
    for (const auto& [slots, names] : prepar3d->GetFileLinks()) {
        for (const std::wstring& name : names) {
            const std::wstring real = PathJoin(target->GetFolder(slots.second), name);
            const std::wstring link = PathJoin(targetLocation, name);
            const bool made = links && State(before, real) != L"(nothing)";
            EXPECT_EQ(State(active, link), made ? L"link -> " + CleanLinkTarget(real) : L"(nothing)")
                << Narrow(link);
        }
    }

    // Backups of every configured simulator, the target's activation, then the others.
    std::vector<std::string> order{"INFO Activating Prepar3D v4"};
    for (const auto& simulator : simulators)
        for (const char* step : {"start", "end"})
            order.push_back("INFO --- " + Narrow(simulator->GetTitle()) + " backup " + step + " ---");
    order.insert(order.end(), {"TRACE --- Prepar3D v4 activate start ---", "TRACE --- Prepar3D v4 activate end ---"});
    for (const auto& simulator : simulators)
        if (simulator != target)
            for (const char* step : {"start", "end"})
                order.push_back("INFO --- " + Narrow(simulator->GetTitle()) + " disable " + step + " ---");
    order.push_back("INFO Finished activating Prepar3D v4");
    const std::vector<std::string> steps{"INFO Activating", "INFO Deactivating", "INFO Finished", "INFO --- ",
                                         "TRACE --- "};
    EXPECT_EQ(LogMatching(steps), order);

    ClearLog();
    // Deactivation records the title too, so the last target comes back preselected.
    settings->DeleteValue(L"TargetTitle");
    ASSERT_TRUE(SwitchTarget(*this, targetTitle, false));
    EXPECT_FALSE(targetActive);
    EXPECT_EQ(settings->ReadString(L"TargetTitle", L""), targetTitle);
    EXPECT_EQ(updates.back(), L"Prepar3D v4 inactive");
    order = {"INFO Deactivating Prepar3D v4"};
    for (const auto& simulator : simulators) {
        const std::string title = Narrow(simulator->GetTitle());
        order.insert(order.end(), {"INFO --- " + title + " restore start ---", "INFO --- " + title + " restore end ---"});
        if (simulator->GetKind() != 0)
            order.insert(order.end(), {"TRACE --- " + title + " deactivate start ---",
                                       "TRACE --- " + title + " deactivate end ---"});
    }
    order.push_back("INFO Finished deactivating Prepar3D v4");
    EXPECT_EQ(LogMatching(steps), order);

    // What a round trip leaves behind, each with its reason; anything else is a
    // loss. Each kind of residue must also show.
    const std::vector<bool> seen = ExpectOnlyResidue(before, *target);
    const std::vector<ResidueItem> residue = RoundTripResidue(*target);
    for (std::size_t at = 0; at < residue.size(); ++at)
        EXPECT_TRUE(seen[at]) << "expected residue missing: " << residue[at].reason;
}

TEST_F(SwitchTest, AHeldSimulatorOrAFailedRotationStopsBeforeAnythingChanges) {
    const std::wstring backupFolder = PathJoin(GetDataFolder(), L"backup");
    MakeFolder(backupFolder);
    WriteFile(PathJoin(backupFolder, L"earlier.cfg"), "an earlier backup");
    struct Case {
        const char* name;
        const wchar_t* recorded;
        bool activate;
        std::vector<std::wstring> held;
        std::wstring box;
        std::string logLine; // a line of the log that begins so
    };
    const std::vector<Case> cases{
        {"a simulator to disable is held", L"", true, {Record(L"Flight Simulator X")->GetFolder(ProgramData)},
         InUseBox(L"Flight Simulator X"), "ERROR Flight Simulator X is in use"},
        {"the recorded target is exempt; the rotation then fails", L"Prepar3D v5", true,
         {Record(L"Prepar3D v5")->GetFolder(ProgramData), backupFolder},
         L"Backup error: Cannot activate: failed to create backups.",
         "ERROR Failed to move " + Narrow(backupFolder) + " -> " + Narrow(backupFolder) + "1, reason: "},
        {"deactivation asks the target too", L"Prepar3D v4", false,
         {Record(L"Prepar3D v4")->GetFolder(LocalAppData)},
         InUseBox(L"Prepar3D v4"), "ERROR Prepar3D v4 is in use"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::unique_ptr<other_process::Holder>> holders;
        for (const std::wstring& path : c.held) {
            holders.push_back(std::make_unique<other_process::Holder>(other_process::Hold::WorkingFolder, path));
            ASSERT_TRUE(holders.back()->Started()) << holders.back()->Failure();
        }
        ClearLog();
        boxes.clear();
        recorded = c.recorded;
        const MachineSnapshot before = TakeSnapshot();
        EXPECT_FALSE(SwitchTarget(*this, L"Prepar3D v4", c.activate));
        EXPECT_EQ(boxes, std::vector<std::wstring>{c.box});
        EXPECT_FALSE(LogMatching({c.logLine}).empty()) << c.logLine;
        EXPECT_TRUE(updates.empty());
        EXPECT_EQ(settings->ReadDword(L"TargetActive", 7), 7u);
        holders.clear();
        ExpectUnchangedSince(before);
    }
}

TEST_F(SwitchTest, ActivateLinksFilesByKindAndBuildAndDeactivateTakesThemAway) {
    struct Case {
        const wchar_t* title;
        const wchar_t* version;
        bool links;
    };
    const Case cases[] = {
        {L"Prepar3D v1", L"1.4.4747.0", false},   {L"Prepar3D v2", L"2.5.0.12941", false},
        {L"Prepar3D v2", L"2.5.0.12942", true},   {L"Prepar3D v2", L"2.5.0.12942b", true},
        {L"Prepar3D v2", L"2.5.12942.0", false},  {L"Prepar3D v2", L"2.5.12942", false},
        {L"Prepar3D v2", L"", false},             {L"Prepar3D v3", L"", true},
        {L"Prepar3D v4", L"4.5.14.34698", true}, {L"Prepar3D v5", L"5.0.0.1", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(c.title) + " " + Narrow(c.version));
        const auto simulator = Record(c.title);
        const std::wstring location = machine.Simulator(c.title).location;
        StoreLocation(c.title, location, c.version);
        const std::wstring copy = PathJoin(location, L"fsx.exe");
        const std::wstring link = PathJoin(location, L"scenery.cfg");
        const std::wstring real = PathJoin(simulator->GetFolder(ProgramData), L"scenery.cfg");
        ASSERT_TRUE(platform::Exists(real));
        ClearLog();
        EXPECT_TRUE(simulator->Activate());
        EXPECT_EQ(GetFileVersionText(copy), L"10.0.61637.0");
        // The attempt is logged on both builds, also where the system makes no link.
        EXPECT_EQ(LogContains("TRACE CreateFileLink " + Narrow(link) + " -> " + Narrow(real)), c.links);
        EXPECT_EQ(platform::IsSymbolicLink(link), c.links && links);
        EXPECT_EQ(LogMatching({"TRACE CreateFileLink "}).size(), c.links ? 14u : 0u);

        ClearLog();
        EXPECT_TRUE(simulator->Deactivate());
        EXPECT_FALSE(platform::Exists(copy));
        EXPECT_FALSE(platform::IsSymbolicLink(link));
        EXPECT_EQ(LogContains("TRACE RemoveLink " + Narrow(link)), c.links);
    }
}

TEST_F(SwitchTest, DisableRestoreAndBackupOnTheirOwn) {
    const auto fsx = Record(L"Flight Simulator X");
    const auto v4 = Record(L"Prepar3D v4");
    const std::wstring v4Location = machine.Simulator(L"Prepar3D v4").location + L"\\";

    // Towards its own kind, or towards nothing, nothing happens.
    MachineSnapshot before = TakeSnapshot();
    EXPECT_FALSE(v4->Disable(v4));
    EXPECT_FALSE(fsx->Disable(nullptr));
    EXPECT_EQ(LogMatching({"INFO --- "}),
              (std::vector<std::string>{"INFO --- Prepar3D v4 disable start ---",
                                        "INFO --- Flight Simulator X disable start ---"}));
    ExpectUnchangedSince(before);

    // Without a location the folders and values are still made to point at the
    // target; the executable and the Uninstall entries stay.
    StoreLocation(L"Flight Simulator X", L"");
    const std::wstring program = PathJoin(machine.Simulator(L"Flight Simulator X").location, L"fsx.exe");
    const std::string programBytes = ReadFile(program);
    RegistryKey own(HKLM, fsx->RegistryKeyPath(), true);
    EXPECT_TRUE(fsx->Disable(v4));
    EXPECT_EQ(own.ReadString(L"SetupPath", L""), v4Location);
    EXPECT_TRUE(platform::Exists(GetBackupPath(fsx->GetFolder(ProgramData))));
    EXPECT_EQ(ReadFile(program), programBytes);
    for (const std::wstring& name : machine.Simulator(L"Flight Simulator X").addonEntries32)
        EXPECT_TRUE(RegistryKey::Exists(HKLM, Uninstall(name), true));
    // Restore clears what Disable pointed at the target and brings the folders back.
    EXPECT_TRUE(fsx->Restore());
    EXPECT_EQ(own.ReadString(L"SetupPath", L"(none)"), L"(none)");
    EXPECT_EQ(RegistryKey(RegistryHive::CurrentUser, fsx->RegistryKeyPath(), true).ReadString(L"AppPath", L"(none)"),
              L"(none)");
    EXPECT_FALSE(platform::Exists(GetBackupPath(fsx->GetFolder(ProgramData))));
    EXPECT_TRUE(platform::IsFolder(fsx->GetFolder(ProgramData)));
    EXPECT_FALSE(platform::IsSymbolicLink(fsx->GetFolder(ProgramData)));

    // A slot that is absent gets no folder in the backup tree; the others do.
    const auto v1 = Record(L"Prepar3D v1");
    ASSERT_FALSE(platform::RemoveTree(v1->GetFolder(ProgramData)).Failed());
    ClearLog();
    const std::wstring tree = InFolder(L"tree");
    EXPECT_TRUE(v1->Backup(tree));
    EXPECT_EQ(LogMatching({"INFO --- "}), (std::vector<std::string>{"INFO --- Prepar3D v1 backup start ---",
                                                                      "INFO --- Prepar3D v1 backup end ---"}));
    EXPECT_FALSE(platform::Exists(PathJoin(tree, L"Prepar3D v1\\ProgramData")));
    EXPECT_FALSE(platform::Exists(PathJoin(tree, L"Prepar3D v1\\UserPictures")));
    EXPECT_TRUE(platform::Exists(PathJoin(tree, L"Prepar3D v1\\LocalAppData")));
    // A second backup into the same tree keeps the first copies and says so.
    EXPECT_TRUE(v1->Backup(tree));
    EXPECT_FALSE(LogMatching({"ERROR Failed to copy file folder "}).empty());
}
