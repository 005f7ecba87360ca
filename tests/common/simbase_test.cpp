// Launch lists: what passes as it is, what is repaired and how its bytes come out,
// what fails, and the four templates.
#include "engine/simbase.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

class SimBaseTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        OpenLog();
        document = InFolder(L"dll.xml");
        documentText = Narrow(document);
    }
    std::wstring document;
    std::string documentText;
};

const char kDummy[] = "<!--Dummy Launch.Addon entry created by Ferrymark-->";

} // namespace

TEST_F(SimBaseTest, VerifyPassesRepairsOrRefusesByContent) {
    const std::string kept =
        "<?xml version=\"1.0\" encoding=\"Windows-1252\"?>\r\n<!-- mine -->\r\n"
        "<SimBase.Document Type=\"Launch\" version=\"1,0\">\r\n  <Launch.Addon><Name>A</Name>"
        "</Launch.Addon>\r\n</SimBase.Document>\r\n";
    struct Case {
        const char* name;
        const char* bytes; // null: no file
        bool result;
        const char* after; // null: the bytes stay as they were
        const char* logLine; // a line of the log with the path behind it, or null
    };
    const Case cases[] = {
        {"no file", nullptr, false, nullptr, "TRACE Config file does not exist "},
        {"empty file", "", false, nullptr, "WARN Failed to load "},
        {"not XML", "<SimBase.Document><Launch.Addon>", false, nullptr, "WARN Failed to load "},
        {"no SimBase.Document", "<?xml version=\"1.0\"?><Other><Launch.Addon/></Other>", false,
         nullptr, "WARN Config file is corrupt and cannot be repaired "},
        {"has an entry", kept.c_str(), true, nullptr, nullptr},
        {"entry at any depth", "<a><b><SimBase.Document><Launch.Addon/></SimBase.Document></b></a>",
         true, nullptr, nullptr},
        {"a comment counts as an entry",
         "<SimBase.Document><Launch.Addon><!--x--></Launch.Addon></SimBase.Document>", true,
         nullptr, nullptr},
        // The repair drops the declaration and the comments, writes LF line ends,
        // one tab a level and UTF-8 without a byte order mark.
        {"repaired",
         "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- old -->\r\n"
         "<SimBase.Document Type=\"AceXML\" version=\"3,0\" id=\"dll\">\r\n"
         "    <Descr>AceXML Document</Descr>\r\n</SimBase.Document>\r\n",
         true,
         "<?xml version=\"1.0\"?>\n<SimBase.Document Type=\"AceXML\" version=\"3,0\" id=\"dll\">\n"
         "\t<Descr>AceXML Document</Descr>\n\t<Launch.Addon>\n\t\t"
         "<!--Dummy Launch.Addon entry created by Ferrymark-->\n\t</Launch.Addon>\n"
         "</SimBase.Document>\n",
         nullptr},
        {"the first of several documents gets the repair",
         "<r><SimBase.Document id=\"1\"/><SimBase.Document id=\"2\"/></r>", true,
         "<?xml version=\"1.0\"?>\n<r>\n\t<SimBase.Document id=\"1\">\n\t\t<Launch.Addon>\n\t\t\t"
         "<!--Dummy Launch.Addon entry created by Ferrymark-->\n\t\t</Launch.Addon>\n"
         "\t</SimBase.Document>\n\t<SimBase.Document id=\"2\" />\n</r>\n",
         nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ClearLog();
        platform::RemoveItem(document);
        if (c.bytes != nullptr)
            WriteFile(document, c.bytes);
        // The version is not read: a version-1 call and a version-3 call agree.
        EXPECT_EQ(VerifySimBaseDocument(document, c.name[0] == 'r' ? 1 : 3), c.result);
        if (c.bytes == nullptr) {
            EXPECT_FALSE(platform::Exists(document)) << "nothing is created";
        } else {
            EXPECT_EQ(ReadFile(document), c.after != nullptr ? c.after : c.bytes);
        }
        if (c.logLine != nullptr) {
            EXPECT_TRUE(LogContains(c.logLine + documentText)) << c.logLine;
        }
        // What passed or was repaired passes again at once and stays as it is.
        if (c.result) {
            const std::string now = ReadFile(document);
            EXPECT_TRUE(VerifySimBaseDocument(document, 3));
            EXPECT_EQ(ReadFile(document), now);
        }
    }
    EXPECT_TRUE(LogContains("TRACE VerifySimBaseDocument " + documentText));
}

TEST_F(SimBaseTest, CreateWritesTheTemplateOfVersionAndTypeOrNothing) {
    struct Case {
        std::uint32_t version;
        const wchar_t* type;
        std::uint32_t resource; // 0: refused
        const char* mark;      // a text only the right template holds
    };
    const Case cases[] = {
        {1, L"dll", IDR_SIMBASE_V1_DLL, "<Filename>dll.xml</Filename>"},
        {1, L"exe", IDR_SIMBASE_V1_EXE, "<Filename>exe.xml</Filename>"},
        {3, L"dll", IDR_SIMBASE_V3_DLL, "id=\"dll\""},
        {3, L"exe", IDR_SIMBASE_V3_EXE, "id=\"exe\""},
        {3, L"DLL", 0, nullptr},
        {2, L"dll", 0, nullptr},
        {0, L"exe", 0, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.version) + " " + std::string(c.type, c.type + 3));
        ClearLog();
        WriteFile(document, "old content, lost on purpose");
        EXPECT_EQ(CreateSimBaseDocument(document, c.type, c.version), c.resource != 0);
        if (c.resource == 0) {
            EXPECT_EQ(ReadFile(document), "old content, lost on purpose");
            EXPECT_TRUE(LogContains("ERROR Invalid SimBase document version or type"));
            continue;
        }
        const std::string written = ReadFile(document);
        EXPECT_EQ(written, Embedded(c.resource));
        EXPECT_NE(written.find(c.mark), std::string::npos);
        EXPECT_NE(written.find(std::string("\t\t") + kDummy + "\r\n"), std::string::npos);
        EXPECT_EQ(written.substr(0, 5), "<?xml") << "no byte order mark";
        EXPECT_TRUE(VerifySimBaseDocument(document, c.version)) << "a fresh template passes";
        EXPECT_EQ(ReadFile(document), written);
    }
    // No folder is made for the document.
    EXPECT_FALSE(CreateSimBaseDocument(InFolder(L"missing\\exe.xml"), L"exe", 3));
    EXPECT_FALSE(platform::Exists(InFolder(L"missing")));
}
