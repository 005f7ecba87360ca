#include "simulators/fsx.h"

#include "app/registry_key.h"

FSX::FSX() {
    Initialize(0, L"FSX", 32, false, L"Flight Simulator X",
               L"Software\\Microsoft\\Microsoft Games\\Flight Simulator\\10.0", L"SetupPath",
               L"language.dll", L"ablscpt.dll", L"Microsoft\\FSX", L"Flight Simulator X",
               L"fsx.exe", 1, {ProgramData, LocalAppData, RoamingAppData, UserFiles, UserPictures});
}

bool FSX::SetLocation(std::wstring location) {
    Logger::Write(Logger::DebugLevel,
                  location.empty() ? L"Clearing " + title + L" location"
                                   : L"Setting " + title + L" location to " + location);
    const std::wstring value = WithClosingBackslash(location);
    RegistryKey machine(RegistryHive::LocalMachine, registryKey, Is32Bit());
    if (location.empty()) {
        machine.DeleteValue(L"SetupPath");
    } else {
        machine.WriteString(L"SetupPath", value);
        // An installed language stays; LangID is never deleted.
        if (machine.ReadDword(L"LangID", 0) == 0)
            machine.WriteDword(L"LangID", 1033);
    }
    RegistryKey user(RegistryHive::CurrentUser, registryKey, Is32Bit());
    if (location.empty())
        user.DeleteValue(L"AppPath");
    else
        user.WriteString(L"AppPath", value);
    return true;
}
