// Registry keys against the real registry of the build: the views, typed values
// and their defaults, subkey listings, name folding and the time stamps.
#include "app/registry_key.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace reg = platform::registry;
using RegistryKeyTest = SandboxTest;
const RegistryHive HKLM = RegistryHive::LocalMachine;

TEST_F(RegistryKeyTest, ViewsValuesAndDefaults) {
    const std::wstring key = KeyPath() + L"\\Views";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key, false)) << "Exists creates nothing";
    EXPECT_TRUE(RegistryKey(HKLM, key, true).WriteString(L"InstallLocation", L"C:\\Old"));
    EXPECT_EQ(RegistryKey(HKLM, L"Software\\WOW6432Node\\" + key.substr(9), false)
                  .ReadString(L"InstallLocation", L""), L"C:\\Old") << "the 32-bit view";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key, false)) << "the 64-bit view stays untouched";
    EXPECT_TRUE(RegistryKey(RegistryHive::CurrentUser, key, true).WriteString(L"AppPath", L"C:\\"));
    EXPECT_EQ(RegistryKey(RegistryHive::CurrentUser, key, false).ReadString(L"AppPath", L""), L"C:\\")
        << "the user's hive has one view";

    RegistryKey values(HKLM, KeyPath(), false);
    EXPECT_EQ(values.ReadDword(L"LogLimit", 10), 10u);
    EXPECT_EQ(values.ReadString(L"LogLevel", L"Info"), L"Info");
    EXPECT_TRUE(values.WriteDword(L"LogLimit", 0x12345678u));
    EXPECT_EQ(values.ReadDword(L"loglimit", 10), 0x12345678u) << "value names ignore case";
    EXPECT_TRUE(values.WriteString(L"Unicode", L"Z\u00fcrich \u6771\u4eac"));
    EXPECT_EQ(values.ReadString(L"Unicode", L""), L"Z\u00fcrich \u6771\u4eac");
    std::uint32_t bytes = 0;
    EXPECT_EQ(reg::QueryValue(values.Handle(), L"Unicode", nullptr, nullptr, &bytes), reg::kSuccess);
    EXPECT_EQ(bytes, 20u) << "nine characters and the terminator";
    // A value of size 0 gives the default; one without a terminator its characters.
    const std::uint8_t unterminated[] = {'a', 0, 'b', 0};
    EXPECT_EQ(reg::SetValue(values.Handle(), L"Zero", reg::ValueType::String, unterminated, 0), reg::kSuccess);
    EXPECT_EQ(values.ReadString(L"Zero", L"default"), L"default");
    EXPECT_EQ(reg::SetValue(values.Handle(), L"Open", reg::ValueType::String, unterminated, 4), reg::kSuccess);
    EXPECT_EQ(values.ReadString(L"Open", L""), L"ab");
    EXPECT_TRUE(values.DeleteValue(L"LOGLIMIT"));
    EXPECT_EQ(values.ReadDword(L"LogLimit", 0), 0u);
    EXPECT_TRUE(values.DeleteValue(L"LogLimit")) << "an absent value is deleted already";
}

TEST_F(RegistryKeyTest, SubKeysAreACompleteSnapshotAndNamesFoldAsWindowsFoldsThem) {
    RegistryKey parent(HKLM, KeyPath(), false);
    std::vector<std::wstring> expected = {L"Beta", L"Prepar3D v4 Academic Edition With A Long Name",
                                          L"a\u00d7", L"a\u00f7", L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}",
                                          L"\u00e9t\u00e9"};
    for (const std::wstring& name : expected)
        RegistryKey(HKLM, KeyPath() + L"\\" + name, false);
    RegistryKey(HKLM, KeyPath() + L"\\Beta\\Grandchild", false);
    // Names that are one key, and names that are not (the division sign is no letter).
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\BETA", false));
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\\u00c9T\u00c9", false));
    std::vector<std::wstring> names = parent.SubKeys();
    std::sort(names.begin(), names.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);
    // Callers delete entries while they walk the list: it must not shrink under them.
    for (const std::wstring& name : parent.SubKeys())
        EXPECT_EQ(reg::DeleteTree(parent.Handle(), name), reg::kSuccess);
    EXPECT_TRUE(parent.SubKeys().empty());
}

TEST_F(RegistryKeyTest, TheTimeStampIsTheUtcDateAndTimeOfTheLastWrite) {
    // The UTC date from the C library before and after the write (a run over
    // midnight sees two).
    const auto today = [] {
        const std::time_t now = std::time(nullptr);
        char text[16] = {};
        std::strftime(text, sizeof text, "%Y-%m-%d %H", std::gmtime(&now));
        return std::wstring(text, text + 13);
    };
    const std::wstring before = today();
    RegistryKey key(HKLM, KeyPath(), false);
    ASSERT_TRUE(key.WriteDword(L"Touch", 1));
    const std::wstring after = today(), text = key.LastWriteTimeText();
    EXPECT_TRUE(text.substr(0, 13) == before || text.substr(0, 13) == after)
        << Narrow(text) << " against " << Narrow(before);
    EXPECT_EQ(text.size(), 19u);
    EXPECT_EQ(text.substr(13, 1) + text.substr(16, 1), L"::");
}
