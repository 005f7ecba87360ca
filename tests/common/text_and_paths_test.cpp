// The pure helpers: Windows path rules, text, UTF-16 and registry time stamps.
#include "app/paths.h"
#include "app/registry_key.h"
#include "app/text.h"

#include <gtest/gtest.h>

using W = std::wstring;

TEST(Paths, JoinSplitAndRootFollowWindowsRules) {
    // A rooted name replaces the base or keeps its root; both separators count.
    const W joins[][3] = {{L"C:\\Data\\", L"Sim", L"C:\\Data\\Sim"},
                          {L"C:", L"Sim", L"C:Sim"},
                          {L"C:\\Sim", L"D:\\x", L"D:\\x"},
                          {L"C:\\Sim", L"\\x", L"C:\\x"},
                          {L"\\\\srv\\share", L"x", L"\\\\srv\\share\\x"},
                          {L"C:\\Sim", L"x", L"C:\\Sim\\x"}};
    for (const auto& [base, name, joined] : joins)
        EXPECT_EQ(PathJoin(base, name), joined);
    // Path, parent, last component, root name.
    const W splits[][4] = {{L"D:\\Sim\\Addons\\", L"D:\\Sim\\Addons", L"", L"D:"},
                           {L"D:\\Sim/Prepar3D.exe", L"D:\\Sim", L"Prepar3D.exe", L"D:"},
                           {L"D:\\Sim\\\\Addons", L"D:\\Sim", L"Addons", L"D:"},
                           {L"Z:\\Sim", L"Z:\\", L"Sim", L"Z:"},
                           {L"D:", L"D:", L"", L"D:"},
                           {L"D:fsx.exe", L"D:", L"fsx.exe", L"D:"},
                           {L"fsx.exe", L"", L"fsx.exe", L""},
                           {L"\\\\srv\\share\\x", L"\\\\srv\\share\\", L"x", L"\\\\srv\\share"}};
    for (const auto& [path, parent, last, root] : splits) {
        EXPECT_EQ(PathParent(path) + L"|" + PathLastComponent(path) + L"|" + PathRootName(path),
                  parent + L"|" + last + L"|" + root);
    }
}

TEST(Text, FormatFoldAndUtf16) {
    const W longText(100000, L'q');
    EXPECT_EQ(FormatWide(L"<%s> %02i%%", longText.c_str(), 7), L"<" + longText + L"> 07%");
    // Only ASCII letters fold: [ and { differ by 0x20 but are no letters.
    EXPECT_TRUE(EqualsIgnoringCase(L"WaRnZ", L"wArNz"));
    for (const auto& [a, b] :
         {std::pair{L"WARN", L"WARNING"}, {L"[", L"{"}, {L"\u00e9", L"\u00c9"}})
        EXPECT_FALSE(EqualsIgnoringCase(a, b)) << testing::PrintToString(W(a));
    // The supplementary planes become surrogate pairs, from U+10000 to U+10FFFF.
    const W text = L"A\uffff\U00010000\U0001F6EB\U0010FFFF"; // pairs where wchar_t has 16 bits
    const std::u16string utf16 = {u'A', 0xFFFF, 0xD800, 0xDC00, 0xD83D, 0xDEEB, 0xDBFF, 0xDFFF};
    EXPECT_EQ(ToUtf16(text), utf16);
    EXPECT_EQ(FromUtf16(utf16.data(), utf16.size()), text);
}

TEST(FileTimeToCalendar, BreaksTicksOf100NanosecondsSince1601DownInUtc) {
    const std::pair<std::uint64_t, std::vector<int>> cases[] = {
        {132567086451234567ULL, {2021, 2, 2, 3, 4, 5, 123}},
        {0, {1601, 1, 1, 0, 0, 0, 0}},
        {125962560000000000ULL, {2000, 2, 29, 0, 0, 0, 0}},
        {125962559990000000ULL, {2000, 2, 28, 23, 59, 59, 0}},
        {157784543990000000ULL, {2100, 12, 31, 23, 59, 59, 0}}}; // 2100 is no leap year
    for (const auto& [ticks, expected] : cases) {
        const platform::CalendarTime t = FileTimeToCalendar(ticks);
        EXPECT_EQ(
            (std::vector<int>{t.year, t.month, t.day, t.hour, t.minute, t.second, t.milliseconds}),
            expected)
            << ticks;
    }
}
