// The six simulator records: their folders, where a simulator is (the stored
// location against its own registry values), its version, the values SetLocation
// writes, and whether another process holds the backup of a folder.
#include "app/machine.h"
#include "app/registry_key.h"
#include "platform/fs.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const RegistryHive HKCU = RegistryHive::CurrentUser;

// Where a 32-bit program's HKLM\Software\<path> lies in the 64-bit view.
std::wstring In32BitView(const std::wstring& path) {
    return L"Software\\WOW6432Node\\" + path.substr(9);
}

class SimulatorLocationTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        simulators = CreateSimulators();
    }
    GenericSimulator& Sim(std::size_t index) { return *simulators.at(index); }
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
};

} // namespace

TEST_F(SimulatorLocationTest, TheCatalogueFolderSlotsAndTargets) {
    const std::wstring documents = GetKnownFolder(KnownFolder::Documents);
    StoreLocation(L"Flight Simulator X", L"C:\\Sim");
    StoreLocation(L"Prepar3D v1", L"C:\\Sim\\");
    StoreLocation(L"Prepar3D v3", L"C:\\P3Dv3");
    // Title, bitness and launch-list version of each record; from version 3 on a
    // simulator can be a target, once it has a location.
    const std::tuple<std::wstring, std::uint32_t, std::uint32_t> records[] = {
        {L"Flight Simulator X", 32, 1}, {L"Prepar3D v1", 32, 1}, {L"Prepar3D v2", 32, 1},
        {L"Prepar3D v3", 32, 3}, {L"Prepar3D v4", 64, 3}, {L"Prepar3D v5", 64, 3}};
    ASSERT_EQ(simulators.size(), 6u);
    for (std::size_t i = 0; i < simulators.size(); ++i) {
        EXPECT_EQ(Sim(i).GetTitle(), std::get<0>(records[i]));
        EXPECT_EQ(Sim(i).Bitness(), std::get<1>(records[i])) << i;
        EXPECT_EQ(Sim(i).SimBaseVersion(), std::get<2>(records[i])) << i;
        EXPECT_EQ(Sim(i).IsTargetable(), i == 3) << i;
    }
    const std::tuple<std::size_t, int, std::wstring> folders[] = {
        {0, RoamingAppData, GetKnownFolder(KnownFolder::RoamingAppData) + L"\\Microsoft\\FSX"},
        {0, UserFiles, documents + L"\\Flight Simulator X Files"},
        {0, UserPictures, GetKnownFolder(KnownFolder::Pictures) + L"\\Flight Simulator X Files"},
        {0, RootExecutable, L"C:\\Sim\\fsx.exe"},
        {1, ProgramData, GetKnownFolder(KnownFolder::ProgramData) + L"\\LockheedMartin\\Prepar3D"},
        {1, RootExecutable, L"C:\\Sim\\Prepar3D.exe"},
        {4, UserAddons, documents + L"\\Prepar3D v4 Add-ons"},
        {4, Root, L""}, {4, RootExecutable, L"Prepar3D.exe"}, {5, 8, L""}, {5, -1, L""}};
    for (const auto& [index, slot, path] : folders)
        EXPECT_EQ(Sim(index).GetFolder(static_cast<SimulatorFolder>(slot)), path) << index << " slot " << slot;
    EXPECT_EQ(Sim(0).BackupPatterns().at(RoamingAppData),
              (std::vector<std::wstring>{L"*.cfg", L"*.xml", L"*.bin"}));
}

TEST_F(SimulatorLocationTest, TheStoredLocationIsTheTruthAndTheMachinesIsVerified) {
    const std::wstring install = InFolder(L"Prepar3D v4"), marker = install + L"\\eula_prepar3d_v4_academic.rtf";
    StoreLocation(L"Prepar3D v4", L"D:\\Deleted\\Since");
    RegistryKey(HKLM, Sim(4).RegistryKeyPath(), false).WriteString(L"SetupPath", install);
    EXPECT_EQ(Sim(4).GetLocation(true), L"D:\\Deleted\\Since") << "never verified";
    EXPECT_EQ(Sim(4).GetLocation(false), L"") << "no marker file: refused";
    MakeFolder(marker);
    EXPECT_FALSE(Sim(4).VerifyFolder(install)) << "a folder of the marker's name is refused";
    platform::RemoveTree(marker);
    WriteFile(marker, "licence");
    EXPECT_TRUE(Sim(4).VerifyFolder(install + L"\\"));
    EXPECT_FALSE(Sim(4).VerifyFolder(L""));
    EXPECT_FALSE(Sim(3).VerifyFolder(install)) << "another version's marker proves nothing";
    EXPECT_EQ(Sim(4).GetLocation(false), install);

    const std::pair<const wchar_t*, std::int32_t> versions[] = {
        {L"3.4.22.19868", 19868}, {L"4.5.12942.0", 0}, {L"4.5.14", 0}, {L"", 0},
        {L"1.2.3.95abc", 95}, {L"1.2.3.x7", 0}, {L"1.2.3.4.5", 0}};
    for (const auto& [version, build] : versions) {
        StoreLocation(L"Prepar3D v3", L"C:\\P3D", version);
        EXPECT_EQ(Sim(3).GetVersion(true, L"ignored"), version);
        EXPECT_EQ(Sim(3).GetBuildNumber(true), build) << Narrow(version);
    }
}

TEST_F(SimulatorLocationTest, SetLocationWritesEachSimulatorsValuesInItsOwnView) {
    // FSX: SetupPath with one closing backslash and LangID 1033, in the 32-bit view.
    const std::wstring fsx = Sim(0).RegistryKeyPath();
    RegistryKey machine(HKLM, In32BitView(fsx), false);
    EXPECT_TRUE(Sim(0).SetLocation(L"D:\\Prepar3D v5"));
    EXPECT_EQ(machine.ReadString(L"SetupPath", L""), L"D:\\Prepar3D v5\\");
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1033u);
    EXPECT_FALSE(RegistryKey::Exists(HKLM, fsx, false)) << "nothing in the 64-bit view";
    EXPECT_EQ(RegistryKey(HKCU, fsx, true).ReadString(L"AppPath", L""), L"D:\\Prepar3D v5\\");
    machine.WriteDword(L"LangID", 1031);
    EXPECT_TRUE(Sim(0).SetLocation(L"E:\\Sim\\"));
    EXPECT_EQ(machine.ReadString(L"SetupPath", L""), L"E:\\Sim\\");
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1031u) << "an installed language stays";
    EXPECT_TRUE(Sim(0).SetLocation(L""));
    EXPECT_EQ(machine.ReadString(L"SetupPath", L"gone") + RegistryKey(HKCU, fsx, true).ReadString(L"AppPath", L"gone"),
              L"gonegone");
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1031u) << "LangID is never deleted";

    // Prepar3D: v2 and v3 are 32-bit, v4 64-bit; from v3 on Content and Scenery keys too.
    OpenLog(L"DEBUG");
    const std::wstring key2 = Sim(2).RegistryKeyPath(), key3 = Sim(3).RegistryKeyPath(), key4 = Sim(4).RegistryKeyPath();
    EXPECT_TRUE(Sim(2).SetLocation(L"D:\\P3D"));
    EXPECT_TRUE(Sim(3).SetLocation(L"D:\\P3D"));
    EXPECT_TRUE(Sim(4).SetLocation(L"D:\\P3D v5\\"));
    EXPECT_EQ(RegistryKey(HKLM, In32BitView(key2), false).ReadString(L"SetupPath", L""), L"D:\\P3D\\");
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"}) {
        EXPECT_EQ(RegistryKey(HKLM, In32BitView(key3 + suffix), false).ReadString(L"SetupPath", L""), L"D:\\P3D\\");
        EXPECT_EQ(RegistryKey(HKLM, key4 + suffix, false).ReadString(L"SetupPath", L""), L"D:\\P3D v5\\");
    }
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key3, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, In32BitView(key4), false));
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadDword(L"Installed", 0), 1u);
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadString(L"AppPath", L""), L"D:\\P3D\\");
    // Clearing deletes what was written and leaves the other simulators.
    EXPECT_TRUE(Sim(3).SetLocation(L""));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
        EXPECT_EQ(RegistryKey(HKLM, key3 + suffix, true).ReadString(L"SetupPath", L"gone"), L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadString(L"AppPath", L"gone"), L"gone");
    EXPECT_EQ(RegistryKey(HKLM, key4, false).ReadString(L"SetupPath", L""), L"D:\\P3D v5\\");
    EXPECT_NE(LogText().find("DEBUG    Setting Prepar3D v3 location to D:\\P3D\r\n"), std::string::npos);
    EXPECT_NE(LogText().find("DEBUG    Clearing Prepar3D v3 location\r\n"), std::string::npos);
}

TEST_F(SimulatorLocationTest, AHeldBackupOfItsFolderPutsTheSimulatorInUse) {
    StoreLocation(L"Prepar3D v4", Folder());
    OpenLog(L"Info");
    const std::wstring held = GetKnownFolder(KnownFolder::RoamingAppData) +
                              L"\\Lockheed Martin\\Ferrymark backup (UHJlcGFyM0QgdjQ=)";
    MakeFolder(held);
    {
        other_process::Holder holder(other_process::Hold::WorkingFolder, held);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        EXPECT_TRUE(Sim(4).IsInUse());
    }
    EXPECT_FALSE(Sim(4).IsInUse()) << "released, nothing holds the simulator";
    EXPECT_EQ(LogLines(), (std::vector<std::string>{"WARN File or folder in use " + Narrow(held),
                                                    "WARN Folder in use " + Narrow(held)}));
}
