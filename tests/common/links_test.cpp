// Folder and file links over what can stand at the link path: nothing, a link, a
// dangling link, a real file; and the target text the system is given.
#include "app/logger.h"
#include "engine/links.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include "platform/posix/host.h"
#include <climits>
#include <unistd.h>
#endif

namespace {

class LinksTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"TRACE");
        MakeFolder(InFolder(L"target"));
        WriteFile(InFolder(L"target\\scenery.cfg"), "real");
    }
    void TearDown() override {
        Logger::SetLevel(L"INFO");
        Logger::Instance().close();
        SandboxTest::TearDown();
    }
    // Wine 8 answers success and makes no link; that platform cannot show these cases,
    // only that the call which made no link did not report one.
    bool LinksAreMade(const std::wstring& link, bool reported) {
        if (platform::IsSymbolicLink(link)) {
            EXPECT_TRUE(reported) << "a link was made and the call failed";
            return true;
        }
        EXPECT_TRUE(other_process::RunningUnderWine()) << "no link was made";
        EXPECT_FALSE(reported) << "no link was made and the call succeeded";
        return false;
    }
    std::string Log() { return ReadFile(logPath); }

    std::wstring logPath;
};

const char* const kNoLinksUnderWine =
    "Wine 8's CreateSymbolicLinkW reports success and creates no link";

} // namespace

TEST(CleanLinkTarget, GivesSingleBackslashesAndKeepsTheRoot) {
    EXPECT_EQ(CleanLinkTarget(L"C:/Sim//Prepar3D v5\\\\Scenery/"),
              L"C:\\Sim\\Prepar3D v5\\Scenery\\");
    EXPECT_EQ(CleanLinkTarget(L"//server/share//x"), L"\\\\server\\share\\x");
    EXPECT_EQ(CleanLinkTarget(L"relative//name"), L"relative\\name");
    EXPECT_EQ(CleanLinkTarget(L"C:\\Sim\\ok"), L"C:\\Sim\\ok");
}

TEST_F(LinksTest, DirectoryLinkMakesWhatIsMissingAndNeverClearsTheLinkPath) {
    const std::wstring link = InFolder(L"new parent\\Prepar3D v4");
    const std::wstring target = InFolder(L"missing target");
    const bool made = CreateDirectoryLink(link, target);
    EXPECT_TRUE(platform::IsFolder(target)) << "a missing target is created";
    if (!LinksAreMade(link, made))
        GTEST_SKIP() << kNoLinksUnderWine;
    WriteFile(target + L"\\through.txt", "seen");
    EXPECT_EQ(ReadFile(link + L"\\through.txt"), "seen");

    // A link already there makes the call fail with the system's text.
    EXPECT_FALSE(CreateDirectoryLink(link, InFolder(L"target")));
    EXPECT_NE(Log().find("  WARN    Failed to create directory link "), std::string::npos) << Log();
    EXPECT_EQ(ReadFile(link + L"\\through.txt"), "seen") << "the old link stays";
    // So does a real folder.
    MakeFolder(InFolder(L"real"));
    EXPECT_FALSE(CreateDirectoryLink(InFolder(L"real"), InFolder(L"target")));
    EXPECT_FALSE(platform::IsSymbolicLink(InFolder(L"real")));
}

TEST_F(LinksTest, FileLinkReplacesOldLinksButNotRealFiles) {
    const std::wstring link = InFolder(L"root\\scenery.cfg");
    const std::wstring target = InFolder(L"target\\scenery.cfg");
    // A missing target: true, no link, and an old link stays where it is.
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\absent.cfg")));
    EXPECT_FALSE(platform::Exists(link));
    EXPECT_NE(Log().find("TRACE    Target does not exist\r\n"), std::string::npos);

    const bool made = CreateFileLink(link, target);
    EXPECT_NE(Log().find("TRACE    Creating folder structure for the link\r\n"), std::string::npos);
    if (!LinksAreMade(link, made))
        GTEST_SKIP() << kNoLinksUnderWine;
    EXPECT_EQ(ReadFile(link), "real");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\gone.cfg")));
    EXPECT_TRUE(platform::IsSymbolicLink(link)) << "a missing target leaves the old link";

    // An existing link, even a dangling one, is replaced.
    WriteFile(InFolder(L"target\\other.cfg"), "other");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\other.cfg")));
    EXPECT_EQ(ReadFile(link), "other");
    EXPECT_NE(Log().find("TRACE    A symbolic link already exists, removing\r\n"),
              std::string::npos);
    EXPECT_FALSE(platform::RemoveItem(InFolder(L"target\\other.cfg")).Failed());
    EXPECT_TRUE(CreateFileLink(link, target));
    EXPECT_EQ(ReadFile(link), "real");

    // A real file at the link path stays, and the call fails.
    WriteFile(InFolder(L"root\\display.cfg"), "mine");
    EXPECT_FALSE(CreateFileLink(InFolder(L"root\\display.cfg"), target));
    EXPECT_EQ(ReadFile(InFolder(L"root\\display.cfg")), "mine");
    EXPECT_NE(Log().find("  WARN    Failed to create symbolic link "), std::string::npos);
}

TEST_F(LinksTest, RemoveLinkTakesLinksOnly) {
    const std::wstring link = InFolder(L"terrain.cfg");
    EXPECT_TRUE(RemoveLink(link)) << "nothing there";
    const bool made = CreateFileLink(link, InFolder(L"target\\scenery.cfg"));
    if (!LinksAreMade(link, made))
        GTEST_SKIP() << kNoLinksUnderWine;
    EXPECT_TRUE(RemoveLink(link));
    EXPECT_FALSE(platform::IsSymbolicLink(link));
    EXPECT_EQ(ReadFile(InFolder(L"target\\scenery.cfg")), "real") << "the target stays";

    // A dangling link counts as nothing there and stays.
    WriteFile(InFolder(L"target\\brief.cfg"), "x");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\brief.cfg")));
    EXPECT_FALSE(platform::RemoveItem(InFolder(L"target\\brief.cfg")).Failed());
    EXPECT_TRUE(RemoveLink(link));
    EXPECT_TRUE(platform::IsSymbolicLink(link));

    // A real file is no link: false, no log line, the file stays.
    WriteFile(InFolder(L"real.cfg"), "mine");
    const std::size_t before = Log().size();
    EXPECT_FALSE(RemoveLink(InFolder(L"real.cfg")));
    EXPECT_EQ(ReadFile(InFolder(L"real.cfg")), "mine");
    EXPECT_EQ(Log().substr(before).find("WARN"), std::string::npos);
}

#ifndef _WIN32
TEST_F(LinksTest, TheStoredTargetHasSingleSeparators) {
    const std::wstring link = InFolder(L"linked");
    ASSERT_TRUE(CreateDirectoryLink(link, L"C://Sandbox\\\\target//"));
    char stored[PATH_MAX] = {};
    const ssize_t length =
        readlink(platform::posix::HostPath(link).c_str(), stored, sizeof stored - 1);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(stored, static_cast<std::size_t>(length)),
              platform::posix::Root() + "/C/Sandbox/target/");
    EXPECT_EQ(ReadFile(link + L"\\scenery.cfg"), "real");
}
#endif
