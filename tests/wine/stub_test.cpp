// The launcher stub in a simulator's folder under Wine: one error box naming the simulator, status -1.
#include "e2e/driver.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    const std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return program.substr(0, program.find_last_of(L'\\'));
}

const std::wstring kStub = ProgramFolder() + L"\\" + FERRYMARK_STUB_FILE_NAME;
const std::wstring kFixtures = ProgramFolder() + L"\\stub-fixtures\\";

// Started from a folder with a decoy language.dll: only the one beside the stub may name the simulator.
TEST(LauncherStub, NamesTheSimulatorOfItsLanguageDllTwiceAndFails) {
    if (Environment(L"DISPLAY").empty())
        GTEST_SKIP() << "no X display for the stub's message box: run under xvfb-run";
    // The language.dll fixture beside the stub (none when empty), the arguments, the name.
    const std::tuple<std::wstring, std::wstring, std::wstring> cases[] = {
        {L"language-10.3.7.9", L"", L"Flight Simulator X"},
        {L"language-10.3.7.9",
         L"-cfg:\"C:\\other\\fsx.cfg\" language.dll /restore --target \"Prepar3D v5\"",
         L"Flight Simulator X"},
        {L"language-1", L"", L"Prepar3D v1"}, {L"language-2", L"", L"Prepar3D v2"},
        {L"language-3", L"", L"Prepar3D v3"}, {L"language-4.5.0.0", L"", L"Prepar3D v4"},
        {L"language-5", L"", L"Prepar3D v5"}, {L"language-file3-product5", L"", L"Prepar3D v3"},
        {L"language-6", L"", L"this simulator"}, {L"language-11", L"", L"this simulator"},
        {L"language-unversioned", L"", L"this simulator"}, {L"", L"", L"this simulator"}};
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
        EXPECT_EQ(MessageBoxText(box), L"Ferrymark has disabled " + name + L" to prevent corruption of "
                  L"configuration files.\n\nTo use " + name + L", select it as target in Ferrymark.");
        if (name == L"Flight Simulator X")
            Screenshot(box, L"stub-flight-simulator-x");
        PressButton(box, IDOK);
        EXPECT_EQ(run.WaitForExit(), 0xFFFFFFFFu);
    }
    RemoveTreeQuietly(folder);
}

} // namespace
