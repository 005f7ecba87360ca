// The embedded resources on each build: what ExtractResource writes, what
// PatchToFSX does to real executables, and how both fail.
#include "app/machine_queries.h"
#include "engine/resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <optional>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/host.h"

#include <LIEF/PE.hpp>
#endif

namespace {

std::wstring Wide(const std::string& path) {
    return {path.begin(), path.end()};
}

// The bytes of a US English resource of an executable file, or nothing.
std::optional<std::string> FileResource(const std::wstring& path, ResourceType type, std::uint32_t id) {
    std::optional<std::string> bytes;
#ifdef _WIN32
    HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    HRSRC found = module == nullptr ? nullptr
                                    : FindResourceExW(module, MAKEINTRESOURCEW(static_cast<WORD>(type)),
                                                      MAKEINTRESOURCEW(id), 1033);
    if (found != nullptr)
        bytes = std::string(static_cast<const char*>(LockResource(LoadResource(module, found))),
                            SizeofResource(module, found));
    if (module != nullptr)
        FreeLibrary(module);
#else
    const std::unique_ptr<LIEF::PE::Binary> image = LIEF::PE::Parser::parse(platform::posix::HostPath(path));
    if (image != nullptr && image->has_resources())
        for (LIEF::PE::ResourceNode& typeNode : image->resources().childs())
            for (LIEF::PE::ResourceNode& idNode : typeNode.childs())
                for (LIEF::PE::ResourceNode& language : idNode.childs())
                    if (typeNode.id() == static_cast<std::uint32_t>(type) && idNode.id() == id &&
                        language.id() == 1033) {
                        const auto& data = dynamic_cast<LIEF::PE::ResourceData&>(language).content();
                        bytes = std::string(data.begin(), data.end());
                    }
#endif
    return bytes;
}

using ResourcesTest = SandboxTest;

} // namespace

TEST_F(ResourcesTest, ExtractResourceWritesTheTemplatesAndTheStubByteForByte) {
    const std::string fixtures = FERRYMARK_RESOURCE_EXPECTED;
    const std::pair<std::uint32_t, std::string> cases[] = {
        {IDR_SIMBASE_V1_DLL, fixtures + "/expected-v1-dll.xml"}, {IDR_SIMBASE_V1_EXE, fixtures + "/expected-v1-exe.xml"},
        {IDR_SIMBASE_V3_DLL, fixtures + "/expected-v3-dll.xml"}, {IDR_SIMBASE_V3_EXE, fixtures + "/expected-v3-exe.xml"},
        {IDR_LAUNCHER_STUB, FERRYMARK_STUB_FILE}};
    OpenLog();
    for (const auto& [id, expectedFile] : cases) {
        SCOPED_TRACE(expectedFile);
        const std::wstring target = InFolder(L"out-" + std::to_wstring(id));
        WriteFile(target, std::string(300000, 'x')); // gone entirely, however long it was
        EXPECT_TRUE(ExtractResource(id, target, ResourceType::RcData));
        const std::string expected = ReadFile(Wide(expectedFile));
        EXPECT_FALSE(expected.empty());
        EXPECT_TRUE(ReadFile(target) == expected) << "the written file differs";
        EXPECT_EQ(LogLines().back(), "TRACE ExtractResource " + Narrow(target));
    }
}

TEST_F(ResourcesTest, PatchToFsxSetsTheFsxVersionAndKeepsEveryOtherResource) {
    // The block that the patch writes is the stub's own.
    WriteFile(InFolder(L"stub.exe"), ReadFile(Wide(FERRYMARK_STUB_FILE)));
    const std::optional<std::string> block = FileResource(InFolder(L"stub.exe"), ResourceType::Version, 1);
    ASSERT_TRUE(block.has_value());
    EXPECT_EQ(block->size(), 996u);
    // The image, its version before, and whether it has the icon and the data to keep.
    const std::tuple<std::string, std::wstring, bool> cases[] = {
        {"versioned", L"1.2.3.4", true}, {"unversioned", L"", true}, {"bare", L"", false}};
    const std::pair<ResourceType, std::uint32_t> kept[] = {
        {ResourceType::GroupIcon, 1}, {ResourceType::Icon, 6}, {ResourceType::RcData, 7}, {ResourceType::Version, 2}};
    OpenLog();
    for (const auto& [name, version, resources] : cases) {
        SCOPED_TRACE(name);
        const std::wstring target = InFolder(Wide(name) + L".exe");
        WriteFile(target, ReadFile(Wide(FERRYMARK_RESOURCE_IMAGES "/" + name + ".exe")));
        std::vector<std::optional<std::string>> before;
        for (const auto& [type, id] : kept)
            before.push_back(FileResource(target, type, id));
        EXPECT_EQ(before[0].has_value() && before[2].has_value(), resources);
        EXPECT_EQ(before[3].has_value(), name == "versioned");
        EXPECT_EQ(GetFileVersionText(target), version);
        EXPECT_TRUE(PatchToFSX(target));
        EXPECT_EQ(GetFileVersionText(target), L"10.0.61637.0");
        EXPECT_EQ(FileResource(target, ResourceType::Version, 1), block);
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(FileResource(target, kept[i].first, kept[i].second), before[i]) << i;
        EXPECT_EQ(LogLines().back(), "TRACE PatchToFSX " + Narrow(target));
    }
}

TEST_F(ResourcesTest, FailuresLeaveTheTargetAndSayWhyAtTrace) {
    WriteFile(InFolder(L"keep.txt"), "kept");
    WriteFile(InFolder(L"notes.exe"), "not a program");
    // Whether to patch or else extract a resource of that type, the target, and why not.
    const std::tuple<bool, ResourceType, std::wstring, std::string> cases[] = {
        {false, ResourceType::RcData, InFolder(L"missing\\dll.xml"), "Could not open file for writing"},
        {false, ResourceType::Bitmap, InFolder(L"keep.txt"), "Could not locate resource"},
        {true, {}, InFolder(L"notes.exe"), "Could not open file for writing"}};
    OpenLog();
    for (const auto& [patch, type, path, reason] : cases) {
        SCOPED_TRACE(Narrow(path));
        const std::string before = ReadFile(path);
        EXPECT_FALSE(patch ? PatchToFSX(path) : ExtractResource(IDR_SIMBASE_V3_DLL, path, type));
        EXPECT_EQ(ReadFile(path), before);
        const std::vector<std::string> lines = LogLines();
        EXPECT_EQ(std::vector<std::string>(lines.end() - 2, lines.end()),
                  (std::vector<std::string>{(patch ? "TRACE PatchToFSX " : "TRACE ExtractResource ") + Narrow(path),
                                            "TRACE " + reason}));
    }
}
