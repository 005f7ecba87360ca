// The launcher stub under Wine and Xvfb: a copy of it stands in a simulator's folder
// beside a language.dll made by the build, and its one error box must name the
// right simulator, with the caption "Ferrymark", and the process must end with
// status -1. Then the resources its file carries.
#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    const std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return program.substr(0, program.find_last_of(L'\\'));
}

const std::wstring kStub = ProgramFolder() + L"\\" + FERRYMARK_STUB_FILE_NAME;

const std::wstring kFixtures = ProgramFolder() + L"\\stub-fixtures\\";

struct Outcome {
    std::wstring caption, text;
    DWORD status = STILL_ACTIVE;
};

// Starts `program` with `arguments` from `workingFolder`, reads its first message box
// (pictured when `screenshot` is named), presses OK and waits for the end.
Outcome RunStub(const std::wstring& program, const std::wstring& arguments,
                const std::wstring& workingFolder, const std::wstring& screenshot) {
    Outcome outcome;
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        workingFolder.c_str(), &startup, &info)) {
        ADD_FAILURE() << "cannot start the stub";
        return outcome;
    }
    CloseHandle(info.hThread);
    HWND box = nullptr;
    const DWORD start = GetTickCount();
    while (box == nullptr && GetTickCount() - start < 20000 &&
           WaitForSingleObject(info.hProcess, 100) == WAIT_TIMEOUT)
        for (HWND window : TopLevelWindows(info.dwProcessId))
            if (ClassName(window) == L"#32770")
                box = window;
    if (box != nullptr) {
        outcome.caption = WindowText(box);
        outcome.text = MessageBoxText(box);
        if (!screenshot.empty())
            Screenshot(box, screenshot);
        PressButton(box, IDOK);
    }
    if (WaitForSingleObject(info.hProcess, 20000) == WAIT_OBJECT_0)
        GetExitCodeProcess(info.hProcess, &outcome.status);
    else
        TerminateProcess(info.hProcess, 99);
    CloseHandle(info.hProcess);
    return outcome;
}

struct Case {
    const char* test;
    const wchar_t* fixture; // none when empty
    const wchar_t* arguments;
    const wchar_t* name;
};
void PrintTo(const Case& c, std::ostream* out) {
    *out << c.test;
}

const Case kCases[] = {
    {"FileVersion10", L"language-10.3.7.9", L"", L"Flight Simulator X"},
    {"FileVersion10WithArguments", L"language-10.3.7.9",
     L"-cfg:\"C:\\other\\fsx.cfg\" language.dll /restore --target \"Prepar3D v5\"",
     L"Flight Simulator X"},
    {"FileVersion1", L"language-1", L"", L"Prepar3D v1"},
    {"FileVersion2", L"language-2", L"", L"Prepar3D v2"},
    {"FileVersion3", L"language-3", L"", L"Prepar3D v3"},
    {"FileVersion450", L"language-4.5.0.0", L"", L"Prepar3D v4"},
    {"FileVersion5", L"language-5", L"", L"Prepar3D v5"},
    {"FileVersion3ProductVersion5", L"language-file3-product5", L"", L"Prepar3D v3"},
    {"FileVersion6", L"language-6", L"", L"this simulator"},
    {"FileVersion11", L"language-11", L"", L"this simulator"},
    {"WithoutVersionResource", L"language-unversioned", L"", L"this simulator"},
    {"WithoutLanguageDll", L"", L"", L"this simulator"},
};

class LauncherStub : public ::testing::TestWithParam<Case> {};

// The stub is started from another folder holding a decoy language.dll without a
// version, so only the one beside the stub can give a simulator's name.
TEST_P(LauncherStub, NamesTheSimulatorTwiceAndFails) {
    if (Environment(L"DISPLAY").empty())
        GTEST_SKIP() << "no X display for the stub's message box: run under xvfb-run";
    const Case& c = GetParam();
    const std::wstring folder =
        L"C:\\ferrymark-stub-" + std::wstring(c.test, c.test + std::strlen(c.test));
    const std::wstring elsewhere = folder + L"\\elsewhere";
    RemoveTreeQuietly(folder);
    ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr) &&
                CreateDirectoryW(elsewhere.c_str(), nullptr));
    ASSERT_TRUE(CopyFileW(kStub.c_str(), (folder + L"\\fsx.exe").c_str(), FALSE));
    ASSERT_TRUE(CopyFileW((kFixtures + L"language-unversioned.dll").c_str(),
                          (elsewhere + L"\\language.dll").c_str(), FALSE));
    ASSERT_TRUE(*c.fixture == L'\0' || CopyFileW((kFixtures + c.fixture + L".dll").c_str(),
                                                 (folder + L"\\language.dll").c_str(), FALSE));
    const bool pictured = std::strcmp(c.test, kCases[0].test) == 0;
    const Outcome outcome = RunStub(folder + L"\\fsx.exe", c.arguments, elsewhere,
                                    pictured ? L"stub-flight-simulator-x" : L"");
    const std::wstring name = c.name;
    EXPECT_EQ(outcome.caption, L"Ferrymark");
    EXPECT_EQ(outcome.text, L"Ferrymark has disabled " + name +
                                L" to prevent corruption of configuration files.\n\nTo use " +
                                name + L", select it as target in Ferrymark.");
    EXPECT_EQ(outcome.status, 0xFFFFFFFFu);
    RemoveTreeQuietly(folder);
}

INSTANTIATE_TEST_SUITE_P(LanguageDll, LauncherStub, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.test); });

// The stub's file opened as data; resources are in US English.
class StubResources : public ::testing::Test {
protected:
    void SetUp() override {
        module = LoadLibraryExW(kStub.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module, nullptr) << "cannot open the stub as data";
    }
    void TearDown() override {
        if (module != nullptr)
            FreeLibrary(module);
    }
    // The bytes of one resource; empty when absent.
    std::string Resource(LPCWSTR type, WORD id) const {
        HRSRC found = FindResourceExW(module, type, MAKEINTRESOURCEW(id),
                                      MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        const void* bytes = found != nullptr ? LockResource(LoadResource(module, found)) : nullptr;
        return bytes == nullptr
                   ? std::string()
                   : std::string(static_cast<const char*>(bytes), SizeofResource(module, found));
    }
    HMODULE module = nullptr;
};

TEST_F(StubResources, VersionBlockIsFlightSimulatorXs) {
    std::string block = Resource(RT_VERSION, 1);
    ASSERT_EQ(block.size(), 996u);
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &length));
    const auto* f = static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ((std::vector<DWORD>{f->dwSignature, f->dwFileVersionMS, f->dwFileVersionLS,
                                  f->dwProductVersionMS, f->dwProductVersionLS, f->dwFileFlagsMask,
                                  f->dwFileFlags, f->dwFileOS, f->dwFileType, f->dwFileSubtype,
                                  f->dwFileDateMS, f->dwFileDateLS}),
              (std::vector<DWORD>{0xFEEF04BD, 0x000A0000, 0xF0C50000, 0x000A0000, 0xF0C50000, 0, 0,
                                  4, 1, 0, 0, 0}));
    const wchar_t* const strings[][2] = {
        {L"ProductName", L"Flight Simulator X"},
        {L"FileDescription", L"Microsoft Flight Simulator\u00AE"},
        {L"CompanyName", L"Microsoft Corp."},
        {L"FileVersion", L"10.0.61637.0 (FSX-Xpack.20070926-1421)"},
        {L"ProductVersion", L"10.0.61637.0 (FSX-Xpack.20070926-1421)"},
        {L"LegalCopyright", nullptr}, // present, whatever it says
        {L"LegalTrademarks", nullptr}};
    for (const auto& [key, expected] : strings) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(key)));
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904b0\\") + key;
        ASSERT_TRUE(VerQueryValueW(block.data(), path.c_str(), &value, &length) && length > 1);
        if (expected != nullptr) {
            EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(value)), expected);
        }
    }
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &length) &&
                length == 4);
    EXPECT_EQ(*static_cast<const DWORD*>(value), 0x04B00409u) << "US English, Unicode";
}

TEST_F(StubResources, ManifestRunsAsInvokerWithCommonControls6) {
    const std::string manifest = Resource(RT_MANIFEST, 1);
    for (const char* part : {"level=\"asInvoker\"", "uiAccess=\"false\"",
                             "name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""})
        EXPECT_NE(manifest.find(part), std::string::npos) << part;
    EXPECT_EQ(manifest.find("requireAdministrator"), std::string::npos);
}

TEST_F(StubResources, IconGroupHoldsEightImagesFrom256Down) {
    const std::string group = Resource(RT_GROUP_ICON, 1);
    const int sizes[] = {256, 64, 48, 40, 32, 24, 20, 16};
    ASSERT_EQ(group.size(), 6u + 8 * 14) << "a header and eight entries of 14 bytes";
    EXPECT_EQ(group.substr(0, 6), std::string("\0\0\1\0\x08\0", 6)) << "an icon group of 8";
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(sizes[i]);
        const char* entry = group.data() + 6 + 14 * i;
        const char side = static_cast<char>(sizes[i] % 256);
        EXPECT_EQ(std::string(entry, 8), std::string({side, side, 0, 0, 1, 0, 32, 0}))
            << "width, height, no palette, one plane, 32 bits";
        DWORD bytes = 0;
        WORD id = 0;
        std::memcpy(&bytes, entry + 8, 4);
        std::memcpy(&id, entry + 12, 2);
        EXPECT_EQ(id, i + 1);
        const std::string image = Resource(RT_ICON, id);
        ASSERT_EQ(image.size(), bytes);
        if (sizes[i] == 256) {
            EXPECT_EQ(image.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
            continue;
        }
        BITMAPINFOHEADER info{};
        ASSERT_GE(image.size(), sizeof info);
        std::memcpy(&info, image.data(), sizeof info);
        EXPECT_EQ(info.biWidth, sizes[i]);
        EXPECT_EQ(info.biHeight, 2 * sizes[i]) << "colour and mask";
        EXPECT_EQ(info.biBitCount, 32);
    }
}

} // namespace
