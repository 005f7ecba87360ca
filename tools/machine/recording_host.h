// The main dialog's side of a switch without a window: what the dialog reads at
// its start (the records, the recorded target and state) and what it would show
// (the boxes, the target controls' updates), recorded. The tests, the crash sweep
// and the benchmark all switch through it.
#pragma once

#include "app/logger.h"
#include "app/registry_key.h"
#include "engine/switch_target.h"

#include <memory>
#include <string>
#include <vector>

class RecordingHost final : public SwitchHost {
public:
    // Reads TargetTitle and TargetActive from the settings key, as a start does.
    RecordingHost();

    const std::vector<std::shared_ptr<GenericSimulator>>& Simulators() const override { return simulators; }
    RegistryKey& Settings() override { return settings; }
    std::wstring RecordedTargetTitle() const override { return recordedTitle; }
    void SetTargetActive(bool state) override { active = state; }
    void ShowError(const std::wstring& text, const std::wstring& caption) override {
        boxes.push_back(caption + L": " + text);
    }
    void UpdateTargetState(const std::wstring& title, bool state) override {
        updates.push_back(title + (state ? L" active" : L" inactive"));
    }
    const Logger& Log() const override { return channel; }

    // The record of that title; raises std::out_of_range for an unknown one.
    GenericSimulator& Record(const std::wstring& title) const;

    RegistryKey settings;
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
    std::wstring recordedTitle;
    bool active;
    std::vector<std::wstring> boxes;    // "caption: text"
    std::vector<std::wstring> updates;  // "Prepar3D v4 active"
    Logger channel;
};
