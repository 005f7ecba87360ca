// Folder and file links over what can stand at the link path: nothing, a link, a
// dangling link, a real file; and the target text the system is given. Where the
// system makes no links (Wine 8), the calls must fail, say why and leave nothing.
#include "engine/links.h"
#include "platform/fs.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

class LinksTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        OpenLog();
        MakeFolder(InFolder(L"target"));
        WriteFile(InFolder(L"target\\scenery.cfg"), "real");
    }
    // Whether `made` (the call's result) stands as a link. Where it does not, the
    // call must have failed with the system's reason, Wine's text for "not
    // supported", and nothing stands there.
    bool Made(bool made, const std::wstring& link, const std::wstring& target, const char* what) {
        if (platform::IsSymbolicLink(link)) {
            EXPECT_TRUE(made);
            return true;
        }
        EXPECT_TRUE(other_process::RunningUnderWine()) << "no link was made";
        EXPECT_FALSE(made);
        EXPECT_FALSE(platform::Exists(link));
        EXPECT_NE(LogText().find("  WARN    Failed to create " + std::string(what) + " link " +
                                 Narrow(link) + " -> " + Narrow(target) +
                                 ", reason: Request not supported.\r\n"),
                  std::string::npos)
            << LogText();
        return false;
    }
};

} // namespace

TEST(CleanLinkTarget, GivesSingleBackslashesAndKeepsTheRoot) {
    EXPECT_EQ(CleanLinkTarget(L"C:/Sim//Prepar3D v5\\\\Scenery/"), L"C:\\Sim\\Prepar3D v5\\Scenery\\");
    EXPECT_EQ(CleanLinkTarget(L"//server/share//x"), L"\\\\server\\share\\x");
    EXPECT_EQ(CleanLinkTarget(L"relative//name"), L"relative\\name");
}

TEST_F(LinksTest, DirectoryLinkMakesWhatIsMissingAndNeverClearsTheLinkPath) {
    const std::wstring link = InFolder(L"new parent\\Prepar3D v4");
    const std::wstring target = InFolder(L"missing target");
    const bool made = CreateDirectoryLink(link, target);
    EXPECT_TRUE(platform::IsFolder(target)) << "a missing target is created";
    if (!Made(made, link, target, "directory"))
        return;
    WriteFile(target + L"\\through.txt", "seen");
    EXPECT_EQ(ReadFile(link + L"\\through.txt"), "seen");

    // A link already there makes the call fail with the system's text; so does a real folder.
    EXPECT_FALSE(CreateDirectoryLink(link, InFolder(L"target")));
    EXPECT_NE(LogText().find("  WARN    Failed to create directory link "), std::string::npos);
    EXPECT_EQ(ReadFile(link + L"\\through.txt"), "seen") << "the old link stays";
    MakeFolder(InFolder(L"real"));
    EXPECT_FALSE(CreateDirectoryLink(InFolder(L"real"), InFolder(L"target")));
    EXPECT_FALSE(platform::IsSymbolicLink(InFolder(L"real")));

    // The system is given the target with single separators.
    ASSERT_TRUE(CreateDirectoryLink(InFolder(L"linked"), Folder() + L"\\\\target//"));
    std::wstring stored;
    ASSERT_TRUE(platform::ReadSymbolicLinkTarget(InFolder(L"linked"), stored));
    EXPECT_EQ(stored, InFolder(L"target\\"));
    EXPECT_EQ(ReadFile(InFolder(L"linked\\scenery.cfg")), "real");
}

TEST_F(LinksTest, FileLinkReplacesOldLinksButNotRealFilesAndRemoveLinkTakesLinksOnly) {
    const std::wstring link = InFolder(L"root\\scenery.cfg");
    const std::wstring target = InFolder(L"target\\scenery.cfg");
    // Nothing at the path, and a real file: RemoveLink answers true, then false and
    // leaves the file without a warning.
    EXPECT_TRUE(RemoveLink(link));
    WriteFile(InFolder(L"real.cfg"), "mine");
    EXPECT_FALSE(RemoveLink(InFolder(L"real.cfg")));
    EXPECT_EQ(ReadFile(InFolder(L"real.cfg")), "mine");
    // A missing target: true, and no link.
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\absent.cfg")));
    EXPECT_FALSE(platform::Exists(link));
    EXPECT_NE(LogText().find("TRACE    Target does not exist\r\n"), std::string::npos);
    EXPECT_EQ(LogText().find("WARN"), std::string::npos);

    const bool made = CreateFileLink(link, target);
    EXPECT_NE(LogText().find("TRACE    Creating folder structure for the link\r\n"),
              std::string::npos);
    if (!Made(made, link, target, "symbolic"))
        return;
    EXPECT_EQ(ReadFile(link), "real");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\gone.cfg")));
    EXPECT_TRUE(platform::IsSymbolicLink(link)) << "a missing target leaves the old link";

    // An existing link, even a dangling one, is replaced.
    WriteFile(InFolder(L"target\\other.cfg"), "other");
    EXPECT_TRUE(CreateFileLink(link, InFolder(L"target\\other.cfg")));
    EXPECT_EQ(ReadFile(link), "other");
    EXPECT_NE(LogText().find("TRACE    A symbolic link already exists, removing\r\n"),
              std::string::npos);
    EXPECT_FALSE(platform::RemoveItem(InFolder(L"target\\other.cfg")).Failed());
    EXPECT_TRUE(RemoveLink(link)) << "a dangling link counts as nothing there";
    EXPECT_TRUE(platform::IsSymbolicLink(link)) << "and stays";
    EXPECT_TRUE(CreateFileLink(link, target));
    EXPECT_EQ(ReadFile(link), "real");
    EXPECT_TRUE(RemoveLink(link));
    EXPECT_FALSE(platform::IsSymbolicLink(link));
    EXPECT_EQ(ReadFile(target), "real") << "the target stays";

    // A real file at the link path stays, and the call fails.
    WriteFile(InFolder(L"root\\display.cfg"), "mine");
    EXPECT_FALSE(CreateFileLink(InFolder(L"root\\display.cfg"), target));
    EXPECT_EQ(ReadFile(InFolder(L"root\\display.cfg")), "mine");
    EXPECT_NE(LogText().find("  WARN    Failed to create symbolic link "), std::string::npos);
}
