// The record of one flight simulator that the program knows by name: what it is
// called, where its registry key and files are, how its install folder is
// recognised, and the operations the engine performs on it. A record holds no
// run-time state: location, version and activation state live in the registry
// and the file system, and every query reads them again.
#pragma once

#include "app/logger.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Tells the simulators apart and orders them by age. No class has kind 1.
using SimulatorKind = std::int32_t;

enum SimulatorFolder : std::int32_t {
    ProgramData = 0,
    LocalAppData = 1,
    RoamingAppData = 2,
    UserFiles = 3,
    UserAddons = 4,
    UserPictures = 5,
    Root = 6,
    RootExecutable = 7,
};

class GenericSimulator {
public:
    GenericSimulator(const GenericSimulator&) = delete;
    GenericSimulator& operator=(const GenericSimulator&) = delete;

    // The operations of the engine, in their fixed slot order.

    // Points the simulator's own registry values at `location`, or clears them.
    virtual bool SetLocation(std::wstring location);
    // True when the simulator runs or one of its folders, or their backups, is held.
    virtual bool IsInUse();
    // Copies the small configuration files of each slot into
    // backupRoot\<title>\<slot name>, flat. A safety copy that is never read back.
    virtual bool Backup(std::wstring backupRoot);
    // Makes this simulator stand for `target`: its registry values name the
    // target's folder, its folders are set aside and linked to the target's, its
    // executable is set aside and replaced by the launcher stub, and its add-ons'
    // Uninstall entries move into the program's key. False, with nothing changed,
    // for the target's own kind.
    virtual bool Disable(std::shared_ptr<GenericSimulator> target);
    // Undoes Disable as far as the backups on disk and in the registry show it done.
    virtual bool Restore();
    // Prepares the simulator as the target; nothing to do here.
    virtual bool Activate();
    // Undoes Activate; nothing to do here.
    virtual bool Deactivate();

    SimulatorKind GetKind() const { return kind; }
    std::wstring GetTitle() const { return title; }
    bool Is32Bit() const { return bitness == 32; }
    bool HasLocation() const;
    bool IsTargetable() const;

    std::wstring GetFolder(SimulatorFolder slot) const;
    static std::wstring GetFolderName(SimulatorFolder slot);
    std::wstring GetLocation(bool stored) const;
    std::wstring GetVersion(bool stored, std::wstring location) const;
    std::int32_t GetBuildNumber(bool stored) const;
    bool VerifyFolder(std::wstring path) const;

    // The constants of the record, for the engine and the tests.
    const std::wstring& ShortName() const { return shortName; }
    std::uint32_t Bitness() const { return bitness; }
    bool Targetable() const { return targetable; }
    const std::wstring& RegistryKeyPath() const { return registryKey; }
    const std::wstring& RegistryValue() const { return registryValue; }
    const std::wstring& VersionFile() const { return versionFile; }
    const std::wstring& MarkerFile() const { return markerFile; }
    const std::wstring& DataFolder() const { return dataFolder; }
    const std::wstring& UserFolder() const { return userFolder; }
    const std::wstring& Executable() const { return executable; }
    std::uint32_t SimBaseVersion() const { return simBaseVersion; }
    const std::vector<SimulatorFolder>& Folders() const { return folders; }
    const std::map<SimulatorFolder, std::vector<std::wstring>>& BackupPatterns() const {
        return backupPatterns;
    }

protected:
    GenericSimulator() = default;
    // Records are deleted through their concrete class: the shared pointers that
    // hold them are made from the concrete type, so no virtual destructor is needed.
    ~GenericSimulator() = default;

    void Initialize(SimulatorKind kind, std::wstring shortName, std::uint32_t bitness,
                    bool targetable, std::wstring title, std::wstring registryKey,
                    std::wstring registryValue, std::wstring versionFile, std::wstring markerFile,
                    std::wstring dataFolder, std::wstring userFolder, std::wstring executable,
                    std::uint32_t simBaseVersion, std::vector<SimulatorFolder> folders);

    // The key of this simulator in the program's own store.
    std::wstring StoreKeyPath() const;
    // Where Disable keeps the Uninstall entries of one registry view.
    std::wstring UninstallBackupKey(bool wow32) const;
    // The location with one closing backslash, unless it is empty.
    static std::wstring WithClosingBackslash(const std::wstring& location);

    Logger logger;
    SimulatorKind kind = 0;
    std::wstring shortName;
    std::uint32_t bitness = 0;
    bool targetable = false;
    std::wstring title;
    std::wstring registryKey;
    std::wstring registryValue;
    std::wstring versionFile;
    std::wstring markerFile;
    std::wstring dataFolder;
    std::wstring userFolder;
    std::wstring executable;
    std::uint32_t simBaseVersion = 0;
    std::vector<SimulatorFolder> folders;
    std::map<SimulatorFolder, std::vector<std::wstring>> backupPatterns;
};
