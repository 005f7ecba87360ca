// Where a simulator is: the stored location against the simulator's own
// registry values, the folder test, the version and the values SetLocation writes.
#include "app/logger.h"
#include "app/registry_key.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "support/simulator_sandbox.h"

#include <gtest/gtest.h>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const RegistryHive HKCU = RegistryHive::CurrentUser;

// The 64-bit view's name for a key that a 32-bit program sees below Software.
std::wstring In32BitView(const std::wstring& softwarePath) {
    return L"Software\\WOW6432Node\\" + softwarePath.substr(std::wstring(L"Software\\").size());
}

class SimulatorLocationTest : public SimulatorSandboxTest {
protected:
    void SetUp() override {
        SimulatorSandboxTest::SetUp();
        simulators = CreateSimulators();
    }
    GenericSimulator& Fsx() { return *simulators[0]; }
    GenericSimulator& V2() { return *simulators[2]; }
    GenericSimulator& V3() { return *simulators[3]; }
    GenericSimulator& V4() { return *simulators[4]; }
    GenericSimulator& V5() { return *simulators[5]; }

    std::vector<std::shared_ptr<GenericSimulator>> simulators;
};

} // namespace

TEST_F(SimulatorLocationTest, StoredLocationIsTheTruthAndTheMachinesIsVerified) {
    const std::wstring installFolder = InFolder(L"Prepar3D v4");
    MakeFolder(installFolder);
    StoreLocation(L"Prepar3D v4", L"D:\\Deleted\\Since");
    {
        RegistryKey own(HKLM, V4().RegistryKeyPath(), false);
        own.WriteString(L"SetupPath", installFolder);
    }
    EXPECT_EQ(V4().GetLocation(true), L"D:\\Deleted\\Since") << "never verified";
    EXPECT_EQ(V4().GetLocation(false), L"") << "no marker file: refused";

    MakeFolder(installFolder + L"\\eula_prepar3d_v4_academic.rtf");
    EXPECT_FALSE(V4().VerifyFolder(installFolder))
        << "a installFolder of the marker's name is refused";
    EXPECT_EQ(V4().GetLocation(false), L"");

    platform::RemoveTree(installFolder);
    MakeFolder(installFolder);
    WriteFile(installFolder + L"\\eula_prepar3d_v4_academic.rtf", "licence");
    EXPECT_TRUE(V4().VerifyFolder(installFolder));
    EXPECT_TRUE(V4().VerifyFolder(installFolder + L"\\"))
        << "a doubled separator still names the file";
    EXPECT_FALSE(V4().VerifyFolder(L""));
    EXPECT_FALSE(V3().VerifyFolder(installFolder)) << "another version's marker proves nothing";
    EXPECT_EQ(V4().GetLocation(false), installFolder);
    EXPECT_EQ(V4().GetLocation(true), L"D:\\Deleted\\Since")
        << "the machine's value does not change the stored one";
}

TEST_F(SimulatorLocationTest, VersionAndBuildNumber) {
    StoreLocation(L"Prepar3D v3", L"C:\\P3D", L"3.4.22.19868");
    EXPECT_EQ(V3().GetVersion(true, L"ignored"), L"3.4.22.19868");
    EXPECT_EQ(V3().GetBuildNumber(true), 19868);
    const std::pair<const wchar_t*, std::int32_t> cases[] = {
        {L"4.5.12942.0", 0},      {L"4.5.14", 0},   {L"", 0},
        {L"1.2.3.45abc", 45},     {L"1.2.3.x7", 0}, {L"1.2.3.4.5", 0},
        {L"5.0.24.34874", 34874},
    };
    for (const auto& [version, build] : cases) {
        StoreLocation(L"Prepar3D v3", L"C:\\P3D", version);
        EXPECT_EQ(V3().GetBuildNumber(true), build)
            << std::string(version, version + wcslen(version));
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

    // Clearing alone never writes a language.
    machine.DeleteValue(L"LangID");
    EXPECT_TRUE(Fsx().SetLocation(L""));
    EXPECT_EQ(machine.ReadDword(L"LangID", 0), 0u);
}

TEST_F(SimulatorLocationTest, Prepar3DWritesContentAndSceneryKeysFromVersion3On) {
    const std::wstring key2 = V2().RegistryKeyPath();
    EXPECT_TRUE(V2().SetLocation(L"D:\\P3D"));
    EXPECT_EQ(RegistryKey(HKLM, In32BitView(key2), false).ReadString(L"SetupPath", L""),
              L"D:\\P3D\\");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key2 + L" Content", true));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key2 + L" Scenery", true));
    EXPECT_EQ(RegistryKey(HKCU, key2, true).ReadString(L"AppPath", L""), L"D:\\P3D\\");
    EXPECT_EQ(RegistryKey(HKCU, key2, true).ReadDword(L"Installed", 0), 1u);

    // Version 3 is 32-bit: its three keys lie in the 32-bit view.
    const std::wstring key3 = V3().RegistryKeyPath();
    EXPECT_TRUE(V3().SetLocation(L"D:\\P3D"));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
        EXPECT_EQ(
            RegistryKey(HKLM, In32BitView(key3 + suffix), false).ReadString(L"SetupPath", L""),
            L"D:\\P3D\\");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key3, false));

    // Version 4 is 64-bit: its keys stay out of the 32-bit view.
    const std::wstring key4 = V4().RegistryKeyPath();
    EXPECT_TRUE(V4().SetLocation(L"D:\\P3D v5\\"));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
        EXPECT_EQ(RegistryKey(HKLM, key4 + suffix, false).ReadString(L"SetupPath", L""),
                  L"D:\\P3D v5\\");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, In32BitView(key4), false));

    // Clearing deletes what was written and leaves the keys.
    EXPECT_TRUE(V3().SetLocation(L""));
    for (const wchar_t* suffix : {L"", L" Content", L" Scenery"})
        EXPECT_EQ(RegistryKey(HKLM, key3 + suffix, true).ReadString(L"SetupPath", L"gone"),
                  L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadString(L"AppPath", L"gone"), L"gone");
    EXPECT_EQ(RegistryKey(HKCU, key3, true).ReadDword(L"Installed", 7), 7u);
    EXPECT_EQ(RegistryKey(HKLM, key4, false).ReadString(L"SetupPath", L""), L"D:\\P3D v5\\")
        << "clearing one simulator leaves the others";
}

TEST_F(SimulatorLocationTest, SetLocationLogsAtDebug) {
    const std::wstring logPath = InFolder(L"log.txt");
    Logger::OpenFile(logPath);
    Logger::SetLevel(L"DEBUG");
    V3().SetLocation(L"D:\\P3D");
    V3().SetLocation(L"");
    Logger::SetLevel(L"INFO");
    Logger::Instance().close();
    const std::string log = ReadFile(logPath);
    EXPECT_NE(log.find("DEBUG    Setting Prepar3D v3 location to D:\\P3D\r\n"), std::string::npos)
        << log;
    EXPECT_NE(log.find("DEBUG    Clearing Prepar3D v3 location\r\n"), std::string::npos) << log;
}

TEST_F(SimulatorLocationTest, NothingInUseWhenNothingRunsOrIsHeld) {
    StoreLocation(L"Prepar3D v4", Folder());
    const std::wstring logPath = InFolder(L"log.txt");
    Logger::OpenFile(logPath);
    for (const auto& sim : simulators)
        EXPECT_FALSE(sim->IsInUse())
            << std::string(sim->ShortName().begin(), sim->ShortName().end());
    Logger::Instance().close();
    EXPECT_EQ(ReadFile(logPath), "");
}

TEST_F(SimulatorLocationTest, AHeldFolderOrItsBackupPutsTheSimulatorInUse) {
    using other_process::Hold;
    using other_process::Holder;
    StoreLocation(L"Prepar3D v4", Folder());
    const std::wstring programData = V4().GetFolder(ProgramData);
    const std::wstring roamingBackup = GetBackupPath(V4().GetFolder(RoamingAppData));
    MakeFolder(programData);
    MakeFolder(roamingBackup);
    const std::wstring logPath = InFolder(L"log.txt");
    Logger::OpenFile(logPath);
    {
        Holder holder(Hold::WorkingFolder, programData);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        EXPECT_TRUE(V4().IsInUse());
        EXPECT_FALSE(V5().IsInUse()) << "another version's folders are not held";
    }
    {
        Holder holder(Hold::WorkingFolder, roamingBackup);
        ASSERT_TRUE(holder.Started()) << holder.Failure();
        EXPECT_TRUE(V4().IsInUse()) << "a held backup counts as well";
    }
    EXPECT_FALSE(V4().IsInUse()) << "released, nothing holds the simulator";
    Logger::Instance().close();
    platform::RemoveTree(programData);
    platform::RemoveTree(roamingBackup);

    const std::string log = ReadFile(logPath);
    const std::string programDataText(programData.begin(), programData.end());
    const std::string backupText(roamingBackup.begin(), roamingBackup.end());
    EXPECT_NE(log.find("   WARN    Folder in use " + programDataText + "\r\n"), std::string::npos)
        << log;
    EXPECT_NE(log.find("   WARN    Folder in use " + backupText + "\r\n"), std::string::npos)
        << log;
}
