// The small modal dialog in which the user says where one simulator is installed,
// changes that location or takes the simulator off the list. It validates the
// folder, reads the version from it and stores both; it moves nothing.
#pragma once

#include "app/logger.h"
#include "simulators/generic_simulator.h"
#include "ui/dialog.h"
#include "ui/theme.h"

#include <string>

class SimulatorDialog : public Dialog {
public:
    // The creator hands in the simulator as the parameter "sim".
    SimulatorDialog();

    INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

private:
    INT_PTR InitDialog(HWND window);
    INT_PTR ColorStatic(HDC context, HWND control);
    void Browse();
    void Apply();
    void Remove();
    // Control 802 as it stands.
    std::wstring LocationText() const;

    Logger log;
    Theme theme;
    GenericSimulator* simulator = nullptr;
};
