#include "app/text.h"

#include <gtest/gtest.h>

TEST(FormatWide, GivesPercentSTheWidthOfTheFormat) {
    EXPECT_EQ(FormatWide(L"%s version %i.%i.%i.%i running on %s build %s", L"Ferrymark", 5, 0, 7, 0,
                         L"Windows 10 Pro", L"N/A"),
              L"Ferrymark version 5.0.7.0 running on Windows 10 Pro build N/A");
    EXPECT_EQ(FormatWide(L"[%*s|%-*s|%c]", 6, L"ab", 4, L"cd", L'x'), L"[    ab|cd  |x]");
    EXPECT_EQ(FormatWide(L"%02i.%04i 100%%", 7, 21), L"07.0021 100%");
    EXPECT_EQ(FormatWide(L"%ls", L"explicit"), L"explicit");
    // Text outside ASCII passes through untouched.
    EXPECT_EQ(FormatWide(L"%s", L"Z\u00fcrich \u6771\u4eac"), L"Z\u00fcrich \u6771\u4eac");
}

TEST(FormatWide, HasNoLengthLimit) {
    const std::wstring longText(100000, L'q');
    const std::wstring result = FormatWide(L"<%s>", longText.c_str());
    ASSERT_EQ(result.size(), longText.size() + 2);
    EXPECT_EQ(result.front(), L'<');
    EXPECT_EQ(result.back(), L'>');
    EXPECT_EQ(FormatWide(L""), L"");
}

TEST(Split, CutsAtEveryDelimiterWithoutTrailingEmptyPiece) {
    using Pieces = std::vector<std::wstring>;
    EXPECT_EQ(Split(L"", L'\n'), Pieces{});
    EXPECT_EQ(Split(L"one", L'\n'), Pieces{L"one"});
    EXPECT_EQ(Split(L"one\ntwo", L'\n'), (Pieces{L"one", L"two"}));
    EXPECT_EQ(Split(L"one\n", L'\n'), Pieces{L"one"});
    EXPECT_EQ(Split(L"one\n\ntwo", L'\n'), (Pieces{L"one", L"", L"two"}));
    EXPECT_EQ(Split(L"\none", L'\n'), (Pieces{L"", L"one"}));
    EXPECT_EQ(Split(L"\n", L'\n'), Pieces{L""});
    EXPECT_EQ(Split(L"10.0.61637.0", L'.'), (Pieces{L"10", L"0", L"61637", L"0"}));
    EXPECT_EQ(Split(L"4..5.", L'.'), (Pieces{L"4", L"", L"5"}));
}

TEST(EqualsIgnoringCase, FoldsAsciiLettersOnly) {
    EXPECT_TRUE(EqualsIgnoringCase(L"INFO", L"info"));
    EXPECT_TRUE(EqualsIgnoringCase(L"WaRn", L"wArN"));
    EXPECT_FALSE(EqualsIgnoringCase(L"WARN", L"WARNING"));
    EXPECT_FALSE(EqualsIgnoringCase(L"[", L"{")); // 0x5B and 0x7B differ by 0x20 but are no letters
    EXPECT_FALSE(EqualsIgnoringCase(L"\u00e9", L"\u00c9"));
}

TEST(Utf16, RoundTripsTextOutsideTheBasicPlane) {
    const std::wstring text = L"A\u00e9\u6771\U0001F6EB";
    const std::u16string units = ToUtf16(text);
    EXPECT_EQ(units, u"A\u00e9\u6771\U0001F6EB");
    EXPECT_EQ(FromUtf16(units.data(), units.size()), text);
}
