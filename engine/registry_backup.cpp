#include "engine/registry_backup.h"

#include "app/constants.h"
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

// The same values (names without regard to case, types and bytes, leaving out
// "__LastModified") and the same subkeys, all the way down.
bool SameEntry(const RegistryKey& first, const RegistryKey& second) {
    const auto values = [](const RegistryKey& key) {
        std::vector<RegistryValue> kept = key.Values();
        kept.erase(std::remove_if(kept.begin(), kept.end(),
                                  [](const RegistryValue& value) {
                                      return EqualsIgnoringCase(value.name, kLastModified);
                                  }),
                   kept.end());
        return kept;
    };
    const std::vector<RegistryValue> mine = values(first);
    const std::vector<RegistryValue> theirs = values(second);
    const bool sameValues =
        mine.size() == theirs.size() &&
        std::all_of(mine.begin(), mine.end(), [&](const RegistryValue& value) {
            return std::any_of(theirs.begin(), theirs.end(), [&](const RegistryValue& other) {
                return EqualsIgnoringCase(value.name, other.name) && value.type == other.type &&
                       value.data == other.data;
            });
        });
    const std::vector<std::wstring> names = first.SubKeys();
    if (!sameValues || names.size() != second.SubKeys().size())
        return false;
    return std::all_of(names.begin(), names.end(), [&](const std::wstring& name) {
        const std::wstring below = L"\\" + name;
        return RegistryKey::Exists(second.Hive(), second.Path() + below, second.Wow32()) &&
               SameEntry(RegistryKey(first.Hive(), first.Path() + below, first.Wow32()),
                         RegistryKey(second.Hive(), second.Path() + below, second.Wow32()));
    });
}

// An entry parked while its live namesake stands is weighed by its time alone,
// and the live one wins. Some such pairs are no contest but what a move that
// stopped half way left, and are settled here: true when the parked entry is to
// be moved back now.
// - A move back that stopped after making the live key leaves it empty, or a copy
//   that still holds the parked entry's "__LastModified" (a value only these moves
//   write): the parked entry is the real one.
// - A move out that stopped after its copy leaves the same entry in both places:
//   moving it back changes nothing live and leaves no stale copy in our key.
// - A move out that stopped before its copy leaves an empty parked key, which
//   holds nothing to restore and is removed.
bool SettleParkedEntry(RegistryHive backupHive, const std::wstring& backupPath,
                       const std::wstring& name, const RegistryKey& entry,
                       const RegistryKey& live) {
    if (entry.IsEmpty()) {
        Logger::Write(Logger::InfoLevel, L"Removing empty key left by an interrupted move " +
                                             backupPath + L"\\" + name);
        RegistryKey parent(backupHive, backupPath, false);
        platform::registry::DeleteTree(parent.Handle(), name);
        return false;
    }
    const std::wstring recorded = entry.ReadString(kLastModified, L"");
    const bool cutOnTheWayBack =
        live.IsEmpty() || (!recorded.empty() && live.ReadString(kLastModified, L"") == recorded);
    if (!cutOnTheWayBack && !SameEntry(entry, live))
        return false;
    Logger::Write(Logger::InfoLevel, L"Completing interrupted restore of key " + name);
    return true;
}

// True while the recorded state says active: a deactivation that the user starts
// from the main window, and the only one that meets what a stopped one left.
bool RecordedActive() {
    return RegistryKey::Exists(RegistryHive::LocalMachine, kSettingsKey, false) &&
           RegistryKey(RegistryHive::LocalMachine, kSettingsKey, false)
                   .ReadDword(L"TargetActive", 0) != 0;
}

// A move back that stopped after its key moved leaves "__LastModified" in the live
// entry, or its InstallShield folder under its backup name, with nothing parked
// that names them. Entries still parked by any simulator are left to their own
// restore.
void FinishRestoredEntries(RegistryHive backupHive, const std::wstring& backupPath, bool wow32,
                           const std::wstring& installShield) {
    const std::wstring simulatorsPath = PathParent(PathParent(backupPath));
    const std::wstring view = PathLastComponent(backupPath);
    std::vector<std::wstring> simulators;
    {
        RegistryKey all(backupHive, simulatorsPath, false);
        simulators = all.SubKeys();
    }
    const auto parked = [&](const std::wstring& name) {
        return std::any_of(simulators.begin(), simulators.end(), [&](const std::wstring& title) {
            return RegistryKey::Exists(
                backupHive, simulatorsPath + L"\\" + title + L"\\" + view + L"\\" + name, false);
        });
    };
    const std::vector<std::wstring> names =
        RegistryKey(RegistryHive::LocalMachine, kUninstallKey, wow32).SubKeys();
    for (const std::wstring& name : names) {
        RegistryKey live(RegistryHive::LocalMachine, kRestoreEntryPrefix + name, wow32);
        const bool marked = !live.ReadString(kLastModified, L"").empty();
        const std::wstring folder = PathJoin(installShield, name);
        const bool folderAside =
            !platform::Exists(folder) && platform::Exists(GetBackupPath(folder));
        if ((!marked && !folderAside) || parked(name))
            continue;
        if (marked) {
            Logger::Write(Logger::InfoLevel,
                          L"Removing __LastModified left in restored key " + name);
            live.DeleteValue(kLastModified);
        }
        if (folderAside) {
            Logger::Write(Logger::InfoLevel,
                          L"Restoring InstallShield folder left aside " + folder);
            FolderRestore(folder, true);
        }
    }
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
    Logger::Write(Logger::TraceLevel,
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
    Logger::Write(Logger::TraceLevel, L"RegistryRestore");
    const std::wstring installShield = InstallShieldBase();
    if (!RegistryKey::Exists(backupHive, backupPath, false))
        return true;

    std::vector<std::wstring> names;
    {
        RegistryKey backup(backupHive, backupPath, false);
        names = backup.SubKeys();
    }
    const bool completing = RecordedActive();
    for (const std::wstring& name : names) {
        const std::wstring entryBackupPath = backupPath + L"\\" + name;
        const std::wstring livePath = kRestoreEntryPrefix + name;
        RegistryKey entry(backupHive, entryBackupPath, false);

        if (RegistryKey::Exists(RegistryHive::LocalMachine, livePath, wow32)) {
            bool liveWins = false;
            {
                // Closed before the move, which deletes the live tree.
                RegistryKey live(RegistryHive::LocalMachine, livePath, wow32);
                // Fixed-width UTC texts: the string order is the order of the times.
                // A live entry at least as new as the moved one wins, and the moved
                // one stays in the backup key.
                liveWins =
                    entry.ReadString(kLastModified, L"") <= live.LastWriteTimeText() &&
                    !(completing && SettleParkedEntry(backupHive, backupPath, name, entry, live));
            }
            if (liveWins)
                continue;
        }

        Logger::Write(Logger::DebugLevel, L"Restoring key " + name + L" from " + entryBackupPath);
        if (!entry.MoveTo(RegistryHive::LocalMachine, livePath, wow32, true)) {
            Logger::Write(Logger::WarnLevel, L"Unable to restore the key");
            continue;
        }
        entry.DeleteValue(kLastModified);
        // A folder that stands without a backup beside it was never set aside (the
        // move out stopped between the entry and its folder): it is the add-on's
        // own and stays.
        const std::wstring folder = PathJoin(installShield, name);
        if (platform::Exists(folder) && !platform::Exists(GetBackupPath(folder))) {
            Logger::Write(Logger::InfoLevel,
                          L"Keeping InstallShield folder that was never set aside " + folder);
            continue;
        }
        FolderRestore(folder, true);
    }
    if (completing)
        FinishRestoredEntries(backupHive, backupPath, wow32, installShield);
    return true;
}
