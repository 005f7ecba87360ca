// The machine queries against the real platform of the build: the host's folders
// and process table with the POSIX backend, Windows itself under Wine.
#include "app/logger.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/host.h"

#include <climits>
#include <unistd.h>
#endif

namespace {

std::string Narrow(const std::wstring& text) {
    std::string out;
    for (wchar_t c : text)
        out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
}

// The full path of this test program, in the platform's own form.
std::wstring OwnExecutable() {
#ifdef _WIN32
    wchar_t path[MAX_PATH + 1] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
#else
    char path[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return length > 0 ? platform::posix::FromUtf8(std::string(path, length)) : std::wstring();
#endif
}

std::wstring LastComponent(const std::wstring& path) {
    const std::wstring::size_type separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? path : path.substr(separator + 1);
}

// Upper case for lower and lower for upper, so that the result matches the
// original only when case is ignored.
std::wstring SwapCase(std::wstring text) {
    for (wchar_t& c : text) {
        if (c >= L'a' && c <= L'z')
            c = static_cast<wchar_t>(c - L'a' + L'A');
        else if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c - L'A' + L'a');
    }
    return text;
}

// The bytes of a fixture image that the build made.
std::string FixtureBytes(const std::string& name) {
#ifdef _WIN32
    const std::wstring own = OwnExecutable();
    const std::wstring path = own.substr(0, own.find_last_of(L'\\')) + L"\\versioned-fixtures\\" +
                              std::wstring(name.begin(), name.end());
    std::FILE* file = _wfopen(path.c_str(), L"rb");
#else
    std::FILE* file =
        std::fopen((std::string(FERRYMARK_VERSION_FIXTURES) + "/" + name).c_str(), "rb");
#endif
    std::string bytes;
    if (file == nullptr)
        return bytes;
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes.append(buffer, got);
    std::fclose(file);
    return bytes;
}

std::vector<std::wstring> Sorted(std::vector<std::wstring> items) {
    std::sort(items.begin(), items.end());
    return items;
}

class MachineQueriesTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"queries-log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"Trace");
    }
    void TearDown() override {
        Logger::Instance().close();
        SandboxTest::TearDown();
    }
    std::string LogText() { return ReadFile(logPath); }

    // Paths in the sandbox of the given names, sorted.
    std::vector<std::wstring> Paths(std::initializer_list<const wchar_t*> names) {
        std::vector<std::wstring> paths;
        for (const wchar_t* name : names)
            paths.push_back(Folder() + L"\\" + name);
        return Sorted(paths);
    }

    std::wstring logPath;
};

class ListFilesTest : public MachineQueriesTest {
protected:
    void SetUp() override {
        MachineQueriesTest::SetUp();
        // A folder of its own, so that the log does not show up in the listings.
        MakeFolder(InFolder(L"files"));
        files = InFolder(L"files");
        for (const wchar_t* name : {L"alpha.txt", L"Beta.TXT", L"gamma.log", L"a1.txt", L"a22.txt",
                                    L"README", L"notes.txt.bak", L".hidden"})
            WriteFile(files + L"\\" + name, "x");
        MakeFolder(files + L"\\sub");
        WriteFile(files + L"\\sub\\inner.txt", "x");
    }
    std::vector<std::wstring> In(std::initializer_list<const wchar_t*> names) {
        std::vector<std::wstring> paths;
        for (const wchar_t* name : names)
            paths.push_back(files + L"\\" + name);
        return Sorted(paths);
    }
    std::vector<std::wstring> List(const std::wstring& mask) {
        return Sorted(ListFiles(files + L"\\" + mask));
    }

    std::wstring files;
};

} // namespace

TEST_F(ListFilesTest, StarMatchesAnyRunAndIgnoresCase) {
    EXPECT_EQ(List(L"*.txt"), In({L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt"}))
        << "\".\", \"..\", other extensions and a longer extension stay out";
    EXPECT_EQ(List(L"A*"), In({L"alpha.txt", L"a1.txt", L"a22.txt"}));
    EXPECT_EQ(List(L"*A*.T*T"), In({L"alpha.txt", L"Beta.TXT", L"a1.txt", L"a22.txt"}));
    EXPECT_EQ(List(L"*.bak"), In({L"notes.txt.bak"}));
    EXPECT_EQ(List(L"*me"), In({L"README"}));
}

TEST_F(ListFilesTest, QuestionMarkMatchesOneCharacter) {
    EXPECT_EQ(List(L"a?.txt"), In({L"a1.txt"}));
    EXPECT_EQ(List(L"a??.txt"), In({L"a22.txt"}));
    EXPECT_EQ(List(L"?eta.txt"), In({L"Beta.TXT"}));
    EXPECT_EQ(List(L"s?b"), In({L"sub"})) << "a folder is found like a file";
}

TEST_F(ListFilesTest, EverythingIncludesTheDotEntries) {
    const auto everything = In({L".", L"..", L".hidden", L"alpha.txt", L"Beta.TXT", L"gamma.log",
                                L"a1.txt", L"a22.txt", L"README", L"notes.txt.bak", L"sub"});
    EXPECT_EQ(List(L"*"), everything);
    EXPECT_EQ(List(L"*.*"), everything) << "\"*.*\" also finds names without a dot";
    EXPECT_EQ(List(L"*."), everything) << "a trailing dot is dropped";
    EXPECT_EQ(List(L".*"), In({L".", L"..", L".hidden"}));
    EXPECT_EQ(Sorted(ListFiles(files + L"\\sub\\*")),
              Sorted({files + L"\\sub\\.", files + L"\\sub\\..", files + L"\\sub\\inner.txt"}));
}

TEST_F(ListFilesTest, APatternNamingOneFileGivesThatFileWithItsPath) {
    EXPECT_EQ(ListFiles(files + L"\\gamma.log"), In({L"gamma.log"}));
    EXPECT_EQ(ListFiles(files + L"\\BETA.txt"), In({L"Beta.TXT"}))
        << "the name is the one on disk, whatever the pattern's case";
    EXPECT_EQ(ListFiles(files + L"\\sub"), In({L"sub"})) << "a folder named alone";
    EXPECT_EQ(ListFiles(files + L"\\README."), In({L"README"})) << "a trailing dot is dropped";
}

TEST_F(ListFilesTest, NothingFoundIsTheEmptyList) {
    EXPECT_TRUE(ListFiles(files + L"\\*.none").empty());
    EXPECT_TRUE(ListFiles(files + L"\\gamma").empty()) << "a whole name, not a prefix";
    EXPECT_TRUE(ListFiles(files + L"\\missing\\*").empty()) << "a missing folder";
    EXPECT_TRUE(ListFiles(files + L"\\gamma.log\\*").empty()) << "a file is not a folder";
    EXPECT_TRUE(ListFiles(InFolder(L"missing\\deeper\\*.txt")).empty());
}

TEST_F(ListFilesTest, APatternWithoutBackslashGivesBareNames) {
    // Forward slashes are accepted by the search but only a backslash ends the
    // prefix, so the names come back bare.
    std::wstring forward = files + L"/*.log";
    std::replace(forward.begin(), forward.end(), L'\\', L'/');
    EXPECT_EQ(ListFiles(forward), std::vector<std::wstring>{L"gamma.log"});

    // Relative to the working folder.
#ifdef _WIN32
    wchar_t previous[MAX_PATH + 1] = {};
    GetCurrentDirectoryW(MAX_PATH, previous);
    ASSERT_TRUE(SetCurrentDirectoryW(files.c_str()));
#else
    char previous[PATH_MAX] = {};
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(platform::posix::HostPath(files).c_str()), 0);
#endif
    const std::vector<std::wstring> bare = Sorted(ListFiles(L"a*.txt"));
    const std::vector<std::wstring> sub = ListFiles(L"sub\\inner.*");
#ifdef _WIN32
    SetCurrentDirectoryW(previous);
#else
    EXPECT_EQ(chdir(previous), 0);
#endif
    EXPECT_EQ(bare, Sorted({L"alpha.txt", L"a1.txt", L"a22.txt"}));
    EXPECT_EQ(sub, std::vector<std::wstring>{L"sub\\inner.txt"})
        << "a relative prefix is kept as given";
}

TEST_F(MachineQueriesTest, TheFileVersionIsReadNeverTheProductVersion) {
    const std::string library = FixtureBytes("versioned.dll");
    const std::string program = FixtureBytes("versioned.exe");
    ASSERT_GT(library.size(), 512u) << "the build makes the fixture images";
    ASSERT_GT(program.size(), 512u);
    WriteFile(InFolder(L"versioned.dll"), library);
    WriteFile(InFolder(L"versioned.exe"), program);

    // Product version 9.8.7.6, version strings "7.7.7.7".
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.dll")), L"3.14.159.2653");
    // 0 and 65535 in the fields, product version 1.2.3.4.
    EXPECT_EQ(GetFileVersionText(InFolder(L"versioned.exe")), L"10.0.65535.1");
}

TEST_F(MachineQueriesTest, GetFileVersionFillsOnlyTheOutputsGiven) {
    WriteFile(InFolder(L"versioned.dll"), FixtureBytes("versioned.dll"));
    const std::wstring path = InFolder(L"versioned.dll");

    std::uint16_t major = 1, minor = 1, build = 1, revision = 1;
    ASSERT_TRUE(GetFileVersion(path, &major, &minor, &build, &revision));
    EXPECT_EQ(major, 3);
    EXPECT_EQ(minor, 14);
    EXPECT_EQ(build, 159);
    EXPECT_EQ(revision, 2653);

    EXPECT_TRUE(GetFileVersion(path, nullptr, nullptr, nullptr, nullptr))
        << "all four outputs null still answers";

    std::uint16_t onlyBuild = 0;
    std::uint16_t onlyMinor = 0;
    EXPECT_TRUE(GetFileVersion(path, nullptr, &onlyMinor, &onlyBuild, nullptr));
    EXPECT_EQ(onlyMinor, 14);
    EXPECT_EQ(onlyBuild, 159);
}

TEST_F(MachineQueriesTest, NoVersionDataGivesTheEmptyText) {
    const std::string unversioned = FixtureBytes("unversioned.dll");
    ASSERT_GT(unversioned.size(), 512u) << "the build makes the fixture images";
    WriteFile(InFolder(L"unversioned.dll"), unversioned);
    WriteFile(InFolder(L"notes.txt"), "FILEVERSION 1,2,3,4\r\n");
    WriteFile(InFolder(L"empty.dll"), "");
    // The headers of an image with a version resource, without the resource.
    WriteFile(InFolder(L"truncated.dll"), FixtureBytes("versioned.dll").substr(0, 600));

    for (const wchar_t* name :
         {L"unversioned.dll", L"notes.txt", L"empty.dll", L"truncated.dll", L"missing.dll"}) {
        std::uint16_t major = 77, minor = 77, build = 77, revision = 77;
        EXPECT_FALSE(GetFileVersion(InFolder(name), &major, &minor, &build, &revision))
            << Narrow(name);
        EXPECT_EQ(major + minor + build + revision, 4 * 77)
            << "outputs untouched: " << Narrow(name);
        EXPECT_EQ(GetFileVersionText(InFolder(name)), L"") << Narrow(name);
    }
    EXPECT_EQ(LogText(), "") << "the version query does not log";
}

TEST_F(MachineQueriesTest, ThisProgramIsFoundByItsBareNameInAnyCase) {
    const std::wstring own = OwnExecutable();
    const std::wstring bare = LastComponent(own);
    ASSERT_FALSE(bare.empty());
    EXPECT_TRUE(IsProcessRunning(bare, false)) << Narrow(bare);
    EXPECT_TRUE(IsProcessRunning(SwapCase(bare), false)) << Narrow(SwapCase(bare));
    EXPECT_EQ(LogText(), "") << "a readable process list logs nothing";
}

TEST_F(MachineQueriesTest, OnlyTheWholeBareNameMatches) {
    const std::wstring own = OwnExecutable();
    const std::wstring bare = LastComponent(own);
    ASSERT_FALSE(bare.empty());
    EXPECT_FALSE(IsProcessRunning(own, true))
        << "a full path never equals a bare name, and the list was read: " << Narrow(own);
    EXPECT_FALSE(IsProcessRunning(bare.substr(0, bare.size() - 1), true)) << "a prefix";
    EXPECT_FALSE(IsProcessRunning(bare.substr(1), true)) << "a suffix";
    EXPECT_FALSE(IsProcessRunning(bare + L"x", true)) << "a longer name";
    EXPECT_FALSE(IsProcessRunning(L"", true)) << "the empty name";
    EXPECT_FALSE(IsProcessRunning(L"no-such-program-ferrymark.exe", true));
    EXPECT_EQ(LogText(), "");
}
