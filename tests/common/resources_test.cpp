// ExtractResource and PatchToFSX on real executables, and how both fail leaving the target as it was.
#include "app/machine_queries.h"
#include "engine/embedded_resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

using ResourcesTest = SandboxTest;

TEST_F(ResourcesTest, ExtractWritesByteForBytePatchSetsTheFsxVersionAndFailuresChangeNothing) {
    const std::string expected = FERRYMARK_RESOURCE_EXPECTED "/expected-",
                      images = FERRYMARK_RESOURCE_IMAGES "/";
    const std::pair<std::uint32_t, std::string> extracted[] = {
        {IDR_SIMBASE_V1_DLL, expected + "v1-dll.xml"}, {IDR_SIMBASE_V1_EXE, expected + "v1-exe.xml"},
        {IDR_SIMBASE_V3_DLL, expected + "v3-dll.xml"}, {IDR_SIMBASE_V3_EXE, expected + "v3-exe.xml"},
        {IDR_LAUNCHER_STUB, FERRYMARK_STUB_FILE}};
    OpenLog();
    const std::wstring target = InFolder(L"out");
    for (const auto& [id, file] : extracted) {
        WriteFile(target, std::string(300000, 'x')); // gone entirely, however long it was
        EXPECT_TRUE(ExtractResource(id, target, platform::ResourceType::RcData));
        const std::string bytes = ReadFile({file.begin(), file.end()});
        EXPECT_TRUE(!bytes.empty() && ReadFile(target) == bytes) << file;
    }
    EXPECT_EQ(LogLines().back(), "TRACE ExtractResource " + Narrow(target));
    // The image, and its file version before the patch.
    for (const auto& [name, version] :
         {std::pair{"versioned", L"1.2.3.4"}, {"unversioned", L""}, {"bare", L""}}) {
        const std::string image = images + name + ".exe";
        WriteFile(target, ReadFile({image.begin(), image.end()}));
        EXPECT_EQ(GetFileVersionText(target), version) << name;
        EXPECT_TRUE(PatchToFSX(target));
        EXPECT_EQ(GetFileVersionText(target), L"10.0.61637.0") << name;
    }
    EXPECT_EQ(LogLines().back(), "TRACE PatchToFSX " + Narrow(target));
    // A target that cannot be written, a resource that is not there, a file that is no program.
    WriteFile(target, "not a program");
    for (const bool result :
         {ExtractResource(IDR_SIMBASE_V3_DLL, InFolder(L"no\\dll.xml"), platform::ResourceType::RcData),
          ExtractResource(IDR_SIMBASE_V3_DLL, target, platform::ResourceType::Bitmap), PatchToFSX(target)})
        EXPECT_FALSE(result);
    EXPECT_EQ(ReadFile(target), "not a program");
    EXPECT_EQ(LogMatching({"TRACE Could"}),
              (std::vector<std::string>{"TRACE Could not open file for writing",
                                        "TRACE Could not locate resource",
                                        "TRACE Could not open file for writing"}));
}
