#include "simulators/prepar3d.h"

#include "app/registry_key.h"

namespace {

std::vector<SimulatorFolder> FoldersBeforeAddons() {
    return {ProgramData, LocalAppData, RoamingAppData, UserFiles, UserPictures};
}

std::vector<SimulatorFolder> FoldersWithAddons() {
    return {ProgramData, LocalAppData, RoamingAppData, UserFiles, UserAddons, UserPictures};
}

} // namespace

Prepar3D::Prepar3D() {
    // The roaming names go in first; the map still yields the ProgramData pair first.
    fileLinks[{Root, RoamingAppData}] = {L"Cameras.cfg",    L"DefaultRecordAndPlayback.xml",
                                         L"LWcfg.xml",      L"LWcfg.spb",
                                         L"SimDisplay.xml", L"WaterConstants.xml"};
    fileLinks[{Root, ProgramData}] = {
        L"airlines.cfg", L"AirObjectVisuals.xml", L"display.cfg", L"scenery.cfg",
        L"stars.dat",    L"suneffect.cfg",        L"terrain.cfg", L"ThermalDescriptions.xml"};
}

bool Prepar3D::SetLocation(std::wstring location) {
    Logger::Write(Logger::DebugLevel,
                  location.empty() ? L"Clearing " + title + L" location"
                                   : L"Setting " + title + L" location to " + location);
    const std::wstring value = WithClosingBackslash(location);
    std::vector<std::wstring> keys{registryKey};
    if (kind >= 4) {
        keys.push_back(registryKey + L" Content");
        keys.push_back(registryKey + L" Scenery");
    }
    for (const std::wstring& path : keys) {
        RegistryKey machine(RegistryHive::LocalMachine, path, Is32Bit());
        if (location.empty())
            machine.DeleteValue(L"SetupPath");
        else
            machine.WriteString(L"SetupPath", value);
    }
    RegistryKey user(RegistryHive::CurrentUser, registryKey, Is32Bit());
    if (location.empty()) {
        user.DeleteValue(L"AppPath");
        user.DeleteValue(L"Installed");
    } else {
        user.WriteString(L"AppPath", value);
        user.WriteDword(L"Installed", 1);
    }
    return true;
}

// "LockheedMartin" without a blank and the bare userFolder of version 1 are how
// that version names itself.
Prepar3Dv1::Prepar3Dv1() {
    Initialize(2, L"PREP1", 32, false, L"Prepar3D v1", L"Software\\LockheedMartin\\Prepar3D",
               L"SetupPath", L"facilities.dll", L"Awesomium.Core.dll", L"LockheedMartin\\Prepar3D",
               L"Prepar3D", L"Prepar3D.exe", 1, FoldersBeforeAddons());
}

Prepar3Dv2::Prepar3Dv2() {
    Initialize(3, L"PREP2", 32, false, L"Prepar3D v2", L"Software\\Lockheed Martin\\Prepar3D v2",
               L"SetupPath", L"facilities.dll", L"WPFToolkit.dll", L"Lockheed Martin\\Prepar3D v2",
               L"Prepar3D v2", L"Prepar3D.exe", 1, FoldersBeforeAddons());
}

// The oldest targetable version, and still a 32-bit program.
Prepar3Dv3::Prepar3Dv3() {
    Initialize(4, L"PREP3", 32, true, L"Prepar3D v3", L"Software\\Lockheed Martin\\Prepar3D v3",
               L"SetupPath", L"facilities.dll", L"BGLCompLib.dll", L"Lockheed Martin\\Prepar3D v3",
               L"Prepar3D v3", L"Prepar3D.exe", 3, FoldersWithAddons());
}

Prepar3Dv4::Prepar3Dv4() {
    Initialize(5, L"PREP4", 64, true, L"Prepar3D v4", L"Software\\Lockheed Martin\\Prepar3D v4",
               L"SetupPath", L"facilities.dll", L"eula_prepar3d_v4_academic.rtf",
               L"Lockheed Martin\\Prepar3D v4", L"Prepar3D v4", L"Prepar3D.exe", 3,
               FoldersWithAddons());
}

Prepar3Dv5::Prepar3Dv5() {
    Initialize(6, L"PREP5", 64, true, L"Prepar3D v5", L"Software\\Lockheed Martin\\Prepar3D v5",
               L"SetupPath", L"facilities.dll", L"eula_prepar3d_v5.rtf",
               L"Lockheed Martin\\Prepar3D v5", L"Prepar3D v5", L"Prepar3D.exe", 3,
               FoldersWithAddons());
}
