// The one operation that moves the whole machine into the active state or back:
// every simulator but the target is disabled towards it, or every simulator is
// restored. It runs without a window; what it needs from the main dialog reaches
// it through SwitchHost.
#pragma once

#include "app/logger.h"
#include "app/registry_key.h"
#include "simulators/generic_simulator.h"

#include <memory>
#include <string>
#include <vector>

// The main dialog's side of a switch; tests fill it without a window.
class SwitchHost {
public:
    // The records, FSX then Prepar3D v1 to v5: the order of every walk.
    virtual const std::vector<std::shared_ptr<GenericSimulator>>& Simulators() const = 0;
    // The program's settings key.
    virtual RegistryKey& Settings() = 0;
    // The target title as it was recorded when the dialog started.
    virtual std::wstring RecordedTargetTitle() const = 0;
    // The dialog's own record of the state.
    virtual void SetTargetActive(bool active) = 0;
    // A message box owned by the main dialog, with the error icon.
    virtual void ShowError(const std::wstring& text, const std::wstring& caption) = 0;
    // Brings the target controls and the list into the new state.
    virtual void UpdateTargetState(const std::wstring& title, bool active) = 0;
    // The dialog's log channel.
    virtual const Logger& Log() const = 0;

protected:
    ~SwitchHost() = default;
};

// Activates the simulator titled `title` as the target, or deactivates. True when
// the sequence ran to its end; false when a simulator in use or a failed rotation
// of the backups stopped it, after a message box and before anything changed. A
// failure inside one simulator's operations is logged there and the sequence goes
// on; an exception from them passes through unhandled.
bool SwitchTarget(SwitchHost& host, std::wstring title, bool activate);
