// POSIX backend of the version query: the fixed file information is read from
// the image's resource tree by LIEF, which parses PE files on any host.
#include "platform/posix/host.h"
#include "platform/version.h"

#include <LIEF/PE.hpp>
#include <LIEF/logging.hpp>

namespace platform {

bool ReadFixedFileVersion(const std::wstring& path, std::uint32_t& versionMS,
                          std::uint32_t& versionLS) {
    // The parser reports what it cannot read on its own log; a file without
    // version data is an ordinary answer here, not news.
    static const bool quiet = [] {
        LIEF::Logger::disable();
        return true;
    }();
    (void)quiet;

    const std::string hostPath = posix::HostPath(path);
    try {
        if (!LIEF::PE::is_pe(hostPath))
            return false;
        const std::unique_ptr<LIEF::PE::Binary> image = LIEF::PE::Parser::parse(hostPath);
        if (image == nullptr || !image->has_resources())
            return false;
        const LIEF::PE::ResourcesManager resources = image->resources_manager();
        if (!resources.has_version())
            return false;
        const LIEF::PE::ResourceVersion version = resources.version();
        if (!version.has_fixed_file_info())
            return false;
        const LIEF::PE::ResourceFixedFileInfo& fixed = version.fixed_file_info();
        versionMS = fixed.file_version_MS();
        versionLS = fixed.file_version_LS();
        return true;
    } catch (...) {
        // A damaged image has no version data that Windows would hand out either.
        return false;
    }
}

} // namespace platform
