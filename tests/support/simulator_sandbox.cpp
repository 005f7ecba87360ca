#include "support/simulator_sandbox.h"

#include "app/registry_key.h"
#include "platform/registry.h"

namespace reg = platform::registry;

void SimulatorSandboxTest::SetUp() {
    SandboxTest::SetUp();
    ClearSimulatorKeys();
}

void SimulatorSandboxTest::TearDown() {
    ClearSimulatorKeys();
    SandboxTest::TearDown();
}

void SimulatorSandboxTest::StoreLocation(const std::wstring& title, const std::wstring& location,
                                         const std::wstring& version) {
    RegistryKey store(RegistryHive::LocalMachine,
                      L"Software\\Kestrane\\Ferrymark\\Simulators\\" + title, false);
    store.WriteString(L"InstallLocation", location);
    store.WriteString(L"Version", version);
}

void SimulatorSandboxTest::ClearSimulatorKeys() {
    const std::pair<const wchar_t*, const wchar_t*> trees[] = {
        {L"Software\\Kestrane\\Ferrymark", L"Simulators"},
        {L"Software\\Microsoft\\Microsoft Games", L"Flight Simulator"},
        {L"Software", L"LockheedMartin"},
        {L"Software", L"Lockheed Martin"},
    };
    for (RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser}) {
        for (bool wow32 : {false, true}) {
            for (const auto& [parent, child] : trees) {
                reg::KeyHandle key = reg::OpenKey(hive, parent, wow32, false);
                if (key == nullptr)
                    continue;
                reg::DeleteTree(key, child);
                reg::CloseKey(key);
            }
        }
    }
}
