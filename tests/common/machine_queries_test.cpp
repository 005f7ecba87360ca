// The machine queries against the real platform of the build: the host's folders
// and process table with the POSIX backend, Windows itself under Wine.
#include "app/machine_queries.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#ifdef _WIN32
#include <windows.h>

#include <process.h>
#else
#include "platform/posix/host.h"

#include <csignal>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

extern char** environ;
#endif

namespace {

using Names = std::vector<std::wstring>;

Names Sorted(Names items) {
    std::sort(items.begin(), items.end());
    return items;
}

// The bytes of a file the build made: a fixture image, or "sleeper", the helper
// that only waits; and a copy of a program started, then ended.
#ifdef _WIN32
std::string Built(const std::string& name) {
    char own[MAX_PATH + 1] = {};
    std::string path(own, GetModuleFileNameA(nullptr, own, MAX_PATH));
    path.erase(path.find_last_of('\\') + 1);
    path += name == "sleeper" ? "machine_queries_sleeper.exe" : "versioned-fixtures\\" + name;
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}
using Copy = HANDLE;
bool Start(const std::wstring& path, Copy& copy) {
    copy = reinterpret_cast<HANDLE>(_wspawnl(_P_NOWAIT, path.c_str(), path.c_str(), nullptr));
    return copy != INVALID_HANDLE_VALUE;
}
void Stop(Copy copy) {
    TerminateProcess(copy, 0);
    WaitForSingleObject(copy, 10000);
    CloseHandle(copy);
}
#else
std::string Built(const std::string& name) {
    std::ostringstream bytes;
    bytes << std::ifstream(name == "sleeper" ? FERRYMARK_SLEEPER : FERRYMARK_VERSION_FIXTURES "/" + name,
                           std::ios::binary).rdbuf();
    return bytes.str();
}
using Copy = pid_t;
bool Start(const std::wstring& path, Copy& copy) {
    const std::string host = platform::posix::HostPath(path);
    char* arguments[] = {const_cast<char*>(host.c_str()), nullptr};
    return chmod(host.c_str(), 0755) == 0 && posix_spawn(&copy, host.c_str(), nullptr, nullptr, arguments, environ) == 0;
}
void Stop(Copy copy) {
    kill(copy, SIGKILL);
    waitpid(copy, nullptr, 0);
}
#endif

using MachineQueriesTest = SandboxTest;

} // namespace

TEST_F(MachineQueriesTest, ListFilesMatchesStarAndQuestionMarkIgnoringCase) {
    const std::wstring files = InFolder(L"files");
    MakeFolder(files + L"\\sub");
    for (const wchar_t* name : {L"alpha.txt", L"Beta.TXT", L"gamma.log", L"a1.txt", L"a22.txt", L"README", L".hidden"})
        WriteFile(files + L"\\" + name, "x");
    const Names all{L".", L"..", L".hidden", L"alpha.txt", L"Beta.TXT", L"gamma.log", L"a1.txt", L"a22.txt", L"README", L"sub"};
    const Names texts{L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt"};
    // The mask, and the names found, each listed with the path up to the last backslash.
    const std::pair<std::wstring, Names> cases[] = {
        {L"*.txt", texts}, {L"*A*.T*T", texts}, {L"*me", {L"README"}}, {L"a?.txt", {L"a1.txt"}},
        {L"a??.txt", {L"a22.txt"}}, {L"s?b", {L"sub"}}, {L"*", all}, {L"*.*", all},
        {L".*", {L".", L"..", L".hidden"}}, {L"BETA.txt", {L"Beta.TXT"}}, {L"README.", {L"README"}},
        {L"a1.txtz", {}}, {L"gamma", {}}, {L"missing\\*", {}}, {L"gamma.log\\*", {}}};
    for (const auto& [mask, names] : cases) {
        Names expected;
        for (const std::wstring& name : names)
            expected.push_back(files + L"\\" + name);
        EXPECT_EQ(Sorted(ListFiles(files + L"\\" + mask)), Sorted(expected)) << Narrow(mask);
    }
    // No backslash: bare names.
    std::wstring forward = files + L"/*.log";
    std::replace(forward.begin(), forward.end(), L'\\', L'/');
    EXPECT_EQ(ListFiles(forward), Names{L"gamma.log"});
}

TEST_F(MachineQueriesTest, TheFileVersionIsReadNeverTheProductVersion) {
    OpenLog();
    for (const char* name : {"versioned.dll", "versioned.exe", "unversioned.dll"})
        WriteFile(InFolder(std::wstring(name, name + std::strlen(name))), Built(name));
    // Product versions 9.8.7.6 and 1.2.3.4, version strings "7.7.7.7".
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.dll")), L"3.14.159.2653");
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.exe")), L"10.0.65535.1");
    // Without version data: no resource, a text, a cut image, no file at all.
    WriteFile(InFolder(L"notes.txt"), "FILEVERSION 1,2,3,4\r\n");
    WriteFile(InFolder(L"cut.dll"), Built("versioned.dll").substr(0, 600));
    for (const wchar_t* name : {L"unversioned.dll", L"notes.txt", L"cut.dll", L"none.dll"}) {
        std::uint16_t major = 77;
        EXPECT_FALSE(GetFileVersion(InFolder(name), &major, nullptr, nullptr, nullptr)) << Narrow(name);
        EXPECT_EQ(major, 77) << "output untouched";
        EXPECT_EQ(GetFileVersionText(InFolder(name)), L"");
    }
    EXPECT_EQ(LogText(), "") << "the version query does not log";
}

TEST_F(MachineQueriesTest, RunningCopiesAreFoundByTheirWholeBareNameInAnyCase) {
    OpenLog();
    // A name of this run alone, longer than the 15 characters a POSIX process's short name keeps.
    const std::wstring run = std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count() % 1000000);
    const std::wstring name = L"MQ-Sleeper-" + run + L".exe", path = InFolder(name);
    WriteFile(path, Built("sleeper"));
    EXPECT_FALSE(IsProcessRunning(name, true)) << "not started yet";
    Copy copy{};
    ASSERT_TRUE(Start(path, copy));
    bool seen = false;
    for (int attempt = 0; attempt < 250 && !(seen = IsProcessRunning(name, false)); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(seen) << "one running copy";
    EXPECT_TRUE(IsProcessRunning(L"mq-sLEEPER-" + run + L".EXE", false)) << "case is ignored";
    EXPECT_FALSE(IsProcessRunning(path, true)) << "a full path finds nothing";
    EXPECT_FALSE(IsProcessRunning(name.substr(0, 15), true)) << "a prefix, or the short name";
    EXPECT_FALSE(IsProcessRunning(name.substr(1), true)) << "a suffix";
    Stop(copy);
    EXPECT_FALSE(IsProcessRunning(name, true)) << "ended";
    EXPECT_EQ(LogText(), "") << "a readable process list logs nothing";
}
