#include "app/registry_key.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <ctime>

namespace reg = platform::registry;

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;
const RegistryHive HKCU = RegistryHive::CurrentUser;

// Writes a raw value through the backend, for types and sizes that RegistryKey
// itself never writes.
void WriteRaw(const RegistryKey& key, const std::wstring& name, reg::ValueType type,
              const std::vector<std::uint8_t>& bytes) {
    ASSERT_EQ(reg::SetValue(key.Handle(), name, type, bytes.data(),
                            static_cast<std::uint32_t>(bytes.size())),
              reg::kSuccess);
}

std::vector<std::uint8_t> ReadRaw(const RegistryKey& key, const std::wstring& name,
                                  reg::ValueType* type) {
    std::uint32_t size = 0;
    if (reg::QueryValue(key.Handle(), name, type, nullptr, &size) != reg::kSuccess)
        return {};
    std::vector<std::uint8_t> bytes(size);
    reg::QueryValue(key.Handle(), name, type, bytes.data(), &size);
    return bytes;
}

using RegistryKeyTest = SandboxTest;

} // namespace

TEST_F(RegistryKeyTest, ConstructingCreatesTheKeyWithItsParentsButExistsDoesNot) {
    const std::wstring deep = KeyPath() + L"\\Simulators\\Prepar3D v4";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, deep, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, KeyPath(), false)) << "Exists must not create";
    {
        RegistryKey key(HKLM, deep, false);
        EXPECT_TRUE(key.IsOpen());
        EXPECT_EQ(key.ReadString(L"InstallLocation", L"none"), L"none");
    }
    EXPECT_TRUE(RegistryKey::Exists(HKLM, deep, false)) << "a read-only use leaves the key behind";
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\SIMULATORS", false))
        << "key names match without regard to case";
}

TEST_F(RegistryKeyTest, TypedReadsAndTheirDefaults) {
    RegistryKey key(HKLM, KeyPath(), false);
    ASSERT_TRUE(key.IsOpen());
    EXPECT_EQ(key.ReadDword(L"LogLimit", 10), 10u);
    EXPECT_EQ(key.ReadString(L"LogLevel", L"Info"), L"Info");

    EXPECT_TRUE(key.WriteDword(L"LogLimit", 0x80000001u));
    EXPECT_EQ(key.ReadDword(L"loglimit", 10), 0x80000001u) << "value names ignore case";
    reg::ValueType type = reg::ValueType::None;
    EXPECT_EQ(ReadRaw(key, L"LogLimit", &type).size(), 4u);
    EXPECT_EQ(type, reg::ValueType::Dword);

    EXPECT_TRUE(key.WriteString(L"TargetTitle", L"Prepar3D v5"));
    EXPECT_EQ(key.ReadString(L"TargetTitle", L"x"), L"Prepar3D v5");
    EXPECT_EQ(ReadRaw(key, L"TargetTitle", &type).size(), (11u + 1u) * 2u)
        << "the terminator is stored";
    EXPECT_EQ(type, reg::ValueType::String);

    EXPECT_TRUE(key.WriteString(L"Unicode", L"Z\u00fcrich \u6771\u4eac"));
    EXPECT_EQ(key.ReadString(L"Unicode", L""), L"Z\u00fcrich \u6771\u4eac");

    // A value holding only the terminator reads as empty, one of size 0 as the default.
    EXPECT_TRUE(key.WriteString(L"Empty", L""));
    EXPECT_EQ(key.ReadString(L"Empty", L"default"), L"");
    WriteRaw(key, L"ZeroSize", reg::ValueType::String, {});
    EXPECT_EQ(key.ReadString(L"ZeroSize", L"default"), L"default");
    // Text stored without a terminator is read up to its end.
    WriteRaw(key, L"Unterminated", reg::ValueType::String, {'a', 0, 'b', 0});
    EXPECT_EQ(key.ReadString(L"Unterminated", L""), L"ab");

    // No type check: a long value is "more data" and gives the default, a short
    // string gives its raw bytes.
    WriteRaw(key, L"Qword", reg::ValueType::Qword, {1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(key.ReadDword(L"Qword", 77), 77u);
    EXPECT_EQ(key.ReadDword(L"TargetTitle", 77), 77u);
    WriteRaw(key, L"ShortText", reg::ValueType::String, {'A', 0});
    EXPECT_EQ(key.ReadDword(L"ShortText", 77), 0x41u);
    EXPECT_EQ(key.ReadString(L"LogLimit", L"def"), L"\u0001\u8000")
        << "a DWORD read as text gives its bytes as characters";
}

TEST_F(RegistryKeyTest, DeleteValueAnswersTrueAlsoForAnAbsentValue) {
    RegistryKey key(HKLM, KeyPath(), false);
    EXPECT_TRUE(key.WriteDword(L"FirstRun", 1));
    EXPECT_TRUE(key.DeleteValue(L"FIRSTRUN"));
    EXPECT_EQ(key.ReadDword(L"FirstRun", 0), 0u);
    EXPECT_TRUE(key.DeleteValue(L"FirstRun"));
    EXPECT_TRUE(key.DeleteValue(L"NeverWritten"));
}

TEST_F(RegistryKeyTest, SubKeysIsACompleteSnapshot) {
    RegistryKey parent(HKLM, KeyPath(), false);
    EXPECT_TRUE(parent.SubKeys().empty());
    for (const wchar_t* name : {L"Beta", L"alpha", L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}",
                                L"Prepar3D v4 Academic Edition With A Long Name"})
        RegistryKey child(HKLM, KeyPath() + L"\\" + name, false);
    RegistryKey(HKLM, KeyPath() + L"\\Beta\\Grandchild", false);
    std::vector<std::wstring> names = parent.SubKeys();
    std::sort(names.begin(), names.end());
    const std::vector<std::wstring> expected = {
        L"Beta", L"Prepar3D v4 Academic Edition With A Long Name", L"alpha",
        L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}"};
    EXPECT_EQ(names, expected);

    // Callers delete entries while they walk the list: it must not shrink under them.
    const std::vector<std::wstring> snapshot = parent.SubKeys();
    for (const std::wstring& name : snapshot)
        EXPECT_EQ(reg::DeleteTree(parent.Handle(), name), reg::kSuccess)
            << std::string(name.begin(), name.end());
    EXPECT_TRUE(parent.SubKeys().empty());
    EXPECT_FALSE(RegistryKey::Exists(HKLM, KeyPath() + L"\\Beta\\Grandchild", false));
}

TEST_F(RegistryKeyTest, The32BitViewOfSoftwareIsItsWow6432NodeKey) {
    const std::wstring below = KeyPath().substr(std::wstring(L"Software\\").size());
    {
        RegistryKey key32(HKLM, KeyPath(), true);
        EXPECT_TRUE(key32.WriteString(L"InstallLocation", L"C:\\Old"));
    }
    RegistryKey redirected(HKLM, L"Software\\WOW6432Node\\" + below, false);
    EXPECT_EQ(redirected.ReadString(L"InstallLocation", L""), L"C:\\Old");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, KeyPath(), false))
        << "the 64-bit view at the same path stays untouched";

    RegistryKey key64(HKLM, KeyPath(), false);
    EXPECT_TRUE(key64.WriteString(L"InstallLocation", L"C:\\New"));
    EXPECT_EQ(RegistryKey(HKLM, KeyPath(), true).ReadString(L"InstallLocation", L""), L"C:\\Old");
    EXPECT_EQ(RegistryKey(HKLM, KeyPath(), false).ReadString(L"InstallLocation", L""), L"C:\\New");
}

TEST_F(RegistryKeyTest, CurrentUserSoftwareIsSharedByBothViews) {
    {
        RegistryKey key32(HKCU, KeyPath(), true);
        EXPECT_TRUE(key32.WriteString(L"AppPath", L"C:\\Sim\\"));
    }
    EXPECT_EQ(RegistryKey(HKCU, KeyPath(), false).ReadString(L"AppPath", L""), L"C:\\Sim\\");
}

TEST_F(RegistryKeyTest, LastWriteTimeIsUtcCalendarTime) {
    const std::time_t before = std::time(nullptr);
    RegistryKey key(HKLM, KeyPath(), false);
    ASSERT_TRUE(key.WriteDword(L"Touch", 1));
    const std::time_t after = std::time(nullptr);

    const std::wstring text = key.LastWriteTimeText();
    ASSERT_EQ(text.size(), 19u) << std::string(text.begin(), text.end());
    for (std::size_t i : {4u, 7u})
        EXPECT_EQ(text[i], L'-');
    EXPECT_EQ(text[10], L' ');
    for (std::size_t i : {13u, 16u})
        EXPECT_EQ(text[i], L':');

    // Compare with the C library's UTC calendar; a local-time slip shows as hours off.
    const platform::CalendarTime written = key.LastWriteTime();
    std::tm asTm{};
    asTm.tm_year = written.year - 1900;
    asTm.tm_mon = written.month - 1;
    asTm.tm_mday = written.day;
    asTm.tm_hour = written.hour;
    asTm.tm_min = written.minute;
    asTm.tm_sec = written.second;
    std::tm epoch{};
    epoch.tm_year = 70;
    epoch.tm_mday = 1;
    // Both are read as local time, so their difference is the UTC seconds since 1970.
    const double seconds = std::difftime(std::mktime(&asTm), std::mktime(&epoch));
    EXPECT_GE(seconds, static_cast<double>(before) - 2);
    EXPECT_LE(seconds, static_cast<double>(after) + 2);
}

TEST(FileTimeToCalendar, BreaksTicksDownInUtc) {
    // 2021-02-02 03:04:05 UTC is 1612235045 seconds after 1970.
    const std::uint64_t ticks = (1612235045ULL + 11644473600ULL) * 10000000ULL + 1234567;
    const platform::CalendarTime time = FileTimeToCalendar(ticks);
    EXPECT_EQ(time.year, 2021);
    EXPECT_EQ(time.month, 2);
    EXPECT_EQ(time.day, 2);
    EXPECT_EQ(time.hour, 3);
    EXPECT_EQ(time.minute, 4);
    EXPECT_EQ(time.second, 5);
    EXPECT_EQ(time.milliseconds, 123);
    const platform::CalendarTime origin = FileTimeToCalendar(0);
    EXPECT_EQ(origin.year, 1601);
    EXPECT_EQ(origin.month, 1);
    EXPECT_EQ(origin.day, 1);
    // A leap day and the last second of a century year that is no leap year.
    const platform::CalendarTime leap =
        FileTimeToCalendar((951782400ULL + 11644473600ULL) * 10000000ULL);
    EXPECT_EQ(leap.year, 2000);
    EXPECT_EQ(leap.month, 2);
    EXPECT_EQ(leap.day, 29);
    const platform::CalendarTime endOf2100 =
        FileTimeToCalendar((4133980799ULL + 11644473600ULL) * 10000000ULL);
    EXPECT_EQ(endOf2100.year, 2100);
    EXPECT_EQ(endOf2100.month, 12);
    EXPECT_EQ(endOf2100.day, 31);
    EXPECT_EQ(endOf2100.second, 59);
}
