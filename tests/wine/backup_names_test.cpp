// Backup names on Windows, where the narrow form of a name is in the code page
// that the file APIs use, ANSI or OEM.
#include "engine/backup.h"

#include <gtest/gtest.h>

#include <windows.h>

TEST(BackupNamesWin32, ANameBeyondAsciiIsEncodedInTheFileApiCodePage) {
    if (GetACP() != 1252 || GetOEMCP() != 437)
        GTEST_SKIP() << "the expected bytes are those of code pages 1252 and 437; this "
                        "machine uses "
                     << GetACP() << " and " << GetOEMCP();
    ASSERT_TRUE(AreFileApisANSI());
    // "Z\u00fcrich" is 5A FC 72 69 63 68 in code page 1252.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"), L"C:\\Users\\Ferrymark backup (WvxyaWNo)");
    // A character that the code page lacks becomes "?" (3F).
    EXPECT_EQ(GetBackupPath(L"C:\\\u4e2d"), L"C:\\Ferrymark backup (Pw==)");
    // FF in code page 1252: six ones first, the sign that stands for 63.
    EXPECT_EQ(GetBackupPath(L"C:\\\u00ff"), L"C:\\Ferrymark backup (/w==)");

    // With the file APIs on OEM the same name has other bytes: 5A 81 72 69 63 68.
    SetFileApisToOEM();
    const std::wstring oem = GetBackupPath(L"C:\\Users\\Z\u00fcrich");
    SetFileApisToANSI();
    EXPECT_EQ(oem, L"C:\\Users\\Ferrymark backup (WoFyaWNo)");
}
