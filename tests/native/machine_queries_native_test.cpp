// The POSIX backend of the process query against a process table of the test's
// own making: where the names come from, and how an unreadable table is answered.
#include "app/machine_queries.h"
#include "platform/posix/host.h"
#include "platform/process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

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
        OpenLog(L"Info");
        table = platform::posix::Root() + "/proc";
    }
    void TearDown() override {
        platform::posix::SetProcessTableFolder("");
        SandboxTest::TearDown();
    }
    // A process folder of the table, with its comm file when `comm` is given.
    void Entry(const std::string& pid, const char* comm = nullptr) {
        ASSERT_EQ(mkdir((table + pid).c_str(), 0755), 0) << pid;
        if (comm != nullptr)
            std::ofstream(table + pid + "/comm") << comm << "\n";
    }

    std::string table;
};

} // namespace

TEST_F(ProcessTableTest, AnUnreadableTableLogsOneErrorPerCallAndAnswersTheFallback) {
    platform::posix::SetProcessTableFolder(table + "/missing");
    EXPECT_TRUE(IsProcessRunning(L"uptime", true));
    EXPECT_FALSE(IsProcessRunning(L"uptime", false));
    const std::string missing = LogText();
    EXPECT_EQ(Count(missing, "ERROR"), 2u) << missing;
    EXPECT_EQ(Count(missing, "Failed to list running processes"), 2u) << missing;

    // A table of no processes: the snapshot is taken, its first entry is not.
    Entry("");
    Entry("/self");
    Entry("/uptime");
    platform::posix::SetProcessTableFolder(table);
    std::vector<std::wstring> names{L"left over"};
    EXPECT_EQ(platform::ListProcessNames(names), platform::ProcessListResult::FirstEntryFailed);
    EXPECT_TRUE(names.empty());
    EXPECT_TRUE(IsProcessRunning(L"uptime", true));
    EXPECT_FALSE(IsProcessRunning(L"uptime", false));
    const std::string empty = LogText().substr(missing.size());
    EXPECT_EQ(Count(empty, "ERROR"), 2u) << empty;
    EXPECT_EQ(Count(empty, "Failed to retrieve process information"), 2u) << empty;
}

TEST_F(ProcessTableTest, NamesComeFromTheExecutableLinkThenFromComm) {
    Entry("");
    Entry("/100", "Prepar3D.exe"); // replaced since it started: the kernel marks the link
    ASSERT_EQ(symlink("/opt/Sims/Prepar3D.exe (deleted)", (table + "/100/exe").c_str()), 0);
    Entry("/200", "simulator-launc"); // comm cuts a long name at 15 characters
    ASSERT_EQ(symlink("/usr/lib/simulator-launcher-helper", (table + "/200/exe").c_str()), 0);
    Entry("/300", "kworker/0:1"); // no readable link: comm stands in
    Entry("/400");                // gone while the table was read
    platform::posix::SetProcessTableFolder(table);

    std::vector<std::wstring> names;
    ASSERT_EQ(platform::ListProcessNames(names), platform::ProcessListResult::Listed);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Prepar3D.exe", L"kworker/0:1",
                                                L"simulator-launcher-helper"}));
    EXPECT_TRUE(IsProcessRunning(L"PREPAR3D.EXE", false));
    EXPECT_FALSE(IsProcessRunning(L"/opt/Sims/Prepar3D.exe", true));
    EXPECT_EQ(LogText(), "");
}
