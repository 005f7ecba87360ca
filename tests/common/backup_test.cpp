// Items set aside and back, the links standing in for them, Uninstall entries aside and back, on each build's
// real file system and registry: checked by result, by what stands there and by the log.
#include "app/paths.h"
#include "app/rotation.h"
#include "engine/backup.h"
#include "engine/links.h"
#include "engine/registry_backup.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <stdexcept>
#include <thread>
#include <tuple>

namespace {

using other_process::Hold;
using other_process::Holder;
using Lines = std::vector<std::string>;

struct Op {
    std::string name;
    bool (*run)(std::wstring, bool);
    bool folder;
};
const Op kFileBackup{"FileBackup", FileBackup, false}, kFileRestore{"FileRestore", FileRestore, false},
    kFolderBackup{"FolderBackup", FolderBackup, true}, kFolderRestore{"FolderRestore", FolderRestore, true};

// A row: what stands before ("mine" at the path, "old" at its backup, a link), the flag; the result, what stands
// at path and backup ("-", "link" or content), the log after the first trace (%p path, %b backup, %s parent).
enum State { Neither = 0, Plain = 1, BackedUp = 2, Both = 3, Link = 4, Dangling = 8 };
enum Flag { Keep, Over, Either };
struct Row { int before; Flag flag; bool result; std::string atPath, atBackup; Lines log; };

const std::string kInUse = "WARN File or folder in use ", kNoBackupFolder = "TRACE Backup folder does not exist",
    kTidy = "TRACE Removing parent folder %s", kNoFolder = "TRACE Folder does not exist, skipping %p",
    kFileOverwritten = "TRACE Restored file already exists and will be overwritten",
    kDeletingBackup = "TRACE Deleting existing backup folder %b", kFolderBackupInUse = "WARN Folder is in use, cannot back up %p",
    kFolderOverwritten = "TRACE Restored folder already exists and will be overwritten";
const RegistryHive HKLM = RegistryHive::LocalMachine;
const wchar_t kUninstall[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", kAbsent[] = L"<absent>";
// Left live; or moved aside and back; or kept aside for a live namesake at least as new.
enum Fate { Stays, Back, Newer, Same, Unrecorded, Older };
std::wstring Read(const std::wstring& path, bool wow32, const std::wstring& value) {
    return RegistryKey::Exists(HKLM, path, wow32) ? RegistryKey(HKLM, path, wow32).ReadString(value, kAbsent) : kAbsent;
}

class BackupTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        OpenLog();
        MakeFolder(sim = InFolder(L"Sim"));
    }
    // The item that the operation handles (p), its backup (b), the parent (s).
    std::wstring Item(const Op& op, char mark) const {
        return mark == 's' ? sim : InFolder(mark == 'p' ? (op.folder ? L"Sim\\Addons" : L"Sim\\fsx.exe")
                                          : (op.folder ? L"Sim\\Ferrymark backup (QWRkb25z)" : L"Sim\\Ferrymark backup (ZnN4LmV4ZQ==)"));
    }
    // The lines written since the last call; the system's text after a failed move stands as "*".
    Lines Logged() {
        Lines lines = LogLines();
        Lines fresh(lines.begin() + static_cast<std::ptrdiff_t>(seen), lines.end());
        seen = lines.size();
        for (std::string& line : fresh)
            if (const std::size_t at = line.find(", reason: "); at != std::string::npos && line.size() > at + 10)
                line = line.substr(0, at + 10) + "*";
        return fresh;
    }
    static std::string At(const std::wstring& path) {
        return platform::IsSymbolicLink(path) ? "link" : !platform::Exists(path) ? "-"
               : platform::IsFolder(path) ? "folder:" + ReadFile(path + L"\\inside.txt") : "file:" + ReadFile(path);
    }
    static void Put(bool folder, const std::wstring& path, const std::string& marker) {
        if (folder)
            MakeFolder(path);
        WriteFile(folder ? path + L"\\inside.txt" : path, marker);
    }
    // An empty simulator folder, then what the state asks; false when no link could be made.
    bool Arrange(const Op& op, int state) {
        EXPECT_TRUE(!platform::Exists(sim) || !platform::RemoveTree(sim).Failed());
        MakeFolder(sim);
        if (state & Plain)
            Put(op.folder, Item(op, 'p'), "mine");
        if (state & BackedUp)
            Put(op.folder, Item(op, 'b'), "old");
        bool made = true;
        if (state & (Link | Dangling)) {  // a dangling link points to what was there when it was made
            const std::wstring to = InFolder(state & Link ? L"Target" : L"Gone") + (op.folder ? L"" : L".exe");
            Put(op.folder, to, "target");
            made = op.folder ? CreateDirectoryLink(Item(op, 'p'), to) : CreateFileLink(Item(op, 'p'), to);
            if (state & Dangling)
                platform::RemoveTree(to);
        }
        Logged();
        return made;
    }
    // Runs the operation on what stands now and checks all that the row says.
    void Expect(const Op& op, const Row& row, bool overwrite) {
        EXPECT_EQ(op.run(Item(op, 'p'), overwrite), row.result);
        const auto shown = [&](const std::string& what) {
            return what == "-" || what == "link" ? what : (op.folder ? "folder:" : "file:") + what;
        };
        EXPECT_EQ(At(Item(op, 'p')), shown(row.atPath));
        EXPECT_EQ(At(Item(op, 'b')), shown(row.atBackup));
        Lines expected{"TRACE " + op.name + " " + Narrow(Item(op, 'p')) + (overwrite ? " (overwrite)" : " (keep existing)")};
        for (std::string line : row.log) {
            for (const char mark : {'p', 'b', 's'})
                if (const std::size_t at = line.find({'%', mark}); at != std::string::npos)
                    line.replace(at, 2, Narrow(Item(op, mark)));
            expected.push_back(line);
        }
        EXPECT_EQ(Logged(), expected);
        // The parent goes exactly when the log says so, and nothing above it.
        EXPECT_EQ(platform::Exists(sim), std::count(expected.begin(), expected.end(), "TRACE Removing parent folder " + Narrow(sim)) == 0);
        EXPECT_TRUE(platform::IsFolder(Folder()));
    }
    void Check(const Op& op, const std::vector<Row>& rows) {
        for (const Row& row : rows)
            for (bool overwrite : {false, true})
                if (!IsSkipped() && (row.flag == Either || row.flag == (overwrite ? Over : Keep))) {
                    SCOPED_TRACE(op.name + " from state " + std::to_string(row.before) + (overwrite ? " overwrite" : " keep"));
                    if (!Arrange(op, row.before))
                        GTEST_SKIP() << "this system makes no links: the links test checks that they fail there";
                    Expect(op, row, overwrite);
                }
    }

    std::wstring sim;
    std::size_t seen = 0;
};

} // namespace

TEST(BackupName, IsTheBase64OfTheLastComponentBesideTheItem) {
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\~~~"), L"C:\\P\\Ferrymark backup (fn5+)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\???"), L"C:\\P\\Ferrymark backup (Pz8/)");
    // One closing backslash is dropped, and only one.
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\\\"), L"D:\\Sim\\Addons\\Ferrymark backup ()");
}

TEST_F(BackupTest, EachOperationOverWhatStandsBeforehand) {
    const std::string none = "INFO Backup file does not exist and will be skipped %b";
    const std::string kept = "TRACE Restored file already exists and overwriting is not allowed, skipping file restore";
    Check(kFileBackup, {{Neither, Either, true, "-", "-", {}}, {Plain, Either, true, "-", "mine", {}},
                        {BackedUp, Either, true, "-", "old", {}}, {Both, Keep, false, "mine", "old", {}},
                        {Both, Over, true, "-", "mine", {}}});
    Check(kFileRestore, {{Neither, Either, false, "-", "-", {none}}, {Plain, Either, false, "mine", "-", {none}},
                         {BackedUp, Either, true, "old", "-", {}}, {Both, Keep, true, "mine", "old", {kept}},
                         {Both, Over, true, "old", "-", {kFileOverwritten}}});
    Check(kFolderBackup, {{Neither, Either, true, "-", "-", {kNoFolder}}, {Plain, Either, true, "-", "mine", {}},
                          {BackedUp, Either, true, "-", "old", {kNoFolder}},
                          {Both, Keep, false, "mine", "old", {"WARN Backup already exists, cannot back up %p"}},
                          {Both, Over, true, "-", "mine", {kDeletingBackup}}});
    Check(kFolderRestore, {{Neither, Either, true, "-", "-", {kNoBackupFolder, kTidy}}, {Plain, Keep, true, "mine", "-", {kNoBackupFolder}},
                           {Plain, Over, true, "-", "-", {kFolderOverwritten, kNoBackupFolder, kTidy}},
                           {BackedUp, Either, true, "old", "-", {}},
                           // A folder is never replaced by the move itself.
                           {Both, Keep, false, "mine", "old", {"WARN Failed to move %b -> %p, reason: *"}},
                           {Both, Over, true, "old", "-", {kFolderOverwritten}}});
}

TEST_F(BackupTest, LinksAreRefusedOrRemovedAndDanglingOnesCountAsAbsent) {
    const std::string removeLink = "TRACE Removing symbolic link";
    Check(kFileBackup, {{Dangling, Either, true, "link", "-", {}}, {Link, Either, false, "link", "-", {}}});
    Check(kFolderBackup, {{Dangling, Either, true, "link", "-", {kNoFolder}},
                          {Link, Either, false, "link", "-", {"WARN Folder is a symlink, cannot back up %p"}}});
    Check(kFolderRestore, {{Link, Either, true, "-", "-", {removeLink, kNoBackupFolder, kTidy}},
                           {Link | BackedUp, Either, true, "old", "-", {removeLink}}});
    if (IsSkipped())
        return;
    EXPECT_EQ(At(InFolder(L"Target")), "folder:target") << "a link's target is never touched";
    EXPECT_EQ(At(InFolder(L"Target.exe")), "file:target");
}

TEST_F(BackupTest, AFolderHoldingAFileThatIsOpenIsInUse) {
    Arrange(kFolderBackup, Plain);
    WriteFile(Item(kFolderBackup, 'p') + L"\\deep.bgl", "bgl");
    Holder holder(Hold::OpenFile, Item(kFolderBackup, 'p') + L"\\deep.bgl");
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    if (!IsInUse(Item(kFolderBackup, 'p')) && other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine lets a folder whose file is open be renamed; Windows refuses";
    Logged();
    Expect(kFolderBackup, {Plain, Over, false, "mine", "-", {kInUse + "%p", kFolderBackupInUse}}, true);
}

TEST_F(BackupTest, AFailingRemovalRaises) {
    // A folder with content stands where the restored file belongs.
    Arrange(kFileRestore, BackedUp);
    Put(true, Item(kFileRestore, 'p'), "in the way");
    EXPECT_THROW(FileRestore(Item(kFileRestore, 'p'), true), std::exception);
    EXPECT_EQ(At(Item(kFileRestore, 'b')), "file:old");
    EXPECT_EQ(At(Item(kFileRestore, 'p')), "folder:in the way");
    EXPECT_EQ(Logged().back(), kFileOverwritten);
}

TEST_F(BackupTest, ARemovalNeverFollowsALink) {
    const std::wstring outside = InFolder(L"Outside"), outsideFile = InFolder(L"Outside.txt"), rotated = InFolder(L"Rotated"),
                       tree = InFolder(L"Tree"), path = Item(kFolderBackup, 'p'), backup = Item(kFolderBackup, 'b');
    Put(true, outside, "kept");
    WriteFile(outsideFile, "kept");
    const std::tuple<const char*, std::wstring, State, std::function<bool()>, bool> rows[] = {
        {"RemoveTree", tree, Neither, [&] { return !platform::RemoveTree(tree).Failed(); }, false},
        // The earlier backup gives way to the folder, and the folder in the restored place to the backup.
        {"FolderBackup with overwrite", backup, Plain, [&] { return FolderBackup(path, true); }, false},
        {"FolderRestore with overwrite", path, BackedUp, [&] { return FolderRestore(path, true); }, false},
        // With the limit 3 the oldest backup is number 2; a link there is refused.
        {"RotateNumbered", rotated + L"\\backup2", Neither, [&] { return RotateNumbered(rotated, L"backup", L"", 3); }, true},
    };
    for (const auto& [caller, removed, before, run, refusesALink] : rows)
        for (bool itselfALink : {false, true}) {
            SCOPED_TRACE(std::string(caller) + (itselfALink ? ": the tree is a link" : ": links in the tree"));
            Arrange(kFolderBackup, before);
            MakeFolder(rotated);
            std::vector<std::pair<std::wstring, std::wstring>> links{{removed, outside}};
            if (!itselfALink) {
                Put(true, removed, "removed");
                links = {{removed + L"\\Linked folder", outside}, {removed + L"\\Linked file", outsideFile}};
            }
            for (const auto& [link, target] : links) {
                platform::MakeSymbolicLink(link, target, target == outside ? 1 : 0);
                if (!platform::IsSymbolicLink(link))
                    GTEST_SKIP() << "this system makes no links (Wine 8 reports success and makes none)";
            }
            const bool refused = itselfALink && refusesALink;
            EXPECT_EQ(run(), !refused);
            for (const auto& [link, target] : links)
                EXPECT_EQ(platform::IsSymbolicLink(link), refused) << Narrow(link);
            EXPECT_EQ(At(outside), "folder:kept") << "a link's folder keeps its content";
            EXPECT_EQ(At(outsideFile), "file:kept");
        }
}

TEST(CleanLinkTarget, GivesSingleBackslashesAndKeepsTheRoot) {
    EXPECT_EQ(CleanLinkTarget(L"C:/Sim//Prepar3D v5\\\\\\Scenery/"), L"C:\\Sim\\Prepar3D v5\\Scenery\\");
    EXPECT_EQ(CleanLinkTarget(L"//server/share//x"), L"\\\\server\\share\\x");
}

// Where the system makes no links (Wine 8), making one must fail, say why and leave nothing.
TEST_F(BackupTest, LinksOverWhatStandsAtTheLinkPath) {
    const std::wstring target = InFolder(L"target\\scenery.cfg"), link = InFolder(L"root\\scenery.cfg"),
                       mine = InFolder(L"root\\display.cfg"), folderLink = InFolder(L"new parent\\Prepar3D v4"),
                       missing = InFolder(L"missing target");
    MakeFolder(InFolder(L"target"));
    Put(false, target, "real");
    // A folder link makes its missing target and parent; a file link to a missing target makes nothing.
    const bool folderMade = CreateDirectoryLink(folderLink, missing);
    EXPECT_TRUE(platform::IsFolder(missing)) << "a missing target is created";
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\absent.cfg")));
    EXPECT_FALSE(platform::Exists(link));
    const bool fileMade = CreateFileLink(link, target);
    Put(false, mine, "mine");
    if (!platform::IsSymbolicLink(link)) {
        EXPECT_TRUE(other_process::RunningUnderWine()) << "no link was made";
        EXPECT_FALSE(folderMade || fileMade || platform::Exists(link) || platform::Exists(folderLink));
        EXPECT_TRUE(LogContains("WARN Failed to create symbolic link " + Narrow(link) + " -> " + Narrow(target) +
                                ", reason: Request not supported."));
        return;
    }
    EXPECT_TRUE(folderMade && fileMade);
    // An old link, even a dangling one, gives way unless the new target is missing; what else stands stays.
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\gone.cfg")));
    EXPECT_EQ(ReadFile(link), "real") << "the old link stays";
    Put(false, InFolder(L"target\\other.cfg"), "other");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\other.cfg")));
    EXPECT_FALSE(platform::RemoveItem(InFolder(L"target\\other.cfg")).Failed());
    EXPECT_TRUE(CreateFileLink(link, target));
    EXPECT_EQ(ReadFile(link), "real");
    EXPECT_FALSE(CreateFileLink(mine, target));
    EXPECT_FALSE(CreateDirectoryLink(folderLink, InFolder(L"target")));
    // RemoveLink: false leaving a real file, true taking a link away and again on nothing.
    EXPECT_FALSE(RemoveLink(mine));
    EXPECT_TRUE(RemoveLink(link) && RemoveLink(link));
    EXPECT_EQ(At(link) + At(mine) + At(target), "-file:minefile:real");
    Lines steps = Logged();  // without each call's own first line
    steps.erase(std::remove_if(steps.begin(), steps.end(), [](const std::string& line) {
        return (line.rfind("TRACE Create", 0) == 0 && line.find(" -> ") != std::string::npos) ||
               line.rfind("TRACE RemoveLink", 0) == 0;
    }), steps.end());
    EXPECT_EQ(steps, (Lines{"TRACE Target does not exist", "TRACE Creating folder structure for the link",
                               "TRACE Target does not exist", "TRACE A symbolic link already exists, removing",
                               "TRACE A symbolic link already exists, removing",
                               "WARN Failed to create symbolic link " + Narrow(mine) + " -> " + Narrow(target) + ", reason: *",
                               "WARN Failed to create directory link " + Narrow(folderLink) + " -> " +
                                   Narrow(InFolder(L"target")) + ", reason: *"}));
}

TEST_F(BackupTest, UninstallEntriesGoAsideAndComeBackUnlessALiveNamesakeIsAsNew) {
    const std::wstring shield = L"C:\\Program Files (x86)\\InstallShield Installation Information\\FerrymarkTest.Addon",
                       shieldAside = PathParent(shield) + L"\\Ferrymark backup (RmVycnltYXJrVGVzdC5BZGRvbg==)";
    const bool hadParent = platform::Exists(PathParent(shield));
    // Folders of an earlier run cut short are taken away before and after (the sandbox takes the entries).
    const auto clean = [&] { platform::RemoveTree(shield), platform::RemoveTree(shieldAside); };
    clean();
    const std::tuple<std::wstring, const wchar_t*, const wchar_t*, bool, Fate> rows[] = {
        {L"Addon", L"q:\\ferrymark tests\\sim\\", L"Add-on Maker", false, Back},
        {L"Drive", L"Q:\\", L"Add-on Maker", false, Newer},
        {L"Caps", L"Q:\\Ferrymark Tests\\Sim", L"LOCKHEED MARTIN", false, Same},
        {L"Unrecorded", L"Q:\\Ferrymark Tests\\Sim", L"Add-on Maker", false, Unrecorded},
        {L"Older", L"Q:\\Ferrymark Tests\\Sim", L"Add-on Maker", false, Older},
        {L"Addon32", L"Q:\\Ferrymark Tests\\Sim", L"Add-on Maker", true, Back},
        {L"Older32", L"Q:\\Ferrymark Tests\\Sim", L"Add-on Maker", true, Older},
        {L"Studios", L"Q:\\Ferrymark Tests\\Sim", L"Microsoft Game Studios", false, Stays},
        {L"Lockheed32", L"Q:\\Ferrymark Tests\\Sim", L"Lockheed Martin", true, Stays},
        {L"NoLocation", L"", L"Add-on Maker", false, Stays},
        {L"Elsewhere", L"Q:\\Other\\Sim", L"Add-on Maker", false, Stays}};
    // Backup keys lie in the 64-bit view, whatever view their entries came from.
    const auto aside = [&](bool wow32, const std::wstring& name) { return KeyPath() + (wow32 ? L"\\Uninstall32\\FerrymarkTest." : L"\\Uninstall64\\FerrymarkTest.") + name; };
    const auto live = [](const std::wstring& name) { return kUninstall + (L"\\FerrymarkTest." + name); };
    std::map<std::wstring, std::wstring> times;
    for (const auto& [name, location, publisher, wow32, fate] : rows) {
        RegistryKey entry(HKLM, live(name), wow32);  // with a subkey of its own
        if (*location != L'\0')
            entry.WriteString(L"InstallLocation", location);
        entry.WriteString(L"Publisher", publisher);
        entry.WriteString(L"Marker", L"moved");
        RegistryKey(HKLM, live(name) + L"\\Parts", wow32).WriteString(L"Marker", L"part");
        times[name] = entry.LastWriteTimeText();
    }
    MakeFolder(shield);
    WriteFile(shield + L"\\setup.ilg", "log");
    // A second later, so that a time stamp taken after the move would differ.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_TRUE(RegistryBackup(HKLM, KeyPath() + L"\\Uninstall32", L"Q:\\Ferrymark Tests\\Sim", true));
    EXPECT_TRUE(RegistryBackup(HKLM, KeyPath() + L"\\Uninstall64", L"Q:\\Ferrymark Tests\\Sim", false));
    EXPECT_EQ(LogMatching({"TRACE RegistryBackup "}),
              (Lines{"TRACE RegistryBackup Q:\\Ferrymark Tests\\Sim (32 bit)", "TRACE RegistryBackup Q:\\Ferrymark Tests\\Sim (64 bit)"}));
    EXPECT_EQ(ReadFile(shieldAside + L"\\setup.ilg"), "log");
    // An add-on folder made anew while its entry is aside gives way to the one set aside.
    EXPECT_FALSE(platform::Exists(shield));
    MakeFolder(shield);
    for (const auto& [name, location, publisher, wow32, fate] : rows) {
        SCOPED_TRACE(Narrow(name));
        const bool moved = fate != Stays, view = !moved && wow32;
        const std::wstring at = moved ? aside(wow32, name) : live(name);
        EXPECT_EQ(Read(at, view, L"Marker"), L"moved");
        EXPECT_EQ(Read(at + L"\\Parts", view, L"Marker"), L"part");
        EXPECT_EQ(Read(at, view, L"__LastModified"), moved ? times[name] : kAbsent);
        EXPECT_NE(RegistryKey::Exists(HKLM, live(name), wow32), moved);
        EXPECT_FALSE(RegistryKey::Exists(HKLM, aside(wow32, name), true));
        if (fate == Stays || fate == Back)
            continue;
        RegistryKey namesake(HKLM, live(name), wow32), kept(HKLM, aside(wow32, name), false);
        namesake.WriteString(L"Extra", L"live");
        if (wow32)  // a 64-bit namesake as well
            RegistryKey(HKLM, live(name), false).WriteString(L"Marker", L"64-bit");
        if (fate == Unrecorded)
            kept.DeleteValue(L"__LastModified");
        else if (fate != Newer)
            kept.WriteString(L"__LastModified", fate == Same ? namesake.LastWriteTimeText() : L"9999-12-31");
    }
    EXPECT_TRUE(RegistryRestore(HKLM, KeyPath() + L"\\Uninstall32", true));
    EXPECT_TRUE(RegistryRestore(HKLM, KeyPath() + L"\\Uninstall64", false));
    for (const auto& [name, location, publisher, wow32, fate] : rows) {
        SCOPED_TRACE(Narrow(name));
        const bool back = fate == Stays || fate == Back || fate == Older;
        EXPECT_EQ(Read(live(name), wow32, L"Marker"), back ? L"moved" : kAbsent);
        EXPECT_EQ(Read(aside(wow32, name), false, L"Marker"), back ? kAbsent : L"moved") << "kept aside";
        EXPECT_EQ(Read(live(name) + L"\\Parts", wow32, L"Marker"), back ? L"part" : kAbsent);
        EXPECT_EQ(Read(live(name), wow32, L"__LastModified"), kAbsent);
        // An older namesake is cleared in the 64-bit view only: a 32-bit one merges.
        EXPECT_FALSE(RegistryKey::Exists(HKLM, live(name), !wow32));
        EXPECT_EQ(Read(live(name), wow32, L"Extra"), back && !(fate == Older && wow32) ? kAbsent : L"live");
    }
    EXPECT_EQ(ReadFile(shield + L"\\setup.ilg"), "log");
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\Uninstall32", false) &&
                RegistryKey(HKLM, KeyPath() + L"\\Uninstall32", false).SubKeys().empty()) << "an emptied key stays";
    clean();
    if (!hadParent)
        platform::RemoveTree(PathParent(shield));
}

// A deactivation from the recorded state "active" settles an entry that a stopped move left parked beside its live
// namesake: moved back when the two are one entry (its time stamp aside), left parked for any difference at all.
TEST_F(BackupTest, AParkedEntryBesideItsLiveNamesakeComesBackOnlyWhenTheyAreTheSameEntry) {
    RegistryKey(HKLM, L"Software\\Kestrane\\Ferrymark", false).WriteDword(L"TargetActive", 1);
    struct Row { const wchar_t *name, *stamp; std::function<void(RegistryKey&)> differ; bool back; };
    const Row rows[] = {
        {L"Same", L"__LastModified", nullptr, true},
        {L"StampInOtherCase", L"__LASTMODIFIED", nullptr, true},
        {L"AnotherValue", L"__LastModified", [](RegistryKey& live) { live.WriteString(L"Extra", L"live"); }, false},
        // The same four bytes as the text "a" with its terminator, as a number.
        {L"AnotherType", L"__LastModified", [](RegistryKey& live) { live.WriteDword(L"Marker", 0x61); }, false},
        {L"ASubkey", L"__LastModified", [](RegistryKey& live) { RegistryKey(HKLM, live.Path() + L"\\Parts", false); },
         false}};
    const auto live = [](const Row& row) { return kUninstall + (L"\\FerrymarkTest." + std::wstring(row.name)); };
    const auto parked = [&](const Row& row) { return KeyPath() + L"\\Uninstall64\\FerrymarkTest." + row.name; };
    for (const Row& row : rows) {
        RegistryKey aside(HKLM, parked(row), false), namesake(HKLM, live(row), false);
        aside.WriteString(L"Marker", L"a");
        aside.WriteString(row.stamp, L"2000-01-01 00:00:00");  // older than the live one: by time alone it stays
        namesake.WriteString(L"Marker", L"a");
        if (row.differ)
            row.differ(namesake);
    }
    EXPECT_TRUE(RegistryRestore(HKLM, KeyPath() + L"\\Uninstall64", false));
    for (const Row& row : rows) {
        SCOPED_TRACE(Narrow(row.name));
        EXPECT_EQ(RegistryKey::Exists(HKLM, parked(row), false), !row.back);
        EXPECT_EQ(LogContains("INFO Completing interrupted restore of key FerrymarkTest." + Narrow(row.name)), row.back);
    }
}
