// What only Windows shows of the embedded resources: sharing on the file that
// ExtractResource opens, and a patched program that still starts.
#include "engine/embedded_resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

using platform::ResourceType;

namespace {

using ResourcesWineTest = SandboxTest;

TEST_F(ResourcesWineTest, ExtractResourceWritesPastAHolderOnlyIfItSharesWriting) {
    const std::wstring target = InFolder(L"exe.xml");
    for (const DWORD share : {DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE}, DWORD{FILE_SHARE_READ}}) {
        const bool writes = (share & FILE_SHARE_WRITE) != 0;
        WriteFile(target, "old");
        HANDLE holder =
            CreateFileW(target.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(holder, INVALID_HANDLE_VALUE);
        EXPECT_EQ(ExtractResource(IDR_SIMBASE_V1_EXE, target, ResourceType::RcData), writes);
        CloseHandle(holder);
        EXPECT_EQ(ReadFile(target).substr(0, 5), writes ? "<?xml" : "old") << share;
    }
}

TEST_F(ResourcesWineTest, APatchedProgramStillStarts) {
    const std::string images = FERRYMARK_RESOURCE_IMAGES;
    std::wstring target = InFolder(L"fsx.exe");
    WriteFile(target, ReadFile(std::wstring(images.begin(), images.end()) + L"/versioned.exe"));
    ASSERT_TRUE(PatchToFSX(target));

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessW(target.c_str(), target.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process));
    ASSERT_EQ(WaitForSingleObject(process.hProcess, 30000), WAIT_OBJECT_0);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    EXPECT_EQ(status, 7u) << "the patched program did not run to its end";
}

} // namespace
