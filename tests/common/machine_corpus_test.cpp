// Machines that real users have, each bent from the six-simulator machine and
// taken through a whole round trip towards Prepar3D v4: nothing may be lost, and
// where the outcome differs from a plain round trip it is the documented one.
// A few variants to a test, so that each stays short under Wine.
#include "common/switch_fixture.h"
#include "app/machine.h"
#include "engine/backup.h"
#include "platform/find.h"
#include "platform/fs.h"
#include "platform/registry.h"
#include "resources/resource.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>

namespace {

using other_process::Hold;
using other_process::Holder;
namespace reg = platform::registry;

const wchar_t* const kTarget = L"Prepar3D v4";
const wchar_t* const kShellFolders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

struct Variant {
    const char* name;
    std::map<std::wstring, std::wstring> locations = {};  // install folders other than the usual, by title
    std::function<void()> prepare = {};                   // before the install
    std::function<void()> bend = {};                      // after the install, before the round trip
    std::vector<ResidueItem> outcome = {};                // what the documented outcome leaves besides
    std::function<void()> check = {};                     // after the round trip
    std::function<void()> active = {};                    // while the target is active
    bool logStops = false;  // a record that the log cannot write as narrow text ends it
};

// Everything at or below `item`, a file path or a registry item.
bool AtOrBelow(const Difference& d, const std::wstring& item) {
    return d.item == item || IsBelow(d.item, item) || d.item.rfind(item + L"|", 0) == 0;
}

class MachineCorpusTest : public SwitchTest {
protected:
    void TearDown() override {
        Undo();
        SwitchTest::TearDown();
    }
    void Undo() {
        held.reset();
        for (auto undo = undos.rbegin(); undo != undos.rend(); ++undo)
            (*undo)();
        undos.clear();
    }

    void Run(const std::vector<Variant>& variants) {
        recorded = kTarget;
        for (const Variant& variant : variants) {
            SCOPED_TRACE(variant.name);
            // The machine is built anew only where the variant changes how; the
            // others bend the machine as the last round trip left it.
            if (!variant.locations.empty() || variant.prepare) {
                machine.Remove();
                settings.emplace(HKLM, kSettingsKey, false);  // the removal took the key away
                machine = SixSimulatorMachine();
                for (const auto& [title, location] : variant.locations)
                    machine.Relocate(title, location);
                if (variant.prepare)
                    variant.prepare();
                machine.Install(true);
            }
            if (variant.bend)
                variant.bend();
            ClearLog();
            boxes.clear();
            const MachineSnapshot before = TakeSnapshot();
            testing::internal::CaptureStdout();
            EXPECT_TRUE(SwitchTarget(*this, kTarget, true));
            held.reset();
            if (variant.active)
                variant.active();
            EXPECT_TRUE(SwitchTarget(*this, kTarget, false));
            const std::string elsewhere = testing::internal::GetCapturedStdout();
            EXPECT_TRUE(boxes.empty());
            // Records after the one the log could not write go to standard output,
            // which a program with windows does not have.
            EXPECT_EQ(LogContains("INFO Finished deactivating Prepar3D v4"), !variant.logStops);
            EXPECT_EQ(elsewhere.find("Finished deactivating Prepar3D v4") != std::string::npos, variant.logStops);
            std::vector<ResidueItem> outcome = variant.outcome;
            outcome.push_back(ValuesNameStoredLocations());
            ExpectOnlyResidue(before, *Record(kTarget), outcome);
            if (variant.check)
                variant.check();
            Undo();
        }
    }

    // The restore points each simulator's own values at its stored location,
    // spelled as the user confirmed it rather than as its installer wrote it.
    ResidueItem ValuesNameStoredLocations() const {
        std::map<std::wstring, std::wstring> stored;  // key path below the hive's Software to "REG_SZ: <location>\"
        for (const auto& simulator : simulators) {
            std::wstring location = simulator->GetLocation(true);
            if (!location.empty() && location.back() != L'\\')
                location += L'\\';
            for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
                stored[simulator->RegistryKeyPath() + suffix] = L"REG_SZ: " + location;
        }
        return {"a simulator's own values name its stored location as confirmed", [=](const Difference& d) {
                    const std::size_t bar = d.item.rfind(L'|');
                    const std::size_t hive = d.item.find(L'\\');
                    const auto found = stored.find(d.item.substr(hive + 1, bar - hive - 1));
                    const std::wstring value = d.item.substr(bar + 1);
                    return d.kind == Difference::Changed && bar != std::wstring::npos && found != stored.end() &&
                           (value == L"SetupPath" || value == L"AppPath") && d.after == found->second;
                }};
    }
    std::wstring Location(const std::wstring& title) const { return machine.Simulator(title).location; }
    std::wstring Slashed(const std::wstring& title) const {
        std::wstring location = Location(title);
        std::replace(location.begin(), location.end(), L'\\', L'/');
        return location;
    }
    void Store(const std::wstring& title, const std::wstring& location) {
        const InstalledSimulator& installed = machine.Simulator(title);
        StoreLocation(title, location, installed.version);
        undos.push_back([=] { StoreLocation(title, installed.location, installed.version); });
    }
    // Moves the folder to `real` and leaves a folder link to it in its place.
    void ReplaceByLink(const std::wstring& item, const std::wstring& real) {
        MakeFolder(PathParent(real));
        ASSERT_FALSE(platform::MoveItem(item, real).Failed());
        ASSERT_FALSE(platform::MakeSymbolicLink(item, real, 3).Failed());
        undos.push_back([=] {
            platform::RemoveItem(item);
            platform::RemoveTree(real);
        });
    }

    std::unique_ptr<Holder> held;  // released between activation and deactivation
    std::vector<std::function<void()>> undos;  // what a variant changed that the machine does not know
};

} // namespace

TEST_F(MachineCorpusTest, InstallFoldersInAnyScriptAndBeyond260Characters) {
    std::wstring deep = L"C:\\Simulation";
    while (deep.size() < 270)
        deep += L"\\Flight simulation library";
    Run({
        {"install folders in accented Latin, Cyrillic and CJK letters",
         {{L"Flight Simulator X", L"C:\\Jeux\\Simulateur de vol \u00c9dition or"},
          {L"Prepar3D v3", L"C:\\\u0418\u0433\u0440\u044b\\Prepar3D v3"},
          {kTarget, L"C:\\\u6e38\u620f\\Prepar3D v4"}},
         nullptr, nullptr, {}, nullptr, nullptr, true},
        {"install folders beyond 260 characters",
         {{kTarget, deep + L"\\Prepar3D v4"}, {L"Prepar3D v2", deep + L"\\Prepar3D v2"}}},
    });
}

TEST_F(MachineCorpusTest, StoredLocationsAsUsersWriteThem) {
    Run({
        {"stored locations with a closing backslash",
         {}, nullptr,
         [&] {
             Store(kTarget, Location(kTarget) + L"\\");
             Store(L"Flight Simulator X", Location(L"Flight Simulator X") + L"\\");
         }},
        {"stored locations written with forward slashes",
         {}, nullptr,
         [&] {
             for (const wchar_t* title : {kTarget, L"Prepar3D v5"})
                 Store(title, Slashed(title));
         },
         {}, nullptr,
         // Install locations are compared as text, so the add-ons of Prepar3D v5
         // are not found in a location written with the other separator.
         [&] {
             for (const std::wstring& name : machine.Simulator(L"Prepar3D v5").addonEntries64)
                 EXPECT_TRUE(RegistryKey::Exists(HKLM, Uninstall(name), false)) << Narrow(name);
         }},
    });
}

TEST_F(MachineCorpusTest, SimulatorsAndDocumentsElsewhereOrGone) {
    const std::wstring gone = L"C:\\Games\\Prepar3D v2";
    std::wstring cloud;
    Run({
        {"a stored location whose folder is gone",
         {}, nullptr, [&] { Store(L"Prepar3D v2", gone); }, {},
         [&] {
             // The stub has nowhere to go, and nothing is made there.
             EXPECT_FALSE(LogMatching({"TRACE ExtractResource " + Narrow(gone) + "\\Prepar3D.exe"}).empty());
             EXPECT_FALSE(platform::Exists(PathParent(gone)));
         }},
        {"simulators on a second drive",
         {{kTarget, L"D:\\Simulators\\Prepar3D v4"}, {L"Flight Simulator X", L"D:\\Games\\Flight Simulator X"}}},
        {"Documents moved by a synced-folder client",
         {},
         [&] {
             cloud = PathJoin(PathParent(GetKnownFolder(KnownFolder::Documents)), L"Cloud Drive");
             const std::wstring documents = PathJoin(cloud, L"Documents");
             MakeFolder(documents);
             RegistryKey shell(RegistryHive::CurrentUser, kShellFolders, false);
             std::vector<std::uint8_t> saved(4096);
             std::uint32_t size = static_cast<std::uint32_t>(saved.size());
             reg::ValueType type = reg::ValueType::None;
             reg::KeyHandle key = reg::OpenKey(RegistryHive::CurrentUser, kShellFolders, false, false);
             const bool had = reg::QueryValue(key, L"Personal", &type, saved.data(), &size) == reg::kSuccess;
             saved.resize(size);
             reg::CloseKey(key);
             ASSERT_TRUE(shell.WriteString(L"Personal", documents));
             ASSERT_EQ(GetKnownFolder(KnownFolder::Documents), documents);
             undos.push_back([=] {
                 reg::KeyHandle restore = reg::OpenKey(RegistryHive::CurrentUser, kShellFolders, false, false);
                 if (had)
                     reg::SetValue(restore, L"Personal", type, saved.data(), size);
                 else
                     reg::DeleteValue(restore, L"Personal");
                 reg::CloseKey(restore);
                 platform::RemoveTree(cloud);
             });
         }},
    });
}

TEST_F(MachineCorpusTest, TheUsersFilesAndEntriesAsTheyFindThem) {
    std::vector<std::wstring> readOnly;
    const std::wstring slash = L"Addon Works/Scenery Pack";
    const std::wstring slashCopy = L"HKLM64\\" + std::wstring(kSettingsKey) +
                                   L"\\Simulators\\Flight Simulator X\\Uninstall32\\" + slash;
    Run({
        {"read-only configuration files",
         {}, nullptr,
         [&] {
             readOnly.clear();
             for (const auto& simulator : simulators)
                 for (SimulatorFolder slot : {ProgramData, RoamingAppData, UserFiles, Root})
                     for (const wchar_t* pattern : {L"*.cfg", L"*.xml"}) {
                         std::vector<std::wstring> names;
                         const std::wstring place = simulator->GetFolder(slot);
                         platform::FindFileNames(PathJoin(place, pattern), names);
                         for (const std::wstring& name : names)
                             readOnly.push_back(PathJoin(place, name));
                     }
             ASSERT_GT(readOnly.size(), 50u);
             for (const std::wstring& file : readOnly)
                 SetReadOnly(file, true);
             undos.push_back([files = readOnly] {
                 for (const std::wstring& file : files)
                     if (platform::Exists(file))
                         SetReadOnly(file, false);
             });
         },
         {},
         [&] {
             for (const std::wstring& file : readOnly)
                 EXPECT_TRUE(IsReadOnly(file)) << Narrow(file);
         }},
        {"an Uninstall entry whose name holds a forward slash",
         {}, nullptr,
         [&] {
             RegistryKey entry(HKLM, Uninstall(slash), true);
             entry.WriteString(L"DisplayName", slash);
             entry.WriteString(L"Publisher", L"Addon Works");
             entry.WriteString(L"InstallLocation", PathJoin(Location(L"Flight Simulator X"), L"Scenery Pack"));
             undos.push_back([=] {
                 for (const auto& [parent, wow32] : {std::pair(std::wstring(SixSimulatorMachine::kUninstallKey), true),
                                                     std::pair(slashCopy.substr(7, slashCopy.size() - 7 - slash.size() - 1), false)}) {
                     reg::KeyHandle key = reg::OpenKey(HKLM, parent, wow32, false);
                     reg::DeleteTree(key, slash);
                     reg::CloseKey(key);
                 }
             });
         },
         // The name is split at its slash when the moved entry is deleted, so the
         // delete fails: the entry stays where installers find it, and its copy
         // stays in the program's key, where the restore leaves it, having no time.
         {{"the copy of an entry whose name holds a slash",
           [=](const Difference& d) { return d.kind == Difference::Added && AtOrBelow(d, slashCopy); }}},
         [&] {
             EXPECT_FALSE(LogMatching({"WARN Unable to back up the key"}).empty());
             ASSERT_TRUE(RegistryKey::Exists(HKLM, slashCopy.substr(7), false));
             EXPECT_EQ(RegistryKey(HKLM, slashCopy.substr(7), false).ReadString(L"__LastModified", L"-"), L"-");
         },
         [&] { EXPECT_TRUE(RegistryKey::Exists(HKLM, Uninstall(slash), true)); }},
        {"an empty and a held launch list of the target",
         {}, nullptr,
         [&] {
             WriteFile(PathJoin(Record(kTarget)->GetFolder(ProgramData), L"dll.xml"), "");
             held = std::make_unique<Holder>(Hold::OpenFile,
                                             PathJoin(Record(kTarget)->GetFolder(RoamingAppData), L"exe.xml"));
             ASSERT_TRUE(held->Started()) << held->Failure();
         },
         {},
         [&] {
             // Both fail the test and are written afresh, the held one too.
             EXPECT_EQ(ReadFile(PathJoin(Record(kTarget)->GetFolder(ProgramData), L"dll.xml")),
                       Embedded(IDR_SIMBASE_V3_DLL));
             EXPECT_EQ(ReadFile(PathJoin(Record(kTarget)->GetFolder(RoamingAppData), L"exe.xml")),
                       Embedded(IDR_SIMBASE_V3_EXE));
         }},
    });
}

TEST_F(MachineCorpusTest, FolderLinksMadeByTheUserComeThroughARoundTrip) {
    if (!links)
        GTEST_SKIP() << "this system makes no symbolic links (Wine 8)";
    const std::wstring slot = Record(L"Flight Simulator X")->GetFolder(ProgramData);
    const std::wstring usual = L"C:\\Program Files\\Lockheed Martin\\Prepar3D v4";
    Run({
        {"the target's install folder is a link to another folder",
         {{kTarget, L"C:\\Sims\\Prepar3D v4"}}, nullptr,
         [&] {
             MakeFolder(PathParent(usual));
             ASSERT_FALSE(platform::MakeSymbolicLink(usual, Location(kTarget), 3).Failed());
             undos.push_back([=] { platform::RemoveItem(usual); });
             Store(kTarget, usual);
         }},
        // A folder link is refused as a backup, so the slot is not linked to the
        // target; the restore then takes any link at a slot away, this one too,
        // and tidies the parent that it leaves empty.
        {"a simulator's data folder is a link to another folder",
         {}, nullptr, [&] { ReplaceByLink(slot, L"C:\\Data\\FSX ProgramData"); },
         {{"a link at a simulator's folder is taken away by the restore, and its emptied parent",
           [=](const Difference& d) {
               return d.kind == Difference::Removed && (d.item == slot || d.item == PathParent(slot));
           }}},
         [&] {
             EXPECT_FALSE(LogMatching({"WARN Folder is a symlink, cannot back up " + Narrow(slot)}).empty());
             EXPECT_FALSE(platform::Exists(slot));
             EXPECT_TRUE(platform::IsFolder(L"C:\\Data\\FSX ProgramData"));
         }},
    });
}
