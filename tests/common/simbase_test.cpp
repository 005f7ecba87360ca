// Launch lists: what passes as it is, what is repaired and how its bytes come out,
// what is refused, and the four templates.
#include "engine/simbase.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

using SimBaseTest = SandboxTest;

TEST_F(SimBaseTest, VerifyPassesRepairsOrRefusesByContent) {
    const std::wstring document = InFolder(L"dll.xml");
    const std::string path = Narrow(document);
    const struct {
        const char* bytes; // null: no file
        bool result;
        const char* after; // null: the bytes stay as they were
        std::string logLine;
    } cases[] = {
        {nullptr, false, nullptr, "TRACE Config file does not exist " + path},
        {"<SimBase.Document><Launch.Addon>", false, nullptr, "WARN Failed to load " + path},
        {"<?xml version=\"1.0\"?><Other><Launch.Addon/></Other>", false, nullptr,
         "WARN Config file is corrupt and cannot be repaired " + path},
        {"<?xml version=\"1.0\" encoding=\"Windows-1252\"?>\r\n<!-- mine -->\r\n<a><SimBase.Document>"
         "<Launch.Addon><!--x--></Launch.Addon></SimBase.Document></a>\r\n", true, nullptr, ""},
        // The repair drops the declaration and the comments, writes LF line ends,
        // one tab a level and UTF-8 without a byte order mark.
        {"\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- old -->\r\n"
         "<SimBase.Document Type=\"AceXML\" version=\"3,0\" id=\"dll\">\r\n"
         "    <Descr>AceXML Document</Descr>\r\n</SimBase.Document>\r\n", true,
         "<?xml version=\"1.0\"?>\n<SimBase.Document Type=\"AceXML\" version=\"3,0\" id=\"dll\">\n"
         "\t<Descr>AceXML Document</Descr>\n\t<Launch.Addon>\n\t\t"
         "<!--Dummy Launch.Addon entry created by Ferrymark-->\n\t</Launch.Addon>\n</SimBase.Document>\n", ""},
        {"<r><SimBase.Document id=\"1\"/><SimBase.Document id=\"2\"/></r>", true,
         "<?xml version=\"1.0\"?>\n<r>\n\t<SimBase.Document id=\"1\">\n\t\t<Launch.Addon>\n\t\t\t"
         "<!--Dummy Launch.Addon entry created by Ferrymark-->\n\t\t</Launch.Addon>\n"
         "\t</SimBase.Document>\n\t<SimBase.Document id=\"2\" />\n</r>\n", ""},
    };
    OpenLog();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes == nullptr ? "no file" : c.bytes);
        ClearLog();
        platform::RemoveItem(document);
        if (c.bytes != nullptr)
            WriteFile(document, c.bytes);
        EXPECT_EQ(VerifySimBaseDocument(document, 3), c.result);
        EXPECT_EQ(platform::Exists(document), c.bytes != nullptr) << "nothing is created";
        if (c.bytes != nullptr) {
            EXPECT_EQ(ReadFile(document), c.after != nullptr ? c.after : c.bytes);
        }
        EXPECT_TRUE(LogContains("TRACE VerifySimBaseDocument " + path));
        if (!c.logLine.empty()) {
            EXPECT_TRUE(LogContains(c.logLine)) << LogText();
        }
    }
}

TEST_F(SimBaseTest, CreateWritesTheTemplateOfVersionAndTypeOrNothing) {
    const std::wstring document = InFolder(L"dll.xml");
    const struct {
        std::uint32_t version;
        const wchar_t* type;
        const char* mark; // a text only the right template holds; null: refused
    } cases[] = {{1, L"dll", "<Filename>dll.xml</Filename>"}, {1, L"exe", "<Filename>exe.xml</Filename>"},
                 {3, L"dll", "id=\"dll\""}, {3, L"exe", "id=\"exe\""},
                 {3, L"DLL", nullptr}, {2, L"dll", nullptr}, {0, L"exe", nullptr}};
    OpenLog();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.version) + " " + Narrow(c.type));
        ClearLog();
        WriteFile(document, "old content");
        EXPECT_EQ(CreateSimBaseDocument(document, c.type, c.version), c.mark != nullptr);
        const std::string written = ReadFile(document);
        if (c.mark == nullptr) {
            EXPECT_EQ(written, "old content");
            EXPECT_TRUE(LogContains("ERROR Invalid SimBase document version or type"));
            continue;
        }
        EXPECT_NE(written.find(c.mark), std::string::npos);
        EXPECT_NE(written.find("\t\t<!--Dummy Launch.Addon entry created by Ferrymark-->\r\n"), std::string::npos);
        EXPECT_EQ(written.substr(0, 5), "<?xml") << "no byte order mark";
        EXPECT_TRUE(VerifySimBaseDocument(document, c.version)) << "a fresh template passes";
        EXPECT_EQ(ReadFile(document), written) << "and is left as it is";
    }
    EXPECT_FALSE(CreateSimBaseDocument(InFolder(L"missing\\exe.xml"), L"exe", 3));
    EXPECT_FALSE(platform::Exists(InFolder(L"missing"))) << "no folder is made for it";
}
