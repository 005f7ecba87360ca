// The SimBase reader over arbitrary bytes on disk; with FERRYMARK_REPLAY, a replayer of folders' files.
#include "app/logger.h"
#include "engine/simbase.h"
#include "platform/posix/host.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

const wchar_t kDocument[] = L"C:\\ProgramData\\Fuzz\\dll.xml";

std::string root;

// A root of its own, in memory where there is room, so an execution costs no disk traffic.
std::string MakeDocumentHostPath() {
    root = std::filesystem::is_directory("/dev/shm") ? "/dev/shm/ferrymark-simbase-XXXXXX"
                                                     : "/tmp/ferrymark-simbase-XXXXXX";
    if (mkdtemp(root.data()) == nullptr)
        std::abort();
    std::atexit([] { std::error_code ignored; std::filesystem::remove_all(root, ignored); });
    platform::posix::SetRoot(root);
    const std::string host = platform::posix::HostPath(kDocument);
    if (platform::posix::CreateHostFolders(std::filesystem::path(host).parent_path()) != 0)
        std::abort();
    Logger::SetLevel(L"Error"); // the reader's warnings name the input's faults, millions of them
    return host;
}

std::string ReadAll(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "simbase reader: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string host = MakeDocumentHostPath();
    const std::string input(reinterpret_cast<const char*>(data), size);
    Check(static_cast<bool>(std::ofstream(host, std::ios::binary | std::ios::trunc) << input),
          "write");
    const bool verified = VerifySimBaseDocument(kDocument, 3);
    const std::string after = ReadAll(host);
    // Missing, unparsable or without a SimBase.Document: refused, never written.
    Check(verified || after == input, "a refused document was changed");
    if (!verified)
        return 0;
    // Left byte for byte, or repaired with the library's declaration.
    Check(after == input || after.rfind("<?xml version=\"1.0\"?>", 0) == 0,
          "a repaired document does not start with the plain declaration");
    pugi::xml_document saved;
    Check(saved.load_buffer(after.data(), after.size()).status == pugi::status_ok &&
              saved.select_node(L"//SimBase.Document/Launch.Addon").node(),
          "a document that passed holds no Launch.Addon on disk");
    Check(VerifySimBaseDocument(kDocument, 3) && ReadAll(host) == after,
          "a document that passed does not pass again as it is");
    return 0;
}

#ifdef FERRYMARK_REPLAY
int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    for (const auto& input : inputs) {
        const std::string bytes = ReadAll(input);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("replayed %zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
#endif
