// Setting files and folders aside and bringing them back, on the real file
// system of each build: every operation through the three states of an item
// (plain, backed up, both), with both overwrite flags, checked on disk and in
// the log.
#include "app/logger.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using other_process::Hold;
using other_process::Holder;

// Log lines and paths are compared in ASCII: a run of other characters, in
// whatever encoding the log file has, stands as one "?".
std::string Narrow(const std::wstring& text) {
    std::string out;
    bool inRun = false;
    for (wchar_t c : text) {
        const bool ascii = static_cast<unsigned long>(c) < 0x80;
        if (ascii)
            out += static_cast<char>(c);
        else if (!inRun)
            out += '?';
        inRun = !ascii;
    }
    return out;
}

std::string FoldToAscii(const std::string& bytes) {
    std::string out;
    bool inRun = false;
    for (char c : bytes) {
        const bool ascii = static_cast<unsigned char>(c) < 0x80;
        if (ascii)
            out += c;
        else if (!inRun)
            out += '?';
        inRun = !ascii;
    }
    return out;
}

class BackupTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"backup-log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"TRACE");
        sim = InFolder(L"Sim");
        exe = InFolder(L"Sim\\fsx.exe");
        exeBackup = InFolder(L"Sim\\Ferrymark backup (ZnN4LmV4ZQ==)");
        addons = InFolder(L"Sim\\Addons");
        addonsBackup = InFolder(L"Sim\\Ferrymark backup (QWRkb25z)");
        MakeFolder(sim);
    }
    void TearDown() override {
        Logger::Instance().close();
        Logger::SetLevel(L"Info");
        SandboxTest::TearDown();
    }

    // The lines written since the last call, as "LEVEL text".
    std::vector<std::string> Logged() {
        const std::string bytes = ReadFile(logPath);
        std::vector<std::string> lines;
        std::size_t start = 0;
        while (start < bytes.size()) {
            std::size_t end = bytes.find("\r\n", start);
            if (end == std::string::npos)
                end = bytes.size();
            const std::string line = FoldToAscii(bytes.substr(start, end - start));
            start = end + 2;
            if (line.size() < 30)
                continue;
            std::string level = line.substr(21, 5);
            level.erase(0, level.find_first_not_of(' '));
            lines.push_back(level + " " + line.substr(30));
        }
        std::vector<std::string> fresh(lines.begin() + static_cast<std::ptrdiff_t>(seen),
                                       lines.end());
        seen = lines.size();
        return fresh;
    }

    // What stands at a path: "-" for nothing, "link", "file:<content>", or
    // "folder:<content of its file inside.txt>".
    static std::string At(const std::wstring& path) {
        if (platform::IsSymbolicLink(path))
            return "link";
        if (!platform::Exists(path))
            return "-";
        if (platform::IsFolder(path))
            return "folder:" + ReadFile(path + L"\\inside.txt");
        return "file:" + ReadFile(path);
    }
    static void PutFolder(const std::wstring& path, const std::string& marker) {
        MakeFolder(path);
        WriteFile(path + L"\\inside.txt", marker);
    }

    // A file and a folder in one simulator folder, and their backups' names.
    std::wstring exe;
    std::wstring exeBackup;
    std::wstring addons;
    std::wstring addonsBackup;
    std::wstring sim;

    std::wstring logPath;
    std::size_t seen = 0;
};

// Makes a link, or ends the test as skipped where the platform makes none.
#define LINK_OR_SKIP(link, target, isFolder)                                                       \
    do {                                                                                           \
        std::string why;                                                                           \
        if (!other_process::MakeLink(link, target, isFolder, why))                                 \
            GTEST_SKIP() << "links: " << why;                                                      \
    } while (false)

using Lines = std::vector<std::string>;

std::string Trace(const std::string& text) {
    return "TRACE " + text;
}
std::string Warn(const std::string& text) {
    return "WARN " + text;
}

} // namespace

// --- Names ------------------------------------------------------------------

TEST_F(BackupTest, TheBackupNameIsTheBase64OfTheLastComponentBesideTheItem) {
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"C:\\fsx.exe"), L"C:\\Ferrymark backup (ZnN4LmV4ZQ==)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\a"), L"C:\\P\\Ferrymark backup (YQ==)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\ab"), L"C:\\P\\Ferrymark backup (YWI=)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\abc"), L"C:\\P\\Ferrymark backup (YWJj)");
    // The last two signs of the alphabet are + and /.
    EXPECT_EQ(GetBackupPath(L"C:\\P\\~~~"), L"C:\\P\\Ferrymark backup (fn5+)");
    EXPECT_EQ(GetBackupPath(L"C:\\P\\???"), L"C:\\P\\Ferrymark backup (Pz8/)");
    EXPECT_EQ(GetBackupPath(L"\\\\server\\share\\Sim\\Addons"),
              L"\\\\server\\share\\Sim\\Ferrymark backup (QWRkb25z)");
    const std::wstring longName(300, L'n');
    const std::wstring name = GetBackupPath(L"C:\\" + longName);
    EXPECT_EQ(name.size(), std::wstring(L"C:\\Ferrymark backup ()").size() + 400)
        << "the name has no length limit";
    EXPECT_EQ(Logged(), Lines{}) << "computing a name logs nothing";
}

TEST_F(BackupTest, OneClosingBackslashIsDroppedAndOnlyOne) {
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\"), L"D:\\Sim\\Ferrymark backup (QWRkb25z)");
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons\\\\"), L"D:\\Sim\\Addons\\Ferrymark backup ()")
        << "with two, the last component is empty";
    // A closing forward slash is not dropped, so the last component is empty.
    EXPECT_EQ(GetBackupPath(L"D:\\Sim\\Addons/"), L"D:\\Sim\\Addons\\Ferrymark backup ()");
}

TEST_F(BackupTest, ANameWhoseBase64HoldsASlashFailsAtTheMoveLikeAnyMove) {
    // A name of plain ASCII needs "?" to give the sign for 63, and Windows has no
    // such names; there a character above 127 gives it, depending on the code
    // page. The first candidate that this file system takes and whose name
    // holds the sign is used.
    std::wstring path;
    std::wstring backup;
    for (const wchar_t* candidate : {L"???", L"\u00ff", L"x\u00ff"}) {
        const std::wstring tried = InFolder(L"Sim\\") + candidate;
        const std::wstring name = GetBackupPath(tried).substr(sim.size() + 1);
        if (name.find(L'/') == std::wstring::npos)
            continue;
        try {
            WriteFile(tried, "item");
        } catch (const std::exception&) {
            continue;
        }
        if (!platform::Exists(tried))
            continue;
        path = tried;
        backup = GetBackupPath(tried);
        break;
    }
    if (path.empty())
        GTEST_SKIP() << "no candidate name gives a / in its backup name here";
    Logged();

    EXPECT_FALSE(FileBackup(path, false));
    EXPECT_EQ(At(path), "file:item") << "the item stays";
    const Lines lines = Logged();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], Trace("FileBackup " + Narrow(path) + " (keep existing)"));
    const std::string expected =
        "WARN Failed to move " + Narrow(path) + " -> " + Narrow(backup) + ", reason: ";
    EXPECT_EQ(lines[1].substr(0, expected.size()), expected) << lines[1];
    EXPECT_GT(lines[1].size(), expected.size()) << "the system's text follows";

    // The same for a folder.
    platform::RemoveItem(path);
    PutFolder(path, "mine");
    Logged();
    EXPECT_FALSE(FolderBackup(path, true));
    EXPECT_EQ(At(path), "folder:mine");
    const Lines folderLines = Logged();
    ASSERT_EQ(folderLines.size(), 2u);
    EXPECT_EQ(folderLines[1].substr(0, expected.size()), expected) << folderLines[1];
}

// --- IsInUse ----------------------------------------------------------------

TEST_F(BackupTest, WhatNothingHoldsIsNotInUseAndStaysWhereItIs) {
    WriteFile(exe, "exe");
    PutFolder(addons, "addons");
    EXPECT_FALSE(IsInUse(InFolder(L"Sim\\absent")));
    EXPECT_FALSE(IsInUse(exe));
    EXPECT_FALSE(IsInUse(addons));
    EXPECT_FALSE(IsInUse(addons + L"\\"));
    EXPECT_EQ(At(exe), "file:exe");
    EXPECT_EQ(At(addons), "folder:addons");
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(BackupTest, AFileThatAnotherProcessHoldsOpenIsInUseUntilItIsClosed) {
    WriteFile(exe, "exe");
    Holder holder(Hold::OpenFile, exe);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    EXPECT_TRUE(IsInUse(exe));
    EXPECT_EQ(Logged(), Lines{Warn("File or folder in use " + Narrow(exe))});

    EXPECT_FALSE(FileBackup(exe, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FileBackup " + Narrow(exe) + " (overwrite)"),
                               Warn("File or folder in use " + Narrow(exe)),
                               Warn("File is in use, cannot back up " + Narrow(exe))}));
    EXPECT_EQ(At(exe), "file:exe");
    EXPECT_EQ(At(exeBackup), "-");

    holder.Stop();
    EXPECT_FALSE(IsInUse(exe));
    EXPECT_TRUE(FileBackup(exe, true));
    EXPECT_EQ(At(exe), "-");
    EXPECT_EQ(At(exeBackup), "file:exe");
}

TEST_F(BackupTest, TheWorkingFolderOfAnotherProcessIsInUseUntilItLeaves) {
    PutFolder(addons, "addons");
    Holder holder(Hold::WorkingFolder, addons);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    EXPECT_TRUE(IsInUse(addons));
    Logged();

    EXPECT_FALSE(FolderBackup(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (keep existing)"),
                               Warn("File or folder in use " + Narrow(addons)),
                               Warn("Folder is in use, cannot back up " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "folder:addons");
    EXPECT_EQ(At(addonsBackup), "-");

    holder.Stop();
    EXPECT_FALSE(IsInUse(addons));
    EXPECT_TRUE(FolderBackup(addons, false));
    EXPECT_EQ(At(addons), "-");
    EXPECT_EQ(At(addonsBackup), "folder:addons");
}

TEST_F(BackupTest, AFolderHoldingAFileThatIsOpenIsInUse) {
    PutFolder(addons, "addons");
    MakeFolder(addons + L"\\deep");
    WriteFile(addons + L"\\deep\\scenery.bgl", "bgl");
    Holder holder(Hold::OpenFile, addons + L"\\deep\\scenery.bgl");
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    const bool inUse = IsInUse(addons);
    if (!inUse && other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine lets a folder whose file is open be renamed; Windows refuses";
    EXPECT_TRUE(inUse);
    EXPECT_FALSE(FolderBackup(addons, true));
    EXPECT_EQ(At(addons), "folder:addons");
    EXPECT_EQ(At(addonsBackup), "-");

    holder.Stop();
    EXPECT_TRUE(FolderBackup(addons, true));
    EXPECT_EQ(ReadFile(addonsBackup + L"\\deep\\scenery.bgl"), "bgl");
}

// --- FileBackup -------------------------------------------------------------

TEST_F(BackupTest, FileBackupOfAMissingFileIsTrueAndSaysNothingMore) {
    for (bool overwrite : {false, true}) {
        EXPECT_TRUE(FileBackup(exe, overwrite));
        EXPECT_EQ(Logged(), Lines{Trace("FileBackup " + Narrow(exe) +
                                        (overwrite ? " (overwrite)" : " (keep existing)"))});
    }
    EXPECT_EQ(At(exeBackup), "-");
    EXPECT_EQ(At(exe), "-");
}

TEST_F(BackupTest, FileBackupSetsAPlainFileAside) {
    for (bool overwrite : {false, true}) {
        WriteFile(exe, overwrite ? "second" : "first");
        platform::RemoveItem(exeBackup);
        Logged();
        EXPECT_TRUE(FileBackup(exe, overwrite));
        EXPECT_EQ(At(exe), "-");
        EXPECT_EQ(At(exeBackup), overwrite ? "file:second" : "file:first");
        EXPECT_EQ(Logged().size(), 1u) << "only the trace of the call";
    }
}

TEST_F(BackupTest, FileBackupWithOnlyABackupLeavesTheBackup) {
    WriteFile(exeBackup, "original");
    for (bool overwrite : {false, true}) {
        EXPECT_TRUE(FileBackup(exe, overwrite));
        EXPECT_EQ(At(exeBackup), "file:original");
        EXPECT_EQ(At(exe), "-");
    }
}

TEST_F(BackupTest, FileBackupWithBothKeepsThemOrReplacesTheBackup) {
    WriteFile(exeBackup, "original");
    WriteFile(exe, "stub");
    Logged();
    EXPECT_FALSE(FileBackup(exe, false));
    EXPECT_EQ(Logged(), Lines{Trace("FileBackup " + Narrow(exe) + " (keep existing)")})
        << "the refusal is silent";
    EXPECT_EQ(At(exe), "file:stub");
    EXPECT_EQ(At(exeBackup), "file:original");

    EXPECT_TRUE(FileBackup(exe, true));
    EXPECT_EQ(Logged(), Lines{Trace("FileBackup " + Narrow(exe) + " (overwrite)")});
    EXPECT_EQ(At(exe), "-");
    EXPECT_EQ(At(exeBackup), "file:stub") << "the move replaced the earlier backup";
}

TEST_F(BackupTest, FileBackupRefusesALinkWithoutAWord) {
    WriteFile(InFolder(L"real.exe"), "real");
    LINK_OR_SKIP(exe, InFolder(L"real.exe"), false);
    Logged();
    EXPECT_FALSE(FileBackup(exe, true));
    EXPECT_EQ(Logged(), Lines{Trace("FileBackup " + Narrow(exe) + " (overwrite)")});
    EXPECT_EQ(At(exe), "link");
    EXPECT_EQ(At(exeBackup), "-");
    EXPECT_EQ(ReadFile(InFolder(L"real.exe")), "real");
}

TEST_F(BackupTest, FileBackupTakesADanglingLinkForAbsent) {
    LINK_OR_SKIP(exe, InFolder(L"gone.exe"), false);
    Logged();
    EXPECT_TRUE(FileBackup(exe, false));
    EXPECT_EQ(Logged(), Lines{Trace("FileBackup " + Narrow(exe) + " (keep existing)")});
    EXPECT_EQ(At(exe), "link") << "the link stays";
    EXPECT_EQ(At(exeBackup), "-");
}

// --- FileRestore ------------------------------------------------------------

TEST_F(BackupTest, FileRestoreWithoutABackupIsFalse) {
    for (bool withFile : {false, true}) {
        if (withFile)
            WriteFile(exe, "plain");
        EXPECT_FALSE(FileRestore(exe, true));
        EXPECT_EQ(Logged(), (Lines{Trace("FileRestore " + Narrow(exe) + " (overwrite)"),
                                   "INFO Backup file does not exist and will be skipped " +
                                       Narrow(exeBackup)}));
    }
    EXPECT_EQ(At(exe), "file:plain");
}

TEST_F(BackupTest, FileRestoreBringsABackupBack) {
    for (bool overwrite : {false, true}) {
        WriteFile(exeBackup, overwrite ? "two" : "one");
        Logged();
        EXPECT_TRUE(FileRestore(exe, overwrite));
        EXPECT_EQ(At(exe), overwrite ? "file:two" : "file:one");
        EXPECT_EQ(At(exeBackup), "-");
        EXPECT_EQ(Logged(), Lines{Trace("FileRestore " + Narrow(exe) +
                                        (overwrite ? " (overwrite)" : " (keep existing)"))});
        platform::RemoveItem(exe);
    }
}

TEST_F(BackupTest, FileRestoreWithBothSkipsOrOverwrites) {
    WriteFile(exeBackup, "original");
    WriteFile(exe, "stub");
    Logged();
    EXPECT_TRUE(FileRestore(exe, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FileRestore " + Narrow(exe) + " (keep existing)"),
                               Trace("Restored file already exists and overwriting is not allowed, "
                                     "skipping file restore")}));
    EXPECT_EQ(At(exe), "file:stub");
    EXPECT_EQ(At(exeBackup), "file:original");

    EXPECT_TRUE(FileRestore(exe, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FileRestore " + Narrow(exe) + " (overwrite)"),
                               Trace("Restored file already exists and will be overwritten")}));
    EXPECT_EQ(At(exe), "file:original");
    EXPECT_EQ(At(exeBackup), "-");
}

TEST_F(BackupTest, FileRestoreSkipsABackupThatIsALink) {
    WriteFile(InFolder(L"elsewhere.exe"), "elsewhere");
    LINK_OR_SKIP(exeBackup, InFolder(L"elsewhere.exe"), false);
    WriteFile(exe, "stub");
    Logged();
    EXPECT_FALSE(FileRestore(exe, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FileRestore " + Narrow(exe) + " (overwrite)"),
                               Warn("Backup file is a symbolic link and will be skipped " +
                                    Narrow(exeBackup))}));
    EXPECT_EQ(At(exe), "file:stub");
    EXPECT_EQ(At(exeBackup), "link");
}

TEST_F(BackupTest, FileRestoreOfAFileInUseChangesNothing) {
    WriteFile(exeBackup, "original");
    WriteFile(exe, "stub");
    Holder holder(Hold::OpenFile, exe);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    Logged();
    EXPECT_FALSE(FileRestore(exe, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FileRestore " + Narrow(exe) + " (overwrite)"),
                               Warn("File or folder in use " + Narrow(exe)),
                               Warn("File is in use, cannot restore " + Narrow(exe))}));
    EXPECT_EQ(At(exe), "file:stub");
    EXPECT_EQ(At(exeBackup), "file:original");

    holder.Stop();
    EXPECT_TRUE(FileRestore(exe, true));
    EXPECT_EQ(At(exe), "file:original");
}

TEST_F(BackupTest, FileRestoreRaisesWhenTheItemInTheWayCannotBeRemoved) {
    // A folder with content stands where the file belongs: removing one item
    // fails, and that failure is raised rather than returned.
    WriteFile(exeBackup, "original");
    PutFolder(exe, "in the way");
    EXPECT_THROW(FileRestore(exe, true), std::exception);
    EXPECT_EQ(At(exeBackup), "file:original");
    EXPECT_EQ(At(exe), "folder:in the way");
    const Lines lines = Logged();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), Trace("Restored file already exists and will be overwritten"));
}

// --- FolderBackup -----------------------------------------------------------

TEST_F(BackupTest, FolderBackupOfAMissingFolderIsTrue) {
    WriteFile(addonsBackup, "a backup of earlier");
    for (bool overwrite : {false, true}) {
        EXPECT_TRUE(FolderBackup(addons, overwrite));
        EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) +
                                         (overwrite ? " (overwrite)" : " (keep existing)")),
                                   Trace("Folder does not exist, skipping " + Narrow(addons))}));
    }
    EXPECT_EQ(At(addonsBackup), "file:a backup of earlier") << "a backup alone is left alone";
}

TEST_F(BackupTest, FolderBackupSetsAPlainFolderAside) {
    for (bool overwrite : {false, true}) {
        PutFolder(addons, overwrite ? "second" : "first");
        MakeFolder(addons + L"\\sub");
        WriteFile(addons + L"\\sub\\deep.txt", "deep");
        platform::RemoveTree(addonsBackup);
        Logged();
        EXPECT_TRUE(FolderBackup(addons, overwrite));
        EXPECT_EQ(At(addons), "-");
        EXPECT_EQ(At(addonsBackup), overwrite ? "folder:second" : "folder:first");
        EXPECT_EQ(ReadFile(addonsBackup + L"\\sub\\deep.txt"), "deep");
        EXPECT_EQ(Logged().size(), 1u) << "only the trace of the call";
    }
}

TEST_F(BackupTest, FolderBackupWithBothRefusesOrReplacesTheBackup) {
    PutFolder(addonsBackup, "original");
    WriteFile(addonsBackup + L"\\only in the original.txt", "x");
    PutFolder(addons, "links");
    Logged();
    EXPECT_FALSE(FolderBackup(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (keep existing)"),
                               Warn("Backup already exists, cannot back up " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "folder:links");
    EXPECT_EQ(At(addonsBackup), "folder:original");

    EXPECT_TRUE(FolderBackup(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (overwrite)"),
                               Trace("Deleting existing backup folder " + Narrow(addonsBackup))}));
    EXPECT_EQ(At(addons), "-");
    EXPECT_EQ(At(addonsBackup), "folder:links");
    EXPECT_FALSE(platform::Exists(addonsBackup + L"\\only in the original.txt"))
        << "the earlier backup went as a whole";
}

TEST_F(BackupTest, FolderBackupRefusesAFolderThatIsALink) {
    PutFolder(InFolder(L"Target"), "target");
    LINK_OR_SKIP(addons, InFolder(L"Target"), true);
    Logged();
    EXPECT_FALSE(FolderBackup(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (overwrite)"),
                               Warn("Folder is a symlink, cannot back up " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "link");
    EXPECT_EQ(At(addonsBackup), "-");
    EXPECT_EQ(At(InFolder(L"Target")), "folder:target");
}

TEST_F(BackupTest, FolderBackupTakesADanglingLinkForAbsent) {
    LINK_OR_SKIP(addons, InFolder(L"Gone"), true);
    Logged();
    EXPECT_TRUE(FolderBackup(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (keep existing)"),
                               Trace("Folder does not exist, skipping " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "link");
}

TEST_F(BackupTest, FolderBackupStopsWhenTheBackupIsInUseBeforeDeletingIt) {
    PutFolder(addonsBackup, "original");
    PutFolder(addons, "links");
    Holder holder(Hold::WorkingFolder, addonsBackup);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    Logged();
    EXPECT_FALSE(FolderBackup(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderBackup " + Narrow(addons) + " (overwrite)"),
                               Warn("File or folder in use " + Narrow(addonsBackup)),
                               Warn("Folder is in use, cannot back up " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "folder:links");
    EXPECT_EQ(At(addonsBackup), "folder:original");
}

// --- FolderRestore ----------------------------------------------------------

TEST_F(BackupTest, FolderRestoreBringsABackupBack) {
    for (bool overwrite : {false, true}) {
        PutFolder(addonsBackup, overwrite ? "two" : "one");
        Logged();
        EXPECT_TRUE(FolderRestore(addons, overwrite));
        EXPECT_EQ(At(addons), overwrite ? "folder:two" : "folder:one");
        EXPECT_EQ(At(addonsBackup), "-");
        EXPECT_EQ(Logged(), Lines{Trace("FolderRestore " + Narrow(addons) +
                                        (overwrite ? " (overwrite)" : " (keep existing)"))});
        platform::RemoveTree(addons);
    }
}

TEST_F(BackupTest, FolderRestoreOfAPlainFolderKeepsItOrRemovesItWithItsParent) {
    PutFolder(addons, "plain");
    Logged();
    EXPECT_TRUE(FolderRestore(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (keep existing)"),
                               Trace("Backup folder does not exist")}));
    EXPECT_EQ(At(addons), "folder:plain");

    // With overwrite the folder goes, and then its emptied parent.
    EXPECT_TRUE(FolderRestore(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (overwrite)"),
                               Trace("Restored folder already exists and will be overwritten"),
                               Trace("Backup folder does not exist"),
                               Trace("Removing parent folder " + Narrow(sim))}));
    EXPECT_EQ(At(addons), "-");
    EXPECT_FALSE(platform::Exists(sim));
    EXPECT_TRUE(platform::IsFolder(Folder())) << "one level only";
}

TEST_F(BackupTest, FolderRestoreWithBothFailsAtTheMoveOrOverwrites) {
    PutFolder(addonsBackup, "original");
    PutFolder(addons, "links");
    Logged();
    EXPECT_FALSE(FolderRestore(addons, false));
    Lines lines = Logged();
    ASSERT_EQ(lines.size(), 2u);
    const std::string expected =
        "WARN Failed to move " + Narrow(addonsBackup) + " -> " + Narrow(addons) + ", reason: ";
    EXPECT_EQ(lines[1].substr(0, expected.size()), expected) << lines[1];
    EXPECT_GT(lines[1].size(), expected.size());
    EXPECT_EQ(At(addons), "folder:links");
    EXPECT_EQ(At(addonsBackup), "folder:original");

    EXPECT_TRUE(FolderRestore(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (overwrite)"),
                               Trace("Restored folder already exists and will be overwritten")}));
    EXPECT_EQ(At(addons), "folder:original");
    EXPECT_EQ(At(addonsBackup), "-");
}

TEST_F(BackupTest, FolderRestoreReplacesALinkByTheBackup) {
    PutFolder(InFolder(L"Target"), "target");
    PutFolder(addonsBackup, "original");
    LINK_OR_SKIP(addons, InFolder(L"Target"), true);
    Logged();
    EXPECT_TRUE(FolderRestore(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (keep existing)"),
                               Trace("Removing symbolic link")}));
    EXPECT_EQ(At(addons), "folder:original");
    EXPECT_EQ(At(InFolder(L"Target")), "folder:target") << "the link's target is untouched";
}

TEST_F(BackupTest, FolderRestoreRemovesALinkWithoutABackupAndTidiesTheParent) {
    PutFolder(InFolder(L"Target"), "target");
    LINK_OR_SKIP(addons, InFolder(L"Target"), true);
    Logged();
    EXPECT_TRUE(FolderRestore(addons, true));
    EXPECT_EQ(Logged(),
              (Lines{Trace("FolderRestore " + Narrow(addons) + " (overwrite)"),
                     Trace("Removing symbolic link"), Trace("Backup folder does not exist"),
                     Trace("Removing parent folder " + Narrow(sim))}));
    EXPECT_FALSE(platform::IsSymbolicLink(addons));
    EXPECT_FALSE(platform::Exists(sim));
    EXPECT_EQ(At(InFolder(L"Target")), "folder:target");
    EXPECT_TRUE(platform::IsFolder(Folder()));
}

TEST_F(BackupTest, FolderRestoreWithNothingTidiesOnlyAnEmptyParent) {
    WriteFile(InFolder(L"Sim\\other.txt"), "other");
    EXPECT_TRUE(FolderRestore(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (keep existing)"),
                               Trace("Backup folder does not exist")}));
    EXPECT_EQ(At(InFolder(L"Sim\\other.txt")), "file:other");

    platform::RemoveItem(InFolder(L"Sim\\other.txt"));
    EXPECT_TRUE(FolderRestore(addons, false));
    EXPECT_EQ(Logged().back(), Trace("Removing parent folder " + Narrow(sim)));
    EXPECT_FALSE(platform::Exists(sim)) << "a folder that it never created goes too";

    EXPECT_TRUE(FolderRestore(addons, false)) << "a missing parent is no failure";
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (keep existing)"),
                               Trace("Backup folder does not exist")}));
}

TEST_F(BackupTest, FolderRestoreLeavesAParentInUseAndIsStillTrue) {
    Holder holder(Hold::WorkingFolder, sim);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    Logged();
    EXPECT_TRUE(FolderRestore(addons, false));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (keep existing)"),
                               Trace("Backup folder does not exist"),
                               Warn("File or folder in use " + Narrow(sim))}));
    EXPECT_TRUE(platform::IsFolder(sim));
}

TEST_F(BackupTest, FolderRestoreOfAFolderInUseChangesNothing) {
    PutFolder(addonsBackup, "original");
    PutFolder(addons, "links");
    Holder holder(Hold::WorkingFolder, addons);
    ASSERT_TRUE(holder.Started()) << holder.Failure();
    Logged();
    EXPECT_FALSE(FolderRestore(addons, true));
    EXPECT_EQ(Logged(), (Lines{Trace("FolderRestore " + Narrow(addons) + " (overwrite)"),
                               Warn("File or folder in use " + Narrow(addons)),
                               Warn("Folder is in use, cannot restore " + Narrow(addons))}));
    EXPECT_EQ(At(addons), "folder:links");
    EXPECT_EQ(At(addonsBackup), "folder:original");

    holder.Stop();
    EXPECT_TRUE(FolderRestore(addons, true));
    EXPECT_EQ(At(addons), "folder:original");
}

TEST_F(BackupTest, FolderRestoreRaisesWhenTheParentCannotBeListed) {
    // The parent is a file: it exists, and the emptiness test cannot answer.
    WriteFile(InFolder(L"Sim\\plain.txt"), "plain");
    EXPECT_THROW(FolderRestore(InFolder(L"Sim\\plain.txt\\Addons"), false), std::exception);
    EXPECT_EQ(At(InFolder(L"Sim\\plain.txt")), "file:plain");
}
