#include "tools/machine/six_simulator_machine.h"

#include "app/machine.h"
#include "app/paths.h"
#include "engine/backup.h"
#include "platform/fs.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "simulators/catalogue.h"
#include "simulators/prepar3d.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>

namespace reg = platform::registry;

const wchar_t* const SixSimulatorMachine::kUninstallKey =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

namespace {

const wchar_t* const kStoreKey = L"Software\\Kestrane\\Ferrymark";
const wchar_t* const kInstallShieldBase = L"InstallShield Installation Information";
// The add-on with an InstallShield folder: installed into Prepar3D v5 by a
// 32-bit installer, so its entry stands in the 32-bit view.
const wchar_t* const kInstallShieldGuid = L"{6F7A2C19-3B84-4E1D-9A52-0C8D7E4B1F36}";
const wchar_t* const kInstallShieldTitle = L"Prepar3D v5";

struct Installation {
    bool programFiles64;     // under Program Files rather than Program Files (x86)
    const wchar_t* folder;   // below it
    const wchar_t* version;  // file version of the program and the version file
    const wchar_t* publisher;
    const wchar_t* displayName;
};

// In the order of the catalogue: FSX, Prepar3D v1 to v5.
const Installation kInstallations[] = {
    {false, L"Microsoft Games\\Microsoft Flight Simulator X", L"10.0.61637.0",
     L"Microsoft Game Studios", L"Microsoft Flight Simulator X"},
    {false, L"Lockheed Martin\\Prepar3D", L"1.4.4747.0", L"Lockheed Martin", L"Prepar3D"},
    {false, L"Lockheed Martin\\Prepar3D v2", L"2.5.12945.0", L"Lockheed Martin", L"Prepar3D v2"},
    {false, L"Lockheed Martin\\Prepar3D v3", L"3.4.22.19868", L"Lockheed Martin", L"Prepar3D v3"},
    {true, L"Lockheed Martin\\Prepar3D v4", L"4.5.14.34698", L"Lockheed Martin", L"Prepar3D v4"},
    {true, L"Lockheed Martin\\Prepar3D v5", L"5.3.17.28160", L"Lockheed Martin", L"Prepar3D v5"},
};

// Programs that have nothing to do with any simulator.
struct Unrelated {
    bool wow32;
    const wchar_t* name;
    const wchar_t* publisher;
    const wchar_t* folder;  // below Program Files of the view; empty: no InstallLocation
};
const Unrelated kUnrelated[] = {
    {false, L"7-Zip", L"Igor Pavlov", L"7-Zip"},
    {false, L"Runtime Redistributable x64", L"Microsoft Corporation", L""},
    {true, L"Notepad++", L"Notepad++ Team", L"Notepad++"},
    {true, L"Runtime Redistributable x86", L"Microsoft Corporation", L""},
};

// The files a real installation keeps in a slot folder besides the ones made up
// from the backup patterns.
std::vector<std::wstring> RealFileNames(const GenericSimulator& record, SimulatorFolder slot) {
    const auto* prepar3d = dynamic_cast<const Prepar3D*>(&record);
    std::vector<std::wstring> names;
    if (prepar3d != nullptr) {
        // The targets of the file links, all but the last of each list, so that a
        // link without a real file is also met.
        for (const auto& [pair, files] : prepar3d->GetFileLinks())
            if (pair.second == slot && !files.empty())
                names.insert(names.end(), files.begin(), files.end() - 1);
    }
    if (slot == ProgramData && prepar3d == nullptr)
        names.insert(names.end(), {L"scenery.cfg", L"terrain.cfg", L"display.cfg"});
    if (slot == RoamingAppData) {
        names.insert(names.end(), {L"dll.xml", L"exe.xml"});
        names.push_back(prepar3d == nullptr ? L"fsx.cfg" : L"Prepar3D.cfg");
        if (prepar3d == nullptr)
            names.push_back(L"Cameras.cfg");
    }
    return names;
}

std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (wchar_t c : text)
        narrow += c < 0x80 ? static_cast<char>(c) : '?';
    return narrow;
}

// The bytes of a fixture image, read once.
const std::string& FixtureBytes(const std::wstring& name) {
    static std::map<std::wstring, std::string> cache;
    auto found = cache.find(name);
    if (found != cache.end())
        return found->second;
    const std::string path = std::string(FERRYMARK_MACHINE_FIXTURES) + "/" + Narrow(name);
    std::ifstream in(path, std::ios::binary);
    std::string bytes;
    char piece[4096];
    while (in.read(piece, sizeof piece) || in.gcount() > 0)
        bytes.append(piece, static_cast<std::size_t>(in.gcount()));
    if (bytes.empty())
        throw std::runtime_error("the simulator image " + path + " is missing or empty");
    return cache.emplace(name, std::move(bytes)).first->second;
}

bool KeyIsEmpty(reg::KeyHandle key) {
    std::uint32_t subKeys = 0;
    if (reg::QueryInfo(key, &subKeys, nullptr, nullptr) != reg::kSuccess || subKeys != 0)
        return false;
    wchar_t name[256];
    std::uint32_t length = 256;
    std::uint32_t size = 0;
    const reg::Status status = reg::EnumValue(key, 0, name, &length, nullptr, nullptr, &size);
    return status == reg::kNoMoreItems;
}

// Deletes the key `path` with everything below it, if it is there.
void DeleteKeyTree(RegistryHive hive, const std::wstring& path, bool wow32) {
    reg::KeyHandle parent = reg::OpenKey(hive, PathParent(path), wow32, false);
    if (parent == nullptr)
        return;
    reg::DeleteTree(parent, PathLastComponent(path));
    reg::CloseKey(parent);
}

// Deletes the key `path` when it has neither subkeys nor values.
void DeleteKeyIfEmpty(RegistryHive hive, const std::wstring& path, bool wow32) {
    reg::KeyHandle key = reg::OpenKey(hive, path, wow32, false);
    if (key == nullptr)
        return;
    const bool empty = KeyIsEmpty(key);
    reg::CloseKey(key);
    if (empty)
        DeleteKeyTree(hive, path, wow32);
}

// Removes an item with everything below it, links not followed, and its backup.
void RemoveWithBackup(const std::wstring& path) {
    platform::RemoveTree(path);
    platform::RemoveTree(GetBackupPath(path));
}

// Removes the folder when it is empty and names a simulator maker's folder, which
// only the simulators' installers make.
void RemoveMakerFolderIfEmpty(const std::wstring& path) {
    const std::wstring name = PathLastComponent(path);
    if (name != L"Lockheed Martin" && name != L"LockheedMartin" && name != L"Microsoft Games" &&
        name != kInstallShieldBase)
        return;
    if (platform::IsFolder(path) && !platform::IsSymbolicLink(path) && platform::IsFolderEmpty(path))
        platform::RemoveItem(path);
}

} // namespace

SixSimulatorMachine::SixSimulatorMachine(MachineSizes machineSizes) : sizes(machineSizes) {
    const auto records = CreateSimulators();
    const std::wstring programFiles = GetKnownFolder(KnownFolder::ProgramFiles);
    const std::wstring programFilesX86 = GetKnownFolder(KnownFolder::ProgramFilesX86);
    for (std::size_t at = 0; at < records.size(); ++at) {
        const Installation& installation = kInstallations[at];
        const GenericSimulator& record = *records[at];
        InstalledSimulator simulator;
        simulator.title = record.GetTitle();
        simulator.location = PathJoin(installation.programFiles64 ? programFiles : programFilesX86,
                                      installation.folder);
        simulator.version = installation.version;
        for (bool wow32 : {true, false}) {
            for (int i = 1; i <= sizes.uninstallEntries; ++i) {
                const std::wstring name = L"Addon Works " + record.ShortName() + L" " +
                                          std::to_wstring(i) + (wow32 ? L" x86" : L" x64");
                (wow32 ? simulator.addonEntries32 : simulator.addonEntries64).push_back(name);
            }
        }
        if (simulator.title == kInstallShieldTitle) {
            installShieldEntry = kInstallShieldGuid;
            installShieldSimulator = simulator.title;
            simulator.addonEntries32.push_back(installShieldEntry);
        }
        (record.Is32Bit() ? others32 : others64).push_back(simulator.title);
        simulators.push_back(simulator);
    }
    for (const Unrelated& unrelated : kUnrelated)
        (unrelated.wow32 ? others32 : others64).push_back(unrelated.name);
}

const InstalledSimulator& SixSimulatorMachine::Simulator(const std::wstring& title) const {
    for (const InstalledSimulator& simulator : simulators)
        if (simulator.title == title)
            return simulator;
    throw std::out_of_range("no simulator of that title on the machine");
}

void SixSimulatorMachine::Relocate(const std::wstring& title, const std::wstring& location) {
    for (InstalledSimulator& simulator : simulators)
        if (simulator.title == title)
            simulator.location = location;
}

std::wstring SixSimulatorMachine::InstallShieldFolder() const {
    return PathJoin(PathJoin(GetKnownFolder(KnownFolder::ProgramFilesX86), kInstallShieldBase),
                    installShieldEntry);
}

void SixSimulatorMachine::Install(bool storeLocations) {
    const auto records = CreateSimulators();
    for (std::size_t at = 0; at < records.size(); ++at) {
        const GenericSimulator& record = *records[at];
        const InstalledSimulator& simulator = simulators[at];
        InstallSimulator(record, simulator);
        for (SimulatorFolder slot : record.Folders())
            InstallSlotFolder(record, slot, record.GetFolder(slot));
        if (storeLocations) {
            const std::wstring store = std::wstring(kStoreKey) + L"\\Simulators\\" + simulator.title;
            MakeKey(RegistryHive::LocalMachine, store, false);
            RegistryKey key(RegistryHive::LocalMachine, store, false);
            key.WriteString(L"InstallLocation", simulator.location);
            key.WriteString(L"Version", simulator.version);
        }
    }
    InstallUninstallEntries();
}

void SixSimulatorMachine::InstallSimulator(const GenericSimulator& record,
                                           const InstalledSimulator& simulator) {
    const std::wstring& location = simulator.location;
    MakeFolders(location);
    CopyFixture(simulator.version + L".exe", PathJoin(location, record.Executable()));
    CopyFixture(simulator.version + L".dll", PathJoin(location, record.VersionFile()));
    WriteFiller(PathJoin(location, record.MarkerFile()));
    InstallSlotFolder(record, Root, location);
    for (const auto* names : {&simulator.addonEntries32, &simulator.addonEntries64}) {
        for (const std::wstring& name : *names) {
            const std::wstring folder = PathJoin(location, name);
            MakeFolders(folder);
            WriteFiller(PathJoin(folder, L"addon.bgl"));
        }
    }

    // The simulator's own values, as the simulator's installer leaves them, in
    // the view of the simulator's width.
    const bool wow32 = record.Is32Bit();
    const std::wstring withBackslash = location + L"\\";
    std::vector<std::wstring> machineKeys{record.RegistryKeyPath()};
    if (dynamic_cast<const Prepar3D*>(&record) != nullptr && record.GetKind() >= 4) {
        machineKeys.push_back(record.RegistryKeyPath() + L" Content");
        machineKeys.push_back(record.RegistryKeyPath() + L" Scenery");
    }
    for (const std::wstring& path : machineKeys) {
        MakeKey(RegistryHive::LocalMachine, path, wow32);
        RegistryKey machine(RegistryHive::LocalMachine, path, wow32);
        machine.WriteString(L"SetupPath", withBackslash);
        if (dynamic_cast<const Prepar3D*>(&record) == nullptr)
            machine.WriteDword(L"LangID", 1033);
    }
    MakeKey(RegistryHive::CurrentUser, record.RegistryKeyPath(), wow32);
    RegistryKey user(RegistryHive::CurrentUser, record.RegistryKeyPath(), wow32);
    user.WriteString(L"AppPath", withBackslash);
    if (dynamic_cast<const Prepar3D*>(&record) != nullptr)
        user.WriteDword(L"Installed", 1);
}

void SixSimulatorMachine::InstallSlotFolder(const GenericSimulator& record, SimulatorFolder slot,
                                            const std::wstring& folder) {
    MakeFolders(folder);
    const auto patterns = record.BackupPatterns().find(slot);
    if (patterns != record.BackupPatterns().end()) {
        for (const std::wstring& pattern : patterns->second) {
            if (pattern.rfind(L"*.", 0) != 0) {
                WriteFiller(PathJoin(folder, pattern));  // a plain name: logbook.bin
                continue;
            }
            for (int i = 1; i <= sizes.configFiles; ++i)
                WriteFiller(PathJoin(folder, L"Settings " + std::to_wstring(i) + pattern.substr(1)));
        }
    }
    for (const std::wstring& name : RealFileNames(record, slot))
        WriteFiller(PathJoin(folder, name));
    if (slot == UserPictures)
        WriteFiller(PathJoin(folder, L"Screenshot 1.jpg"));

    // Content in subfolders, under names that no backup pattern matches.
    const std::wstring subfolders[] = {
        slot == Root ? L"Scenery\\World\\scenery" : L"Content",
        slot == Root ? L"SimObjects\\Airplanes\\Default" : L"Content\\More"};
    for (int i = 1; i <= sizes.contentFiles; ++i) {
        const std::wstring sub = PathJoin(folder, subfolders[i % 2]);
        MakeFolders(sub);
        WriteFiller(PathJoin(sub, L"Item " + std::to_wstring(i) + L".bgl"));
    }
}

void SixSimulatorMachine::InstallUninstallEntries() {
    const auto records = CreateSimulators();
    for (std::size_t at = 0; at < records.size(); ++at) {
        const InstalledSimulator& simulator = simulators[at];
        const Installation& installation = kInstallations[at];
        // The simulator's own entry, never moved: its publisher is one of the makers.
        WriteUninstallEntry(records[at]->Is32Bit(), simulator.title, installation.displayName,
                            installation.publisher, simulator.location + L"\\",
                            simulator.version);
        for (bool wow32 : {true, false}) {
            int i = 0;
            for (const std::wstring& name : wow32 ? simulator.addonEntries32
                                                  : simulator.addonEntries64) {
                ++i;
                WriteUninstallEntry(wow32, name, name, L"Addon Works " + std::to_wstring(i),
                                    PathJoin(simulator.location, name),
                                    L"1." + std::to_wstring(i));
            }
        }
    }
    for (const Unrelated& unrelated : kUnrelated) {
        const std::wstring base = GetKnownFolder(unrelated.wow32 ? KnownFolder::ProgramFilesX86
                                                                 : KnownFolder::ProgramFiles);
        const std::wstring folder = *unrelated.folder != L'\0'
                                        ? PathJoin(base, unrelated.folder) + L"\\"
                                        : std::wstring();
        WriteUninstallEntry(unrelated.wow32, unrelated.name, unrelated.name, unrelated.publisher,
                            folder, L"19.0");
    }
    const std::wstring installShield = InstallShieldFolder();
    MakeFolders(installShield);
    WriteFiller(PathJoin(installShield, L"setup.ini"));
}

void SixSimulatorMachine::WriteUninstallEntry(bool wow32, const std::wstring& name,
                                              const std::wstring& displayName,
                                              const std::wstring& publisher,
                                              const std::wstring& location,
                                              const std::wstring& version) {
    const std::wstring path = std::wstring(kUninstallKey) + L"\\" + name;
    MakeKey(RegistryHive::LocalMachine, path, wow32);
    RegistryKey entry(RegistryHive::LocalMachine, path, wow32);
    entry.WriteString(L"DisplayName", displayName);
    entry.WriteString(L"Publisher", publisher);
    if (!location.empty()) {
        entry.WriteString(L"InstallLocation", location);
        entry.WriteString(L"UninstallString", L"\"" + PathJoin(location, L"uninstall.exe") + L"\"");
    } else {
        entry.WriteString(L"UninstallString", L"MsiExec.exe /X" + name);
    }
    entry.WriteString(L"DisplayVersion", version);
}

void SixSimulatorMachine::Remove() {
    const auto records = CreateSimulators();
    for (std::size_t at = 0; at < records.size(); ++at) {
        const GenericSimulator& record = *records[at];
        RemoveWithBackup(simulators[at].location);
        RemoveMakerFolderIfEmpty(PathParent(simulators[at].location));
        for (SimulatorFolder slot : record.Folders()) {
            RemoveWithBackup(record.GetFolder(slot));
            RemoveMakerFolderIfEmpty(PathParent(record.GetFolder(slot)));
        }
        for (RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser}) {
            for (bool wow32 : {false, true}) {
                DeleteKeyTree(hive, record.RegistryKeyPath(), wow32);
                DeleteKeyTree(hive, record.RegistryKeyPath() + L" Content", wow32);
                DeleteKeyTree(hive, record.RegistryKeyPath() + L" Scenery", wow32);
                // The makers' keys above, up to Software or Software\Microsoft.
                for (std::wstring parent = PathParent(record.RegistryKeyPath());
                     PathParent(parent) != L"" && parent != L"Software\\Microsoft";
                     parent = PathParent(parent))
                    DeleteKeyIfEmpty(hive, parent, wow32);
            }
        }
    }
    RemoveWithBackup(InstallShieldFolder());
    RemoveMakerFolderIfEmpty(PathParent(InstallShieldFolder()));
    // The program's data folder and the company folder above it.
    platform::RemoveTree(PathParent(GetDataFolder()));

    std::vector<std::wstring> entries = others32;
    entries.insert(entries.end(), others64.begin(), others64.end());
    for (const InstalledSimulator& simulator : simulators) {
        entries.insert(entries.end(), simulator.addonEntries32.begin(), simulator.addonEntries32.end());
        entries.insert(entries.end(), simulator.addonEntries64.begin(), simulator.addonEntries64.end());
    }
    for (const std::wstring& name : entries)
        for (bool wow32 : {false, true})
            DeleteKeyTree(RegistryHive::LocalMachine, std::wstring(kUninstallKey) + L"\\" + name,
                          wow32);
    DeleteKeyTree(RegistryHive::LocalMachine, kStoreKey, false);
    DeleteKeyIfEmpty(RegistryHive::LocalMachine, PathParent(kStoreKey), false);

    // What Install had to create on the way, deepest first, where nothing is left in it.
    for (auto key = createdKeys.rbegin(); key != createdKeys.rend(); ++key)
        DeleteKeyIfEmpty(key->hive, key->path, key->wow32);
    for (auto folder = createdFolders.rbegin(); folder != createdFolders.rend(); ++folder)
        if (platform::IsFolder(*folder) && !platform::IsSymbolicLink(*folder) &&
            platform::IsFolderEmpty(*folder))
            platform::RemoveItem(*folder);
    createdKeys.clear();
    createdFolders.clear();
}

void SixSimulatorMachine::MakeFolders(const std::wstring& path) {
    std::vector<std::wstring> missing;
    for (std::wstring at = path; !at.empty() && !platform::Exists(at); at = PathParent(at)) {
        missing.push_back(at);
        if (PathParent(at) == at)
            break;
    }
    if (platform::CreateFolders(path).Failed())
        throw std::runtime_error("cannot create the folder " + Narrow(path));
    for (auto created = missing.rbegin(); created != missing.rend(); ++created)
        if (std::find(createdFolders.begin(), createdFolders.end(), *created) == createdFolders.end())
            createdFolders.push_back(*created);
}

void SixSimulatorMachine::WriteFile(const std::wstring& path, const std::string& bytes) {
    platform::SharedOutputFile file(path);
    if (!file.IsOpen())
        throw std::runtime_error("cannot write the file " + Narrow(path));
    file.Write(bytes.data(), bytes.size());
}

void SixSimulatorMachine::WriteFiller(const std::wstring& path) {
    const std::string line = Narrow(path) + "\n";
    std::string bytes;
    bytes.reserve(sizes.fileBytes);
    while (bytes.size() < sizes.fileBytes)
        bytes += line;
    bytes.resize(sizes.fileBytes);
    WriteFile(path, bytes);
}

void SixSimulatorMachine::CopyFixture(const std::wstring& fixtureName, const std::wstring& path) {
    WriteFile(path, FixtureBytes(fixtureName));
}

void SixSimulatorMachine::MakeKey(RegistryHive hive, const std::wstring& path, bool wow32) {
    std::vector<std::wstring> missing;
    for (std::wstring at = path; !at.empty() && !RegistryKey::Exists(hive, at, wow32);
         at = PathParent(at))
        missing.push_back(at);
    for (auto created = missing.rbegin(); created != missing.rend(); ++created) {
        const bool known = std::any_of(createdKeys.begin(), createdKeys.end(), [&](const CreatedKey& key) {
            return key.hive == hive && key.wow32 == wow32 && key.path == *created;
        });
        if (!known)
            createdKeys.push_back({hive, *created, wow32});
    }
    RegistryKey key(hive, path, wow32);
    if (!key.IsOpen())
        throw std::runtime_error("cannot create the key " + Narrow(path));
}
