// The launcher stub under Wine and Xvfb: a copy of it stands in a simulator's folder
// beside a language.dll made by the build, and its one error box must name the
// right simulator, with the caption "Ferrymark", and the process must end with
// status -1. Then the resources its file carries.
#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    const std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return program.substr(0, program.find_last_of(L'\\'));
}

const std::wstring kStub = ProgramFolder() + L"\\" + FERRYMARK_STUB_FILE_NAME;

const std::wstring kFixtures = ProgramFolder() + L"\\stub-fixtures\\";

// The stub is started from another folder holding a decoy language.dll without a
// version, so only the one beside the stub can give a simulator's name.
TEST(LauncherStub, NamesTheSimulatorOfItsLanguageDllTwiceAndFails) {
    if (Environment(L"DISPLAY").empty())
        GTEST_SKIP() << "no X display for the stub's message box: run under xvfb-run";
    // The language.dll fixture beside the stub (none when empty), the arguments, the name.
    const std::tuple<std::wstring, std::wstring, std::wstring> cases[] = {
        {L"language-10.3.7.9", L"", L"Flight Simulator X"},
        {L"language-10.3.7.9",
         L"-cfg:\"C:\\other\\fsx.cfg\" language.dll /restore --target \"Prepar3D v5\"",
         L"Flight Simulator X"},
        {L"language-1", L"", L"Prepar3D v1"},
        {L"language-2", L"", L"Prepar3D v2"},
        {L"language-3", L"", L"Prepar3D v3"},
        {L"language-4.5.0.0", L"", L"Prepar3D v4"},
        {L"language-5", L"", L"Prepar3D v5"},
        {L"language-file3-product5", L"", L"Prepar3D v3"},
        {L"language-6", L"", L"this simulator"},
        {L"language-11", L"", L"this simulator"},
        {L"language-unversioned", L"", L"this simulator"},
        {L"", L"", L"this simulator"},
    };
    const std::wstring folder = L"C:\\ferrymark-stub", elsewhere = folder + L"\\elsewhere";
    for (const auto& [fixture, arguments, name] : cases) {
        SCOPED_TRACE(testing::PrintToString(fixture + L" " + arguments));
        RemoveTreeQuietly(folder);
        ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr) &&
                    CreateDirectoryW(elsewhere.c_str(), nullptr));
        ASSERT_TRUE(CopyFileW(kStub.c_str(), (folder + L"\\fsx.exe").c_str(), FALSE));
        ASSERT_TRUE(CopyFileW((kFixtures + L"language-unversioned.dll").c_str(),
                              (elsewhere + L"\\language.dll").c_str(), FALSE));
        ASSERT_TRUE(fixture.empty() || CopyFileW((kFixtures + fixture + L".dll").c_str(),
                                                 (folder + L"\\language.dll").c_str(), FALSE));
        ProgramRun run(folder + L"\\fsx.exe", arguments, elsewhere);
        const HWND box = run.WaitForDialog(L"Ferrymark");
        EXPECT_NE(box, nullptr) << "no message box captioned Ferrymark";
        EXPECT_EQ(MessageBoxText(box), L"Ferrymark has disabled " + name +
                                           L" to prevent corruption of configuration files.\n\n"
                                           L"To use " + name + L", select it as target in Ferrymark.");
        if (name == L"Flight Simulator X")
            Screenshot(box, L"stub-flight-simulator-x");
        PressButton(box, IDOK);
        EXPECT_EQ(run.WaitForExit(), 0xFFFFFFFFu);
    }
    RemoveTreeQuietly(folder);
}

// The stub's file opened as data; resources are in US English.
TEST(StubResources, FlightSimulatorXsVersionAManifestAsInvokerAndEightIcons) {
    HMODULE module = LoadLibraryExW(kStub.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr) << "cannot open the stub as data";
    const auto resource = [&](LPCWSTR type, WORD id) {
        HRSRC found = FindResourceExW(module, type, MAKEINTRESOURCEW(id),
                                      MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        const void* bytes = found != nullptr ? LockResource(LoadResource(module, found)) : nullptr;
        return bytes == nullptr
                   ? std::string()
                   : std::string(static_cast<const char*>(bytes), SizeofResource(module, found));
    };
    std::string block = resource(RT_VERSION, 1);
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    EXPECT_EQ((std::vector<DWORD>{fixed->dwFileVersionMS, fixed->dwFileVersionLS,
                                  fixed->dwProductVersionMS, fixed->dwProductVersionLS}),
              (std::vector<DWORD>{0x000A0000, 0xF0C50000, 0x000A0000, 0xF0C50000}));
    const wchar_t* const strings[][2] = {
        {L"ProductName", L"Flight Simulator X"},
        {L"FileDescription", L"Microsoft Flight Simulator\u00AE"},
        {L"CompanyName", L"Microsoft Corp."},
        {L"FileVersion", L"10.0.61637.0 (FSX-Xpack.20070926-1421)"},
        {L"ProductVersion", L"10.0.61637.0 (FSX-Xpack.20070926-1421)"}};
    for (const auto& [key, expected] : strings) {
        void* value = nullptr;
        UINT length = 0;
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904b0\\") + key;
        EXPECT_TRUE(VerQueryValueW(block.data(), path.c_str(), &value, &length) &&
                    std::wstring(static_cast<const wchar_t*>(value)) == expected)
            << testing::PrintToString(std::wstring(key));
    }

    const std::string manifest = resource(RT_MANIFEST, 1);
    for (const char* part : {"level=\"asInvoker\"", "uiAccess=\"false\"",
                             "name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""})
        EXPECT_NE(manifest.find(part), std::string::npos) << part;

    // A group of eight 32-bit images from 256 down, the largest a PNG, the others DIBs.
    const std::string group = resource(RT_GROUP_ICON, 1);
    ASSERT_EQ(group.size(), 6u + 8 * 14) << "a header and eight entries of 14 bytes";
    const int sizes[] = {256, 64, 48, 40, 32, 24, 20, 16};
    for (WORD i = 0; i < 8; ++i) {
        SCOPED_TRACE(sizes[i]);
        const char* entry = group.data() + 6 + 14 * i;
        const char side = static_cast<char>(sizes[i] % 256);
        EXPECT_EQ(std::string(entry, 8), std::string({side, side, 0, 0, 1, 0, 32, 0}));
        DWORD bytes = 0;
        std::memcpy(&bytes, entry + 8, 4);
        const std::string image = resource(RT_ICON, static_cast<WORD>(i + 1));
        ASSERT_EQ(image.size(), bytes);
        BITMAPINFOHEADER info{};
        std::memcpy(&info, image.data(), std::min(sizeof info, image.size()));
        EXPECT_TRUE(sizes[i] == 256 ? image.compare(0, 8, "\x89PNG\r\n\x1a\n") == 0
                                    : info.biWidth == sizes[i] && info.biHeight == 2 * sizes[i] &&
                                          info.biBitCount == 32);
    }
    FreeLibrary(module);
}

} // namespace
