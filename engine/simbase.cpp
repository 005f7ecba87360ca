#include "engine/simbase.h"

#include "app/logger.h"
#include "engine/embedded_resources.h"
#include "platform/fs.h"
#include "resources/resource.h"

#include <pugixml.hpp>

namespace {

const wchar_t kDummyComment[] = L"Dummy Launch.Addon entry created by Ferrymark";

} // namespace

bool VerifySimBaseDocument(std::wstring path, std::uint32_t /*version*/) {
    Logger::Write(Logger::TraceLevel, L"VerifySimBaseDocument " + path);
    if (!platform::Exists(path)) {
        Logger::Write(Logger::TraceLevel, L"Config file does not exist " + path);
        return false;
    }
    // The default parse keeps neither the declaration nor comments, so a repaired
    // file loses both; a document that passes as it is is never written.
    pugi::xml_document document;
    const std::wstring file = platform::RuntimeFilePath(path);
    const pugi::xml_parse_result loaded =
        document.load_file(file.c_str(), pugi::parse_default, pugi::encoding_auto);
    if (loaded.status != pugi::status_ok) {
        Logger::Write(Logger::WarnLevel, L"Failed to load " + path);
        return false;
    }
    if (document.select_node(L"//SimBase.Document/Launch.Addon").node())
        return true;
    pugi::xml_node root = document.select_node(L"//SimBase.Document").node();
    if (!root) {
        Logger::Write(Logger::WarnLevel, L"Config file is corrupt and cannot be repaired " + path);
        return false;
    }
    pugi::xml_node entry = root.append_child(L"Launch.Addon");
    entry.append_child(pugi::node_comment).set_value(kDummyComment);
    // A failed save goes unnoticed: the caller has nothing better to offer.
    document.save_file(file.c_str(), L"\t", pugi::format_indent, pugi::encoding_auto);
    return true;
}

bool CreateSimBaseDocument(std::wstring path, std::wstring type, std::uint32_t version) {
    struct Template {
        std::uint32_t version;
        const wchar_t* type;
        std::uint32_t resource;
    };
    static const Template templates[] = {
        {1, L"dll", IDR_SIMBASE_V1_DLL},
        {1, L"exe", IDR_SIMBASE_V1_EXE},
        {3, L"dll", IDR_SIMBASE_V3_DLL},
        {3, L"exe", IDR_SIMBASE_V3_EXE},
    };
    for (const Template& candidate : templates) {
        if (candidate.version == version && type == candidate.type)
            return ExtractResource(candidate.resource, path, platform::ResourceType::RcData);
    }
    Logger::Write(Logger::ErrorLevel, L"Invalid SimBase document version or type");
    return false;
}
