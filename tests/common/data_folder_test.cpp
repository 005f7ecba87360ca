// The data folder is the administrators' alone, and nothing below it, or below the
// backup base folder, is written, moved or removed through a link planted there.
#include "app/data_folder.h"
#include "app/rotation.h"
#include "common/switch_fixture.h"
#include "platform/fs.h"
#include "support/other_process.h"

#ifdef _WIN32
#include "support/file_bytes.h"
#endif

#include <gtest/gtest.h>

static const std::wstring kData = L"C:\\ProgramData\\Kestrane\\Ferrymark";
using DataFolderTest = SandboxTest;

TEST_F(SwitchTest, NothingIsWrittenMovedOrRemovedThroughAPlantedLink) {
    if (!links)
        GTEST_SKIP() << "this system makes no links (Wine 8 reports success and makes none): "
                        "the refusals are proven on the native build";
    // What every link points at: a folder with a file, outside the data folder.
    const std::wstring outside = InFolder(L"Elsewhere");
    MakeFolder(outside);
    WriteFile(outside + L"\\kept.txt", "kept");
    enum Run { StartUp, Switch, Backup };
    const std::string d = Narrow(kData), reason = ", reason: the path leads through a link";
    const struct {
        std::wstring planted;
        Run run;
        std::string refused; // the failure line of the step refused
    } cases[] = {
        {L"log.txt", StartUp,
         "ERROR Failed to move " + d + "\\log.txt -> " + d + "\\log1.txt" + reason},
        {L"backup", Switch,
         "ERROR Failed to move " + d + "\\backup -> " + d + "\\backup1" + reason},
        {L"backup9", Switch, "ERROR Failed to delete " + d + "\\backup9" + reason},
        {L"backup\\Prepar3D v4", Backup,
         "ERROR Failed to create folder " + d + "\\backup\\Prepar3D v4\\ProgramData" + reason},
        {L"backup\\Prepar3D v4\\ProgramData", Backup,
         "ERROR Failed to create folder " + d + "\\backup\\Prepar3D v4\\ProgramData" + reason},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.planted));
        platform::RemoveTree(kData);
        MakeFolder(kData + L"\\backup1");
        MakeFolder(kData + L"\\backup\\Prepar3D v4");
        const std::wstring link = kData + L"\\" + c.planted;
        platform::RemoveTree(link);
        platform::MakeSymbolicLink(link, c.run == StartUp ? outside + L"\\kept.txt" : outside,
                                   c.run == StartUp ? 0 : 1);
        ASSERT_TRUE(platform::IsSymbolicLink(link));
        ClearLog();
        boxes.clear();
        const MachineSnapshot before = TakeSnapshot();
        if (c.run == StartUp) {
            RotateNumbered(kData, L"log", L".txt", 10);
            testing::internal::CaptureStdout();
            OpenLogBelow(kData, link);
            EXPECT_NE(testing::internal::GetCapturedStdout().find(
                          "WARN    Not following the link " + Narrow(link)),
                      std::string::npos);
            OpenLog();
        } else if (c.run == Switch) {
            EXPECT_FALSE(SwitchTarget(*this, L"Prepar3D v4", true));
            EXPECT_EQ(boxes, std::vector<std::wstring>{
                                 L"Backup error: Cannot activate: failed to create backups."});
        } else {
            EXPECT_TRUE(Record(L"Prepar3D v4")->Backup(kData + L"\\backup"));
        }
        if (c.run != Backup)
            ExpectUnchangedSince(before);
        for (const Difference& difference : DiffSnapshots(before, TakeSnapshot()))
            EXPECT_FALSE(IsBelow(difference.item, outside)) << Narrow(Describe(difference));
        EXPECT_TRUE(platform::IsSymbolicLink(link));
        EXPECT_TRUE(LogContains("WARN Not following the link " + Narrow(link))) << LogText();
        EXPECT_TRUE(LogContains(c.refused)) << LogText();
    }
}

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
    if (other_process::RunningUnderWine())
        GTEST_SKIP() << "Wine keeps no access list, only the Unix mode bits, and never reads back "
                        "the protected list: that a tightened folder is left alone afterwards "
                        "is checked on Windows and natively";
    EXPECT_EQ(PrepareDataFolder(loose).outcome, DataFolderAccess::AsWanted) << "tightened once";
}
