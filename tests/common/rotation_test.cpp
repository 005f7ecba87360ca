#include "app/logger.h"
#include "app/rotation.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <map>

namespace {

class RotationTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"rotation-log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"Info");
    }
    void TearDown() override {
        Logger::Instance().close();
        SandboxTest::TearDown();
    }

    void Put(const std::wstring& name, const std::string& content) {
        WriteFile(InFolder(name), content);
    }
    // Name to content of the items the test cares about; folders read as "<folder>".
    std::map<std::wstring, std::string> Items(std::initializer_list<const wchar_t*> names) {
        std::map<std::wstring, std::string> state;
        for (const wchar_t* name : names) {
            const std::wstring path = InFolder(name);
            if (platform::IsFolder(path))
                state[name] = "<folder>";
            else if (platform::Exists(path))
                state[name] = ReadFile(path);
        }
        return state;
    }
    std::string LogText() { return ReadFile(logPath); }

    std::wstring logPath;
};

using Expected = std::map<std::wstring, std::string>;

} // namespace

TEST_F(RotationTest, LimitThreeShiftsEveryItemUpAndDropsTheOldest) {
    Put(L"log.txt", "current");
    Put(L"log1.txt", "previous");
    Put(L"log2.txt", "oldest");
    Put(L"log3.txt", "left from a higher limit");
    Put(L"log7.txt", "far above");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 3));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt", L"log2.txt", L"log3.txt", L"log7.txt"}),
              (Expected{{L"log1.txt", "current"},
                        {L"log2.txt", "previous"},
                        {L"log3.txt", "left from a higher limit"},
                        {L"log7.txt", "far above"}}));
    EXPECT_EQ(LogText(), "") << "a successful rotation logs nothing";
}

TEST_F(RotationTest, SmallAndNegativeLimits) {
    Put(L"log.txt", "current");
    Put(L"log1.txt", "previous");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 0));
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", -5));
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", INT32_MIN));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt"}),
              (Expected{{L"log.txt", "current"}, {L"log1.txt", "previous"}}))
        << "a limit of 0 or below leaves everything";

    // Limit 2: number 1 is deleted, then the plain item becomes number 1.
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 2));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt", L"log2.txt"}), (Expected{{L"log1.txt", "current"}}));

    // Limit 1: its only pass deletes the plain item and keeps nothing.
    Put(L"log.txt", "newest");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 1));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt"}), (Expected{{L"log1.txt", "current"}}));
}

TEST_F(RotationTest, GapsAndAnEmptyFolderAreNoFailure) {
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 10));
    Put(L"log.txt", "current");
    Put(L"log3.txt", "three");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 10));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt", L"log3.txt", L"log4.txt"}),
              (Expected{{L"log1.txt", "current"}, {L"log4.txt", "three"}}));
}

TEST_F(RotationTest, ItemsAreHandledByWhatTheyAre) {
    // Backups are folders without extension; a log name may be a folder too.
    MakeFolder(InFolder(L"backup\\FSX"));
    Put(L"backup\\FSX\\fsx.cfg", "cfg");
    MakeFolder(InFolder(L"backup1\\deep\\er"));
    Put(L"backup2", "a file where a folder is expected");
    EXPECT_TRUE(RotateNumbered(Folder(), L"backup", L"", 3));
    EXPECT_EQ(Items({L"backup", L"backup1", L"backup2", L"backup3"}),
              (Expected{{L"backup1", "<folder>"}, {L"backup2", "<folder>"}}));
    EXPECT_EQ(ReadFile(InFolder(L"backup1\\FSX\\fsx.cfg")), "cfg");
    EXPECT_TRUE(platform::IsFolder(InFolder(L"backup2\\deep\\er")));

    // The oldest is a whole tree and goes as one.
    EXPECT_TRUE(RotateNumbered(Folder(), L"backup", L"", 2));
    EXPECT_EQ(Items({L"backup", L"backup1", L"backup2"}), (Expected{{L"backup2", "<folder>"}}))
        << "limit 2 deletes number 1 (a tree) and leaves number 2 above the limit";

    MakeFolder(InFolder(L"log.txt"));
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 2));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt"}), (Expected{{L"log1.txt", "<folder>"}}));
}

TEST_F(RotationTest, AnUnexpectedDestinationFileIsReplaced) {
    // Number 2 was left by a crash between two passes; the move replaces a file.
    Put(L"log.txt", "current");
    Put(L"log2.txt", "stray");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 3));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt", L"log2.txt"}), (Expected{{L"log1.txt", "current"}}));
    Put(L"log.txt", "next");
    Put(L"log2.txt", "stray again");
    EXPECT_TRUE(RotateNumbered(Folder(), L"log", L".txt", 4));
    EXPECT_EQ(Items({L"log.txt", L"log1.txt", L"log2.txt"}),
              (Expected{{L"log1.txt", "next"}, {L"log2.txt", "current"}}));
}

TEST_F(RotationTest, AFailedMoveEndsTheRotationAndKeepsWhatWasDone) {
    // A stem whose number 9 still fits the 255 characters of a name and whose
    // number 10 does not: the move in pass 10 fails.
    const std::wstring stem(250, L'r');
    const auto name = [&](const std::wstring& number) { return stem + number + L".txt"; };
    Put(name(L""), "current");
    Put(name(L"1"), "one");
    Put(name(L"9"), "nine");
    EXPECT_FALSE(RotateNumbered(Folder(), stem, L".txt", 11));
    EXPECT_EQ(ReadFile(InFolder(name(L""))), "current") << "passes after the failure never ran";
    EXPECT_EQ(ReadFile(InFolder(name(L"1"))), "one");
    EXPECT_EQ(ReadFile(InFolder(name(L"9"))), "nine")
        << "the item whose move failed keeps its number";
    const std::string log = LogText();
    EXPECT_NE(log.find("  ERROR    Failed to move "), std::string::npos) << log;
    EXPECT_NE(log.find(std::string(250, 'r') + "9.txt -> "), std::string::npos);
    EXPECT_NE(log.find(", reason: "), std::string::npos);
}

TEST_F(RotationTest, MoveReplacesAFileButNeverAFolder) {
    // The move under the rotation: a destination left behind (by a crash, say) is
    // replaced when it is a file and stops the move when it is a folder.
    Put(L"a.txt", "a");
    Put(L"b.txt", "b");
    EXPECT_FALSE(platform::MoveItem(InFolder(L"a.txt"), InFolder(L"b.txt")).Failed());
    EXPECT_EQ(ReadFile(InFolder(L"b.txt")), "a");
    EXPECT_FALSE(platform::Exists(InFolder(L"a.txt")));

    MakeFolder(InFolder(L"empty folder"));
    const platform::SystemError ontoFolder =
        platform::MoveItem(InFolder(L"b.txt"), InFolder(L"empty folder"));
    EXPECT_TRUE(ontoFolder.Failed());
    EXPECT_FALSE(ontoFolder.text.empty());
    EXPECT_EQ(ReadFile(InFolder(L"b.txt")), "a");

    MakeFolder(InFolder(L"source folder\\inner"));
    EXPECT_TRUE(platform::MoveItem(InFolder(L"source folder"), InFolder(L"empty folder")).Failed());
    EXPECT_TRUE(platform::IsFolder(InFolder(L"source folder\\inner")));
    EXPECT_FALSE(platform::MoveItem(InFolder(L"source folder"), InFolder(L"moved")).Failed());
    EXPECT_TRUE(platform::IsFolder(InFolder(L"moved\\inner")));

    const platform::SystemError missing = platform::MoveItem(InFolder(L"absent"), InFolder(L"x"));
    EXPECT_TRUE(missing.Failed());
}
