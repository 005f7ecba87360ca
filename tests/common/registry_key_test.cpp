// Registry keys in the build's real registry: views, typed values, subkeys, name folding, time stamp.
#include "app/registry_key.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

using RegistryKeyTest = SandboxTest;
const RegistryHive HKLM = RegistryHive::LocalMachine;

TEST_F(RegistryKeyTest, ViewsValuesSubkeysAndTheTimeStamp) {
    const std::wstring path = KeyPath() + L"\\Views";
    EXPECT_TRUE(RegistryKey(HKLM, path, true).WriteString(L"Location", L"C:\\Old"));
    EXPECT_EQ(RegistryKey(HKLM, L"Software\\WOW6432Node" + path.substr(8), false)
                  .ReadString(L"LOCATION", L""),
              L"C:\\Old")
        << "the 32-bit view";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, path, false)) << "the 64-bit view stays untouched";

    // The UTC hour from the C library before and after a write (a run over the hour sees two).
    const auto hour = [] {
        const std::time_t now = std::time(nullptr);
        char text[16] = {};
        return std::wstring(text, text + std::strftime(text, 16, "%Y-%m-%d %H", std::gmtime(&now)));
    };
    const std::wstring before = hour();
    RegistryKey key(HKLM, KeyPath(), false);
    EXPECT_TRUE(key.WriteDword(L"Limit", 0x12345678u));
    const std::wstring after = hour(), stamp = key.LastWriteTimeText();
    EXPECT_TRUE(stamp.size() == 19 && (stamp.substr(0, 13) == before || stamp.substr(0, 13) == after)) << Narrow(stamp);
    EXPECT_EQ(key.ReadDword(L"limit", 10), 0x12345678u);
    EXPECT_TRUE(key.DeleteValue(L"LIMIT"));
    EXPECT_EQ(key.ReadDword(L"Limit", 0), 0u);
    EXPECT_TRUE(key.DeleteValue(L"Limit")) << "an absent value is deleted already";

    // Subkey names fold as Windows folds them (the division sign is no letter),
    // and the listing is complete however long a name is.
    std::vector<std::wstring> names = {L"Views", L"Prepar3D v4 Academic Edition With A Long Name",
                                       L"a\u00d7", L"a\u00f7", L"\u00e9t\u00e9"};
    for (const std::wstring& name : names)
        RegistryKey(HKLM, KeyPath() + L"\\" + name, false);
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\\u00c9T\u00c9", false));
    std::vector<std::wstring> listed = key.SubKeys();
    std::sort(names.begin(), names.end());
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, names);
}
