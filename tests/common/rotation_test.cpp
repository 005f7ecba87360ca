// Numbered rotation of the logs and backups: every item moves up one number and
// the oldest goes.
#include "app/rotation.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <map>

using Items = std::map<std::wstring, std::string>; // name to content; "/" is a items
using RotationTest = SandboxTest;

TEST_F(RotationTest, EveryItemMovesUpOneNumberAndTheOldestGoes) {
    const struct {
        const char* what;
        std::wstring stem, extension;
        std::int32_t limit;
        Items before, after;
    } cases[] = {
        {"limit 3, items above it stay", L"log", L".txt", 3,
         {{L"log.txt", "current"}, {L"log1.txt", "previous"}, {L"log2.txt", "oldest"},
          {L"log3.txt", "higher"}, {L"log7.txt", "far"}},
         {{L"log1.txt", "current"}, {L"log2.txt", "previous"}, {L"log3.txt", "higher"}, {L"log7.txt", "far"}}},
        {"limit 0 leaves everything", L"log", L".txt", 0, {{L"log.txt", "current"}}, {{L"log.txt", "current"}}},
        {"a negative limit", L"log", L".txt", INT32_MIN, {{L"log.txt", "current"}}, {{L"log.txt", "current"}}},
        {"limit 1 deletes the plain item", L"log", L".txt", 1,
         {{L"log.txt", "newest"}, {L"log1.txt", "current"}}, {{L"log1.txt", "current"}}},
        {"gaps", L"log", L".txt", 10, {{L"log.txt", "current"}, {L"log3.txt", "three"}},
         {{L"log1.txt", "current"}, {L"log4.txt", "three"}}},
        {"folders move with their content; the oldest, a file, goes", L"backup", L"", 3,
         {{L"backup", "/"}, {L"backup\\fsx.cfg", "cfg"}, {L"backup1", "/"}, {L"backup1\\deep", "/"},
          {L"backup2", "a file"}},
         {{L"backup1", "/"}, {L"backup1\\fsx.cfg", "cfg"}, {L"backup2", "/"}, {L"backup2\\deep", "/"}}},
        {"the oldest goes as a whole tree", L"backup", L"", 2,
         {{L"backup1", "/"}, {L"backup1\\deep\\er", "/"}, {L"backup2", "/"}}, {{L"backup2", "/"}}},
    };
    OpenLog(L"Info");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::wstring items = InFolder(L"items");
        platform::RemoveTree(items);
        MakeFolder(items);
        for (const auto& [name, content] : c.before)
            content == "/" ? MakeFolder(items + L"\\" + name) : WriteFile(items + L"\\" + name, content);
        EXPECT_TRUE(RotateNumbered(items, c.stem, c.extension, c.limit));
        Items state;
        for (const auto& listed : {c.before, c.after})
            for (const auto& [name, content] : listed)
                if (platform::Exists(items + L"\\" + name))
                    state[name] = platform::IsFolder(items + L"\\" + name) ? "/" : ReadFile(items + L"\\" + name);
        EXPECT_EQ(state, c.after);
    }
    EXPECT_EQ(LogText(), "") << "a successful rotation logs nothing";
}

TEST_F(RotationTest, AFailedMoveEndsTheRotationAndKeepsWhatWasDone) {
    // Number 9 of this stem still fits the 255 characters of a name, number 10 does not.
    OpenLog(L"Info");
    const std::wstring stem(250, L'r');
    const auto name = [&](const std::wstring& number) { return InFolder(stem + number + L".txt"); };
    for (const wchar_t* number : {L"", L"1", L"9"})
        WriteFile(name(number), Narrow(number) + "content");
    EXPECT_FALSE(RotateNumbered(Folder(), stem, L".txt", 11));
    for (const wchar_t* number : {L"", L"1", L"9"})
        EXPECT_EQ(ReadFile(name(number)), Narrow(number) + "content") << "nothing moved after the failure";
    EXPECT_NE(LogText().find("  ERROR    Failed to move " + Narrow(name(L"9")) + " -> " +
                             Narrow(name(L"10")) + ", reason: "),
              std::string::npos) << LogText();
    // The move under it never replaces a items.
    MakeFolder(InFolder(L"empty"));
    EXPECT_TRUE(platform::MoveItem(name(L""), InFolder(L"empty")).Failed());
    EXPECT_EQ(ReadFile(name(L"")), "content");
}
