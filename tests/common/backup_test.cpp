// Setting files and folders aside and bringing them back on the real file system
// of each build, checked by result, by what stands on disk and by the log.
#include "app/paths.h"
#include "app/rotation.h"
#include "engine/backup.h"
#include "engine/links.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using other_process::Hold;
using other_process::Holder;
using Lines = std::vector<std::string>;

// Text is compared in ASCII: a run of other characters, in whatever encoding the
// log file has, stands as one "?".
std::string Fold(const std::wstring& text) {
    std::string out;
    bool inRun = false;
    for (wchar_t c : text) {
        const bool ascii = static_cast<std::make_unsigned_t<wchar_t>>(c) < 0x80;
        if (ascii)
            out += static_cast<char>(c);
        else if (!inRun)
            out += '?';
        inRun = !ascii;
    }
    return out;
}

struct Op {
    std::string name;
    bool (*run)(std::wstring, bool);
    bool folder;
};
const Op kFileBackup{"FileBackup", FileBackup, false}, kFileRestore{"FileRestore", FileRestore, false},
    kFolderBackup{"FolderBackup", FolderBackup, true},
    kFolderRestore{"FolderRestore", FolderRestore, true};

// One case: what stands beforehand ("mine" at the path, "old" at its backup, a
// link at the path to a "target" or to nothing), the flag; then the result, what
// stands at the path and the backup ("-", "link" or the content), and the log
// lines after the opening trace, %p, %b and %s standing for path, backup, parent.
enum State { Neither = 0, Plain = 1, BackedUp = 2, Both = 3, Link = 4, Dangling = 8 };
enum Flag { Keep, Over, Either };
struct Row {
    int before;
    Flag flag;
    bool result;
    std::string atPath, atBackup;
    Lines log;
};

const std::string kInUse = "WARN File or folder in use ";
const std::string kNoBackupFolder = "TRACE Backup folder does not exist";
const std::string kTidy = "TRACE Removing parent folder %s";
const std::string kNoFolder = "TRACE Folder does not exist, skipping %p";
const std::string kFileOverwritten = "TRACE Restored file already exists and will be overwritten";
const std::string kDeletingBackup = "TRACE Deleting existing backup folder %b";
const std::string kFolderBackupInUse = "WARN Folder is in use, cannot back up %p";
const std::string kFolderOverwritten =
    "TRACE Restored folder already exists and will be overwritten";

class BackupTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        OpenLog();
        MakeFolder(sim = InFolder(L"Sim"));
    }

    // The path (p) of the item that the operation handles, its backup (b), the parent (s).
    std::wstring Item(const Op& op, char mark) const {
        const std::wstring& path =
            mark == 'p' ? (op.folder ? addons : exe) : (op.folder ? addonsB : exeB);
        return mark == 's' ? sim : InFolder(path);
    }

    // The lines written since the last call, as "LEVEL text"; the system's text
    // after a failed move varies and stands as "*".
    Lines Logged() {
        Lines lines = LogLines();
        Lines fresh(lines.begin() + static_cast<std::ptrdiff_t>(seen), lines.end());
        seen = lines.size();
        for (std::string& line : fresh) {
            line = Fold(std::wstring(line.begin(), line.end()));
            const std::size_t reason = line.find(", reason: ");
            if (reason != std::string::npos && line.size() > reason + 10)
                line = line.substr(0, reason + 10) + "*";
        }
        return fresh;
    }

    static std::string At(const std::wstring& path) {
        if (platform::IsSymbolicLink(path))
            return "link";
        if (!platform::Exists(path))
            return "-";
        return platform::IsFolder(path) ? "folder:" + ReadFile(path + L"\\inside.txt")
                                        : "file:" + ReadFile(path);
    }
    static void Put(bool folder, const std::wstring& path, const std::string& marker) {
        if (folder)
            MakeFolder(path);
        WriteFile(folder ? path + L"\\inside.txt" : path, marker);
    }
    // An empty simulator folder, then what the state asks; false when this system
    // cannot make the link asked for.
    bool Arrange(const Op& op, int state) {
        EXPECT_TRUE(!platform::Exists(sim) || !platform::RemoveTree(sim).Failed());
        MakeFolder(sim);
        if (state & Plain)
            Put(op.folder, Item(op, 'p'), "mine");
        if (state & BackedUp)
            Put(op.folder, Item(op, 'b'), "old");
        bool made = true;
        if (state & (Link | Dangling)) {
            // A dangling link points to what was there when it was made.
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
        const std::wstring path = Item(op, 'p');
        const std::wstring backup = Item(op, 'b');
        EXPECT_EQ(op.run(path, overwrite), row.result);
        const auto shown = [&](const std::string& what) {
            return what == "-" || what == "link" ? what : (op.folder ? "folder:" : "file:") + what;
        };
        EXPECT_EQ(At(path), shown(row.atPath));
        EXPECT_EQ(At(backup), shown(row.atBackup));

        Lines expected{"TRACE " + op.name + " " + Fold(path) +
                       (overwrite ? " (overwrite)" : " (keep existing)")};
        for (std::string line : row.log) {
            for (const char mark : {'p', 'b', 's'})
                if (const std::size_t at = line.find({'%', mark}); at != std::string::npos)
                    line.replace(at, 2, Fold(Item(op, mark)));
            expected.push_back(line);
        }
        EXPECT_EQ(Logged(), expected);
        // The parent goes exactly when the log says so, and nothing above it.
        const bool tidied = std::count(expected.begin(), expected.end(),
                                       "TRACE Removing parent folder " + Fold(sim)) > 0;
        EXPECT_EQ(platform::Exists(sim), !tidied);
        EXPECT_TRUE(platform::IsFolder(Folder()));
    }
    void Check(const Op& op, const std::vector<Row>& rows) {
        for (const Row& row : rows)
            for (bool overwrite : {false, true})
                if (!IsSkipped() && (row.flag == Either || row.flag == (overwrite ? Over : Keep))) {
                    SCOPED_TRACE(op.name + " from state " + std::to_string(row.before) +
                                 (overwrite ? " overwrite" : " keep"));
                    if (!Arrange(op, row.before))
                        GTEST_SKIP() << "this system makes no links: the links test checks "
                                        "that they fail there";
                    Expect(op, row, overwrite);
                }
    }

    const std::wstring exe = L"Sim\\fsx.exe", exeB = L"Sim\\Ferrymark backup (ZnN4LmV4ZQ==)";
    const std::wstring addons = L"Sim\\Addons", addonsB = L"Sim\\Ferrymark backup (QWRkb25z)";
    std::wstring sim;
    std::size_t seen = 0;
};

} // namespace

TEST_F(BackupTest, TheBackupNameIsTheBase64OfTheLastComponentBesideTheItem) {
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\a"), L"C:\\P\\Ferrymark backup (YQ==)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\ab"), L"C:\\P\\Ferrymark backup (YWI=)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\~~~"), L"C:\\P\\Ferrymark backup (fn5+)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\???"), L"C:\\P\\Ferrymark backup (Pz8/)");
    // One closing backslash is dropped, and only one.
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\\\"), L"D:\\Sim\\Addons\\Ferrymark backup ()");
}

TEST_F(BackupTest, EachOperationOverWhatStandsBeforehand) {
    const std::string none = "INFO Backup file does not exist and will be skipped %b";
    const std::string kept = "TRACE Restored file already exists and overwriting is not "
                             "allowed, skipping file restore";
    Check(kFileBackup, {{Neither, Either, true, "-", "-", {}},
                        {Plain, Either, true, "-", "mine", {}},
                        {BackedUp, Either, true, "-", "old", {}},
                        {Both, Keep, false, "mine", "old", {}},
                        {Both, Over, true, "-", "mine", {}}});
    Check(kFileRestore, {{Neither, Either, false, "-", "-", {none}},
                         {Plain, Either, false, "mine", "-", {none}},
                         {BackedUp, Either, true, "old", "-", {}},
                         {Both, Keep, true, "mine", "old", {kept}},
                         {Both, Over, true, "old", "-", {kFileOverwritten}}});
    Check(kFolderBackup,
          {{Neither, Either, true, "-", "-", {kNoFolder}},
           {Plain, Either, true, "-", "mine", {}},
           {BackedUp, Either, true, "-", "old", {kNoFolder}},
           {Both, Keep, false, "mine", "old", {"WARN Backup already exists, cannot back up %p"}},
           {Both, Over, true, "-", "mine", {kDeletingBackup}}});
    Check(kFolderRestore,
          {{Neither, Either, true, "-", "-", {kNoBackupFolder, kTidy}},
           {Plain, Keep, true, "mine", "-", {kNoBackupFolder}},
           {Plain, Over, true, "-", "-", {kFolderOverwritten, kNoBackupFolder, kTidy}},
           {BackedUp, Either, true, "old", "-", {}},
           // A folder is never replaced by the move itself.
           {Both, Keep, false, "mine", "old", {"WARN Failed to move %b -> %p, reason: *"}},
           {Both, Over, true, "old", "-", {kFolderOverwritten}}});
}

TEST_F(BackupTest, LinksAreRefusedOrRemovedAndDanglingOnesCountAsAbsent) {
    const std::string removeLink = "TRACE Removing symbolic link";
    Check(kFileBackup,
          {{Dangling, Either, true, "link", "-", {}}, {Link, Either, false, "link", "-", {}}});
    Check(kFolderBackup,
          {{Dangling, Either, true, "link", "-", {kNoFolder}},
           {Link, Either, false, "link", "-", {"WARN Folder is a symlink, cannot back up %p"}}});
    Check(kFolderRestore, {{Link, Either, true, "-", "-", {removeLink, kNoBackupFolder, kTidy}},
                           {Link | BackedUp, Either, true, "old", "-", {removeLink}}});
    if (IsSkipped())
        return;
    EXPECT_EQ(At(InFolder(L"Target")), "folder:target") << "a link's target is never touched";
    EXPECT_EQ(At(InFolder(L"Target.exe")), "file:target");
}

TEST_F(BackupTest, WhatAnotherProcessHoldsIsInUseAndStopsTheMoveUntilReleased) {
    // A file is held open, a folder is another process's working folder; the
    // item held is the path, its backup or its parent.
    const std::string inUse = kInUse + "%p";
    struct {
        std::pair<const Op&, char> held;
        Row before, after;
    } cases[] = {
        {{kFileBackup, 'p'},
         {Plain, Over, false, "mine", "-", {inUse, "WARN File is in use, cannot back up %p"}},
         {Plain, Over, true, "-", "mine", {}}},
        {{kFileRestore, 'p'},
         {Both, Over, false, "mine", "old", {inUse, "WARN File is in use, cannot restore %p"}},
         {Both, Over, true, "old", "-", {kFileOverwritten}}},
        {{kFolderBackup, 'p'},
         {Plain, Keep, false, "mine", "-", {inUse, kFolderBackupInUse}},
         {Plain, Keep, true, "-", "mine", {}}},
        {{kFolderBackup, 'b'},
         {Both, Over, false, "mine", "old", {kInUse + "%b", kFolderBackupInUse}},
         {Both, Over, true, "-", "mine", {kDeletingBackup}}},
        {{kFolderRestore, 'p'},
         {Both, Over, false, "mine", "old", {inUse, "WARN Folder is in use, cannot restore %p"}},
         {Both, Over, true, "old", "-", {kFolderOverwritten}}},
        // A parent in use stays, and the result is still true.
        {{kFolderRestore, 's'},
         {Neither, Keep, true, "-", "-", {kNoBackupFolder, kInUse + "%s"}},
         {Neither, Keep, true, "-", "-", {kNoBackupFolder, kTidy}}},
    };
    for (const auto& [held, before, after] : cases) {
        const Op& op = held.first;
        SCOPED_TRACE(op.name + " with %" + held.second + " held");
        Arrange(op, before.before);
        const std::wstring item = Item(op, held.second);
        EXPECT_FALSE(IsInUse(item));
        Holder holder(op.folder || held.second == 's' ? Hold::WorkingFolder : Hold::OpenFile, item);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        EXPECT_TRUE(IsInUse(item));
        EXPECT_EQ(Logged(), Lines{kInUse + Fold(item)});
        Expect(op, before, before.flag == Over);
        holder.Stop();
        Expect(op, after, after.flag == Over);
    }
}

TEST_F(BackupTest, AFolderHoldingAFileThatIsOpenIsInUse) {
    Arrange(kFolderBackup, Plain);
    const std::wstring deep = Item(kFolderBackup, 'p') + L"\\deep.bgl";
    WriteFile(deep, "bgl");
    Holder holder(Hold::OpenFile, deep);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    const bool inUse = IsInUse(Item(kFolderBackup, 'p'));
    if (!inUse && other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine lets a folder whose file is open be renamed; Windows refuses";
    EXPECT_TRUE(inUse);
    Logged();
    Expect(kFolderBackup, {Plain, Over, false, "mine", "-", {kInUse + "%p", kFolderBackupInUse}},
           true);
    holder.Stop();
    Expect(kFolderBackup, {Plain, Over, true, "-", "mine", {}}, true);
}

TEST_F(BackupTest, AFailingRemovalRaises) {
    // A folder with content stands where the file belongs: removing one item fails.
    Arrange(kFileRestore, BackedUp);
    Put(true, Item(kFileRestore, 'p'), "in the way");
    EXPECT_THROW(FileRestore(Item(kFileRestore, 'p'), true), std::exception);
    EXPECT_EQ(At(Item(kFileRestore, 'b')), "file:old");
    EXPECT_EQ(At(Item(kFileRestore, 'p')), "folder:in the way");
    EXPECT_EQ(Logged().back(), kFileOverwritten);
}

TEST_F(BackupTest, RemovingATreeNeverFollowsALink) {
    // What the links point to: a folder with content and a file, outside every tree removed.
    const std::wstring outside = InFolder(L"Outside"), outsideFile = InFolder(L"Outside.txt");
    Put(true, outside, "kept");
    WriteFile(outsideFile, "kept");
    const std::wstring rotated = InFolder(L"Rotated"), tree = InFolder(L"Tree");
    const std::wstring path = InFolder(addons), backup = InFolder(addonsB);
    struct Case {
        const char* caller;
        std::wstring removed;  // the tree that the call removes
        State before;          // of the folder that FolderBackup and FolderRestore handle
        std::function<bool()> run;
        bool refusesALink = false; // a tree that is itself a link is refused, not removed
    };
    const Case cases[] = {
        {"RemoveTree", tree, Neither, [&] { return !platform::RemoveTree(tree).Failed(); }},
        // The earlier backup gives way to the folder, and the folder standing in the
        // restored place to the backup.
        {"FolderBackup with overwrite", backup, Plain, [&] { return FolderBackup(path, true); }},
        {"FolderRestore with overwrite", path, BackedUp, [&] { return FolderRestore(path, true); }},
        // With the limit 3 the oldest backup is number 2.
        {"RotateNumbered", PathJoin(rotated, L"backup2"), Neither,
         [&] { return RotateNumbered(rotated, L"backup", L"", 3); }, true},
    };
    for (const Case& c : cases) {
        for (bool itselfALink : {false, true}) {
            SCOPED_TRACE(std::string(c.caller) + (itselfALink ? ": the tree is a link" : ": links in the tree"));
            Arrange(kFolderBackup, c.before);
            MakeFolder(rotated);
            std::vector<std::pair<std::wstring, std::wstring>> links{{c.removed, outside}};
            if (!itselfALink) {
                Put(true, c.removed, "removed");
                links = {{c.removed + L"\\Linked folder", outside}, {c.removed + L"\\Linked file", outsideFile}};
            }
            for (const auto& [link, target] : links) {
                platform::MakeSymbolicLink(link, target, target == outside ? 1 : 0);
                if (!platform::IsSymbolicLink(link))
                    GTEST_SKIP() << "this system makes no links (Wine 8 reports success and makes none)";
            }
            const bool refused = itselfALink && c.refusesALink;
            EXPECT_EQ(c.run(), !refused);
            for (const auto& [link, target] : links)
                EXPECT_EQ(platform::IsSymbolicLink(link), refused) << Narrow(link);
            EXPECT_EQ(At(outside), "folder:kept") << "a link's folder keeps its content";
            EXPECT_EQ(At(outsideFile), "file:kept");
        }
    }
}
