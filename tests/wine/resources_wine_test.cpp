// What only Windows shows of the embedded resources: sharing on the file that
// ExtractResource opens, and a patched program that still starts.
#include "app/logger.h"
#include "engine/resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace {

class ResourcesWineTest : public SandboxTest {};

HANDLE Hold(const std::wstring& path, DWORD share) {
    return CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST_F(ResourcesWineTest, ExtractResourceOpensTheTargetSharedButNotPastAHolder) {
    const std::wstring target = InFolder(L"exe.xml");
    WriteFile(target, "old");

    // Another reader that lets writers in does not stop the write.
    HANDLE sharing = Hold(target, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_NE(sharing, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(ExtractResource(IDR_SIMBASE_V1_EXE, target, ResourceType::RcData));
    CloseHandle(sharing);
    EXPECT_EQ(ReadFile(target).substr(0, 5), "<?xml");

    // One that does not share writing does.
    WriteFile(target, "old");
    HANDLE exclusive = Hold(target, FILE_SHARE_READ);
    ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(ExtractResource(IDR_SIMBASE_V1_EXE, target, ResourceType::RcData));
    CloseHandle(exclusive);
    EXPECT_EQ(ReadFile(target), "old");
}

TEST_F(ResourcesWineTest, APatchedProgramStillStarts) {
    const std::wstring target = InFolder(L"fsx.exe");
    const std::string images = FERRYMARK_RESOURCE_IMAGES;
    const std::wstring fixture = std::wstring(images.begin(), images.end()) + L"/versioned.exe";
    ASSERT_TRUE(CopyFileW(fixture.c_str(), target.c_str(), FALSE));
    ASSERT_TRUE(PatchToFSX(target));

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    std::wstring commandLine = L"\"" + target + L"\"";
    ASSERT_TRUE(CreateProcessW(target.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0,
                               nullptr, nullptr, &startup, &process));
    ASSERT_EQ(WaitForSingleObject(process.hProcess, 30000), WAIT_OBJECT_0);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    EXPECT_EQ(status, 7u);
}

} // namespace
