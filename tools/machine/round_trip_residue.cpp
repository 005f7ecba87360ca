#include "tools/machine/round_trip_residue.h"

#include "app/constants.h"
#include "app/machine.h"
#include "app/paths.h"

bool IsBelow(const std::wstring& item, const std::wstring& folder) {
    return item.size() > folder.size() && item.compare(0, folder.size(), folder) == 0 &&
           item[folder.size()] == L'\\';
}

std::vector<ResidueItem> RoundTripResidue(const GenericSimulator& target) {
    const std::wstring dataFolder = GetDataFolder();
    const std::wstring backupRoot = PathJoin(dataFolder, L"backup");
    const std::wstring settings = std::wstring(L"HKLM64\\") + kSettingsKey;
    const std::wstring programData = target.GetFolder(ProgramData);
    const std::wstring roaming = target.GetFolder(RoamingAppData);
    return {
        {"the backup tree keeps the configuration copies, and the rotation keeps it, and the trees "
         "of runs before it under numbered names, for later runs",
         [=](const Difference& d) {
             // The rotation moves an earlier tree on to "backup1" and so on, and a
             // fresh tree holds the copies of this run only.
             std::wstring tree = d.item.substr(0, d.item.find(L'\\', backupRoot.size()));
             const bool rotated = IsBelow(tree, dataFolder) && tree.compare(0, backupRoot.size(), backupRoot) == 0 &&
                                  tree.find_first_not_of(L"0123456789", backupRoot.size()) == std::wstring::npos;
             return (d.kind == Difference::Added && (IsBelow(dataFolder, d.item) || d.item == dataFolder)) ||
                    rotated;
         }},
        {"the target's launch lists were made sound, and what an add-on adds to them must stay",
         [=](const Difference& d) {
             const std::wstring leaf = PathLastComponent(d.item);
             return d.kind != Difference::Removed && (leaf == L"dll.xml" || leaf == L"exe.xml") &&
                    (PathParent(d.item) == programData || PathParent(d.item) == roaming);
         }},
        {"the keys that held the moved Uninstall entries stay behind, empty",
         [=](const Difference& d) {
             const std::wstring leaf = PathLastComponent(d.item);
             return d.kind == Difference::Added && d.after == L"key" &&
                    IsBelow(d.item, settings + L"\\Simulators") &&
                    (leaf == L"Uninstall32" || leaf == L"Uninstall64");
         }},
        {"the state is recorded, and the last target comes back preselected",
         [=](const Difference& d) {
             return d.item == settings + L"|TargetActive" || d.item == settings + L"|TargetTitle";
         }},
    };
}

std::vector<Difference> Unexplained(const MachineSnapshot& before, const GenericSimulator& target,
                                    const std::vector<ResidueItem>& extra) {
    std::vector<ResidueItem> residue = RoundTripResidue(target);
    residue.insert(residue.end(), extra.begin(), extra.end());
    std::vector<Difference> unexplained;
    for (const Difference& difference : DiffSnapshots(before, TakeSnapshot())) {
        bool allowed = false;
        for (const ResidueItem& item : residue)
            allowed = allowed || item.allows(difference);
        if (!allowed)
            unexplained.push_back(difference);
    }
    return unexplained;
}
