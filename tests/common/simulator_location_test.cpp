// The six simulator records: folders, location, and the values SetLocation writes beside SetupPath.
#include "app/machine.h"
#include "platform/fs.h"
#include "simulators/catalogue.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

using SimulatorLocationTest = SandboxTest;
const RegistryHive HKLM = RegistryHive::LocalMachine, HKCU = RegistryHive::CurrentUser;

TEST_F(SimulatorLocationTest, RecordsFoldersAndLocations) {
    const auto sims = CreateSimulators();
    ASSERT_EQ(sims.size(), 6u);
    StoreLocation(L"Flight Simulator X", L"C:\\Sim\\");
    StoreLocation(L"Prepar3D v3", L"C:\\P3Dv3");
    // Title, launch-list version; from v3 on a simulator can be a target, once located.
    const std::pair<std::wstring, std::uint32_t> records[] = {
        {L"Flight Simulator X", 1}, {L"Prepar3D v1", 1}, {L"Prepar3D v2", 1},
        {L"Prepar3D v3", 3},        {L"Prepar3D v4", 3}, {L"Prepar3D v5", 3}};
    for (std::size_t i = 0; i < sims.size(); ++i) {
        EXPECT_EQ(sims[i]->GetTitle() + L" " + std::to_wstring(sims[i]->SimBaseVersion()),
                  records[i].first + L" " + std::to_wstring(records[i].second));
        EXPECT_EQ(sims[i]->IsTargetable(), i == 3) << i;
    }
    const std::wstring documents = GetKnownFolder(KnownFolder::Documents);
    const std::tuple<std::size_t, SimulatorFolder, std::wstring> folders[] = {
        {0, RoamingAppData, GetKnownFolder(KnownFolder::RoamingAppData) + L"\\Microsoft\\FSX"},
        {0, UserPictures, GetKnownFolder(KnownFolder::Pictures) + L"\\Flight Simulator X Files"},
        {0, RootExecutable, L"C:\\Sim\\fsx.exe"},
        {4, Root, L""},
        {4, UserAddons, documents + L"\\Prepar3D v4 Add-ons"}};
    for (const auto& [index, slot, path] : folders)
        EXPECT_EQ(sims[index]->GetFolder(slot), path) << index << " slot " << slot;
    EXPECT_EQ(sims[0]->BackupPatterns().at(RoamingAppData),
              (std::vector<std::wstring>{L"*.cfg", L"*.xml", L"*.bin"}));

    // The machine's own location, whatever is stored, needs the marker file.
    GenericSimulator& v4 = *sims[4];
    const std::wstring install = InFolder(L"P3D"),
                       marker = install + L"\\eula_prepar3d_v4_academic.rtf";
    StoreLocation(L"Prepar3D v4", L"D:\\Deleted\\Since", L"4.5.14.39");
    RegistryKey(HKLM, v4.RegistryKeyPath(), false).WriteString(L"SetupPath", install);
    MakeFolder(marker);
    EXPECT_EQ(v4.GetLocation(false), L"") << "a folder of the marker's name is refused";
    platform::RemoveTree(marker);
    WriteFile(marker, "licence");
    EXPECT_EQ(v4.GetLocation(false), install);
}

// Each simulator's SetupPath in its own view is proven by the switch's round trip; here the values that only
// some of them write: FSX's language, a Prepar3D's user values.
TEST_F(SimulatorLocationTest, SetLocationWritesTheLanguageOnceAndTheUsersValues) {
    const auto sims = CreateSimulators();
    RegistryKey machine(HKLM, L"Software\\Microsoft\\Microsoft Games\\Flight Simulator\\10.0", true),
        user(HKCU, L"Software\\Lockheed Martin\\Prepar3D v3", true);
    const auto values = [&] {
        return machine.ReadString(L"SetupPath", L"-") + L" " + std::to_wstring(machine.ReadDword(L"LangID", 0)) + L" " +
               user.ReadString(L"AppPath", L"-") + L" " + std::to_wstring(user.ReadDword(L"Installed", 0));
    };
    EXPECT_TRUE(sims[0]->SetLocation(L"D:\\FSX") && sims[3]->SetLocation(L"D:\\P3D"));
    EXPECT_EQ(values(), L"D:\\FSX\\ 1033 D:\\P3D\\ 1");
    machine.WriteDword(L"LangID", 1031);
    EXPECT_TRUE(sims[0]->SetLocation(L"E:\\Sim\\"));
    EXPECT_EQ(values(), L"E:\\Sim\\ 1031 D:\\P3D\\ 1") << "one closing backslash; an installed language stays";
    // Clearing deletes what was written, but never LangID.
    EXPECT_TRUE(sims[0]->SetLocation(L"") && sims[3]->SetLocation(L""));
    EXPECT_EQ(values(), L"- 1031 - 0");
}
