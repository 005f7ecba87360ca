// The data folder is the administrators' alone, and nothing below it goes through a planted link.
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

TEST_F(DataFolderTest, AFolderIsMadeOrTightenedOnceForAdministratorsOnlyAndItsLogOpens) {
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
    EXPECT_EQ(AccessList(made) + L" " + AccessList(loose), wanted + L" " + wanted);
    OpenLogBelow(made, made + L"\\log.txt");
    Logger::Write(Logger::ErrorLevel, L"below the data folder");
    EXPECT_NE(ReadFile(made + L"\\log.txt").find("ERROR    below the data folder\r\n"),
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
    const std::wstring base = InFolder(L"Data"), log = base + L"\\log.txt";
    MakeFolder(base);
    MakeFolder(InFolder(L"Out\\in"));
    WriteFile(InFolder(L"Out\\kept.txt"), "kept");
    OpenLog(L"Info");
    // Links planted (name, target), the item, and the link named on its way.
    const std::tuple<std::vector<std::pair<std::wstring, std::wstring>>, std::wstring, std::wstring>
        cases[] = {{{}, L"Data\\missing\\deeper", L""},
                   {{{L"Data\\P3D", L"Out"}}, L"Data\\P3D\\in\\x", L"Data\\P3D"},
                   {{{L"Data\\P3D", L"Out"}, {L"Out\\in\\x", L"Out"}},
                    L"Data\\P3D\\in\\x\\y",
                    L"Data\\P3D"},
                   {{{L"Data\\log.txt", L"Out\\kept.txt"}}, L"Data\\log.txt", L"Data\\log.txt"}};
    for (const auto& [links, item, named] : cases) {
        SCOPED_TRACE(Narrow(item));
        for (const auto& [link, target] : links)
            ASSERT_FALSE(platform::MakeSymbolicLink(InFolder(link), InFolder(target),
                                                    link != L"Data\\log.txt")
                             .Failed());
        ClearLog();
        const std::wstring expected = named.empty() ? L"" : InFolder(named);
        EXPECT_EQ(LinkOnTheWay(base, InFolder(item)), expected);
        EXPECT_EQ(RefuseLinkOnTheWay(base, InFolder(item)), !expected.empty());
        EXPECT_EQ(LogText().empty(), expected.empty());
        EXPECT_TRUE(expected.empty() ||
                    LogContains("WARN Not following the link " + Narrow(expected)));
        for (const auto& link : links)
            platform::RemoveItem(InFolder(link.first));
    }
    // Neither the log nor a rotation goes through a link at the log's name.
    platform::MakeSymbolicLink(log, InFolder(L"Out\\kept.txt"), 0);
    ClearLog();
    EXPECT_FALSE(RotateNumbered(base, L"log", L".txt", 3));
    EXPECT_EQ(LogLines(), (std::vector<std::string>{
                              "WARN Not following the link " + Narrow(log),
                              "ERROR Failed to move " + Narrow(log) + " -> " + Narrow(base) +
                                  "\\log1.txt, reason: the path leads through a link"}));
    testing::internal::CaptureStdout();
    OpenLogBelow(base, log);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find(" WARN    Not following the link " + Narrow(log) + "\n"), std::string::npos);
    EXPECT_EQ(ReadFile(InFolder(L"Out\\kept.txt")), "kept");
}
