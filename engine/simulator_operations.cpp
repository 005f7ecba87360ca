// Backup, Disable and Restore, shared by every simulator.
#include "simulators/generic_simulator.h"

#include "app/constants.h"
#include "app/link_check.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "app/text.h"
#include "engine/backup.h"
#include "engine/links.h"
#include "engine/registry_backup.h"
#include "engine/embedded_resources.h"
#include "platform/fs.h"
#include "resources/resource.h"

std::wstring GenericSimulator::UninstallBackupKey(bool wow32) const {
    return FormatWide(wow32 ? L"%s\\Simulators\\%s\\Uninstall32" : L"%s\\Simulators\\%s\\Uninstall64",
                      kSettingsKey, title.c_str());
}

bool GenericSimulator::Backup(std::wstring backupRoot) {
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"backup", true));
    // The tree stands in the backup base folder; nothing below that is written
    // through a link.
    const std::wstring base = PathParent(backupRoot);
    for (const auto& [slot, patterns] : backupPatterns) {
        const std::wstring source = GetFolder(slot);
        if (!platform::Exists(source))
            continue;
        for (const std::wstring& pattern : patterns) {
            const std::vector<std::wstring> matches = ListFiles(PathJoin(source, pattern));
            if (matches.empty())
                continue;
            const std::wstring destination =
                PathJoin(PathJoin(backupRoot, title), GetFolderName(slot));
            platform::SystemError made;
            if (RefuseLinkOnTheWay(base, destination))
                made = LinkRefusal();
            else if (!platform::Exists(destination))
                made = platform::CreateFolders(destination);
            if (made.Failed()) {
                Logger::Write(Logger::ErrorLevel,
                              FailureText(L"create folder", destination, made.text));
                continue;
            }
            for (const std::wstring& match : matches) {
                const std::wstring copy = PathJoin(destination, PathLastComponent(match));
                Logger::Write(Logger::TraceLevel, L"Copying " + match + L" -> " + copy);
                // A copy that is already there is an error and stays as it is.
                const platform::SystemError failure =
                    RefuseLinkOnTheWay(base, copy) ? LinkRefusal()
                                                   : platform::CopyFileTo(match, copy, false);
                if (failure.Failed())
                    Logger::Write(Logger::ErrorLevel,
                                  FailureText(L"copy file folder", match, failure.text));
            }
        }
    }
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"backup", false));
    return true;
}

bool GenericSimulator::Disable(std::shared_ptr<GenericSimulator> target) {
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"disable", true));
    // Without a target there is nothing to stand for: nothing is touched.
    if (!target) {
        Logger::Write(Logger::WarnLevel, L"No target to disable towards");
        return false;
    }
    if (target->GetKind() == kind)
        return false;

    // The simulator's own registry values name the target's folder from now on.
    SetLocation(target->GetLocation(true));

    // Also a simulator that was never configured gets its folders linked, so that
    // an installer looking for it is served the target just the same.
    for (SimulatorFolder slot : folders) {
        const std::wstring path = GetFolder(slot);
        if (!FolderBackup(path, false)) {
            Logger::Write(Logger::WarnLevel, L"Unable to back up " + path);
            continue;
        }
        const std::wstring linkTarget = target->GetFolder(slot);
        if (!linkTarget.empty())
            CreateDirectoryLink(path, linkTarget);
    }

    if (HasLocation()) {
        const std::wstring program = GetFolder(RootExecutable);
        if (FileBackup(program, false))
            ExtractResource(IDR_LAUNCHER_STUB, program, platform::ResourceType::RcData);
        else
            Logger::Write(Logger::WarnLevel, L"Failed to disable " + program);
        // The entries of what is installed in this simulator's own folder.
        const std::wstring location = GetLocation(true);
        RegistryBackup(RegistryHive::LocalMachine, UninstallBackupKey(true), location, true);
        RegistryBackup(RegistryHive::LocalMachine, UninstallBackupKey(false), location, false);
    }
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"disable", false));
    return true;
}

bool GenericSimulator::Restore() {
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"restore", true));
    // Without a location this clears the values that Disable pointed at the target.
    SetLocation(GetLocation(true));
    // Each item is restored as far as its backup shows it was set aside.
    for (SimulatorFolder slot : folders)
        FolderRestore(GetFolder(slot), false);
    if (HasLocation()) {
        // The stub must give way, so the file restore overwrites; the target's
        // executable was never replaced and has no backup.
        const std::wstring program = GetFolder(RootExecutable);
        if (platform::Exists(GetBackupPath(program)))
            FileRestore(program, true);
        RegistryRestore(RegistryHive::LocalMachine, UninstallBackupKey(true), true);
        RegistryRestore(RegistryHive::LocalMachine, UninstallBackupKey(false), false);
    }
    Logger::Write(Logger::InfoLevel, OperationBanner(title, L"restore", false));
    return true;
}
