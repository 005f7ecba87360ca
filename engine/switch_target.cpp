#include "engine/switch_target.h"

#include "app/machine.h"
#include "app/paths.h"
#include "app/rotation.h"
#include "app/text.h"
#include "platform/system.h"

namespace {

// The backup folder's stem, for the rotation and for the folder handed to Backup.
const wchar_t kBackupStem[] = L"backup";
constexpr std::uint32_t kDefaultBackupLimit = 10;

} // namespace

bool SwitchTarget(SwitchHost& host, std::wstring title, bool activate) {
    const Logger& log = host.Log();
    log.Info((activate ? L"Activating " : L"Deactivating ") + title);
    const std::vector<std::shared_ptr<GenericSimulator>>& simulators = host.Simulators();

    // Nothing may be held while folders move. On activation the target recorded
    // at start is exempt, not the one asked for now; titles compare exactly.
    const std::wstring recordedTarget = host.RecordedTargetTitle();
    for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
        if (activate && simulator->GetTitle() == recordedTarget)
            continue;
        if (simulator->IsInUse()) {
            const std::wstring name = simulator->GetTitle();
            log.Error(FormatWide(L"%s is in use", name.c_str()));
            host.ShowError(FormatWide(L"%s files are in use.\nClose all open files and running "
                                      L"programs and try again.",
                                      name.c_str()),
                           L"Files in use");
            return false;
        }
    }

    if (activate) {
        RegistryKey& settings = host.Settings();
        const std::wstring backupBase = settings.ReadString(L"BackupRoot", GetDataFolder());
        const auto limit =
            static_cast<std::int32_t>(settings.ReadDword(L"BackupLimit", kDefaultBackupLimit));
        // Earlier backups move on to numbered names; the rotation logs its own reason.
        if (!RotateNumbered(backupBase, kBackupStem, L"", limit)) {
            host.ShowError(L"Cannot activate: failed to create backups.", L"Backup error");
            return false;
        }
        const std::wstring backupRoot = PathJoin(backupBase, kBackupStem);
        for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
            if (simulator->HasLocation())
                simulator->Backup(backupRoot);
        }

        // The target is prepared before anything points at it.
        std::shared_ptr<GenericSimulator> target;
        for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
            if (simulator->GetTitle() == title) {
                target = simulator;
                target->Activate();
                break;
            }
        }
        // A simulator without a location is disabled too: Disable decides itself.
        for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
            if (simulator != target)
                simulator->Disable(target);
        }
    } else {
        // One simulator is finished before the next is begun.
        for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
            simulator->Restore();
            simulator->Deactivate();
        }
    }

    // The state changes only once every simulator has been worked on, so a run that
    // is cut short leaves the old state recorded.
    host.SetTargetActive(activate);
    RegistryKey& settings = host.Settings();
    settings.WriteDword(L"TargetActive", activate ? 1 : 0);
    // Also on deactivation: the last target comes back preselected.
    settings.WriteString(L"TargetTitle", title);
    host.UpdateTargetState(title, activate);
    platform::NotifyShellOfChanges();
    log.Info((activate ? L"Finished activating " : L"Finished deactivating ") + title);
    return true;
}
