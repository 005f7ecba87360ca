// The six simulator records: their folders, where a simulator is (the stored
// location against its own registry values), its version, the values SetLocation
// writes, and whether another process holds the backup of a folder.
#include "app/machine.h"
#include "app/registry_key.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const RegistryHive HKCU = RegistryHive::CurrentUser;

// The 64-bit view's name for a key that a 32-bit program sees below Software.
std::wstring In32BitView(const std::wstring& softwarePath) {
    return L"Software\\WOW6432Node\\" + softwarePath.substr(std::wstring(L"Software\\").size());
}

class SimulatorLocationTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        simulators = CreateSimulators();
    }
    GenericSimulator& Fsx() { return *simulators[0]; }
    GenericSimulator& V3() { return *simulators[3]; }
    GenericSimulator& V4() { return *simulators[4]; }

    std::vector<std::shared_ptr<GenericSimulator>> simulators;
};

} // namespace

TEST_F(SimulatorLocationTest, FolderSlotsBecomePathsAndOnlyALocatedTargetIsTargetable) {
    const std::wstring documents = GetKnownFolder(KnownFolder::Documents);
    StoreLocation(L"Flight Simulator X", L"C:\\Sim");
    StoreLocation(L"Prepar3D v1", L"C:\\Sim\\");
    StoreLocation(L"Prepar3D v3", L"C:\\P3Dv3");
    const std::tuple<std::size_t, int, std::wstring> cases[] = {
        {0, RoamingAppData, GetKnownFolder(KnownFolder::RoamingAppData) + L"\\Microsoft\\FSX"},
        {0, UserFiles, documents + L"\\Flight Simulator X Files"},
        {0, UserPictures, GetKnownFolder(KnownFolder::Pictures) + L"\\Flight Simulator X Files"},
        {0, Root, L"C:\\Sim"},
        {0, RootExecutable, L"C:\\Sim\\fsx.exe"},
        {1, ProgramData, GetKnownFolder(KnownFolder::ProgramData) + L"\\LockheedMartin\\Prepar3D"},
        {1, LocalAppData, GetKnownFolder(KnownFolder::LocalAppData) + L"\\LockheedMartin\\Prepar3D"},
        {1, RootExecutable, L"C:\\Sim\\Prepar3D.exe"},
        {4, UserAddons, documents + L"\\Prepar3D v4 Add-ons"},
        {4, Root, L""},
        {4, RootExecutable, L"Prepar3D.exe"},
        {5, 8, L""},
        {5, -1, L""},
    };
    for (const auto& [index, slot, path] : cases)
        EXPECT_EQ(simulators[index]->GetFolder(static_cast<SimulatorFolder>(slot)), path)
            << index << " slot " << slot;
    // From version 3 on a simulator can be a target, once it has a location.
    for (std::size_t i = 0; i < simulators.size(); ++i) {
        EXPECT_EQ(simulators[i]->Targetable(), i >= 3) << i;
        EXPECT_EQ(simulators[i]->IsTargetable(), i == 3) << i;
    }
}

TEST_F(SimulatorLocationTest, StoredLocationIsTheTruthAndTheMachinesIsVerified) {
    const std::wstring installFolder = InFolder(L"Prepar3D v4");
    const std::wstring marker = installFolder + L"\\eula_prepar3d_v4_academic.rtf";
    StoreLocation(L"Prepar3D v4", L"D:\\Deleted\\Since");
    RegistryKey(HKLM, V4().RegistryKeyPath(), false).WriteString(L"SetupPath", installFolder);
    EXPECT_EQ(V4().GetLocation(true), L"D:\\Deleted\\Since") << "never verified";
    EXPECT_EQ(V4().GetLocation(false), L"") << "no marker file: refused";
    MakeFolder(marker);
    EXPECT_FALSE(V4().VerifyFolder(installFolder)) << "a folder of the marker's name is refused";
    EXPECT_EQ(V4().GetLocation(false), L"");

    platform::RemoveTree(installFolder);
    MakeFolder(installFolder);
    WriteFile(marker, "licence");
    EXPECT_TRUE(V4().VerifyFolder(installFolder));
    EXPECT_TRUE(V4().VerifyFolder(installFolder + L"\\")) << "a doubled separator still names it";
    EXPECT_FALSE(V4().VerifyFolder(L""));
    EXPECT_FALSE(V3().VerifyFolder(installFolder)) << "another version's marker proves nothing";
    EXPECT_EQ(V4().GetLocation(false), installFolder);
    EXPECT_EQ(V4().GetLocation(true), L"D:\\Deleted\\Since");
}

TEST_F(SimulatorLocationTest, VersionAndBuildNumber) {
    const std::pair<const wchar_t*, std::int32_t> cases[] = {
        {L"3.4.22.19868", 19868}, {L"4.5.12942.0", 0}, {L"4.5.14", 0},   {L"", 0},
        {L"1.2.3.45abc", 45},     {L"1.2.3.x7", 0},    {L"1.2.3.4.5", 0}};
    for (const auto& [version, build] : cases) {
        StoreLocation(L"Prepar3D v3", L"C:\\P3D", version);
        EXPECT_EQ(V3().GetVersion(true, L"ignored"), version);
        EXPECT_EQ(V3().GetBuildNumber(true), build) << Narrow(version);
    }
    // Read from the install folder, a missing version file gives the empty version.
    EXPECT_EQ(V3().GetVersion(false, Folder()), L"");
}

TEST_F(SimulatorLocationTest, FsxWritesItsValuesInThe32BitView) {
    const std::wstring key = Fsx().RegistryKeyPath();
    EXPECT_TRUE(Fsx().SetLocation(L"D:\\Prepar3D v5"));
    RegistryKey machine(HKLM, In32BitView(key), false);
    EXPECT_EQ(machine.ReadString(L"SetupPath", L""), L"D:\\Prepar3D v5\\");
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1033u);
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key, false)) << "nothing in the 64-bit view";
    EXPECT_EQ(RegistryKey(HKCU, key, true).ReadString(L"AppPath", L""), L"D:\\Prepar3D v5\\");

    machine.WriteDword(L"LangID", 1031);
    EXPECT_TRUE(Fsx().SetLocation(L"E:\\Sim\\"));
    EXPECT_EQ(machine.ReadString(L"SetupPath", L""), L"E:\\Sim\\") << "one closing backslash";
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1031u) << "an installed language stays";

    EXPECT_TRUE(Fsx().SetLocation(L""));
    EXPECT_EQ(machine.ReadString(L"SetupPath", L"gone"), L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key, true).ReadString(L"AppPath", L"gone"), L"gone");
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 1031u) << "LangID is never deleted";
    machine.DeleteValue(L"LangID");
    EXPECT_TRUE(Fsx().SetLocation(L""));
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 0u) << "clearing never writes a language";
}

TEST_F(SimulatorLocationTest, Prepar3DWritesContentAndSceneryKeysFromVersion3On) {
    OpenLog(L"DEBUG");
    EXPECT_TRUE(simulators[2]->SetLocation(L"D:\\P3D"));
    EXPECT_EQ(RegistryKey(HKLM, In32BitView(simulators[2]->RegistryKeyPath()), false)
                  .ReadString(L"SetupPath", L""),
              L"D:\\P3D\\")
        << "version 2 is 32-bit";
    // Version 3 is 32-bit and version 4 64-bit: their three keys lie in that view only.
    const std::wstring key3 = V3().RegistryKeyPath(), key4 = V4().RegistryKeyPath();
    EXPECT_TRUE(V3().SetLocation(L"D:\\P3D"));
    EXPECT_TRUE(V4().SetLocation(L"D:\\P3D v5\\"));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"}) {
        EXPECT_EQ(RegistryKey(HKLM, In32BitView(key3 + suffix), false).ReadString(L"SetupPath", L""),
                  L"D:\\P3D\\");
        EXPECT_EQ(RegistryKey(HKLM, key4 + suffix, false).ReadString(L"SetupPath", L""),
                  L"D:\\P3D v5\\");
    }
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key3, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, In32BitView(key4), false));

    // Clearing deletes what was written and leaves the keys and the other simulators.
    EXPECT_TRUE(V3().SetLocation(L""));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
        EXPECT_EQ(RegistryKey(HKLM, key3 + suffix, true).ReadString(L"SetupPath", L"gone"),
                  L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadString(L"AppPath", L"gone"), L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadDword(L"Installed", 7), 7u);
    EXPECT_EQ(RegistryKey(HKLM, key4, false).ReadString(L"SetupPath", L""), L"D:\\P3D v5\\");
    EXPECT_NE(LogText().find("DEBUG    Setting Prepar3D v3 location to D:\\P3D\r\n"),
              std::string::npos);
    EXPECT_NE(LogText().find("DEBUG    Clearing Prepar3D v3 location\r\n"), std::string::npos);
}

TEST_F(SimulatorLocationTest, AHeldBackupOfItsFolderPutsTheSimulatorInUse) {
    StoreLocation(L"Prepar3D v4", Folder());
    OpenLog(L"Info");
    const std::wstring held = GetBackupPath(V4().GetFolder(RoamingAppData));
    MakeFolder(held);
    {
        other_process::Holder holder(other_process::Hold::WorkingFolder, held);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        EXPECT_TRUE(V4().IsInUse());
    }
    EXPECT_FALSE(V4().IsInUse()) << "released, nothing holds the simulator";
    EXPECT_EQ(LogLines(), (std::vector<std::string>{"WARN File or folder in use " + Narrow(held),
                                                    "WARN Folder in use " + Narrow(held)}));
}
