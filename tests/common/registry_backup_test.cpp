// Moving Uninstall entries aside and back, on the SQLite store of the native build
// and on Wine's own registry with its two views. The entries are throwaway ones
// named after the test; whatever a test leaves in the machine's Uninstall keys or
// in the InstallShield folder is removed before and after it.
#include "app/logger.h"
#include "app/machine.h"
#include "app/paths.h"
#include "engine/backup.h"
#include "engine/registry_backup.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace reg = platform::registry;

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const wchar_t kUninstall[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const wchar_t kPrefix[] = L"FerrymarkTest.";
const wchar_t kAbsent[] = L"<absent>";

TEST(PathsOverlapTest, AgreeUpToTheShorterWithoutRegardToCase) {
    EXPECT_TRUE(PathsOverlap(L"C:\\Sims\\P3D", L"c:\\sims\\p3d\\"));
    EXPECT_TRUE(PathsOverlap(L"C:\\", L"C:\\Sims\\P3D")) << "a bare drive overlaps";
    EXPECT_TRUE(PathsOverlap(L"C:\\Sims\\P3D v4 Addon", L"C:\\Sims\\P3D"));
    EXPECT_FALSE(PathsOverlap(L"C:\\Sims\\FSX", L"C:\\Sims\\P3D"));
    EXPECT_FALSE(PathsOverlap(L"D:\\Sims\\P3D", L"C:\\Sims\\P3D"));
    EXPECT_FALSE(PathsOverlap(L"", L"C:\\Sims"));
    EXPECT_FALSE(PathsOverlap(L"C:\\Sims", L""));
}

class RegistryBackupTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        installShield = PathJoin(GetKnownFolder(KnownFolder::ProgramFilesX86),
                                 L"InstallShield Installation Information");
        hadInstallShield = platform::Exists(installShield);
        backup32 = KeyPath() + L"\\Simulators\\Test Sim\\Uninstall32";
        backup64 = KeyPath() + L"\\Simulators\\Test Sim\\Uninstall64";
        logPath = InFolder(L"log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"TRACE");
        Clean();
    }
    void TearDown() override {
        Logger::Instance().close();
        Logger::SetLevel(L"Info");
        Clean();
        if (!hadInstallShield && platform::Exists(installShield) &&
            platform::IsFolderEmpty(installShield))
            platform::RemoveItem(installShield);
        SandboxTest::TearDown();
    }

    // The test's own entries in both views of the Uninstall key, and their
    // InstallShield folders with the backups of those.
    void Clean() {
        for (bool wow32 : {false, true}) {
            reg::KeyHandle uninstall = reg::OpenKey(HKLM, kUninstall, wow32, false);
            if (uninstall == nullptr)
                continue;
            for (const std::wstring& name : RegistryKey(HKLM, kUninstall, wow32).SubKeys())
                if (name.rfind(kPrefix, 0) == 0)
                    reg::DeleteTree(uninstall, name);
            reg::CloseKey(uninstall);
        }
        const std::wstring shieldFolder = PathJoin(installShield, Name(L"Shielded"));
        platform::RemoveTree(shieldFolder);
        platform::RemoveTree(GetBackupPath(shieldFolder));
    }

    static std::wstring Name(const std::wstring& suffix) {
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string test = info->name();
        return kPrefix + std::wstring(test.begin(), test.end()) + L"." + suffix;
    }
    static std::wstring Live(const std::wstring& name) {
        return std::wstring(kUninstall) + L"\\" + name;
    }

    // A live entry with a marker value and a subkey of its own.
    static void Entry(const std::wstring& name, bool wow32, const std::wstring& installLocation,
                      const std::wstring& publisher = L"Add-on Maker") {
        RegistryKey entry(HKLM, Live(name), wow32);
        ASSERT_TRUE(entry.IsOpen());
        if (!installLocation.empty())
            entry.WriteString(L"InstallLocation", installLocation);
        entry.WriteString(L"Publisher", publisher);
        entry.WriteString(L"Marker", L"moved");
        RegistryKey part(HKLM, Live(name) + L"\\Parts", wow32);
        part.WriteDword(L"Count", 3);
    }

    static std::wstring Read(const std::wstring& path, bool wow32, const std::wstring& value) {
        if (!RegistryKey::Exists(HKLM, path, wow32))
            return L"<no key>";
        return RegistryKey(HKLM, path, wow32).ReadString(value, kAbsent);
    }
    static std::wstring In(const std::wstring& backup, const std::wstring& name) {
        return backup + L"\\" + name;
    }

    // True when the log holds `text` at `level` (a level name, then the gap before the text).
    bool Logged(const std::string& level, const std::wstring& text) const {
        return ReadFile(logPath).find(level + "    " + std::string(text.begin(), text.end())) !=
               std::string::npos;
    }

    const std::wstring location = L"Q:\\Ferrymark Tests\\Sim";
    std::wstring installShield;
    bool hadInstallShield = false;
    std::wstring backup32;
    std::wstring backup64;
    std::wstring logPath;
};

TEST_F(RegistryBackupTest, BackupMovesOverlappingEntriesOfEachViewButNotTheSimulatorMakers) {
    const std::wstring addon = Name(L"Addon"), drive = Name(L"Drive"), caps = Name(L"Caps"),
                       studios = Name(L"Studios"), lockheed = Name(L"Lockheed"),
                       noLocation = Name(L"NoLocation"), elsewhere = Name(L"Elsewhere"),
                       addon32 = Name(L"Addon32");
    Entry(addon, false, L"q:\\ferrymark tests\\sim\\");
    Entry(drive, false, L"Q:\\");
    Entry(caps, false, location, L"LOCKHEED MARTIN");
    Entry(studios, false, location, L"Microsoft Game Studios");
    Entry(lockheed, false, location, L"Lockheed Martin");
    Entry(noLocation, false, L"");
    Entry(elsewhere, false, L"Q:\\Other\\Sim");
    Entry(addon32, true, location);
    const std::wstring addonTime = RegistryKey(HKLM, Live(addon), false).LastWriteTimeText();
    const std::wstring addon32Time = RegistryKey(HKLM, Live(addon32), true).LastWriteTimeText();

    // An empty location reads every entry and moves none.
    EXPECT_TRUE(RegistryBackup(HKLM, backup64, L"", false));
    EXPECT_EQ(Read(Live(addon), false, L"Marker"), L"moved");
    // A second later, so that a time stamp taken after the move would differ.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));

    EXPECT_TRUE(RegistryBackup(HKLM, backup32, location, true));
    EXPECT_TRUE(RegistryBackup(HKLM, backup64, location, false));

    for (const std::wstring& name : {addon, drive, caps}) {
        EXPECT_FALSE(RegistryKey::Exists(HKLM, Live(name), false)) << "still live";
        EXPECT_EQ(Read(In(backup64, name), false, L"Marker"), L"moved");
        EXPECT_EQ(RegistryKey(HKLM, In(backup64, name) + L"\\Parts", false).ReadDword(L"Count", 0),
                  3u)
            << "subkeys move with the entry";
    }
    EXPECT_EQ(Read(In(backup64, addon), false, L"__LastModified"), addonTime);
    EXPECT_EQ(Read(In(backup32, addon32), false, L"__LastModified"), addon32Time);
    EXPECT_FALSE(RegistryKey::Exists(HKLM, Live(addon32), true));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, In(backup64, addon32), false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, backup32, true))
        << "a backup key lies in the 64-bit view whatever view its entries came from";

    for (const std::wstring& name : {studios, lockheed, noLocation, elsewhere}) {
        EXPECT_EQ(Read(Live(name), false, L"Marker"), L"moved");
        EXPECT_EQ(Read(Live(name), false, L"__LastModified"), kAbsent);
        EXPECT_FALSE(RegistryKey::Exists(HKLM, In(backup64, name), false));
    }
    EXPECT_TRUE(Logged("DEBUG", L"Backing up key " + addon + L" to " + In(backup64, addon)));
}

TEST_F(RegistryBackupTest, RestoreBringsEachEntryBackIntoItsOwnView) {
    const std::wstring addon = Name(L"Addon"), addon32 = Name(L"Addon32");
    Entry(addon, false, location);
    Entry(addon32, true, location);
    // Nothing to restore yet: the backup key is not created by looking.
    EXPECT_TRUE(RegistryRestore(HKLM, backup64, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, backup64, false));

    RegistryBackup(HKLM, backup32, location, true);
    RegistryBackup(HKLM, backup64, location, false);
    ASSERT_TRUE(RegistryKey::Exists(HKLM, In(backup32, addon32), false));
    EXPECT_TRUE(RegistryRestore(HKLM, backup32, true));
    EXPECT_TRUE(RegistryRestore(HKLM, backup64, false));

    EXPECT_EQ(Read(Live(addon), false, L"Marker"), L"moved");
    EXPECT_EQ(Read(Live(addon32), true, L"Marker"), L"moved");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, Live(addon), true));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, Live(addon32), false));
    EXPECT_EQ(RegistryKey(HKLM, Live(addon32) + L"\\Parts", true).ReadDword(L"Count", 0), 3u);
    EXPECT_EQ(Read(Live(addon), false, L"__LastModified"), kAbsent);
    EXPECT_EQ(Read(Live(addon32), true, L"__LastModified"), kAbsent);
    // The emptied backup keys stay.
    EXPECT_TRUE(RegistryKey(HKLM, backup32, false).SubKeys().empty());
    EXPECT_TRUE(RegistryKey::Exists(HKLM, backup64, false));
    EXPECT_TRUE(RegistryKey(HKLM, backup64, false).SubKeys().empty());
}

TEST_F(RegistryBackupTest, RestoreSkipsAnEntryWhoseLiveNamesakeIsAtLeastAsNew) {
    const std::wstring newer = Name(L"Newer"), same = Name(L"Same"),
                       unrecorded = Name(L"Unrecorded"), older = Name(L"Older"),
                       older32 = Name(L"Older32");
    for (const std::wstring& name : {newer, same, unrecorded, older})
        Entry(name, false, location);
    Entry(older32, true, location);
    RegistryBackup(HKLM, backup32, location, true);
    RegistryBackup(HKLM, backup64, location, false);

    // Namesakes written while the entries were away.
    for (const std::wstring& name : {newer, same, unrecorded, older}) {
        RegistryKey live(HKLM, Live(name), false);
        live.WriteString(L"Marker", L"live");
        live.WriteString(L"Extra", L"live");
    }
    {
        RegistryKey live32(HKLM, Live(older32), true);
        live32.WriteString(L"Marker", L"live");
        live32.WriteString(L"Extra", L"live");
        RegistryKey(HKLM, Live(older32), false).WriteString(L"Marker", L"64-bit namesake");
    }
    const std::wstring sameTime = RegistryKey(HKLM, Live(same), false).LastWriteTimeText();
    RegistryKey(HKLM, In(backup64, same), false).WriteString(L"__LastModified", sameTime);
    RegistryKey(HKLM, In(backup64, unrecorded), false).DeleteValue(L"__LastModified");
    RegistryKey(HKLM, In(backup64, older), false)
        .WriteString(L"__LastModified", L"9999-12-31 23:59:59");
    RegistryKey(HKLM, In(backup32, older32), false)
        .WriteString(L"__LastModified", L"9999-12-31 23:59:59");

    RegistryRestore(HKLM, backup32, true);
    RegistryRestore(HKLM, backup64, false);

    for (const std::wstring& name : {newer, same, unrecorded}) {
        EXPECT_EQ(Read(Live(name), false, L"Marker"), L"live") << "the live entry wins";
        EXPECT_EQ(Read(In(backup64, name), false, L"Marker"), L"moved") << "and the backup stays";
    }
    EXPECT_EQ(Read(In(backup64, newer), false, L"__LastModified").size(), 19u);

    // An older live entry is replaced as a whole in the 64-bit view.
    EXPECT_EQ(Read(Live(older), false, L"Marker"), L"moved");
    EXPECT_EQ(Read(Live(older), false, L"Extra"), kAbsent);
    EXPECT_EQ(Read(Live(older), false, L"__LastModified"), kAbsent);
    EXPECT_FALSE(RegistryKey::Exists(HKLM, In(backup64, older), false));
    // The clearing before the copy has no view: the 64-bit namesake goes, while
    // the 32-bit entry survives and the copy merges into it.
    EXPECT_FALSE(RegistryKey::Exists(HKLM, Live(older32), false));
    EXPECT_EQ(Read(Live(older32), true, L"Marker"), L"moved");
    EXPECT_EQ(Read(Live(older32), true, L"Extra"), L"live");
    EXPECT_EQ(Read(Live(older32), true, L"__LastModified"), kAbsent);
}

TEST_F(RegistryBackupTest, InstallShieldFolderGoesAsideAndComesBack) {
    const std::wstring shielded = Name(L"Shielded");
    const std::wstring shieldFolder = PathJoin(installShield, shielded);
    Entry(shielded, false, location);
    MakeFolder(shieldFolder);
    WriteFile(shieldFolder + L"\\setup.ilg", "log");

    RegistryBackup(HKLM, backup64, location, false);
    EXPECT_FALSE(platform::Exists(shieldFolder));
    EXPECT_EQ(ReadFile(GetBackupPath(shieldFolder) + L"\\setup.ilg"), "log");

    RegistryRestore(HKLM, backup64, false);
    EXPECT_EQ(ReadFile(shieldFolder + L"\\setup.ilg"), "log");
    EXPECT_FALSE(platform::Exists(GetBackupPath(shieldFolder)));
}

TEST_F(RegistryBackupTest, RenameRefusesAndMoveToStaysWhereItWas) {
    const std::wstring source = KeyPath() + L"\\Source", target = KeyPath() + L"\\Target";
    EXPECT_FALSE(Rename(HKLM, L"", false, HKLM, target, false, true));
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, L"", false, true));
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, target, false, true));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, target, false)) << "a missing source makes nothing";

    RegistryKey(HKLM, source, false).WriteString(L"Marker", L"source");
    RegistryKey(HKLM, target, false).WriteString(L"Old", L"target");
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, target, false, false));
    EXPECT_EQ(Read(source, false, L"Marker"), L"source");
    EXPECT_EQ(Read(target, false, L"Old"), L"target");

    {
        RegistryKey key(HKLM, source, false);
        EXPECT_TRUE(key.MoveTo(HKLM, target, false, true));
        EXPECT_EQ(key.Path(), target);
        EXPECT_EQ(key.ReadString(L"Marker", kAbsent), L"source") << "the object follows the key";
    }
    EXPECT_FALSE(RegistryKey::Exists(HKLM, source, false));
    EXPECT_EQ(Read(target, false, L"Old"), kAbsent) << "the destination tree was replaced";

    // A forward slash splits the name wrongly: the source is copied but not
    // deleted, and the object is open again on its old key.
    const std::wstring slashed = KeyPath() + L"\\Flight/Sim";
    RegistryKey key(HKLM, slashed, false);
    key.WriteString(L"Marker", L"slashed");
    EXPECT_FALSE(key.MoveTo(HKLM, KeyPath() + L"\\Moved", false, true));
    EXPECT_EQ(key.Path(), slashed);
    EXPECT_TRUE(key.IsOpen());
    EXPECT_EQ(key.ReadString(L"Marker", kAbsent), L"slashed");
    EXPECT_EQ(Read(KeyPath() + L"\\Moved", false, L"Marker"), L"slashed") << "both trees stand";

    EXPECT_TRUE(Logged("WARN", L"Source key does not exist"));
    EXPECT_TRUE(Logged("DEBUG", L"Destination key exists, but overwriting is not allowed"));
    EXPECT_TRUE(Logged("WARN", L"Failed to delete registry tree " + slashed));
}

} // namespace
