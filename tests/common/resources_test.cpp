// The embedded resources on each build: what ExtractResource writes, the version
// block and what PatchToFSX does to real executables, and the dialog templates,
// images and icon that the program's file carries.
#include "app/logger.h"
#include "app/machine_queries.h"
#include "engine/resources.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/host.h"

#include <LIEF/PE.hpp>
#endif

namespace {

constexpr std::uint16_t kEnglish = 1033;

std::string ReadHostFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.good()) << "cannot read " << path;
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
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
                                        std::uint32_t id, std::uint16_t language) {
#ifdef _WIN32
    HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (module == nullptr)
        return std::nullopt;
    std::optional<std::string> bytes;
    HRSRC found = FindResourceExW(module, MAKEINTRESOURCEW(static_cast<WORD>(type)),
                                  MAKEINTRESOURCEW(id), language);
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
                    languageNode.id() == language) {
                    const auto& data =
                        dynamic_cast<LIEF::PE::ResourceData&>(languageNode).content();
                    return std::string(data.begin(), data.end());
                }
    return std::nullopt;
#endif
}

// Reads the little-endian fields of a resource.
struct Reader {
    const std::string& bytes;
    std::size_t at = 0;

    std::uint32_t Number(std::size_t width) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width; ++i)
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i)))
                     << (8 * i);
        at += width;
        return value;
    }
    std::int32_t Short() { return static_cast<std::int16_t>(Number(2)); }
    std::string Text() {
        std::string text;
        for (std::uint32_t c = Number(2); c != 0; c = Number(2))
            text += static_cast<char>(c);
        return text;
    }
    // A class or title: none, an ordinal (the predefined classes by name), or a text.
    std::string TextOrOrdinal() {
        if (bytes.at(at) == '\xff' && bytes.at(at + 1) == '\xff') {
            at += 2;
            const std::uint32_t ordinal = Number(2);
            return ordinal == 0x80   ? "Button"
                   : ordinal == 0x81 ? "Edit"
                   : ordinal == 0x82 ? "Static"
                                     : "#" + std::to_string(ordinal);
        }
        return Text();
    }
    // A class given by name: Windows looks it up without regard to case.
    std::string ClassName() {
        const bool named = bytes.at(at) != '\xff';
        std::string name = TextOrOrdinal();
        for (char& c : name)
            if (named)
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return name;
    }
    void Align() { at = (at + 3) & ~std::size_t{3}; }
};

// A DIALOGEX template as lines: the dialog, then one line a control. The
// predefined classes are atoms and show by their names; other classes show in
// capitals.
std::vector<std::string> DescribeDialog(const std::string& bytes) {
    Reader in{bytes};
    std::vector<std::string> lines;
    std::ostringstream head;
    EXPECT_EQ(in.Number(2), 1u);
    EXPECT_EQ(in.Number(2), 0xFFFFu);
    in.Number(4);
    const std::uint32_t exStyle = in.Number(4);
    const std::uint32_t style = in.Number(4);
    const std::uint32_t count = in.Number(2);
    head << std::hex << style << " " << exStyle << std::dec;
    for (int i = 0; i < 4; ++i)
        head << " " << in.Short();
    head << " menu=" << in.TextOrOrdinal() << " class=" << in.TextOrOrdinal() << " \"" << in.Text()
         << "\"";
    const std::uint32_t points = in.Number(2);
    in.Number(4);
    head << " " << in.Text() << " " << points;
    lines.push_back(head.str());
    for (std::uint32_t i = 0; i < count; ++i) {
        in.Align();
        std::ostringstream item;
        in.Number(4);
        in.Number(4);
        const std::uint32_t itemStyle = in.Number(4);
        const std::int32_t x = in.Short(), y = in.Short(), cx = in.Short(), cy = in.Short();
        item << static_cast<std::int32_t>(in.Number(4));
        item << " " << in.ClassName() << " " << std::hex << itemStyle << std::dec;
        item << " " << x << " " << y << " " << cx << " " << cy << " \"" << in.TextOrOrdinal()
             << "\"";
        in.at += in.Number(2);
        lines.push_back(item.str());
    }
    return lines;
}

class ResourcesTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"resources-log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"TRACE");
    }
    void TearDown() override {
        Logger::Instance().close();
        Logger::SetLevel(L"Info");
        SandboxTest::TearDown();
    }

    // The log as "LEVEL text" lines, ASCII only.
    std::vector<std::string> Logged() {
        const std::string bytes = ReadFile(logPath);
        std::vector<std::string> lines;
        for (std::size_t start = 0, end; start < bytes.size(); start = end + 2) {
            end = std::min(bytes.find("\r\n", start), bytes.size());
            std::string line;
            for (std::size_t i = start; i < end; ++i)
                if (bytes[i] != '\0')
                    line += bytes[i];
            if (line.size() < 30)
                continue;
            std::string level = line.substr(21, 5);
            lines.push_back(level.erase(0, level.find_first_not_of(' ')) + " " + line.substr(30));
        }
        return lines;
    }
    static std::string Narrow(const std::wstring& text) {
        return std::string(text.begin(), text.end());
    }

    // A copy of one of the built patch targets in the sandbox.
    std::wstring CopyOfImage(const std::string& name) {
        const std::wstring copy = InFolder(std::wstring(name.begin(), name.end()) + L".exe");
        WriteFile(copy, ReadHostFile(std::string(FERRYMARK_RESOURCE_IMAGES) + "/" + name + ".exe"));
        return copy;
    }

    std::wstring logPath;
};

TEST_F(ResourcesTest, ExtractResourceWritesTheTemplatesAndTheStubByteForByte) {
    const struct {
        std::uint32_t id;
        std::string expected;
    } cases[] = {
        {IDR_SIMBASE_V1_DLL, std::string(FERRYMARK_RESOURCE_EXPECTED) + "/expected-v1-dll.xml"},
        {IDR_SIMBASE_V1_EXE, std::string(FERRYMARK_RESOURCE_EXPECTED) + "/expected-v1-exe.xml"},
        {IDR_SIMBASE_V3_DLL, std::string(FERRYMARK_RESOURCE_EXPECTED) + "/expected-v3-dll.xml"},
        {IDR_SIMBASE_V3_EXE, std::string(FERRYMARK_RESOURCE_EXPECTED) + "/expected-v3-exe.xml"},
        {IDR_LAUNCHER_STUB, FERRYMARK_STUB_FILE},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.id);
        const std::wstring target = InFolder(L"out-" + std::to_wstring(item.id));
        // What stood in the file before is gone entirely, however long it was.
        WriteFile(target, std::string(300000, 'x'));
        EXPECT_TRUE(ExtractResource(item.id, target, ResourceType::RcData));
        const std::string expected = ReadHostFile(item.expected);
        EXPECT_FALSE(expected.empty());
        EXPECT_TRUE(ReadFile(target) == expected) << "differs from " << item.expected;
        EXPECT_EQ(Logged().back(), "TRACE ExtractResource " + Narrow(target));
    }
}

TEST_F(ResourcesTest, ExtractResourceFailuresLeaveTheTargetAndSayWhyAtTrace) {
    const std::wstring missingFolder = InFolder(L"missing\\dll.xml");
    EXPECT_FALSE(ExtractResource(IDR_SIMBASE_V3_DLL, missingFolder, ResourceType::RcData));
    EXPECT_EQ(ReadFile(missingFolder), "");
    EXPECT_EQ(ReadFile(InFolder(L"missing")), "");

    const std::wstring existing = InFolder(L"keep.txt");
    WriteFile(existing, "kept");
    EXPECT_FALSE(ExtractResource(IDR_SIMBASE_V3_DLL, existing, ResourceType::Bitmap));
    EXPECT_EQ(ReadFile(existing), "kept");

    EXPECT_EQ(Logged(), (std::vector<std::string>{
                            "TRACE ExtractResource " + Narrow(missingFolder),
                            "TRACE Could not open file for writing",
                            "TRACE ExtractResource " + Narrow(existing),
                            "TRACE Could not locate resource",
                        }));
}

TEST_F(ResourcesTest, TheFsxVersionBlockIsTheStubsOwn) {
    const std::optional<std::string> block = OwnResource(IDV_FSX_VERSION, ResourceType::Version);
    ASSERT_TRUE(block.has_value());
    EXPECT_EQ(block->size(), 996u);
    // The fixed file information follows the key "VS_VERSION_INFO" at offset 40.
    Reader fixed{*block, 40};
    EXPECT_EQ(fixed.Number(4), 0xFEEF04BDu);
    fixed.Number(4);
    const std::vector<std::uint32_t> values = {fixed.Number(4), fixed.Number(4), fixed.Number(4),
                                               fixed.Number(4), fixed.Number(4), fixed.Number(4),
                                               fixed.Number(4), fixed.Number(4), fixed.Number(4)};
    EXPECT_EQ(values, (std::vector<std::uint32_t>{0x000A0000, 0xF0C50000, 0x000A0000, 0xF0C50000, 0,
                                                  0, 4, 1, 0}));

    const std::wstring stub = InFolder(L"stub.exe");
    WriteFile(stub, ReadHostFile(FERRYMARK_STUB_FILE));
    EXPECT_EQ(FileResource(stub, ResourceType::Version, 1, kEnglish), block);
}

TEST_F(ResourcesTest, PatchToFsxReplacesTheVersionAndKeepsEveryOtherResource) {
    const std::optional<std::string> block = OwnResource(IDV_FSX_VERSION, ResourceType::Version);
    ASSERT_TRUE(block.has_value());
    for (const std::string name : {"versioned", "unversioned"}) {
        SCOPED_TRACE(name);
        const std::wstring target = CopyOfImage(name);
        const struct {
            ResourceType type;
            std::uint32_t id;
            std::uint16_t language;
        } kept[] = {{ResourceType::GroupIcon, 1, kEnglish},
                    {ResourceType::Icon, 1, kEnglish},
                    {ResourceType::Icon, 6, kEnglish},
                    {ResourceType::RcData, 7, kEnglish},
                    {ResourceType::Version, 2, kEnglish}};
        std::vector<std::optional<std::string>> before;
        for (const auto& item : kept)
            before.push_back(FileResource(target, item.type, item.id, item.language));
        ASSERT_TRUE(before[0] && before[3]);
        EXPECT_EQ(before[4].has_value(), name == "versioned");
        EXPECT_EQ(GetFileVersionText(target), name == "versioned" ? L"1.2.3.4" : L"");

        EXPECT_TRUE(PatchToFSX(target));
        EXPECT_EQ(GetFileVersionText(target), L"10.0.61637.0");
        EXPECT_EQ(FileResource(target, ResourceType::Version, 1, kEnglish), block);
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(FileResource(target, kept[i].type, kept[i].id, kept[i].language), before[i])
                << i;
        EXPECT_EQ(Logged().back(), "TRACE PatchToFSX " + Narrow(target));
    }
}

TEST_F(ResourcesTest, PatchToFsxOnAFileThatIsNoProgramFailsAndLeavesIt) {
    const std::wstring text = InFolder(L"notes.exe");
    WriteFile(text, "not a program");
    EXPECT_FALSE(PatchToFSX(text));
    EXPECT_EQ(ReadFile(text), "not a program");
    EXPECT_EQ(Logged(), (std::vector<std::string>{"TRACE PatchToFSX " + Narrow(text),
                                                  "TRACE Could not open file for writing"}));
}

TEST_F(ResourcesTest, PatchToFsxOnAProgramWithoutResources) {
    const std::wstring target = CopyOfImage("bare");
#ifdef _WIN32
    // Windows gives the image a resource section of its own.
    EXPECT_TRUE(PatchToFSX(target));
    EXPECT_EQ(GetFileVersionText(target), L"10.0.61637.0");
#else
    const std::string original = ReadFile(target);
    // LIEF rebuilds a resource tree that an image has, and makes none: refused at
    // the start of the update, the file as it was.
    EXPECT_FALSE(PatchToFSX(target));
    EXPECT_EQ(ReadFile(target), original);
    EXPECT_EQ(Logged().back(), "TRACE Could not open file for writing");
#endif
}

TEST_F(ResourcesTest, DialogTemplatesAreLaidOutAsDesigned) {
    const std::optional<std::string> about = OwnResource(IDD_ABOUT, ResourceType::Dialog);
    const std::optional<std::string> simulator = OwnResource(IDD_SIMULATOR, ResourceType::Dialog);
    const std::optional<std::string> activation = OwnResource(IDD_ACTIVATION, ResourceType::Dialog);
    ASSERT_TRUE(about && simulator && activation);
    EXPECT_EQ(DescribeDialog(*about), (std::vector<std::string>{
                                          "ca08c0 0 0 0 205 80 menu= class= \"About\" Segoe UI 9",
                                          "-1 SYSTABCONTROL32 50000000 -2 -2 209 59 \"\"",
                                          "701 Static 50000003 8 7 18 18 \"\"",
                                          "702 Static 50020000 40 7 155 10 \"\"",
                                          "703 Static 50020000 40 18 155 10 \"\"",
                                          "704 SYSLINK 50000000 40 35 155 10 \"\"",
                                          "1 Button 50010001 155 61 40 14 \"Close\"",
                                      }));
    EXPECT_EQ(DescribeDialog(*simulator),
              (std::vector<std::string>{
                  "ca08c0 0 0 0 245 75 menu= class= \"Configure simulator\" Segoe UI 9",
                  "-1 SYSTABCONTROL32 50000000 -2 -2 279 55 \"\"",
                  "801 Static 50020000 10 13 225 10 \"\"",
                  "802 Edit 50810000 10 25 170 10 \"\"",
                  "803 Button 50010000 185 24 50 12 \"Browse...\"",
                  "804 Button 50010000 130 58 50 12 \"Remove\"",
                  "805 Button 50010001 185 58 50 12 \"Apply\"",
              }));
    const std::vector<std::string> licence = DescribeDialog(*activation);
    EXPECT_NE(std::find_if(licence.begin(), licence.end(),
                           [](const std::string& line) { return line.rfind("902 Edit ", 0) == 0; }),
              licence.end());
}

TEST_F(ResourcesTest, ImagesAndIconAreThere) {
    for (std::uint32_t id = IDB_SIMULATOR_A; id <= IDB_PREPAR3D_V5; ++id) {
        const std::optional<std::string> bitmap = OwnResource(id, ResourceType::Bitmap);
        ASSERT_TRUE(bitmap.has_value()) << id;
        Reader header{*bitmap, 4};
        EXPECT_EQ(header.Number(4), 32u) << id;
        EXPECT_EQ(header.Number(4), 32u) << id;
        header.Number(2);
        EXPECT_EQ(header.Number(2), 24u) << id;
    }
    // The group names its images 1 to 6, each of which is there.
    const std::optional<std::string> group = OwnResource(IDI_FERRYMARK, ResourceType::GroupIcon);
    ASSERT_TRUE(group.has_value());
    Reader entries{*group, 4};
    ASSERT_EQ(entries.Number(2), 6u);
    for (std::uint32_t i = 1; i <= 6; ++i) {
        entries.at = 6 + 14 * (i - 1) + 12;
        EXPECT_EQ(entries.Number(2), i);
        EXPECT_TRUE(OwnResource(i, ResourceType::Icon).has_value()) << i;
    }
}

} // namespace
