#include "app/text.h"

#include <gtest/gtest.h>

TEST(Text, FormatWideGivesPercentSTheWidthOfTheFormatWithoutALengthLimit) {
    EXPECT_EQ(FormatWide(L"%s version %i.%i.%i.%i running on %s build %s", L"Ferrymark", 5, 0, 7, 0,
                         L"Windows 10 Pro", L"N/A"),
              L"Ferrymark version 5.0.7.0 running on Windows 10 Pro build N/A");
    EXPECT_EQ(FormatWide(L"[%*s|%-*s|%c]", 6, L"ab", 4, L"cd", L'x'), L"[    ab|cd  |x]");
    EXPECT_EQ(FormatWide(L"%02i.%04i 100%% %ls", 7, 21, L"explicit"), L"07.0021 100% explicit");
    EXPECT_EQ(FormatWide(L"%s", L"Z\u00fcrich \u6771\u4eac"), L"Z\u00fcrich \u6771\u4eac");
    const std::wstring longText(100000, L'q');
    EXPECT_EQ(FormatWide(L"<%s>", longText.c_str()), L"<" + longText + L">");
    EXPECT_EQ(FormatWide(L""), L"");
}

TEST(Text, SplitCaseAndUtf16) {
    using Pieces = std::vector<std::wstring>;
    const std::pair<std::wstring, Pieces> cases[] = {
        {L"", {}},
        {L"one", {L"one"}},
        {L"one\ntwo", {L"one", L"two"}},
        {L"one\n", {L"one"}},
        {L"one\n\ntwo", {L"one", L"", L"two"}},
        {L"\none", {L"", L"one"}},
        {L"\n", {L""}}};
    for (const auto& [text, pieces] : cases)
        EXPECT_EQ(Split(text, L'\n'), pieces) << std::string(text.begin(), text.end());
    EXPECT_EQ(Split(L"4..5.", L'.'), (Pieces{L"4", L"", L"5"}));

    // Only ASCII letters fold: [ and { differ by 0x20 but are no letters.
    EXPECT_TRUE(EqualsIgnoringCase(L"WaRn", L"wArN"));
    EXPECT_FALSE(EqualsIgnoringCase(L"WARN", L"WARNING"));
    EXPECT_FALSE(EqualsIgnoringCase(L"[", L"{"));
    EXPECT_FALSE(EqualsIgnoringCase(L"\u00e9", L"\u00c9"));

    const std::wstring text = L"A\u00e9\u6771\U0001F6EB";
    EXPECT_EQ(ToUtf16(text), u"A\u00e9\u6771\U0001F6EB");
    EXPECT_EQ(FromUtf16(ToUtf16(text).data(), ToUtf16(text).size()), text);
}
