// The POSIX backend's own translations: Windows paths onto the host, the
// single-instance name, known folders.
#include "app/machine.h"
#include "platform/fs.h"
#include "platform/posix/host.h"
#include "platform/system.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using PosixBackendTest = SandboxTest;

TEST_F(PosixBackendTest, WindowsPathsMapBelowTheRoot) {
    const std::string root = platform::posix::Root();
    EXPECT_EQ(platform::posix::HostPath(L"C:\\ProgramData\\Kestrane"),
              root + "/C/ProgramData/Kestrane");
    EXPECT_EQ(platform::posix::HostPath(L"d:/Sim\\Addons"), root + "/D/Sim/Addons");
    EXPECT_EQ(platform::posix::HostPath(L"C:"), root + "/C/");
    EXPECT_EQ(platform::posix::HostPath(L"\\\\server\\share\\x"), root + "/UNC/server/share/x");
    EXPECT_EQ(platform::posix::HostPath(L"relative\\x"), "relative/x");
    EXPECT_EQ(platform::posix::HostPath(L"C:\\Z\u00fcrich"), root + "/C/Z\xc3\xbcrich");

    WriteFile(InFolder(L"file.txt"), "x");
    struct stat info {};
    EXPECT_EQ(stat((root + "/C/Sandbox/file.txt").c_str(), &info), 0);
    EXPECT_TRUE(platform::Exists(L"c:\\Sandbox\\file.txt"))
        << "the drive letter's case does not matter";
}

TEST_F(PosixBackendTest, AFolderLinkIsAFolderAndALink) {
    const std::string root = platform::posix::Root();
    MakeFolder(InFolder(L"target"));
    ASSERT_EQ(symlink((root + "/C/Sandbox/target").c_str(), (root + "/C/Sandbox/link").c_str()), 0);
    EXPECT_TRUE(platform::Exists(InFolder(L"link")));
    EXPECT_TRUE(platform::IsFolder(InFolder(L"link")));
    EXPECT_TRUE(platform::IsSymbolicLink(InFolder(L"link")));
}

TEST_F(PosixBackendTest, TheSingleInstanceNameIsHeldUntilTheProcessEnds) {
    EXPECT_FALSE(IsAlreadyRunning());
    EXPECT_TRUE(IsAlreadyRunning());
    EXPECT_EQ(platform::CreateNamedMutex(L"{other-name}"), platform::MutexResult::Created);
}

TEST_F(PosixBackendTest, KnownFoldersAreFixedWindowsPaths) {
    EXPECT_EQ(GetKnownFolder(KnownFolder::ProgramData), L"C:\\ProgramData");
    EXPECT_EQ(GetDataFolder(), L"C:\\ProgramData\\Kestrane\\Ferrymark");
    EXPECT_NE(GetKnownFolder(KnownFolder::Documents), GetKnownFolder(KnownFolder::Pictures));
    EXPECT_DEATH(GetKnownFolder(platform::Guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}), "");
}
