// The program's only top-level window: the simulators in a list (double-click
// to set a location), the targetable ones in a combo box, the button that
// activates or deactivates the chosen target, and the menu.
#pragma once

#include "app/logger.h"
#include "app/registry_key.h"
#include "engine/switch_target.h"
#include "simulators/generic_simulator.h"
#include "ui/button.h"
#include "ui/combo_box.h"
#include "ui/dialog.h"
#include "ui/list_view.h"
#include "ui/theme.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class MainDialog : public Dialog, private SwitchHost {
public:
    // The entry function hands in its update framework as the parameter "updates".
    MainDialog();

    INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

    // The greeting of the first start, over the shown dialog; FirstRun is written
    // once it has been dismissed.
    void GreetOnFirstRun();

    void InitDialog(HWND window);
    void RefreshTargets();
    void UpdateTargetState(const std::wstring& title, bool active) override;
    LRESULT HandleListDraw(NMLVCUSTOMDRAW* drawInfo);
    bool SwitchTarget(std::wstring title, bool activate);

private:
    void HandleCommand(WORD command);
    void PressTargetButton();
    void EditSimulator(const NMITEMACTIVATE& activation);

    // What the switching sequence needs of the dialog.
    const std::vector<std::shared_ptr<GenericSimulator>>& Simulators() const override {
        return simulators;
    }
    RegistryKey& Settings() override { return settings; }
    std::wstring RecordedTargetTitle() const override { return targetTitle; }
    void SetTargetActive(bool active) override { targetActive = active; }
    void ShowError(const std::wstring& text, const std::wstring& caption) override;
    const Logger& Log() const override { return log; }

    Logger log;
    Theme theme;
    ListView simulatorList;
    ComboBox targetCombo;
    Button targetButton;
    std::map<SimulatorKind, std::uint16_t> bitmapIds;
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
    std::wstring notInstalledText = L"(not installed)";
    RegistryKey settings;
    // TargetTitle as read when the dialog started; nothing else writes it.
    std::wstring targetTitle;
    bool targetActive;
};
