// The embedded resources on each build: what ExtractResource writes, what PatchToFSX
// does to real executables, and the resources that the program's file carries.
#include "app/machine_queries.h"
#include "engine/embedded_resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/host.h"

#include <LIEF/PE.hpp>
#endif

using platform::ResourceType;

namespace {

constexpr std::uint16_t kEnglish = 1033;

// A path that the build names, in the form that the test program opens.
std::wstring Built(const std::string& path) {
    return std::wstring(path.begin(), path.end());
}

// The bytes of a resource of the program's own image, or nothing.
std::optional<std::string> OwnResource(std::uint32_t id, ResourceType type) {
    const platform::FoundResource found = platform::FindOwnResource(id, type);
    if (found == nullptr)
        return std::nullopt;
    const void* bytes = platform::LockOwnResource(platform::LoadOwnResource(found));
    return std::string(static_cast<const char*>(bytes), platform::SizeOfOwnResource(found));
}

// The bytes of a resource of another executable file, or nothing.
std::optional<std::string> FileResource(const std::wstring& path, ResourceType type,
                                        std::uint32_t id) {
#ifdef _WIN32
    HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (module == nullptr)
        return std::nullopt;
    std::optional<std::string> bytes;
    HRSRC found = FindResourceExW(module, MAKEINTRESOURCEW(static_cast<WORD>(type)),
                                  MAKEINTRESOURCEW(id), kEnglish);
    if (found != nullptr)
        bytes = std::string(static_cast<const char*>(LockResource(LoadResource(module, found))),
                            SizeofResource(module, found));
    FreeLibrary(module);
    return bytes;
#else
    std::unique_ptr<LIEF::PE::Binary> image =
        LIEF::PE::Parser::parse(platform::posix::HostPath(path));
    if (image == nullptr || !image->has_resources())
        return std::nullopt;
    for (LIEF::PE::ResourceNode& typeNode : image->resources().childs())
        for (LIEF::PE::ResourceNode& idNode : typeNode.childs())
            for (LIEF::PE::ResourceNode& languageNode : idNode.childs())
                if (typeNode.id() == static_cast<std::uint32_t>(type) && idNode.id() == id &&
                    languageNode.id() == kEnglish) {
                    const auto& data =
                        dynamic_cast<LIEF::PE::ResourceData&>(languageNode).content();
                    return std::string(data.begin(), data.end());
                }
    return std::nullopt;
#endif
}

class ResourcesTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        OpenLog();
    }
    std::vector<std::string> Last(std::size_t count) const {
        const std::vector<std::string> lines = LogLines();
        return {lines.end() - static_cast<std::ptrdiff_t>(std::min(count, lines.size())),
                lines.end()};
    }
    static std::string Trace(const std::wstring& text) { return "TRACE " + Narrow(text); }

    // A copy in the sandbox of one of the built patch targets.
    std::wstring CopyOfImage(const std::string& name) {
        const std::wstring copy = InFolder(std::wstring(name.begin(), name.end()) + L".exe");
        WriteFile(copy, ReadFile(Built(FERRYMARK_RESOURCE_IMAGES "/" + name + ".exe")));
        return copy;
    }
};

TEST_F(ResourcesTest, ExtractResourceWritesTheTemplatesAndTheStubByteForByte) {
    const std::string fixtures = FERRYMARK_RESOURCE_EXPECTED;
    const std::pair<std::uint32_t, std::string> cases[] = {
        {IDR_SIMBASE_V1_DLL, fixtures + "/expected-v1-dll.xml"},
        {IDR_SIMBASE_V1_EXE, fixtures + "/expected-v1-exe.xml"},
        {IDR_SIMBASE_V3_DLL, fixtures + "/expected-v3-dll.xml"},
        {IDR_SIMBASE_V3_EXE, fixtures + "/expected-v3-exe.xml"},
        {IDR_LAUNCHER_STUB, FERRYMARK_STUB_FILE},
    };
    for (const auto& [id, expectedFile] : cases) {
        SCOPED_TRACE(expectedFile);
        const std::wstring target = InFolder(L"out-" + std::to_wstring(id));
        // What stood in the file before is gone entirely, however long it was.
        WriteFile(target, std::string(300000, 'x'));
        EXPECT_TRUE(ExtractResource(id, target, ResourceType::RcData));
        const std::string expected = ReadFile(Built(expectedFile));
        EXPECT_FALSE(expected.empty());
        EXPECT_TRUE(ReadFile(target) == expected) << "the written file differs";
        EXPECT_EQ(Last(1), std::vector<std::string>{Trace(L"ExtractResource " + target)});
    }
}

TEST_F(ResourcesTest, TheProgramCarriesItsDialogsImagesAndIcons) {
    for (const std::uint32_t id : {IDD_ABOUT, IDD_SIMULATOR, IDD_ACTIVATION})
        EXPECT_TRUE(OwnResource(id, ResourceType::Dialog).has_value()) << id;
    for (std::uint32_t id = IDB_SIMULATOR_A; id <= IDB_PREPAR3D_V5; ++id)
        EXPECT_TRUE(OwnResource(id, ResourceType::Bitmap).has_value()) << id;
    for (std::uint32_t id = 1; id <= 6; ++id)
        EXPECT_TRUE(OwnResource(id, ResourceType::Icon).has_value()) << id;
    EXPECT_TRUE(OwnResource(IDI_FERRYMARK, ResourceType::GroupIcon).has_value());
}

TEST_F(ResourcesTest, PatchToFsxSetsTheFsxVersionAndKeepsEveryOtherResource) {
    // The block that the patch writes is the stub's own.
    const std::optional<std::string> block = OwnResource(IDV_FSX_VERSION, ResourceType::Version);
    ASSERT_TRUE(block.has_value());
    EXPECT_EQ(block->size(), 996u);
    WriteFile(InFolder(L"stub.exe"), ReadFile(Built(FERRYMARK_STUB_FILE)));
    EXPECT_EQ(FileResource(InFolder(L"stub.exe"), ResourceType::Version, 1), block);
    // The version before, and whether the file has the icon and the data to keep.
    std::vector<std::tuple<std::string, std::wstring, bool>> cases = {
        {"versioned", L"1.2.3.4", true}, {"unversioned", L"", true}, {"bare", L"", false}};
    const std::pair<ResourceType, std::uint32_t> kept[] = {{ResourceType::GroupIcon, 1},
                                                           {ResourceType::Icon, 1},
                                                           {ResourceType::Icon, 6},
                                                           {ResourceType::RcData, 7},
                                                           {ResourceType::Version, 2}};
    for (const auto& [name, version, resources] : cases) {
        SCOPED_TRACE(name);
        const std::wstring target = CopyOfImage(name);
        std::vector<std::optional<std::string>> before;
        for (const auto& [type, id] : kept)
            before.push_back(FileResource(target, type, id));
        EXPECT_EQ(before[0].has_value() && before[3].has_value(), resources);
        EXPECT_EQ(before[4].has_value(), name == "versioned");
        EXPECT_EQ(GetFileVersionText(target), version);

        EXPECT_TRUE(PatchToFSX(target));
        EXPECT_EQ(GetFileVersionText(target), L"10.0.61637.0");
        EXPECT_EQ(FileResource(target, ResourceType::Version, 1), block);
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(FileResource(target, kept[i].first, kept[i].second), before[i]) << i;
        EXPECT_EQ(Last(1), std::vector<std::string>{Trace(L"PatchToFSX " + target)});
    }
}

TEST_F(ResourcesTest, FailuresLeaveTheTargetAndSayWhyAtTrace) {
    WriteFile(InFolder(L"keep.txt"), "kept");
    WriteFile(InFolder(L"notes.exe"), "not a program");
    const std::wstring cannotWrite = L"Could not open file for writing";
    // Whether to patch or else extract a resource of that type, the target, and why not.
    std::vector<std::tuple<bool, ResourceType, std::wstring, std::wstring>> cases = {
        {false, ResourceType::RcData, InFolder(L"missing\\dll.xml"), cannotWrite},
        {false, ResourceType::Bitmap, InFolder(L"keep.txt"), L"Could not locate resource"},
        {true, {}, InFolder(L"notes.exe"), cannotWrite}};
    for (const auto& [patch, type, path, reason] : cases) {
        SCOPED_TRACE(Trace(path));
        const std::string before = ReadFile(path);
        EXPECT_FALSE(patch ? PatchToFSX(path) : ExtractResource(IDR_SIMBASE_V3_DLL, path, type));
        EXPECT_EQ(ReadFile(path), before);
        EXPECT_EQ(Last(2), (std::vector<std::string>{
                               Trace((patch ? L"PatchToFSX " : L"ExtractResource ") + path),
                               Trace(reason)}));
    }
}

} // namespace
