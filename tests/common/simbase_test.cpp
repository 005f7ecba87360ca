// Launch lists: what passes as it is, what is repaired to which bytes, what is refused; the templates.
#include "engine/simbase.h"
#include "platform/fs.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

using SimBaseTest = SandboxTest;

TEST_F(SimBaseTest, VerifyPassesRepairsOrRefusesByContentAndCreateWritesATemplate) {
    const std::wstring xml = InFolder(L"dll.xml");
    const std::string dummy =
        "<Launch.Addon>\n\t\t<!--Dummy Launch.Addon entry created by Ferrymark-->\n";
    // The bytes (null: no file), the result, the bytes after (null: unchanged), the log line.
    const std::tuple<const char*, bool, std::string, std::string> cases[] = {
        {nullptr, false, "", "TRACE Config file does not exist "},
        {"<SimBase.Document><Launch.Addon>", false, "", "WARN Failed to load "},
        {"<Other><Launch.Addon/></Other>", false, "",
         "WARN Config file is corrupt and cannot be repaired "},
        {"<?xml version=\"1.0\"?>\r\n<!-- a -->\r\n<a><SimBase.Document><Launch.Addon><!--x-->"
         "</Launch.Addon></SimBase.Document></a>\r\n",
         true, "", "TRACE VerifySimBaseDocument "},
        // A repair drops the declaration and comments, writes LF, tabs and UTF-8 without a BOM.
        {"\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- old "
         "-->\r\n<SimBase.Document "
         "id=\"dll\">\r\n    <Descr>AceXML</Descr>\r\n</SimBase.Document>\r\n",
         true,
         "<?xml version=\"1.0\"?>\n<SimBase.Document id=\"dll\">\n\t<Descr>AceXML</Descr>\n\t" +
             dummy + "\t</Launch.Addon>\n</SimBase.Document>\n",
         ""},
        {"<r><SimBase.Document/><SimBase.Document id=\"2\"/></r>", true,
         "<?xml version=\"1.0\"?>\n<r>\n\t<SimBase.Document>\n\t\t<Launch.Addon>\n\t\t\t<!--Dummy "
         "Launch.Addon entry created by Ferrymark-->\n\t\t</Launch.Addon>\n\t</SimBase.Document>\n"
         "\t<SimBase.Document id=\"2\" />\n</r>\n",
         ""}};
    OpenLog();
    for (const auto& [bytes, result, after, line] : cases) {
        SCOPED_TRACE(bytes == nullptr ? "no file" : bytes);
        ClearLog();
        platform::RemoveItem(xml);
        if (bytes != nullptr)
            WriteFile(xml, bytes);
        EXPECT_EQ(VerifySimBaseDocument(xml, 3), result);
        EXPECT_EQ(ReadFile(xml), after.empty() && bytes != nullptr ? bytes : after);
        EXPECT_TRUE(line.empty() || LogContains(line + Narrow(xml))) << LogText();
    }
    // Version, type, and a text only the right template holds (empty: refused).
    const std::tuple<std::uint32_t, const wchar_t*, std::string> templates[] = {
        {1, L"dll", "<Filename>dll.xml</Filename>"},
        {1, L"exe", "<Filename>exe.xml</Filename>"},
        {3, L"dll", "id=\"dll\""},
        {3, L"exe", "id=\"exe\""},
        {3, L"DLL", ""},
        {2, L"dll", ""}};
    for (const auto& [version, type, mark] : templates) {
        SCOPED_TRACE(mark);
        ClearLog();
        WriteFile(xml, "old");
        EXPECT_EQ(CreateSimBaseDocument(xml, type, version), !mark.empty());
        const std::string written = ReadFile(xml);
        EXPECT_EQ(LogContains("ERROR Invalid SimBase document version or type"), mark.empty());
        EXPECT_NE(written.find(mark.empty() ? "old" : mark), std::string::npos);
        EXPECT_EQ(VerifySimBaseDocument(xml, version), !mark.empty());
        EXPECT_EQ(ReadFile(xml), written) << "a fresh template passes as it is";
    }
}
