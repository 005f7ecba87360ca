// The launcher stub under Wine and Xvfb: a copy of it stands in a simulator's folder
// beside a language.dll made by the build, and its one error box must name the
// right simulator, with the caption "Ferrymark", and the process must end with
// status -1 however the box is closed. Then the resources its file carries.
#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

const DWORD kFailureStatus = 0xFFFFFFFF;
const wchar_t* const kTestRoot = L"C:\\ferrymark-stub-tests";

std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

// The folder of this test program, where the build puts the stub and the fixtures.
std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring program(path, length);
    return program.substr(0, program.find_last_of(L'\\'));
}

std::wstring BuiltStub() {
    return ProgramFolder() + L"\\" + FERRYMARK_STUB_FILE_NAME;
}

std::wstring Fixture(const std::wstring& name) {
    return ProgramFolder() + L"\\stub-fixtures\\" + name + L".dll";
}

std::wstring ExpectedText(const std::wstring& name) {
    return L"Ferrymark has disabled " + name +
           L" to prevent corruption of configuration files.\n\nTo use " + name +
           L", select it as target in Ferrymark.";
}

// The first visible message box of a process, or null when none came in time or
// the process ended without one.
HWND WaitForBox(DWORD processId, HANDLE process, DWORD timeoutMs = 20000) {
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < timeoutMs) {
        for (HWND window : TopLevelWindows(processId))
            if (ClassName(window) == L"#32770")
                return window;
        if (WaitForSingleObject(process, 0) != WAIT_TIMEOUT)
            return nullptr;
        Sleep(100);
    }
    return nullptr;
}

// A start of the stub with a command line and working folder of the test's choice,
// which the driver's ProgramRun does not offer.
class CommandLineRun {
public:
    CommandLineRun(const std::wstring& program, const std::wstring& arguments,
                   const std::wstring& workingFolder) {
        std::wstring commandLine = L"\"" + program + L"\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION info{};
        if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                           workingFolder.c_str(), &startup, &info)) {
            CloseHandle(info.hThread);
            process = info.hProcess;
            processId = info.dwProcessId;
        }
    }
    ~CommandLineRun() {
        if (process != nullptr) {
            if (WaitForSingleObject(process, 0) == WAIT_TIMEOUT) {
                TerminateProcess(process, 99);
                WaitForSingleObject(process, 5000);
            }
            CloseHandle(process);
        }
    }
    CommandLineRun(const CommandLineRun&) = delete;
    CommandLineRun& operator=(const CommandLineRun&) = delete;

    bool Started() const { return process != nullptr; }
    HWND WaitForBox() const { return ::WaitForBox(processId, process); }
    DWORD WaitForExit() const {
        if (WaitForSingleObject(process, 20000) != WAIT_OBJECT_0)
            return STILL_ACTIVE;
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(process, &code);
        return code;
    }

private:
    HANDLE process = nullptr;
    DWORD processId = 0;
};

// What one start of the stub showed and how it ended.
struct Outcome {
    bool boxShown = false;
    std::wstring caption;
    std::wstring text;
    DWORD exitStatus = STILL_ACTIVE;
};

enum class Closing { OkButton, EscapeKey, CloseMessage };

void Close(HWND box, Closing closing) {
    switch (closing) {
    case Closing::OkButton:
        PressButton(box, IDOK);
        break;
    case Closing::EscapeKey:
        PostKey(box, VK_ESCAPE);
        break;
    case Closing::CloseMessage:
        PostMessageW(box, WM_CLOSE, 0, 0);
        break;
    }
}

class LauncherStub : public ::testing::Test {
protected:
    void SetUp() override {
        if (Environment(L"DISPLAY").empty())
            GTEST_SKIP() << "no X display for the stub's message box: run under xvfb-run";
        ASSERT_TRUE(FileExists(BuiltStub())) << "the build makes the stub beside this program";
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        folder = std::wstring(kTestRoot) + L"\\" + Widen(name);
        RemoveTreeQuietly(folder);
        CreateDirectoryW(kTestRoot, nullptr);
        ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    }

    void TearDown() override {
        if (!folder.empty())
            RemoveTreeQuietly(folder);
    }

    // Copies the stub into the test's folder under `executable`, with the fixture
    // `language` (none when empty) as language.dll beside it; returns its path.
    std::wstring Place(const std::wstring& language, const std::wstring& executable = L"fsx.exe") {
        const std::wstring program = folder + L"\\" + executable;
        EXPECT_TRUE(CopyFileW(BuiltStub().c_str(), program.c_str(), FALSE));
        if (!language.empty()) {
            const std::wstring dll = folder + L"\\language.dll";
            EXPECT_TRUE(CopyFileW(Fixture(language).c_str(), dll.c_str(), FALSE))
                << "missing fixture " << testing::PrintToString(Fixture(language));
        }
        return program;
    }

    // Starts the stub through the driver, reads its box, closes it and waits for
    // the end. `screenshot` names a picture of the box when not empty.
    Outcome Run(const std::wstring& program, Closing closing = Closing::OkButton,
                const std::wstring& screenshot = L"") {
        Outcome outcome;
        ProgramRun run(program);
        EXPECT_TRUE(run.Started());
        HWND box = run.WaitForDialog(L"Ferrymark");
        if (box != nullptr) {
            outcome.boxShown = true;
            outcome.caption = WindowText(box);
            outcome.text = MessageBoxText(box);
            if (!screenshot.empty())
                Screenshot(box, screenshot);
            Close(box, closing);
        }
        outcome.exitStatus = run.WaitForExit();
        return outcome;
    }

    // The same with a command line and a working folder of the test's choice.
    Outcome RunWith(const std::wstring& program, const std::wstring& arguments,
                    const std::wstring& workingFolder) {
        Outcome outcome;
        CommandLineRun run(program, arguments, workingFolder);
        EXPECT_TRUE(run.Started());
        HWND box = run.WaitForBox();
        if (box != nullptr) {
            outcome.boxShown = true;
            outcome.caption = WindowText(box);
            outcome.text = MessageBoxText(box);
            PressButton(box, IDOK);
        }
        outcome.exitStatus = run.WaitForExit();
        return outcome;
    }

    void ExpectBoxNaming(const Outcome& outcome, const std::wstring& name) {
        ASSERT_TRUE(outcome.boxShown) << "no message box appeared";
        EXPECT_EQ(outcome.caption, L"Ferrymark");
        EXPECT_EQ(outcome.text, ExpectedText(name));
        EXPECT_EQ(outcome.exitStatus, kFailureStatus);
    }

    std::wstring folder;
};

TEST_F(LauncherStub, NamesFlightSimulatorXForFileVersionTen) {
    ExpectBoxNaming(Run(Place(L"language-10.3.7.9"), Closing::OkButton, L"stub-flight-simulator-x"),
                    L"Flight Simulator X");
}

TEST_F(LauncherStub, NamesFlightSimulatorXWhateverTheOtherNumbers) {
    ExpectBoxNaming(Run(Place(L"language-10.max")), L"Flight Simulator X");
}

TEST_F(LauncherStub, NamesPrepar3Dv4ForFileVersion450) {
    ExpectBoxNaming(Run(Place(L"language-4.5.0.0")), L"Prepar3D v4");
}

TEST_F(LauncherStub, NamesEachPrepar3DVersionByItsMajorNumber) {
    const wchar_t* const cases[][2] = {{L"language-1", L"Prepar3D v1"},
                                       {L"language-2", L"Prepar3D v2"},
                                       {L"language-3", L"Prepar3D v3"},
                                       {L"language-5", L"Prepar3D v5"}};
    for (const auto& item : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(item[0])));
        ExpectBoxNaming(Run(Place(item[0], L"Prepar3D.exe")), item[1]);
    }
}

TEST_F(LauncherStub, ReadsTheFileVersionNotTheProductVersion) {
    ExpectBoxNaming(Run(Place(L"language-file3-product5", L"Prepar3D.exe")), L"Prepar3D v3");
}

TEST_F(LauncherStub, FallsBackForAnUnknownMajorVersion) {
    for (const wchar_t* language : {L"language-6", L"language-9", L"language-11", L"language-0"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(language)));
        ExpectBoxNaming(Run(Place(language)), L"this simulator");
    }
}

TEST_F(LauncherStub, FallsBackWithoutLanguageDll) {
    const Outcome outcome = Run(Place(L""), Closing::OkButton, L"stub-this-simulator");
    ExpectBoxNaming(outcome, L"this simulator");
    EXPECT_EQ(outcome.text, L"Ferrymark has disabled this simulator to prevent corruption of "
                            L"configuration files.\n\nTo use this simulator, select it as target "
                            L"in Ferrymark.");
}

TEST_F(LauncherStub, FallsBackForALanguageDllWithoutVersion) {
    ExpectBoxNaming(Run(Place(L"language-unversioned")), L"this simulator");
}

TEST_F(LauncherStub, ArgumentsChangeNothing) {
    const std::wstring program = Place(L"language-10.3.7.9");
    const Outcome plain = Run(program);
    ExpectBoxNaming(plain, L"Flight Simulator X");
    for (const wchar_t* arguments :
         {L"-cfg:\"C:\\other\\fsx.cfg\"", L"language.dll", L"/restore --target \"Prepar3D v5\""}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(arguments)));
        const Outcome given = RunWith(program, arguments, folder);
        ExpectBoxNaming(given, L"Flight Simulator X");
        EXPECT_EQ(given.text, plain.text);
    }
}

TEST_F(LauncherStub, FindsLanguageDllBesideItselfFromAnyWorkingFolder) {
    // A different language.dll in the working folder must not be the one read.
    const std::wstring program = Place(L"language-4.5.0.0");
    const std::wstring elsewhere = folder + L"\\elsewhere";
    ASSERT_TRUE(CreateDirectoryW(elsewhere.c_str(), nullptr));
    ASSERT_TRUE(CopyFileW(Fixture(L"language-10.3.7.9").c_str(),
                          (elsewhere + L"\\language.dll").c_str(), FALSE));
    ExpectBoxNaming(RunWith(program, L"", elsewhere), L"Prepar3D v4");
}

TEST_F(LauncherStub, EndsWithStatusMinusOneHoweverTheBoxIsClosed) {
    const std::wstring program = Place(L"language-5", L"Prepar3D.exe");
    for (Closing closing : {Closing::OkButton, Closing::EscapeKey, Closing::CloseMessage}) {
        SCOPED_TRACE(static_cast<int>(closing));
        ExpectBoxNaming(Run(program, closing), L"Prepar3D v5");
    }
}

TEST_F(LauncherStub, EachStartShowsABoxOfItsOwn) {
    const std::wstring program = Place(L"language-2", L"Prepar3D.exe");
    ProgramRun first(program);
    ProgramRun second(program);
    HWND firstBox = first.WaitForDialog(L"Ferrymark");
    HWND secondBox = second.WaitForDialog(L"Ferrymark");
    ASSERT_NE(firstBox, nullptr);
    ASSERT_NE(secondBox, nullptr);
    EXPECT_NE(firstBox, secondBox);
    EXPECT_EQ(MessageBoxText(secondBox), ExpectedText(L"Prepar3D v2"));
    PressButton(firstBox, IDOK);
    PressButton(secondBox, IDOK);
    EXPECT_EQ(first.WaitForExit(), kFailureStatus);
    EXPECT_EQ(second.WaitForExit(), kFailureStatus);
}

// The stub's file, opened as data: resources with language 1033.
class StubResources : public ::testing::Test {
protected:
    void SetUp() override {
        module = LoadLibraryExW(BuiltStub().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module, nullptr) << "cannot open the stub as data";
    }
    void TearDown() override {
        if (module != nullptr)
            FreeLibrary(module);
    }

    // The bytes of one resource in US English; empty when absent.
    std::string Resource(LPCWSTR type, WORD id) {
        HRSRC found = FindResourceExW(module, type, MAKEINTRESOURCEW(id),
                                      MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        if (found == nullptr)
            return {};
        HGLOBAL loaded = LoadResource(module, found);
        const void* bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
        if (bytes == nullptr)
            return {};
        return std::string(static_cast<const char*>(bytes), SizeofResource(module, found));
    }

    HMODULE module = nullptr;
};

TEST_F(StubResources, VersionBlockIs996Bytes) {
    EXPECT_EQ(Resource(RT_VERSION, 1).size(), 996u);
}

std::wstring VersionString(const std::vector<char>& data, const wchar_t* key) {
    void* value = nullptr;
    UINT length = 0;
    const std::wstring block = std::wstring(L"\\StringFileInfo\\040904b0\\") + key;
    if (!VerQueryValueW(data.data(), block.c_str(), &value, &length) || length == 0)
        return L"<absent>";
    return static_cast<const wchar_t*>(value);
}

TEST_F(StubResources, VersionBlockReadsAsFlightSimulatorX) {
    const std::wstring stub = BuiltStub();
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeW(stub.c_str(), &handle);
    ASSERT_GT(size, 0u);
    std::vector<char> data(size);
    ASSERT_TRUE(GetFileVersionInfoW(stub.c_str(), handle, size, data.data()));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", &value, &length));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(fixed->dwFileVersionMS, 0x000A0000u);
    EXPECT_EQ(fixed->dwFileVersionLS, 0xF0C50000u);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x000A0000u);
    EXPECT_EQ(fixed->dwProductVersionLS, 0xF0C50000u);
    EXPECT_EQ(fixed->dwFileFlagsMask, 0u);
    EXPECT_EQ(fixed->dwFileFlags, 0u);
    EXPECT_EQ(fixed->dwFileOS, 4u);
    EXPECT_EQ(fixed->dwFileType, 1u);
    EXPECT_EQ(fixed->dwFileSubtype, 0u);
    EXPECT_EQ(fixed->dwFileDateMS, 0u);
    EXPECT_EQ(fixed->dwFileDateLS, 0u);

    EXPECT_EQ(VersionString(data, L"ProductName"), L"Flight Simulator X");
    EXPECT_EQ(VersionString(data, L"FileDescription"), L"Microsoft Flight Simulator\u00AE");
    EXPECT_EQ(VersionString(data, L"CompanyName"), L"Microsoft Corp.");
    EXPECT_EQ(VersionString(data, L"FileVersion"), L"10.0.61637.0 (FSX-Xpack.20070926-1421)");
    EXPECT_EQ(VersionString(data, L"ProductVersion"), L"10.0.61637.0 (FSX-Xpack.20070926-1421)");
    EXPECT_NE(VersionString(data, L"LegalCopyright"), L"<absent>");
    EXPECT_NE(VersionString(data, L"LegalTrademarks"), L"<absent>");

    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\VarFileInfo\\Translation", &value, &length));
    ASSERT_EQ(length, 4u);
    const auto* translation = static_cast<const WORD*>(value);
    EXPECT_EQ(translation[0], 0x0409);
    EXPECT_EQ(translation[1], 0x04B0);
}

TEST_F(StubResources, ManifestRunsAsInvokerWithCommonControls6) {
    const std::string manifest = Resource(RT_MANIFEST, 1);
    ASSERT_FALSE(manifest.empty());
    EXPECT_NE(manifest.find("level=\"asInvoker\""), std::string::npos);
    EXPECT_NE(manifest.find("uiAccess=\"false\""), std::string::npos);
    EXPECT_EQ(manifest.find("requireAdministrator"), std::string::npos);
    EXPECT_NE(manifest.find("name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""),
              std::string::npos);
}

#pragma pack(push, 2)
struct GroupIconEntry {
    BYTE width;
    BYTE height;
    BYTE colourCount;
    BYTE reserved;
    WORD planes;
    WORD bitCount;
    DWORD bytesInResource;
    WORD id;
};
#pragma pack(pop)

TEST_F(StubResources, IconGroupHoldsEightImagesFrom256Down) {
    const std::string group = Resource(RT_GROUP_ICON, 1);
    const int sizes[] = {256, 64, 48, 40, 32, 24, 20, 16};
    ASSERT_EQ(group.size(), 6 + 8 * sizeof(GroupIconEntry));
    WORD header[3] = {};
    std::memcpy(header, group.data(), sizeof header);
    EXPECT_EQ(header[1], 1) << "an icon group";
    ASSERT_EQ(header[2], 8);
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(sizes[i]);
        GroupIconEntry entry{};
        std::memcpy(&entry, group.data() + 6 + i * sizeof entry, sizeof entry);
        EXPECT_EQ(entry.width, sizes[i] % 256);
        EXPECT_EQ(entry.height, sizes[i] % 256);
        EXPECT_EQ(entry.bitCount, 32);
        EXPECT_EQ(entry.id, i + 1);
        const std::string image = Resource(RT_ICON, entry.id);
        ASSERT_EQ(image.size(), entry.bytesInResource);
        if (sizes[i] == 256) {
            EXPECT_EQ(image.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
        } else {
            BITMAPINFOHEADER info{};
            ASSERT_GE(image.size(), sizeof info);
            std::memcpy(&info, image.data(), sizeof info);
            EXPECT_EQ(info.biWidth, sizes[i]);
            EXPECT_EQ(info.biHeight, 2 * sizes[i]) << "colour and mask";
            EXPECT_EQ(info.biBitCount, 32);
        }
    }
}

TEST_F(StubResources, IconIsARedCrossOnATransparentGround) {
    // The 32-pixel image: rows of BGRA from the bottom up after its header.
    const std::string image = Resource(RT_ICON, 5);
    const int side = 32;
    ASSERT_GE(image.size(), sizeof(BITMAPINFOHEADER) + side * side * 4);
    auto pixel = [&](int x, int y) {
        const std::size_t at = sizeof(BITMAPINFOHEADER) + ((side - 1 - y) * side + x) * 4;
        return std::vector<int>{
            static_cast<unsigned char>(image[at + 2]), static_cast<unsigned char>(image[at + 1]),
            static_cast<unsigned char>(image[at]), static_cast<unsigned char>(image[at + 3])};
    };
    EXPECT_EQ(pixel(16, 16), (std::vector<int>{204, 0, 16, 255})) << "red at the crossing";
    EXPECT_EQ(pixel(0, 0)[3], 0) << "transparent corner";
    EXPECT_EQ(pixel(16, 0)[3], 0) << "transparent between the arms";
    bool darkEdge = false;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            darkEdge = darkEdge || pixel(x, y) == std::vector<int>{102, 0, 12, 255};
    EXPECT_TRUE(darkEdge) << "a dark edge of 102, 0, 12";
}

} // namespace
