// The POSIX backend of the machine queries: where the process names come from,
// how a missing or empty process table reaches the callers, and folders the
// search cannot read.
#include "app/logger.h"
#include "app/machine_queries.h"
#include "platform/posix/host.h"
#include "platform/process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

std::size_t Count(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

class ProcessTableTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"Info");
        table = platform::posix::Root() + "/proc";
    }
    void TearDown() override {
        platform::posix::SetProcessTableFolder("");
        Logger::Instance().close();
        SandboxTest::TearDown();
    }
    std::string LogText() { return ReadFile(logPath); }

    void MakeHostFolder(const std::string& path) {
        ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
    }
    void PutHostFile(const std::string& path, const std::string& bytes) {
        FILE* file = fopen(path.c_str(), "wb");
        ASSERT_NE(file, nullptr) << path;
        fwrite(bytes.data(), 1, bytes.size(), file);
        fclose(file);
    }

    std::wstring logPath;
    std::string table;
};

} // namespace

TEST_F(ProcessTableTest, AMissingTableLogsAndAnswersTheFallback) {
    platform::posix::SetProcessTableFolder(table + "/missing");
    EXPECT_TRUE(IsProcessRunning(L"anything.exe", true));
    EXPECT_FALSE(IsProcessRunning(L"anything.exe", false));
    const std::string log = LogText();
    EXPECT_EQ(Count(log, "ERROR"), 2u) << log;
    EXPECT_EQ(Count(log, "Failed to list running processes"), 2u) << log;
    EXPECT_EQ(Count(log, "Failed to retrieve process information"), 0u) << log;
}

TEST_F(ProcessTableTest, ATableWithoutProcessesHasNoFirstEntry) {
    MakeHostFolder(table);
    MakeHostFolder(table + "/self");
    MakeHostFolder(table + "/sys");
    PutHostFile(table + "/uptime", "1.0 1.0\n");
    platform::posix::SetProcessTableFolder(table);
    std::vector<std::wstring> names{L"left over"};
    EXPECT_EQ(platform::ListProcessNames(names), platform::ProcessListResult::FirstEntryFailed);
    EXPECT_TRUE(names.empty());
    EXPECT_TRUE(IsProcessRunning(L"uptime", true));
    EXPECT_FALSE(IsProcessRunning(L"uptime", false));
    const std::string log = LogText();
    EXPECT_EQ(Count(log, "ERROR"), 2u) << log;
    EXPECT_EQ(Count(log, "Failed to retrieve process information"), 2u) << log;
    EXPECT_EQ(Count(log, "Failed to list running processes"), 0u) << log;
}

TEST_F(ProcessTableTest, NamesComeFromTheExecutableLinkThenFromComm) {
    MakeHostFolder(table);
    // A program replaced since it started: the kernel marks the link.
    MakeHostFolder(table + "/100");
    ASSERT_EQ(symlink("/opt/Sims/Prepar3D.exe (deleted)", (table + "/100/exe").c_str()), 0);
    PutHostFile(table + "/100/comm", "Prepar3D.exe\n");
    // A long name, which comm cuts at 15 characters.
    MakeHostFolder(table + "/200");
    ASSERT_EQ(symlink("/usr/lib/simulator-launcher-helper", (table + "/200/exe").c_str()), 0);
    PutHostFile(table + "/200/comm", "simulator-launc\n");
    // No readable link (a kernel thread, another user's process): comm stands in.
    MakeHostFolder(table + "/300");
    PutHostFile(table + "/300/comm", "kworker/0:1\n");
    // Gone while the table was read.
    MakeHostFolder(table + "/400");
    platform::posix::SetProcessTableFolder(table);

    std::vector<std::wstring> names;
    ASSERT_EQ(platform::ListProcessNames(names), platform::ProcessListResult::Listed);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Prepar3D.exe", L"kworker/0:1",
                                                L"simulator-launcher-helper"}));
    EXPECT_TRUE(IsProcessRunning(L"PREPAR3D.EXE", false));
    EXPECT_TRUE(IsProcessRunning(L"simulator-launcher-helper", false));
    EXPECT_FALSE(IsProcessRunning(L"simulator-launc", true));
    EXPECT_FALSE(IsProcessRunning(L"/opt/Sims/Prepar3D.exe", true));
    EXPECT_EQ(LogText(), "");
}

TEST_F(ProcessTableTest, TwoRunningCopiesAreOneTrueAnswer) {
    // A copy of the helper under a name of this run alone, longer than comm
    // keeps, so that only the executable link names it in full.
    const std::string bare = "machine-queries-sleeper-" + std::to_string(getpid());
    const std::string sleeper =
        platform::posix::HostPath(InFolder(platform::posix::FromUtf8(bare)));
    std::ifstream helper(FERRYMARK_SLEEPER, std::ios::binary);
    PutHostFile(sleeper, std::string(std::istreambuf_iterator<char>(helper),
                                     std::istreambuf_iterator<char>()));
    ASSERT_EQ(chmod(sleeper.c_str(), 0755), 0);
    const std::wstring name = platform::posix::FromUtf8(bare);
    ASSERT_GT(bare.size(), 15u);
    EXPECT_FALSE(IsProcessRunning(name, true)) << "not started yet";

    pid_t copies[2] = {0, 0};
    for (pid_t& copy : copies) {
        char* arguments[] = {const_cast<char*>(sleeper.c_str()), nullptr};
        ASSERT_EQ(posix_spawn(&copy, sleeper.c_str(), nullptr, nullptr, arguments, environ), 0);
    }
    // posix_spawn returns once the program is executing, so its link is in place.
    bool seen = false;
    for (int attempt = 0; attempt < 100 && !seen; ++attempt) {
        seen = IsProcessRunning(name, false);
        if (!seen)
            usleep(20000);
    }
    EXPECT_TRUE(seen);
    EXPECT_FALSE(IsProcessRunning(name.substr(0, 15), false)) << "comm's short name is not used";
    for (pid_t copy : copies) {
        kill(copy, SIGKILL);
        int status = 0;
        waitpid(copy, &status, 0);
    }
    EXPECT_FALSE(IsProcessRunning(name, true)) << "both ended";
    EXPECT_EQ(LogText(), "");
}

TEST_F(ProcessTableTest, AnUnreadableFolderLooksLikeNoMatch) {
    MakeFolder(InFolder(L"closed"));
    WriteFile(InFolder(L"closed\\inside.txt"), "x");
    const std::string host = platform::posix::HostPath(InFolder(L"closed"));
    ASSERT_EQ(chmod(host.c_str(), 0), 0);
    DIR* probe = opendir(host.c_str());
    const bool readable = probe != nullptr;
    if (probe != nullptr)
        closedir(probe);
    std::vector<std::wstring> found;
    if (!readable)
        found = ListFiles(InFolder(L"closed\\*"));
    chmod(host.c_str(), 0755);
    if (readable)
        GTEST_SKIP() << "this user reads folders whatever their permissions (root)";
    EXPECT_TRUE(found.empty());
}
