// A sandbox that also clears the registry keys the simulator records use: the
// program's store of simulators and each simulator's own keys, in both views.
#pragma once

#include "support/sandbox.h"

class SimulatorSandboxTest : public SandboxTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Writes the stored location (and version) of a simulator, as its dialog does.
    static void StoreLocation(const std::wstring& title, const std::wstring& location,
                              const std::wstring& version = L"");

private:
    static void ClearSimulatorKeys();
};
