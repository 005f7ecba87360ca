// Backup names on POSIX, where the narrow form of a name is UTF-8.
#include "engine/backup.h"

#include <gtest/gtest.h>

TEST(BackupNamesPosix, ANameBeyondAsciiIsEncodedFromItsUtf8Bytes) {
    // "Z\u00fcrich" is 5A C3 BC 72 69 63 68 in UTF-8.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"),
              L"C:\\Users\\Ferrymark backup (WsO8cmljaA==)");
    // 78 C3 BF: the last six bits are all ones, the sign that stands for 63.
    EXPECT_EQ(GetBackupPath(L"C:\\x\u00ff"), L"C:\\Ferrymark backup (eMO/)");
}
