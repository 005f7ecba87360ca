// Numbered rotation: every item moves up one number, the oldest goes, a failed step ends it.
#include "app/rotation.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <map>

using Items = std::map<std::wstring, std::string>; // name to content; "/" is a folder
using RotationTest = SandboxTest;

TEST_F(RotationTest, EveryItemMovesUpOneNumberAndTheOldestGoes) {
    const std::wstring at = InFolder(L"r\\");
    // Stem, extension, limit, the items before and after.
    const std::tuple<std::wstring, std::wstring, std::int32_t, Items, Items> cases[] = {
        {L"log", L".txt", 3,
         {{L"log.txt", "new"}, {L"log1.txt", "old"}, {L"log2.txt", "oldest"}, {L"log3.txt", "3"}},
         {{L"log1.txt", "new"}, {L"log2.txt", "old"}, {L"log3.txt", "3"}}},
        {L"log", L".txt", 0, {{L"log.txt", "new"}}, {{L"log.txt", "new"}}},
        {L"log", L".txt", INT32_MIN, {{L"log.txt", "new"}}, {{L"log.txt", "new"}}},
        {L"log", L".txt", 1, {{L"log.txt", "new"}, {L"log1.txt", "old"}}, {{L"log1.txt", "old"}}},
        {L"log", L".txt", 10, {{L"log.txt", "new"}, {L"log3.txt", "3"}},
         {{L"log1.txt", "new"}, {L"log4.txt", "3"}}},
        {L"b", L"", 3, {{L"b", "/"}, {L"b\\fsx.cfg", "cfg"}, {L"b1\\deep", "/"}, {L"b2", "file"}},
         {{L"b1", "/"}, {L"b1\\fsx.cfg", "cfg"}, {L"b2", "/"}, {L"b2\\deep", "/"}}}};
    OpenLog(L"Info");
    for (const auto& [stem, extension, limit, before, after] : cases) {
        SCOPED_TRACE(limit);
        platform::RemoveTree(at);
        MakeFolder(at);
        for (const auto& [name, content] : before)
            content == "/" ? MakeFolder(at + name) : WriteFile(at + name, content);
        EXPECT_TRUE(RotateNumbered(InFolder(L"r"), stem, extension, limit));
        Items now;
        for (const auto& listed : {before, after})
            for (const auto& [name, content] : listed)
                if (platform::Exists(at + name))
                    now[name] = platform::IsFolder(at + name) ? "/" : ReadFile(at + name);
        EXPECT_EQ(now, after);
    }
    EXPECT_EQ(LogText(), "") << "a successful rotation logs nothing";

    // Number 9 of this stem fits the 255 characters of a name, number 10 does not.
    const std::wstring stem(250, L'r'), nine = at + stem + L"9.txt";
    WriteFile(at + stem + L".txt", "new");
    WriteFile(nine, "nine");
    EXPECT_FALSE(RotateNumbered(InFolder(L"r"), stem, L".txt", 11));
    EXPECT_EQ(ReadFile(at + stem + L".txt") + ReadFile(nine), "newnine") << "nothing moved";
    EXPECT_NE(LogText().find("  ERROR    Failed to move " + Narrow(nine) + " -> " +
                             Narrow(at + stem) + "10.txt, reason: "),
              std::string::npos);
}
