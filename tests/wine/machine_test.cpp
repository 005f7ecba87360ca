// Machine queries against Windows itself (Wine).
#include "app/machine.h"
#include "platform/system.h"

#include <gtest/gtest.h>

#include <windows.h>

TEST(Machine, SingleInstanceNameIsAWindowsMutex) {
    EXPECT_FALSE(IsAlreadyRunning());
    EXPECT_TRUE(IsAlreadyRunning()) << "the first call keeps its handle open";
    HANDLE probe = OpenMutexW(SYNCHRONIZE, FALSE, L"{1c9627d4-94bb-4214-860f-abeda9727cda}");
    EXPECT_NE(probe, nullptr) << "the name is a named mutex other programs can see";
    if (probe != nullptr)
        CloseHandle(probe);
}

TEST(Machine, KnownFoldersComeFromTheShell) {
    const std::wstring programData = GetKnownFolder(KnownFolder::ProgramData);
    EXPECT_TRUE(_wcsicmp(programData.c_str(), L"C:\\ProgramData") == 0)
        << std::string(programData.begin(), programData.end());
    EXPECT_EQ(GetDataFolder(), programData + L"\\Kestrane\\Ferrymark");
    EXPECT_NE(GetKnownFolder(KnownFolder::Documents), GetKnownFolder(KnownFolder::Pictures));
}
