#include "app/rotation.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <map>

namespace {

// Name to content; "/" stands for a folder.
using Items = std::map<std::wstring, std::string>;

struct Case {
    const char* what;
    std::wstring stem, extension;
    std::int32_t limit;
    Items before, after;
};

class RotationTest : public SandboxTest {
protected:
    std::wstring In(const std::wstring& name) const { return InFolder(L"items\\" + name); }
    Items State(const Items& a, const Items& b) const {
        Items state;
        for (const Items* items : {&a, &b})
            for (const auto& [name, content] : *items)
                if (platform::Exists(In(name)))
                    state[name] = platform::IsFolder(In(name)) ? "/" : ReadFile(In(name));
        return state;
    }
};

} // namespace

TEST_F(RotationTest, EveryItemMovesUpOneNumberAndTheOldestGoes) {
    const Case cases[] = {
        {"limit 3, items above it stay",
         L"log", L".txt", 3,
         {{L"log.txt", "current"}, {L"log1.txt", "previous"}, {L"log2.txt", "oldest"},
          {L"log3.txt", "higher"}, {L"log7.txt", "far above"}},
         {{L"log1.txt", "current"}, {L"log2.txt", "previous"}, {L"log3.txt", "higher"},
          {L"log7.txt", "far above"}}},
        {"limit 0 or below leaves everything", L"log", L".txt", 0,
         {{L"log.txt", "current"}, {L"log1.txt", "previous"}},
         {{L"log.txt", "current"}, {L"log1.txt", "previous"}}},
        {"a negative limit", L"log", L".txt", INT32_MIN, {{L"log.txt", "current"}},
         {{L"log.txt", "current"}}},
        {"limit 2 deletes number 1, then moves", L"log", L".txt", 2,
         {{L"log.txt", "current"}, {L"log1.txt", "previous"}}, {{L"log1.txt", "current"}}},
        {"limit 1 deletes the plain item", L"log", L".txt", 1,
         {{L"log.txt", "newest"}, {L"log1.txt", "current"}}, {{L"log1.txt", "current"}}},
        {"gaps", L"log", L".txt", 10, {{L"log.txt", "current"}, {L"log3.txt", "three"}},
         {{L"log1.txt", "current"}, {L"log4.txt", "three"}}},
        {"folders move with their content; the oldest is a file", L"backup", L"", 3,
         {{L"backup", "/"}, {L"backup\\fsx.cfg", "cfg"}, {L"backup1", "/"},
          {L"backup1\\deep\\er", "/"}, {L"backup2", "a file"}},
         {{L"backup1", "/"}, {L"backup1\\fsx.cfg", "cfg"}, {L"backup2", "/"},
          {L"backup2\\deep\\er", "/"}}},
        {"the oldest goes as a whole tree", L"backup", L"", 2,
         {{L"backup1", "/"}, {L"backup1\\deep\\er", "/"}, {L"backup2", "/"}},
         {{L"backup2", "/"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        platform::RemoveTree(In(L""));
        MakeFolder(In(L""));
        for (const auto& [name, content] : c.before)
            content == "/" ? MakeFolder(In(name)) : WriteFile(In(name), content);
        OpenLog(L"Info");
        EXPECT_TRUE(RotateNumbered(In(L""), c.stem, c.extension, c.limit));
        EXPECT_EQ(State(c.before, c.after), c.after);
        EXPECT_EQ(LogText(), "") << "a successful rotation logs nothing";
    }
}

TEST_F(RotationTest, AFailedMoveEndsTheRotationAndKeepsWhatWasDone) {
    // A stem whose number 9 still fits the 255 characters of a name and whose
    // number 10 does not: the move in pass 10 fails.
    OpenLog(L"Info");
    const std::wstring stem(250, L'r');
    const auto name = [&](const std::wstring& number) { return InFolder(stem + number + L".txt"); };
    WriteFile(name(L""), "current");
    WriteFile(name(L"1"), "one");
    WriteFile(name(L"9"), "nine");
    EXPECT_FALSE(RotateNumbered(Folder(), stem, L".txt", 11));
    EXPECT_EQ(ReadFile(name(L"")), "current") << "passes after the failure never ran";
    EXPECT_EQ(ReadFile(name(L"1")), "one");
    EXPECT_EQ(ReadFile(name(L"9")), "nine") << "the item whose move failed keeps its number";
    EXPECT_NE(LogText().find("  ERROR    Failed to move " + Narrow(name(L"9")) + " -> " +
                             Narrow(name(L"10")) + ", reason: "),
              std::string::npos)
        << LogText();
}

TEST_F(RotationTest, TheMoveUnderItNeverReplacesAFolder) {
    WriteFile(InFolder(L"b.txt"), "b");
    MakeFolder(InFolder(L"empty"));
    MakeFolder(InFolder(L"source\\inner"));
    for (const wchar_t* from : {L"b.txt", L"source", L"absent"})
        EXPECT_TRUE(platform::MoveItem(InFolder(from), InFolder(L"empty")).Failed()) << Narrow(from);
    EXPECT_EQ(ReadFile(InFolder(L"b.txt")), "b");
    EXPECT_TRUE(platform::IsFolder(InFolder(L"source\\inner")));
}
