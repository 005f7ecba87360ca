// What only Windows shows: backup names' code page, and a patched program that still runs.
#include "engine/backup.h"
#include "engine/embedded_resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <windows.h>

using Win32BackendTest = SandboxTest;

TEST_F(Win32BackendTest, BackupNamesAndAPatchedProgram) {
    // A patched program still runs to its end (status 7).
    std::wstring program = InFolder(L"fsx.exe");
    WriteFile(program, ReadFile(Wide(FERRYMARK_RESOURCE_IMAGES "/versioned.exe")));
    ASSERT_TRUE(PatchToFSX(program));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessW(program.c_str(), program.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process));
    DWORD status = WaitForSingleObject(process.hProcess, 30000);
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    EXPECT_EQ(status, 7u);

    if (GetACP() != 1252 || GetOEMCP() != 437)
        GTEST_SKIP() << "the backup names' bytes are those of code pages 1252 and 437; this machine uses "
                     << GetACP() << " and " << GetOEMCP();
    // "Z\u00fcrich" is 5A FC 72 69 63 68 in 1252; a character it lacks becomes "?" (3F);
    // FF begins with six ones, the sign for 63. On OEM the name is 5A 81 72 69 63 68.
    EXPECT_EQ(GetBackupPath(L"C:\\Users\\Z\u00fcrich"), L"C:\\Users\\Ferrymark backup (WvxyaWNo)");
    EXPECT_EQ(GetBackupPath(L"C:\\\u4e2d"), L"C:\\Ferrymark backup (Pw==)");
    EXPECT_EQ(GetBackupPath(L"C:\\\u00ff"), L"C:\\Ferrymark backup (/w==)");
    SetFileApisToOEM();
    const std::wstring oem = GetBackupPath(L"C:\\Users\\Z\u00fcrich");
    SetFileApisToANSI();
    EXPECT_EQ(oem, L"C:\\Users\\Ferrymark backup (WoFyaWNo)");
}
