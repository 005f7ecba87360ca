// The data folder is the administrators' alone, and nothing below it is written,
// moved or removed through a link planted there.
#include "app/data_folder.h"
#include "app/link_check.h"
#include "app/logger.h"
#include "app/rotation.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#ifdef _WIN32
#include "support/file_bytes.h"
#endif

#include <gtest/gtest.h>

using DataFolderTest = SandboxTest;

TEST_F(DataFolderTest, AFolderIsMadeOrTightenedOnceForAdministratorsOnly) {
#ifdef _WIN32
    const std::wstring wanted = AdministratorsOnlyList();
#else
    const std::wstring wanted = L"0755"; // the POSIX stand-in: only the owner changes it
#endif
    const std::wstring made = InFolder(L"Kestrane\\Ferrymark"), loose = InFolder(L"Loose");
    MakeFolder(loose);
    OpenToEveryone(loose);
    ASSERT_NE(AccessList(loose), wanted);
    EXPECT_EQ(PrepareDataFolder(made).outcome, DataFolderAccess::AsWanted);
    EXPECT_EQ(PrepareDataFolder(loose).outcome, DataFolderAccess::Tightened);
    EXPECT_EQ(AccessList(made), wanted);
    EXPECT_EQ(AccessList(loose), wanted);
    // Without a link on the way the log opens where it is asked to.
    OpenLogBelow(made, made + L"\\log.txt");
    Logger::Write(Logger::ErrorLevel, L"opened below the data folder");
    EXPECT_EQ(LogLines(), std::vector<std::string>{}) << "not in the sandbox's log";
    EXPECT_NE(ReadFile(made + L"\\log.txt").find("ERROR    opened below the data folder\r\n"),
              std::string::npos);
    if (other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine keeps no access list, only the Unix mode bits, and never reads back "
                        "the protected list: that a tightened folder is left alone afterwards "
                        "is checked on Windows and natively";
    EXPECT_EQ(PrepareDataFolder(loose).outcome, DataFolderAccess::AsWanted) << "tightened once";
}

TEST_F(DataFolderTest, TheOutermostLinkOnTheWayIsRefusedAndNamed) {
    if (other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine 8 reports success making a link and makes none: the refusals are "
                        "proven on the native build";
    const std::wstring base = InFolder(L"Data"), outside = InFolder(L"Outside");
    MakeFolder(base + L"\\backup");
    MakeFolder(outside + L"\\inner");
    WriteFile(outside + L"\\kept.txt", "kept");
    // Links planted below the base (name and target; a target of a file makes a file link),
    // the item, and the link expected on its way.
    const struct {
        std::vector<std::pair<std::wstring, std::wstring>> links;
        std::wstring item, expected;
    } cases[] = {
        {{}, L"Data\\backup\\fsx.cfg", L""},
        {{}, L"Data\\missing\\deeper", L""},
        {{{L"Data\\log.txt", L"Outside\\kept.txt"}}, L"Data\\log.txt", L"Data\\log.txt"},
        {{{L"Data\\backup\\P3D", L"Outside"}}, L"Data\\backup\\P3D\\inner\\x", L"Data\\backup\\P3D"},
        {{{L"Data\\backup\\P3D", L"Outside"}, {L"Outside\\inner\\x", L"Outside"}},
         L"Data\\backup\\P3D\\inner\\x\\y", L"Data\\backup\\P3D"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.item));
        for (const auto& [link, target] : c.links)
            ASSERT_FALSE(platform::MakeSymbolicLink(InFolder(link), InFolder(target),
                                                    target.find(L'.') == std::wstring::npos ? 1 : 0)
                             .Failed());
        ClearLog();
        OpenLog(L"Info");
        const std::wstring expected = c.expected.empty() ? L"" : InFolder(c.expected);
        EXPECT_EQ(LinkOnTheWay(base, InFolder(c.item)), expected);
        EXPECT_EQ(RefuseLinkOnTheWay(base, InFolder(c.item)), !expected.empty());
        EXPECT_EQ(LogLines(), expected.empty() ? std::vector<std::string>{}
                                               : std::vector<std::string>{
                                                     "WARN Not following the link " + Narrow(expected)});
        if (c.expected == L"Data\\log.txt") {
            // The log is not opened through it: it goes to standard output instead.
            testing::internal::CaptureStdout();
            OpenLogBelow(base, expected);
            Logger::Write(Logger::InfoLevel, L"not into the link");
            const std::string out = testing::internal::GetCapturedStdout();
            EXPECT_NE(out.find(" WARN    Not following the link " + Narrow(expected) + "\n"), std::string::npos);
            EXPECT_NE(out.find(" INFO    not into the link\n"), std::string::npos);
            EXPECT_EQ(ReadFile(outside + L"\\kept.txt"), "kept");
            // A rotation over the link moves and removes nothing.
            ClearLog();
            EXPECT_FALSE(RotateNumbered(base, L"log", L".txt", 3));
            EXPECT_TRUE(platform::IsSymbolicLink(expected));
            EXPECT_EQ(LogLines(), (std::vector<std::string>{
                                      "WARN Not following the link " + Narrow(expected),
                                      "ERROR Failed to move " + Narrow(expected) + " -> " +
                                          Narrow(base) + "\\log1.txt, reason: the path leads through a link"}));
        }
        for (const auto& link : c.links)
            platform::RemoveItem(InFolder(link.first));
    }
}
