// Another process holding a file: in any folder that the in-use test asks about
// it stops the switch with the box naming that simulator, before anything
// changes. Items beside those folders that the test does not ask about (the
// program set aside beside its stub, the InstallShield folder set aside) do not
// stop a deactivation; their restore then fails as a held move fails.
#include "common/switch_fixture.h"
#include "engine/backup.h"
#include "platform/fs.h"

namespace {

using other_process::Hold;
using other_process::Holder;

const wchar_t* const kTarget = L"Prepar3D v4";
const char* const kFolderRenamed = "this system renames a folder while a file in it is held open (Wine 8; Windows "
                                   "refuses), so a held file inside a simulator's folder cannot be seen there";

class HeldFileTest : public SwitchTest {
protected:
    // Windows refuses to rename a folder while a file below it is open.
    bool HeldFileHoldsItsFolder() {
        const std::wstring probe = InFolder(L"probe");
        MakeFolder(probe);
        WriteFile(PathJoin(probe, L"held.txt"), "held");
        Holder holder(Hold::OpenFile, PathJoin(probe, L"held.txt"));
        return holder.Started() && platform::MoveItem(probe, probe).Failed();
    }

    // Holds a file below `asked` and switches: the box names `title`, and the
    // machine is as `before` shows it.
    void ExpectStopped(const MachineSnapshot& before, const std::wstring& asked, bool activate,
                       const std::wstring& title) {
        SCOPED_TRACE(Narrow(asked));
        const std::wstring file = FileBelow(before, asked);
        ASSERT_FALSE(file.empty());
        Holder holder(Hold::OpenFile, file);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        boxes.clear();
        EXPECT_FALSE(SwitchTarget(*this, kTarget, activate));
        EXPECT_EQ(boxes, std::vector<std::wstring>{InUseBox(title)});
        holder.Stop();
        ExpectUnchangedSince(before);
    }

    // Deactivates while `held`, in the backup of `item`, is held: nothing stops the
    // switch, `item` stays under its backup name with `warning` in the log, and a
    // deactivation after the holder has gone brings it back when `comesBack`.
    // Otherwise that deactivation no longer knows of it and it stays set aside.
    void ExpectNotAsked(const MachineSnapshot& original, const std::wstring& item, const std::wstring& held,
                        const std::string& warning, bool comesBack) {
        const std::wstring backup = GetBackupPath(item);
        {
            Holder holder(Hold::OpenFile, held);
            ASSERT_TRUE(holder.Started()) << holder.Failure();
            ClearLog();
            boxes.clear();
            EXPECT_TRUE(SwitchTarget(*this, kTarget, false));
            EXPECT_TRUE(boxes.empty());
            EXPECT_FALSE(platform::Exists(item));
            EXPECT_TRUE(platform::Exists(backup));
            EXPECT_FALSE(LogMatching({warning}).empty()) << warning;
        }
        EXPECT_TRUE(SwitchTarget(*this, kTarget, false));
        EXPECT_EQ(platform::Exists(item), comesBack);
        std::vector<ResidueItem> setAside;
        if (!comesBack)
            setAside.push_back({"the item whose restore failed stays under its backup name",
                                [=](const Difference& d) {
                                    return (d.kind == Difference::Removed && (d.item == item || IsBelow(d.item, item))) ||
                                           (d.kind == Difference::Added && (d.item == backup || IsBelow(d.item, backup)));
                                }});
        ExpectOnlyResidue(original, *Record(kTarget), setAside);
    }
};

} // namespace

TEST_F(HeldFileTest, AHeldFileInAnySimulatorsFolderStopsTheActivation) {
    if (!HeldFileHoldsItsFolder())
        GTEST_SKIP() << kFolderRenamed;
    const MachineSnapshot original = TakeSnapshot();
    // With no target recorded every folder of every simulator is asked.
    for (const auto& simulator : simulators)
        for (SimulatorFolder slot : simulator->Folders())
            ExpectStopped(original, simulator->GetFolder(slot), true, simulator->GetTitle());
}

TEST_F(HeldFileTest, AHeldFileInAnyFolderSetAsideStopsTheDeactivation) {
    if (!HeldFileHoldsItsFolder())
        GTEST_SKIP() << kFolderRenamed;
    const MachineSnapshot original = TakeSnapshot();
    // The target recorded at start is not asked on activation.
    recorded = kTarget;
    {
        Holder holder(Hold::OpenFile, FileBelow(original, Record(kTarget)->GetFolder(UserFiles)));
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        ASSERT_TRUE(SwitchTarget(*this, kTarget, true));
        EXPECT_TRUE(boxes.empty());
    }

    // The folders set aside, and the target's own, are asked on deactivation.
    const MachineSnapshot active = TakeSnapshot();
    for (const auto& simulator : simulators)
        for (SimulatorFolder slot : simulator->Folders()) {
            const std::wstring own = simulator->GetFolder(slot);
            ExpectStopped(active, simulator->GetTitle() == kTarget ? own : GetBackupPath(own), false,
                          simulator->GetTitle());
        }

    // The InstallShield folder set aside is not asked: its entry comes back and
    // the folder stays set aside, and the next deactivation finds no entry that
    // would bring it back.
    const std::wstring installShield = machine.InstallShieldFolder();
    ExpectNotAsked(original, installShield, PathJoin(GetBackupPath(installShield), L"setup.ini"),
                   "WARN Folder is in use, cannot restore " + Narrow(installShield), false);
    EXPECT_TRUE(RegistryKey::Exists(HKLM, Uninstall(machine.InstallShieldEntry()), true));
}

TEST_F(HeldFileTest, AHeldProgramSetAsideIsNotAskedAndComesBackAtTheNextDeactivation) {
    const MachineSnapshot original = TakeSnapshot();
    ASSERT_TRUE(SwitchTarget(*this, kTarget, true));
    const std::wstring program = Record(L"Flight Simulator X")->GetFolder(RootExecutable);
    const std::wstring backup = GetBackupPath(program);
    // The stub gives way first, so the program is missing until then.
    ExpectNotAsked(original, program, backup,
                   "WARN Failed to move " + Narrow(backup) + " -> " + Narrow(program) + ", reason: ", true);
}
