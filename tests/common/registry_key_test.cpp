#include "app/registry_key.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <tuple>

namespace reg = platform::registry;

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;

// Writes a raw value through the backend, for types and sizes that RegistryKey
// itself never writes.
void WriteRaw(const RegistryKey& key, const wchar_t* name, reg::ValueType type,
              const std::vector<std::uint8_t>& bytes) {
    ASSERT_EQ(reg::SetValue(key.Handle(), name, type, bytes.data(),
                            static_cast<std::uint32_t>(bytes.size())),
              reg::kSuccess);
}

using RegistryKeyTest = SandboxTest;

} // namespace

TEST_F(RegistryKeyTest, KeysAreMadeWithTheirParentsAndThe32BitViewIsWow6432NodeButNotForTheUser) {
    const std::wstring deep = KeyPath() + L"\\Simulators\\Prepar3D v4";
    EXPECT_FALSE(RegistryKey::Exists(HKLM, deep, false));
    EXPECT_FALSE(RegistryKey::Exists(HKLM, KeyPath(), false)) << "Exists must not create";
    EXPECT_EQ(RegistryKey(HKLM, deep, false).ReadString(L"InstallLocation", L"none"), L"none");
    EXPECT_TRUE(RegistryKey::Exists(HKLM, KeyPath() + L"\\SIMULATORS\\PREPAR3D V4", false))
        << "a read-only use leaves the key behind; key names match without regard to case";

    const std::wstring key = KeyPath() + L"\\Views";
    EXPECT_TRUE(RegistryKey(HKLM, key, true).WriteString(L"InstallLocation", L"C:\\Old"));
    RegistryKey redirected(HKLM, L"Software\\WOW6432Node\\" + key.substr(9), false);
    EXPECT_EQ(redirected.ReadString(L"InstallLocation", L""), L"C:\\Old");
    EXPECT_FALSE(RegistryKey::Exists(HKLM, key, false)) << "the 64-bit view stays untouched";
    EXPECT_TRUE(RegistryKey(HKLM, key, false).WriteString(L"InstallLocation", L"C:\\New"));
    EXPECT_EQ(RegistryKey(HKLM, key, true).ReadString(L"InstallLocation", L""), L"C:\\Old");
    EXPECT_EQ(RegistryKey(HKLM, key, false).ReadString(L"InstallLocation", L""), L"C:\\New");
    EXPECT_TRUE(RegistryKey(RegistryHive::CurrentUser, key, true).WriteString(L"AppPath", L"C:\\"));
    EXPECT_EQ(RegistryKey(RegistryHive::CurrentUser, key, false).ReadString(L"AppPath", L""), L"C:\\");
}

TEST_F(RegistryKeyTest, TypedReadsWritesAndTheirDefaults) {
    RegistryKey key(HKLM, KeyPath(), false);
    ASSERT_TRUE(key.IsOpen());
    EXPECT_EQ(key.ReadDword(L"LogLimit", 10), 10u);
    EXPECT_EQ(key.ReadString(L"LogLevel", L"Info"), L"Info");
    EXPECT_TRUE(key.WriteDword(L"LogLimit", 0x80000001u));
    EXPECT_EQ(key.ReadDword(L"loglimit", 10), 0x80000001u) << "value names ignore case";
    EXPECT_TRUE(key.WriteString(L"TargetTitle", L"Prepar3D v5"));
    EXPECT_TRUE(key.WriteString(L"Unicode", L"Z\u00fcrich \u6771\u4eac"));
    EXPECT_EQ(key.ReadString(L"Unicode", L""), L"Z\u00fcrich \u6771\u4eac");
    // The types, and the terminator, that the system stores.
    for (const auto& [name, type, size] :
         {std::make_tuple(L"LogLimit", reg::ValueType::Dword, 4u),
          std::make_tuple(L"TargetTitle", reg::ValueType::String, (11u + 1u) * 2u)}) {
        reg::ValueType stored = reg::ValueType::None;
        std::uint32_t bytes = 0;
        EXPECT_EQ(reg::QueryValue(key.Handle(), name, &stored, nullptr, &bytes), reg::kSuccess);
        EXPECT_EQ(stored, type);
        EXPECT_EQ(bytes, size);
    }
    // A value holding only the terminator reads as empty, one of size 0 as the default.
    EXPECT_TRUE(key.WriteString(L"Empty", L""));
    EXPECT_EQ(key.ReadString(L"Empty", L"default"), L"");
    WriteRaw(key, L"ZeroSize", reg::ValueType::String, {});
    EXPECT_EQ(key.ReadString(L"ZeroSize", L"default"), L"default");
    WriteRaw(key, L"Unterminated", reg::ValueType::String, {'a', 0, 'b', 0});
    EXPECT_EQ(key.ReadString(L"Unterminated", L""), L"ab");
    // No type check: a long value is "more data" and gives the default, a short
    // string gives its raw bytes, a DWORD read as text its bytes as characters.
    WriteRaw(key, L"Qword", reg::ValueType::Qword, {1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(key.ReadDword(L"Qword", 77), 77u);
    EXPECT_EQ(key.ReadDword(L"TargetTitle", 77), 77u);
    WriteRaw(key, L"ShortText", reg::ValueType::String, {'A', 0});
    EXPECT_EQ(key.ReadDword(L"ShortText", 77), 0x41u);
    EXPECT_EQ(key.ReadString(L"LogLimit", L"def"), L"\u0001\u8000");
    // Deleting answers true, also for an absent value.
    EXPECT_TRUE(key.DeleteValue(L"LOGLIMIT"));
    EXPECT_EQ(key.ReadDword(L"LogLimit", 0), 0u);
    EXPECT_TRUE(key.DeleteValue(L"LogLimit"));
}

TEST_F(RegistryKeyTest, SubKeysIsACompleteSnapshot) {
    RegistryKey parent(HKLM, KeyPath(), false);
    EXPECT_TRUE(parent.SubKeys().empty());
    std::vector<std::wstring> expected = {L"Beta", L"Prepar3D v4 Academic Edition With A Long Name",
                                          L"alpha", L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}"};
    for (const std::wstring& name : expected)
        RegistryKey(HKLM, KeyPath() + L"\\" + name, false);
    RegistryKey(HKLM, KeyPath() + L"\\Beta\\Grandchild", false);
    std::vector<std::wstring> names = parent.SubKeys();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, expected);
    // Callers delete entries while they walk the list: it must not shrink under them.
    for (const std::wstring& name : parent.SubKeys())
        EXPECT_EQ(reg::DeleteTree(parent.Handle(), name), reg::kSuccess);
    EXPECT_TRUE(parent.SubKeys().empty());
}

TEST_F(RegistryKeyTest, LastWriteTimeIsUtcCalendarTime) {
    const std::time_t before = std::time(nullptr);
    RegistryKey key(HKLM, KeyPath(), false);
    ASSERT_TRUE(key.WriteDword(L"Touch", 1));
    const std::time_t after = std::time(nullptr);
    const platform::CalendarTime t = key.LastWriteTime();
    // The text sorts as the time does: fixed width, zero-padded, year first.
    std::wstring shape = key.LastWriteTimeText();
    EXPECT_EQ(shape.substr(0, 4), std::to_wstring(t.year));
    for (wchar_t& c : shape)
        c = c >= L'0' && c <= L'9' ? L'9' : c;
    EXPECT_EQ(shape, L"9999-99-99 99:99:99");
    // Compare with the C library's UTC calendar; a local-time slip shows as hours off.
    std::tm asTm{}, epoch{};
    asTm.tm_year = t.year - 1900;
    asTm.tm_mon = t.month - 1;
    asTm.tm_mday = t.day;
    asTm.tm_hour = t.hour;
    asTm.tm_min = t.minute;
    asTm.tm_sec = t.second;
    epoch.tm_year = 70;
    epoch.tm_mday = 1;
    // Both are read as local time, so their difference is the UTC seconds since 1970.
    const double seconds = std::difftime(std::mktime(&asTm), std::mktime(&epoch));
    EXPECT_GE(seconds, static_cast<double>(before) - 2);
    EXPECT_LE(seconds, static_cast<double>(after) + 2);
}

TEST(FileTimeToCalendar, BreaksTicksDownInUtc) {
    // Seconds after 1970 (negative: before), extra ticks, and the calendar time.
    const std::tuple<std::int64_t, int, std::vector<int>> cases[] = {
        {1612235045, 1234567, {2021, 2, 2, 3, 4, 5, 123}},
        {-11644473600, 0, {1601, 1, 1, 0, 0, 0, 0}},
        {951782400, 0, {2000, 2, 29, 0, 0, 0, 0}},       // a leap day
        {4133980799, 0, {2100, 12, 31, 23, 59, 59, 0}}}; // a century year that is no leap year
    for (const auto& [seconds, ticks, expected] : cases) {
        const platform::CalendarTime t = FileTimeToCalendar(
            static_cast<std::uint64_t>(seconds + 11644473600LL) * 10000000ULL +
            static_cast<std::uint64_t>(ticks));
        EXPECT_EQ((std::vector<int>{t.year, t.month, t.day, t.hour, t.minute, t.second,
                                    t.milliseconds}),
                  expected)
            << seconds;
    }
}
