// A PC with the six simulators installed as a real one has them: install folders
// with their programs and versioned files, the data and user folders of every
// slot, the simulators' own registry values, and Uninstall entries of add-ons,
// of the simulators themselves and of unrelated programs. Built over the platform
// seam alone, so that it stands the same on both builds; the tests, the demo and
// the benchmark all use it.
#pragma once

#include "app/registry_key.h"
#include "simulators/generic_simulator.h"

#include <cstddef>
#include <string>
#include <vector>

struct MachineSizes {
    int contentFiles = 3;      // other content files per slot folder and in each install folder
    int configFiles = 2;       // files per slot matching each backup pattern family
    int uninstallEntries = 2;  // add-on Uninstall entries per simulator and per view
    std::size_t fileBytes = 128;
};

struct InstalledSimulator {
    std::wstring title;          // "Prepar3D v4"
    std::wstring location;       // install folder, without a closing backslash
    std::wstring version;        // "4.5.14.34698"
    std::vector<std::wstring> addonEntries32, addonEntries64;  // its moved-able Uninstall entries
};

class SixSimulatorMachine {
public:
    explicit SixSimulatorMachine(MachineSizes sizes = {});

    // Installs the six simulators. With storeLocations the program's own store
    // (HKLM 64-bit Software\Kestrane\Ferrymark\Simulators\<title>, InstallLocation
    // and Version) names each install folder, as after the user confirmed them.
    void Install(bool storeLocations);
    // Installs the simulator of that title into `location` instead of its usual
    // folder: a user's own choice, another drive, a deep or non-ASCII path. Only
    // before Install.
    void Relocate(const std::wstring& title, const std::wstring& location);

    // Takes away everything Install put down and everything a switch may leave:
    // backups beside the items, links, the program's data folder and key, moved
    // Uninstall entries. Folders and keys that Install had to create on the way
    // go too when they are empty again.
    void Remove();

    const MachineSizes& Sizes() const { return sizes; }
    // FSX, then Prepar3D v1 to v5.
    const std::vector<InstalledSimulator>& Simulators() const { return simulators; }
    // Raises std::out_of_range for an unknown title.
    const InstalledSimulator& Simulator(const std::wstring& title) const;

    // The other Uninstall entries in one view (wow32 true: the 32-bit view): the
    // simulators' own, which are never moved, and unrelated programs elsewhere.
    const std::vector<std::wstring>& OtherUninstallEntries(bool wow32) const {
        return wow32 ? others32 : others64;
    }
    // The add-on entry with an InstallShield folder: its name (a GUID in braces),
    // the simulator it is installed into, its view, and the folder.
    const std::wstring& InstallShieldEntry() const { return installShieldEntry; }
    const std::wstring& InstallShieldSimulator() const { return installShieldSimulator; }
    bool InstallShieldWow32() const { return true; }
    std::wstring InstallShieldFolder() const;

    static const wchar_t* const kUninstallKey;

private:
    struct CreatedKey {
        RegistryHive hive;
        std::wstring path;
        bool wow32;
    };

    void InstallSimulator(const GenericSimulator& record, const InstalledSimulator& simulator);
    void InstallSlotFolder(const GenericSimulator& record, SimulatorFolder slot, const std::wstring& folder);
    void InstallUninstallEntries();
    void WriteUninstallEntry(bool wow32, const std::wstring& name, const std::wstring& displayName,
                             const std::wstring& publisher, const std::wstring& location,
                             const std::wstring& version);

    // Creates a folder and records the ones that did not exist before.
    void MakeFolders(const std::wstring& path);
    void WriteFile(const std::wstring& path, const std::string& bytes);
    // A file of fileBytes bytes whose content follows from its path.
    void WriteFiller(const std::wstring& path);
    void CopyFixture(const std::wstring& fixtureName, const std::wstring& path);
    // Opens a key with creation and records the keys that did not exist before.
    void MakeKey(RegistryHive hive, const std::wstring& path, bool wow32);

    MachineSizes sizes;
    std::vector<InstalledSimulator> simulators;
    std::vector<std::wstring> others32, others64;
    std::wstring installShieldEntry;
    std::wstring installShieldSimulator;
    std::vector<std::wstring> createdFolders;
    std::vector<CreatedKey> createdKeys;
};
