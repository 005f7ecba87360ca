// The main dialog's side of the switch, recorded, over the six-simulator machine:
// the fixture of the tests that switch a whole machine.
#pragma once

#include "app/constants.h"
#include "app/paths.h"
#include "engine/switch_target.h"
#include "simulators/catalogue.h"
#include "support/other_process.h"
#include "support/sandbox.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

inline const RegistryHive HKLM = RegistryHive::LocalMachine;

inline std::wstring Uninstall(const std::wstring& name) {
    return PathJoin(SixSimulatorMachine::kUninstallKey, name);
}

// The box that a simulator in use brings up, as the fixture records it.
inline std::wstring InUseBox(const std::wstring& title) {
    return L"Files in use: " + title +
           L" files are in use.\nClose all open files and running programs and try again.";
}

class SwitchTest : public SandboxTest, public SwitchHost {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        machine.Remove();
        machine.Install(true);
        OpenLog();
        logFile = InFolder(L"log.txt");
        settings.emplace(HKLM, kSettingsKey, false);
        simulators = CreateSimulators();
        channel.SetName(L"MAINDLG");
        links = !other_process::RunningUnderWine();
    }
    void TearDown() override {
        settings.reset();
        machine.Remove();
        SandboxTest::TearDown();
    }
    const std::vector<std::shared_ptr<GenericSimulator>>& Simulators() const override {
        return simulators;
    }
    RegistryKey& Settings() override { return *settings; }
    std::wstring RecordedTargetTitle() const override { return recorded; }
    void SetTargetActive(bool active) override { targetActive = active; }
    void ShowError(const std::wstring& text, const std::wstring& caption) override {
        boxes.push_back(caption + L": " + text);
    }
    void UpdateTargetState(const std::wstring& title, bool active) override {
        updates.push_back(title + (active ? L" active" : L" inactive"));
    }
    const Logger& Log() const override { return channel; }

    std::shared_ptr<GenericSimulator> Record(const std::wstring& title) const {
        for (const auto& simulator : simulators)
            if (simulator->GetTitle() == title)
                return simulator;
        throw std::out_of_range("no such simulator");
    }
    static std::wstring State(const MachineSnapshot& snapshot, const std::wstring& path) {
        const auto found = snapshot.files.find(path);
        return found == snapshot.files.end() ? L"(nothing)" : found->second.state;
    }
    // The first file below `folder` in the snapshot; empty when there is none.
    static std::wstring FileBelow(const MachineSnapshot& snapshot, const std::wstring& folder) {
        for (const auto& [path, entry] : snapshot.files)
            if (IsBelow(path, folder) && entry.state.rfind(L"file ", 0) == 0)
                return path;
        return {};
    }
    // Only the log changed.
    void ExpectUnchangedSince(const MachineSnapshot& before) {
        for (const Difference& difference : DiffSnapshots(before, TakeSnapshot()))
            if (difference.item != logFile)
                ADD_FAILURE() << Narrow(Describe(difference));
    }
    // Every difference since `before` is the round trip's residue for `target`,
    // this test's log, or one of `extra`; anything else is a loss. Says which
    // items of residue showed.
    std::vector<bool> ExpectOnlyResidue(const MachineSnapshot& before, const GenericSimulator& target,
                                        std::vector<ResidueItem> extra = {}) {
        std::vector<ResidueItem> residue = RoundTripResidue(target);
        residue.push_back({"the program's log", [&](const Difference& d) { return d.item == logFile; }});
        residue.insert(residue.end(), extra.begin(), extra.end());
        std::vector<bool> seen(residue.size(), false);
        for (const Difference& difference : DiffSnapshots(before, TakeSnapshot())) {
            bool allowed = false;
            for (std::size_t at = 0; at < residue.size() && !allowed; ++at)
                if (residue[at].allows(difference))
                    allowed = seen[at] = true;
            EXPECT_TRUE(allowed) << "not documented residue: " << Narrow(Describe(difference));
        }
        return seen;
    }

    SixSimulatorMachine machine;
    std::wstring logFile;
    std::optional<RegistryKey> settings;
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
    std::wstring recorded;
    bool targetActive = false;
    std::vector<std::wstring> boxes, updates;
    Logger channel;
    bool links = true;
};
