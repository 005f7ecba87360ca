// The pure helpers: Windows path rules, text formatting and folding, UTF-16, and
// the registry's time stamps broken down into calendar time.
#include "app/paths.h"
#include "app/registry_key.h"
#include "app/text.h"

#include <gtest/gtest.h>

#include <tuple>

using Strings = std::vector<std::wstring>;

TEST(Paths, JoinSplitAndRootFollowWindowsRules) {
    // Base, name, joined: both separators count, a rooted name replaces or keeps the root.
    const std::tuple<std::wstring, std::wstring, std::wstring> joins[] = {
        {L"C:\\ProgramData\\", L"Kestrane", L"C:\\ProgramData\\Kestrane"},
        {L"C:\\ProgramData/", L"Kestrane", L"C:\\ProgramData/Kestrane"},
        {L"C:", L"Sim", L"C:Sim"}, {L"", L"log.txt", L"log.txt"}, {L"C:\\Sim", L"", L"C:\\Sim"},
        {L"C:\\Sim", L"D:\\Other", L"D:\\Other"}, {L"C:\\Sim", L"\\Other", L"C:\\Other"},
        {L"\\\\server\\share", L"x", L"\\\\server\\share\\x"}};
    for (const auto& [base, name, joined] : joins)
        EXPECT_EQ(PathJoin(base, name), joined) << testing::PrintToString(base + L"|" + name);
    // Path, parent, last component, root name.
    const std::tuple<std::wstring, std::wstring, std::wstring, std::wstring> splits[] = {
        {L"D:\\Sim\\Addons\\", L"D:\\Sim\\Addons", L"", L"D:"},
        {L"D:\\Sim/Prepar3D.exe", L"D:\\Sim", L"Prepar3D.exe", L"D:"},
        {L"D:\\Sim\\\\Addons", L"D:\\Sim", L"Addons", L"D:"},
        {L"Z:\\Sim", L"Z:\\", L"Sim", L"Z:"}, {L"D:\\", L"D:\\", L"", L"D:"},
        {L"D:", L"D:", L"", L"D:"}, {L"D:fsx.exe", L"D:", L"fsx.exe", L"D:"},
        {L"fsx.exe", L"", L"fsx.exe", L""}, {L"\\x", L"\\", L"x", L""},
        {L"\\\\server\\share\\folder", L"\\\\server\\share\\", L"folder", L"\\\\server\\share"},
        {L"\\\\server\\share", L"\\\\server\\share", L"", L"\\\\server\\share"}};
    for (const auto& [path, parent, last, root] : splits) {
        SCOPED_TRACE(testing::PrintToString(path));
        EXPECT_EQ(PathParent(path), parent);
        EXPECT_EQ(PathLastComponent(path), last);
        EXPECT_EQ(PathRootName(path), root);
    }
}

TEST(Text, FormatSplitFoldAndUtf16) {
    EXPECT_EQ(FormatWide(L"%s version %i.%i.%i.%i on %s", L"Ferrymark", 5, 0, 7, 0, L"Windows 10"),
              L"Ferrymark version 5.0.7.0 on Windows 10");
    EXPECT_EQ(FormatWide(L"[%*s|%-*s|%c] %02i 100%%", 6, L"ab", 4, L"cd", L'x', 7),
              L"[    ab|cd  |x] 07 100%");
    const std::wstring longText(100000, L'q');
    EXPECT_EQ(FormatWide(L"<%s>", longText.c_str()), L"<" + longText + L">");
    const std::pair<std::wstring, Strings> splits[] = {
        {L"", {}}, {L"one\n", {L"one"}}, {L"one\n\ntwo", {L"one", L"", L"two"}},
        {L"\none", {L"", L"one"}}, {L"\n", {L""}}};
    for (const auto& [text, pieces] : splits)
        EXPECT_EQ(Split(text, L'\n'), pieces) << testing::PrintToString(text);
    // Only ASCII letters fold, from A to Z: [ and { differ by 0x20 but are no letters.
    const std::tuple<std::wstring, std::wstring, bool> folds[] = {
        {L"WaRn", L"wArN", true}, {L"Z", L"z", true}, {L"a", L"A", true},
        {L"WARN", L"WARNING", false}, {L"[", L"{", false}, {L"\u00e9", L"\u00c9", false}};
    for (const auto& [a, b, equal] : folds)
        EXPECT_EQ(EqualsIgnoringCase(a, b), equal) << testing::PrintToString(a + L"|" + b);
    // Text, and its UTF-16 code units: the supplementary planes become surrogate pairs.
    const std::pair<std::wstring, std::u16string> units[] = {
        {L"A\u00e9\u6771\uffff", u"A\u00e9\u6771\uffff"},
        {std::wstring(1, static_cast<wchar_t>(0x10000)), {0xD800, 0xDC00}},
        {std::wstring(1, static_cast<wchar_t>(0x1F6EB)), {0xD83D, 0xDEEB}},
        {std::wstring(1, static_cast<wchar_t>(0x10FFFF)), {0xDBFF, 0xDFFF}}};
    for (const auto& [text, utf16] : units) {
        EXPECT_EQ(ToUtf16(text), utf16) << testing::PrintToString(text);
        EXPECT_EQ(FromUtf16(utf16.data(), utf16.size()), text) << testing::PrintToString(text);
    }
}

TEST(FileTimeToCalendar, BreaksTicksDownInUtc) {
    // Ticks of 100 ns since 1601, and the calendar time.
    const std::pair<std::uint64_t, std::vector<int>> cases[] = {
        {132567086451234567ULL, {2021, 2, 2, 3, 4, 5, 123}},
        {0ULL, {1601, 1, 1, 0, 0, 0, 0}},
        {125962560000000000ULL, {2000, 2, 29, 0, 0, 0, 0}},  // a leap day
        {125962559990000000ULL, {2000, 2, 28, 23, 59, 59, 0}},
        {157784543990000000ULL, {2100, 12, 31, 23, 59, 59, 0}}}; // 2100 is no leap year
    for (const auto& [ticks, expected] : cases) {
        const platform::CalendarTime t = FileTimeToCalendar(ticks);
        EXPECT_EQ((std::vector<int>{t.year, t.month, t.day, t.hour, t.minute, t.second, t.milliseconds}),
                  expected) << ticks;
    }
}
