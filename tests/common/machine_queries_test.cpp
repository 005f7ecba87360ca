// File listings, file versions of built images, and running copies of a program the test starts.
#include "app/machine_queries.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>

using Names = std::vector<std::wstring>;
using MachineQueriesTest = SandboxTest;

TEST_F(MachineQueriesTest, ListFilesMatchesStarAndQuestionMarkIgnoringCase) {
    const std::wstring at = InFolder(L"files\\");
    MakeFolder(at + L"sub");
    for (const wchar_t* name : {L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt", L"README"})
        WriteFile(at + name, "x");
    const Names texts{L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt"};
    const std::pair<std::wstring, Names> cases[] = {
        {L"*.txt", texts}, {L"*A*.T*T", texts}, {L"*me", {L"README"}}, {L"a?.txt", {L"a1.txt"}},
        {L"a??.txt", {L"a22.txt"}}, {L"BETA.txt", {L"Beta.TXT"}}, {L"README.", {L"README"}},
        {L"*.*", {L".", L"..", L"sub", L"README", L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt"}},
        {L"a1.txtz", {}}, {L"a1", {}}, {L"missing\\*", {}}, {L"README\\*", {}}};
    for (auto [mask, names] : cases) {
        Names listed = ListFiles(at + mask);
        for (std::wstring& name : names)
            name = at + name; // with the path up to the last backslash
        std::sort(listed.begin(), listed.end());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(listed, names) << Narrow(mask);
    }
}

TEST_F(MachineQueriesTest, TheFileVersionAndRunningCopiesByTheirWholeBareNameInAnyCase) {
    OpenLog();
    const std::string fixtures = FERRYMARK_VERSION_FIXTURES "/";
    for (const char* name : {"versioned.dll", "versioned.exe", "unversioned.dll"})
        WriteFile(InFolder(Wide(name)), ReadFile(Wide(fixtures + name)));
    // Product versions 9.8.7.6 and 1.2.3.4, version strings "7.7.7.7": none of them counts.
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.dll")), L"3.14.159.2653");
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.exe")), L"10.0.65535.1");
    EXPECT_EQ(GetFileVersionText(InFolder(L"unversioned.dll")), L"");

    // A copy of a holding program under a name of this run alone, longer than the 15 characters of a
    // POSIX short name, and this run's in those 15 too: another run's copy never answers for it.
    std::mt19937_64 random(std::random_device{}());
    const std::wstring run = std::to_wstring(std::uniform_int_distribution<std::uint64_t>(1e12, 1e13 - 1)(random));
    const std::wstring name = L"MQ" + run + L"-Sleeper.exe", path = InFolder(name);
    {
        other_process::Holder copy(other_process::Hold::WorkingFolder, Folder(), path);
        ASSERT_TRUE(copy.Started()) << copy.Failure();
        EXPECT_TRUE(IsProcessRunning(name, false)) << "one running copy";
        EXPECT_TRUE(IsProcessRunning(L"mq" + run + L"-sLEEPER.EXE", false)) << "case is ignored";
        for (const std::wstring& part : {path, name.substr(0, 15), name.substr(1)})
            EXPECT_FALSE(IsProcessRunning(part, true))
                << "a path, a prefix or a suffix: " << Narrow(part);
    }
    EXPECT_FALSE(IsProcessRunning(name, true)) << "ended";
    EXPECT_EQ(LogText(), "") << "neither query logs";
}
