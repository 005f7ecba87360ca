#include "simulators/generic_simulator.h"

#include "app/constants.h"
#include "app/machine.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "app/text.h"
#include "engine/backup.h"
#include "platform/fs.h"

void GenericSimulator::Initialize(SimulatorKind newKind, std::wstring newShortName,
                                  std::uint32_t newBitness, bool newTargetable,
                                  std::wstring newTitle, std::wstring newRegistryKey,
                                  std::wstring newRegistryValue, std::wstring newVersionFile,
                                  std::wstring newMarkerFile, std::wstring newDataFolder,
                                  std::wstring newUserFolder, std::wstring newExecutable,
                                  std::uint32_t newSimBaseVersion,
                                  std::vector<SimulatorFolder> newFolders) {
    kind = newKind;
    shortName = std::move(newShortName);
    bitness = newBitness;
    targetable = newTargetable;
    title = std::move(newTitle);
    registryKey = std::move(newRegistryKey);
    registryValue = std::move(newRegistryValue);
    versionFile = std::move(newVersionFile);
    markerFile = std::move(newMarkerFile);
    dataFolder = std::move(newDataFolder);
    userFolder = std::move(newUserFolder);
    executable = std::move(newExecutable);
    simBaseVersion = newSimBaseVersion;
    folders = std::move(newFolders);
    // The files that a backup copies, the same for every simulator.
    backupPatterns = {
        {ProgramData, {L"*.cfg"}},
        {LocalAppData, {L"*.fxml", L"*.wx"}},
        {RoamingAppData, {L"*.cfg", L"*.xml", L"*.bin"}},
        {UserFiles,
         {L"*.cfg", L"*.xml", L"*.pln", L"*.fxml", L"*.flt", L"*.wx", L"*.fssave", L"logbook.bin",
          L"SimConnect.ini"}},
        {Root, {L"*.cfg", L"*.xml"}},
    };
    logger.SetName(shortName);
}

bool GenericSimulator::SetLocation(std::wstring) {
    return true;
}

bool GenericSimulator::Activate() {
    return true;
}

bool GenericSimulator::Deactivate() {
    return true;
}

bool GenericSimulator::HasLocation() const {
    return !GetLocation(true).empty();
}

bool GenericSimulator::IsTargetable() const {
    return HasLocation() && targetable;
}

std::wstring GenericSimulator::StoreKeyPath() const {
    return FormatWide(L"%s\\Simulators\\%s", kSettingsKey, title.c_str());
}

std::wstring GenericSimulator::WithClosingBackslash(const std::wstring& location) {
    if (location.empty() || location.back() == L'\\')
        return location;
    return location + L"\\";
}

std::wstring GenericSimulator::GetFolderName(SimulatorFolder slot) {
    switch (slot) {
    case ProgramData:
        return L"ProgramData";
    case LocalAppData:
        return L"LocalAppData";
    case RoamingAppData:
        return L"RoamingAppData";
    case UserFiles:
        return L"UserFiles";
    case UserAddons:
        return L"UserAddons";
    case UserPictures:
        return L"UserPictures";
    case Root:
    case RootExecutable:
        return L"Root";
    }
    return L"";
}

std::wstring GenericSimulator::GetFolder(SimulatorFolder slot) const {
    // Plain concatenation: whether the folder exists is no concern here, and
    // nothing is cached, so every call asks the shell and the registry again.
    switch (slot) {
    case ProgramData:
        return GetKnownFolder(KnownFolder::ProgramData) + L"\\" + dataFolder;
    case LocalAppData:
        return GetKnownFolder(KnownFolder::LocalAppData) + L"\\" + dataFolder;
    case RoamingAppData:
        return GetKnownFolder(KnownFolder::RoamingAppData) + L"\\" + dataFolder;
    case UserFiles:
        return GetKnownFolder(KnownFolder::Documents) + L"\\" + userFolder + L" Files";
    case UserAddons:
        return GetKnownFolder(KnownFolder::Documents) + L"\\" + userFolder + L" Add-ons";
    case UserPictures:
        // The same suffix as UserFiles: the two differ by their known folder alone.
        return GetKnownFolder(KnownFolder::Pictures) + L"\\" + userFolder + L" Files";
    case Root:
        return GetLocation(true);
    case RootExecutable:
        return WithClosingBackslash(GetLocation(true)) + executable;
    }
    return L"";
}

std::wstring GenericSimulator::GetLocation(bool stored) const {
    if (stored) {
        // The program's own truth, never verified: a deleted folder is still returned.
        RegistryKey store(RegistryHive::LocalMachine, StoreKeyPath(), false);
        return store.ReadString(L"InstallLocation", L"");
    }
    // What the machine itself says, which while a target is active is the target's
    // folder and then fails the marker test.
    RegistryKey own(RegistryHive::LocalMachine, registryKey, Is32Bit());
    const std::wstring location = own.ReadString(registryValue, L"");
    return VerifyFolder(location) ? location : std::wstring();
}

bool GenericSimulator::VerifyFolder(std::wstring path) const {
    if (path.empty())
        return false;
    // Plain concatenation, even when the path already ends in a backslash.
    const std::wstring marker = path + L"\\" + markerFile;
    return platform::Exists(marker) && !platform::IsFolder(marker);
}

std::wstring GenericSimulator::GetVersion(bool stored, std::wstring location) const {
    if (stored) {
        RegistryKey store(RegistryHive::LocalMachine, StoreKeyPath(), false);
        return store.ReadString(L"Version", L"");
    }
    const std::wstring folder = location.empty() ? GetLocation(false) : location;
    return GetFileVersionText(PathJoin(folder, versionFile));
}

std::int32_t GenericSimulator::GetBuildNumber(bool stored) const {
    const std::vector<std::wstring> pieces = Split(GetVersion(stored, L""), L'.');
    if (pieces.size() != 4)
        return 0;
    // The leading digits of the fourth piece count; none gives 0.
    std::int64_t number = 0;
    for (wchar_t c : pieces[3]) {
        if (c < L'0' || c > L'9')
            break;
        number = number * 10 + (c - L'0');
        if (number > INT32_MAX)
            return INT32_MAX;
    }
    return static_cast<std::int32_t>(number);
}

bool GenericSimulator::IsInUse() {
    // The whole path is compared with the processes' bare file names, so for a
    // simulator with a location only its held folders show it running; without
    // one, any program of its executable's name counts.
    if (IsProcessRunning(GetFolder(RootExecutable), true)) {
        logger.Warn(L"Simulator is running.");
        return true;
    }
    for (SimulatorFolder slot : folders) {
        const std::wstring folder = GetFolder(slot);
        for (const std::wstring& path : {folder, GetBackupPath(folder)}) {
            if (::IsInUse(path)) {
                logger.Warn(L"Folder in use " + path);
                return true;
            }
        }
    }
    return false;
}
