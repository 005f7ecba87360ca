#include "engine/registry_backup.h"

#include "app/logger.h"
#include "app/machine.h"
#include "app/paths.h"
#include "app/text.h"
#include "engine/backup.h"
#include "platform/fs.h"

#include <algorithm>
#include <vector>

namespace {

const wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const wchar_t kBackupEntryPrefix[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const wchar_t kRestoreEntryPrefix[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const wchar_t kLastModified[] = L"__LastModified";
const wchar_t kInstallShieldFolder[] = L"InstallShield Installation Information";

std::wstring InstallShieldBase() {
    return PathJoin(GetKnownFolder(KnownFolder::ProgramFilesX86), kInstallShieldFolder);
}

} // namespace

bool PathsOverlap(const std::wstring& first, const std::wstring& second) {
    if (first.empty() || second.empty())
        return false;
    const std::size_t length = std::min(first.size(), second.size());
    return EqualsIgnoringCase(first.substr(0, length), second.substr(0, length));
}

bool RegistryBackup(RegistryHive backupHive, std::wstring backupPath, std::wstring location,
                    bool wow32) {
    Logger::Write(Logger::Trace,
                  L"RegistryBackup " + location + (wow32 ? L" (32 bit)" : L" (64 bit)"));
    const std::wstring installShield = InstallShieldBase();

    // The names are taken before anything moves: each move changes the listing.
    const std::vector<std::wstring> names =
        RegistryKey(RegistryHive::LocalMachine, kUninstallKey, wow32).SubKeys();
    for (const std::wstring& name : names) {
        RegistryKey entry(RegistryHive::LocalMachine, kBackupEntryPrefix + name, wow32);
        const std::wstring installLocation = entry.ReadString(L"InstallLocation", L"");
        // Read as ever, though nothing below depends on it.
        const std::wstring uninstallString = entry.ReadString(L"UninstallString", L"");
        static_cast<void>(uninstallString);
        const std::wstring publisher = entry.ReadString(L"Publisher", L"");

        // The simulators' own entries stay where they are.
        if (publisher == L"Microsoft Game Studios" || publisher == L"Lockheed Martin" ||
            location.empty() || !PathsOverlap(installLocation, location))
            continue;

        const std::wstring entryBackupPath = backupPath + L"\\" + name;
        Logger::Write(Logger::DebugLevel, L"Backing up key " + name + L" to " + entryBackupPath);
        const std::wstring lastModified = entry.LastWriteTimeText();
        if (!entry.MoveTo(backupHive, entryBackupPath, false, true)) {
            Logger::Write(Logger::WarnLevel, L"Unable to back up the key");
            continue;
        }
        entry.WriteString(kLastModified, lastModified);

        const std::wstring folder = PathJoin(installShield, name);
        if (platform::Exists(folder)) {
            Logger::Write(Logger::DebugLevel, L"Disabling InstallShield folder " + folder);
            FolderBackup(folder, true);
        }
    }
    return true;
}

bool RegistryRestore(RegistryHive backupHive, std::wstring backupPath, bool wow32) {
    Logger::Write(Logger::Trace, L"RegistryRestore");
    const std::wstring installShield = InstallShieldBase();
    if (!RegistryKey::Exists(backupHive, backupPath, false))
        return true;

    std::vector<std::wstring> names;
    {
        RegistryKey backup(backupHive, backupPath, false);
        names = backup.SubKeys();
    }
    for (const std::wstring& name : names) {
        const std::wstring entryBackupPath = backupPath + L"\\" + name;
        const std::wstring livePath = kRestoreEntryPrefix + name;
        RegistryKey entry(backupHive, entryBackupPath, false);

        if (RegistryKey::Exists(RegistryHive::LocalMachine, livePath, wow32)) {
            std::wstring liveTime;
            {
                RegistryKey live(RegistryHive::LocalMachine, livePath, wow32);
                liveTime = live.LastWriteTimeText();
            }
            // Fixed-width UTC texts: the string order is the order of the times.
            // A live entry at least as new as the moved one wins, and the moved
            // one stays in the backup key.
            if (entry.ReadString(kLastModified, L"") <= liveTime)
                continue;
        }

        Logger::Write(Logger::DebugLevel, L"Restoring key " + name + L" from " + entryBackupPath);
        if (!entry.MoveTo(RegistryHive::LocalMachine, livePath, wow32, true)) {
            Logger::Write(Logger::WarnLevel, L"Unable to restore the key");
            continue;
        }
        entry.DeleteValue(kLastModified);
        FolderRestore(PathJoin(installShield, name), true);
    }
    return true;
}
