// Uninstall entries moved aside and back, on the native SQLite store and on Wine's registry with
// its two views. Entries named with kPrefix and their InstallShield folder are cleaned up.
#include "app/machine.h"
#include "app/paths.h"
#include "engine/backup.h"
#include "engine/registry_backup.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <tuple>

namespace reg = platform::registry;

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const wchar_t kUninstall[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const wchar_t kPrefix[] = L"FerrymarkTest.";
const wchar_t kLocation[] = L"Q:\\Ferrymark Tests\\Sim";
const wchar_t kMaker[] = L"Add-on Maker";
const wchar_t kStamp[] = L"__LastModified";
const wchar_t kAbsent[] = L"<absent>";

class RegistryBackupTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        installShield = PathJoin(GetKnownFolder(KnownFolder::ProgramFilesX86),
                                 L"InstallShield Installation Information");
        hadInstallShield = platform::Exists(installShield);
        shield = PathJoin(installShield, kPrefix + std::wstring(L"Addon"));
        Clean();
    }
    void TearDown() override {
        Clean();
        if (!hadInstallShield && platform::Exists(installShield) &&
            platform::IsFolderEmpty(installShield))
            platform::RemoveItem(installShield);
        SandboxTest::TearDown();
    }
    void Clean() {
        for (bool wow32 : {false, true}) {
            const RegistryKey uninstall(HKLM, kUninstall, wow32);
            for (const std::wstring& name : uninstall.SubKeys())
                if (name.rfind(kPrefix, 0) == 0)
                    reg::DeleteTree(uninstall.Handle(), name);
        }
        platform::RemoveTree(shield);
        platform::RemoveTree(GetBackupPath(shield));
    }
    static std::wstring Live(const std::wstring& name) { return kUninstall + (L"\\" + name); }
    // Backup keys lie in the 64-bit view, whatever view their entries came from.
    std::wstring Aside(bool wow32, const std::wstring& name = L"") const {
        return KeyPath() + (wow32 ? L"\\Uninstall32" : L"\\Uninstall64") +
               (name.empty() ? L"" : L"\\") + name;
    }
    static std::wstring Read(const std::wstring& path, bool wow32, const std::wstring& value) {
        return RegistryKey::Exists(HKLM, path, wow32)
                   ? RegistryKey(HKLM, path, wow32).ReadString(value, kAbsent)
                   : kAbsent;
    }
    std::wstring installShield, shield;
    bool hadInstallShield = false;
};

// Left live; or moved aside and back; or kept aside for a live namesake at least as new.
enum Fate { Stays, Back, Newer, Same, Unrecorded, Older };

TEST_F(RegistryBackupTest, EntriesGoAsideAndComeBackUnlessALiveNamesakeIsAsNew) {
    const std::tuple<std::wstring, const wchar_t*, const wchar_t*, bool, Fate> cases[] = {
        {L"Addon", L"q:\\ferrymark tests\\sim\\", kMaker, false, Back},
        {L"Drive", L"Q:\\", kMaker, false, Newer},
        {L"Caps", kLocation, L"LOCKHEED MARTIN", false, Same},
        {L"Unrecorded", kLocation, kMaker, false, Unrecorded},
        {L"Older", kLocation, kMaker, false, Older},
        {L"Addon32", kLocation, kMaker, true, Back},
        {L"Older32", kLocation, kMaker, true, Older},
        {L"Studios", kLocation, L"Microsoft Game Studios", false, Stays},
        {L"Lockheed32", kLocation, L"Lockheed Martin", true, Stays},
        {L"NoLocation", L"", kMaker, false, Stays},
        {L"Elsewhere", L"Q:\\Other\\Sim", kMaker, false, Stays}};
    std::map<std::wstring, std::wstring> times;
    for (const auto& [name, location, publisher, wow32, fate] : cases) {
        RegistryKey entry(HKLM, Live(kPrefix + name), wow32); // with a subkey of its own
        if (*location != L'\0')
            entry.WriteString(L"InstallLocation", location);
        entry.WriteString(L"Publisher", publisher);
        entry.WriteString(L"Marker", L"moved");
        RegistryKey(HKLM, Live(kPrefix + name) + L"\\Parts", wow32).WriteString(L"Marker", L"part");
        times[name] = entry.LastWriteTimeText();
    }
    MakeFolder(shield);
    WriteFile(shield + L"\\setup.ilg", "log");
    // A second later, so that a time stamp taken after the move would differ.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_TRUE(RegistryBackup(HKLM, Aside(true), kLocation, true));
    EXPECT_TRUE(RegistryBackup(HKLM, Aside(false), kLocation, false));

    for (const auto& [suffix, location, publisher, wow32, fate] : cases) {
        const bool moved = fate != Stays, view = !moved && wow32;
        const std::wstring name = kPrefix + suffix, at = moved ? Aside(wow32, name) : Live(name);
        SCOPED_TRACE(name);
        EXPECT_EQ(Read(at, view, L"Marker"), L"moved");
        EXPECT_EQ(Read(at + L"\\Parts", view, L"Marker"), L"part");
        EXPECT_EQ(Read(at, view, kStamp), moved ? times[suffix] : kAbsent);
        EXPECT_NE(RegistryKey::Exists(HKLM, Live(name), wow32), moved);
        EXPECT_FALSE(RegistryKey::Exists(HKLM, Aside(wow32, name), true));
        if (fate == Stays || fate == Back)
            continue;
        RegistryKey live(HKLM, Live(name), wow32), aside(HKLM, Aside(wow32, name), false);
        live.WriteString(L"Extra", L"live");
        if (wow32) // a 64-bit namesake as well
            RegistryKey(HKLM, Live(name), false).WriteString(L"Marker", L"64-bit");
        if (fate == Unrecorded)
            aside.DeleteValue(kStamp);
        else if (fate != Newer) // Same or Older
            aside.WriteString(kStamp, fate == Same ? live.LastWriteTimeText() : L"9999-12-31");
    }
    EXPECT_FALSE(platform::Exists(shield));
    EXPECT_EQ(ReadFile(GetBackupPath(shield) + L"\\setup.ilg"), "log");
    EXPECT_TRUE(RegistryRestore(HKLM, Aside(true), true));
    EXPECT_TRUE(RegistryRestore(HKLM, Aside(false), false));

    for (const auto& [suffix, location, publisher, wow32, fate] : cases) {
        const std::wstring name = kPrefix + suffix, live = Live(name), aside = Aside(wow32, name);
        SCOPED_TRACE(name);
        const bool back = fate == Stays || fate == Back || fate == Older;
        EXPECT_EQ(Read(live, wow32, L"Marker"), back ? L"moved" : kAbsent);
        EXPECT_EQ(Read(aside, false, L"Marker"), back ? kAbsent : L"moved") << "kept aside";
        EXPECT_EQ(Read(live + L"\\Parts", wow32, L"Marker"), back ? L"part" : kAbsent);
        EXPECT_EQ(Read(live, wow32, kStamp), kAbsent);
        // An older namesake is cleared in the 64-bit view only: a 32-bit one merges.
        EXPECT_FALSE(RegistryKey::Exists(HKLM, live, !wow32));
        EXPECT_EQ(Read(live, wow32, L"Extra"),
                  back && !(fate == Older && wow32) ? kAbsent : L"live");
    }
    EXPECT_EQ(ReadFile(shield + L"\\setup.ilg"), "log");
    EXPECT_FALSE(platform::Exists(GetBackupPath(shield)));
    EXPECT_TRUE(RegistryKey::Exists(HKLM, Aside(true), false)) << "an emptied key stays";
    EXPECT_TRUE(RegistryKey(HKLM, Aside(true), false).SubKeys().empty());
}

TEST_F(RegistryBackupTest, RenameAndMoveToRefuseAnExistingDestinationUnlessOverwriting) {
    const std::wstring source = KeyPath() + L"\\Source", target = KeyPath() + L"\\Target";
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, target, false, true));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, target, false)) << "a missing source makes nothing";
    RegistryKey(HKLM, target, false).WriteString(L"Old", L"target");
    RegistryKey key(HKLM, source, false);
    key.WriteString(L"Marker", L"source");
    EXPECT_FALSE(Rename(HKLM, L"", false, HKLM, target, false, true));
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, L"", false, true));
    EXPECT_FALSE(Rename(HKLM, source, false, HKLM, target, false, false));
    EXPECT_FALSE(key.MoveTo(HKLM, target, false, false));
    EXPECT_EQ(key.Path(), source);
    EXPECT_EQ(Read(source, false, L"Marker"), L"source");
    EXPECT_EQ(Read(target, false, L"Old"), L"target");

    EXPECT_TRUE(key.MoveTo(HKLM, target, false, true));
    EXPECT_EQ(key.ReadString(L"Marker", kAbsent), L"source") << "the object follows the key";
    EXPECT_EQ(Read(target, false, L"Old"), kAbsent) << "the destination tree was replaced";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, source, false));

    // A forward slash splits the name wrongly: the tree is copied but not deleted.
    RegistryKey(HKLM, KeyPath() + L"\\A/B", false).WriteString(L"Marker", L"slashed");
    EXPECT_FALSE(Rename(HKLM, KeyPath() + L"\\A/B", false, HKLM, source, false, true));
    EXPECT_EQ(Read(KeyPath() + L"\\A/B", false, L"Marker"), L"slashed");
    EXPECT_EQ(Read(source, false, L"Marker"), L"slashed");
}

} // namespace
