// Every constant of the six records against the catalogue, and the path of every
// folder slot of every record.
#include "app/machine.h"
#include "simulators/catalogue.h"
#include "simulators/prepar3d.h"
#include "support/simulator_sandbox.h"

#include <gtest/gtest.h>

namespace {

struct Expected {
    const wchar_t* className;
    SimulatorKind kind;
    const wchar_t* shortName;
    std::uint32_t bitness;
    bool targetable;
    std::uint32_t simBaseVersion;
    bool hasAddons;
    const wchar_t* title;
    const wchar_t* registryKey;
    const wchar_t* versionFile;
    const wchar_t* markerFile;
    const wchar_t* dataFolder;
    const wchar_t* userFolder;
    const wchar_t* executable;
};

const Expected catalogue[] = {
    {L"FSX", 0, L"FSX", 32, false, 1, false, L"Flight Simulator X",
     L"Software\\Microsoft\\Microsoft Games\\Flight Simulator\\10.0", L"language.dll",
     L"ablscpt.dll", L"Microsoft\\FSX", L"Flight Simulator X", L"fsx.exe"},
    {L"Prepar3Dv1", 2, L"PREP1", 32, false, 1, false, L"Prepar3D v1",
     L"Software\\LockheedMartin\\Prepar3D", L"facilities.dll", L"Awesomium.Core.dll",
     L"LockheedMartin\\Prepar3D", L"Prepar3D", L"Prepar3D.exe"},
    {L"Prepar3Dv2", 3, L"PREP2", 32, false, 1, false, L"Prepar3D v2",
     L"Software\\Lockheed Martin\\Prepar3D v2", L"facilities.dll", L"WPFToolkit.dll",
     L"Lockheed Martin\\Prepar3D v2", L"Prepar3D v2", L"Prepar3D.exe"},
    {L"Prepar3Dv3", 4, L"PREP3", 32, true, 3, true, L"Prepar3D v3",
     L"Software\\Lockheed Martin\\Prepar3D v3", L"facilities.dll", L"BGLCompLib.dll",
     L"Lockheed Martin\\Prepar3D v3", L"Prepar3D v3", L"Prepar3D.exe"},
    {L"Prepar3Dv4", 5, L"PREP4", 64, true, 3, true, L"Prepar3D v4",
     L"Software\\Lockheed Martin\\Prepar3D v4", L"facilities.dll", L"eula_prepar3d_v4_academic.rtf",
     L"Lockheed Martin\\Prepar3D v4", L"Prepar3D v4", L"Prepar3D.exe"},
    {L"Prepar3Dv5", 6, L"PREP5", 64, true, 3, true, L"Prepar3D v5",
     L"Software\\Lockheed Martin\\Prepar3D v5", L"facilities.dll", L"eula_prepar3d_v5.rtf",
     L"Lockheed Martin\\Prepar3D v5", L"Prepar3D v5", L"Prepar3D.exe"},
};

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

using SimulatorCatalogueTest = SimulatorSandboxTest;

} // namespace

TEST_F(SimulatorCatalogueTest, SixRecordsInFixedOrderWithTheirConstants) {
    const auto simulators = CreateSimulators();
    ASSERT_EQ(simulators.size(), 6u);
    const std::vector<SimulatorFolder> withoutAddons{ProgramData, LocalAppData, RoamingAppData,
                                                     UserFiles, UserPictures};
    const std::vector<SimulatorFolder> withAddons{ProgramData, LocalAppData, RoamingAppData,
                                                  UserFiles,   UserAddons,   UserPictures};
    for (std::size_t i = 0; i < simulators.size(); ++i) {
        const GenericSimulator& sim = *simulators[i];
        const Expected& want = catalogue[i];
        SCOPED_TRACE(Narrow(want.className));
        EXPECT_EQ(sim.GetKind(), want.kind);
        EXPECT_EQ(sim.ShortName(), want.shortName);
        EXPECT_EQ(sim.Bitness(), want.bitness);
        EXPECT_EQ(sim.Is32Bit(), want.bitness == 32);
        EXPECT_EQ(sim.Targetable(), want.targetable);
        EXPECT_EQ(sim.SimBaseVersion(), want.simBaseVersion);
        EXPECT_EQ(sim.GetTitle(), want.title);
        EXPECT_EQ(sim.RegistryKeyPath(), want.registryKey);
        EXPECT_EQ(sim.RegistryValue(), L"SetupPath");
        EXPECT_EQ(sim.VersionFile(), want.versionFile);
        EXPECT_EQ(sim.MarkerFile(), want.markerFile);
        EXPECT_EQ(sim.DataFolder(), want.dataFolder);
        EXPECT_EQ(sim.UserFolder(), want.userFolder);
        EXPECT_EQ(sim.Executable(), want.executable);
        EXPECT_EQ(sim.Folders(), want.hasAddons ? withAddons : withoutAddons);

        // The same backup patterns for every record, walked in slot order.
        const std::map<SimulatorFolder, std::vector<std::wstring>> patterns{
            {ProgramData, {L"*.cfg"}},
            {LocalAppData, {L"*.fxml", L"*.wx"}},
            {RoamingAppData, {L"*.cfg", L"*.xml", L"*.bin"}},
            {UserFiles,
             {L"*.cfg", L"*.xml", L"*.pln", L"*.fxml", L"*.flt", L"*.wx", L"*.fssave",
              L"logbook.bin", L"SimConnect.ini"}},
            {Root, {L"*.cfg", L"*.xml"}}};
        EXPECT_EQ(sim.BackupPatterns(), patterns);

        // Only the Prepar3D records link files, and all five the same ones.
        const auto* prepar3d = dynamic_cast<const Prepar3D*>(&sim);
        EXPECT_EQ(prepar3d != nullptr, want.kind >= 2);
        if (prepar3d != nullptr) {
            const Prepar3D::FileLinks& links = prepar3d->GetFileLinks();
            ASSERT_EQ(links.size(), 2u);
            auto first = links.begin();
            EXPECT_EQ(first->first, std::make_pair(Root, ProgramData));
            EXPECT_EQ(first->second, (std::vector<std::wstring>{
                                         L"airlines.cfg", L"AirObjectVisuals.xml", L"display.cfg",
                                         L"scenery.cfg", L"stars.dat", L"suneffect.cfg",
                                         L"terrain.cfg", L"ThermalDescriptions.xml"}));
            auto second = std::next(first);
            EXPECT_EQ(second->first, std::make_pair(Root, RoamingAppData));
            EXPECT_EQ(second->second,
                      (std::vector<std::wstring>{L"Cameras.cfg", L"DefaultRecordAndPlayback.xml",
                                                 L"LWcfg.xml", L"LWcfg.spb", L"SimDisplay.xml",
                                                 L"WaterConstants.xml"}));
        }
    }
}

TEST_F(SimulatorCatalogueTest, FolderSlotsBecomePaths) {
    const std::wstring programData = GetKnownFolder(KnownFolder::ProgramData);
    const std::wstring local = GetKnownFolder(KnownFolder::LocalAppData);
    const std::wstring roaming = GetKnownFolder(KnownFolder::RoamingAppData);
    const std::wstring documents = GetKnownFolder(KnownFolder::Documents);
    const std::wstring pictures = GetKnownFolder(KnownFolder::Pictures);
    StoreLocation(L"Flight Simulator X", L"C:\\Sim");
    StoreLocation(L"Prepar3D v1", L"C:\\Sim\\");
    StoreLocation(L"Prepar3D v4", L"");

    const auto simulators = CreateSimulators();
    for (std::size_t i = 0; i < simulators.size(); ++i) {
        const GenericSimulator& sim = *simulators[i];
        const Expected& want = catalogue[i];
        SCOPED_TRACE(Narrow(want.className));
        EXPECT_EQ(sim.GetFolder(ProgramData), programData + L"\\" + want.dataFolder);
        EXPECT_EQ(sim.GetFolder(LocalAppData), local + L"\\" + want.dataFolder);
        EXPECT_EQ(sim.GetFolder(RoamingAppData), roaming + L"\\" + want.dataFolder);
        EXPECT_EQ(sim.GetFolder(UserFiles), documents + L"\\" + want.userFolder + L" Files");
        EXPECT_EQ(sim.GetFolder(UserAddons), documents + L"\\" + want.userFolder + L" Add-ons");
        EXPECT_EQ(sim.GetFolder(UserPictures), pictures + L"\\" + want.userFolder + L" Files");
        EXPECT_EQ(sim.GetFolder(static_cast<SimulatorFolder>(8)), L"");
        EXPECT_EQ(sim.GetFolder(static_cast<SimulatorFolder>(-1)), L"");
    }
    // Root is the stored location unchanged; the executable gets one backslash.
    EXPECT_EQ(simulators[0]->GetFolder(Root), L"C:\\Sim");
    EXPECT_EQ(simulators[0]->GetFolder(RootExecutable), L"C:\\Sim\\fsx.exe");
    EXPECT_EQ(simulators[1]->GetFolder(Root), L"C:\\Sim\\");
    EXPECT_EQ(simulators[1]->GetFolder(RootExecutable), L"C:\\Sim\\Prepar3D.exe");
    EXPECT_EQ(simulators[4]->GetFolder(Root), L"");
    EXPECT_EQ(simulators[4]->GetFolder(RootExecutable), L"Prepar3D.exe");
    EXPECT_EQ(simulators[5]->GetFolder(RootExecutable), L"Prepar3D.exe") << "never stored";

    // The same spelled-out examples as the people who use the program know them.
    EXPECT_EQ(simulators[0]->GetFolder(RoamingAppData), roaming + L"\\Microsoft\\FSX");
    EXPECT_EQ(simulators[0]->GetFolder(UserPictures), pictures + L"\\Flight Simulator X Files");
    EXPECT_EQ(simulators[1]->GetFolder(ProgramData), programData + L"\\LockheedMartin\\Prepar3D");
    EXPECT_EQ(simulators[4]->GetFolder(UserAddons), documents + L"\\Prepar3D v4 Add-ons");
}

TEST_F(SimulatorCatalogueTest, NamesTargetabilityAndTheNoOpOperations) {
    for (int slot = 0; slot <= 5; ++slot)
        EXPECT_EQ(GenericSimulator::GetFolderName(static_cast<SimulatorFolder>(slot)),
                  (std::vector<std::wstring>{L"ProgramData", L"LocalAppData", L"RoamingAppData",
                                             L"UserFiles", L"UserAddons",
                                             L"UserPictures"})[static_cast<std::size_t>(slot)]);
    EXPECT_EQ(GenericSimulator::GetFolderName(Root), L"Root");
    EXPECT_EQ(GenericSimulator::GetFolderName(RootExecutable), L"Root");
    EXPECT_EQ(GenericSimulator::GetFolderName(static_cast<SimulatorFolder>(8)), L"");

    const auto simulators = CreateSimulators();
    for (const auto& sim : simulators) {
        EXPECT_FALSE(sim->HasLocation());
        EXPECT_FALSE(sim->IsTargetable()) << "nothing is targetable without a location";
    }
    StoreLocation(L"Prepar3D v2", L"C:\\P3Dv2");
    StoreLocation(L"Prepar3D v3", L"C:\\P3Dv3");
    EXPECT_TRUE(simulators[2]->HasLocation());
    EXPECT_FALSE(simulators[2]->IsTargetable()) << "v2 has a location but is not targetable";
    EXPECT_TRUE(simulators[3]->IsTargetable());

    // The base operations do nothing and answer true, for every record.
    for (const auto& sim : simulators) {
        EXPECT_TRUE(sim->Activate());
        EXPECT_TRUE(sim->Deactivate());
    }
    EXPECT_EQ(simulators[3]->GetLocation(true), L"C:\\P3Dv3");
}
