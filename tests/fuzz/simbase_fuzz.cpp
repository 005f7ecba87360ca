// One execution of the SimBase reader over arbitrary bytes: the bytes become a
// launch list on disk, VerifySimBaseDocument tests and repairs it, and what the
// reader promises of the file afterwards is checked.
//
// Built two ways: with libFuzzer by tools/fuzz.sh, and with a plain main that
// replays the committed corpus in the native test run.

#include "app/logger.h"
#include "engine/simbase.h"
#include "platform/posix/host.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

const wchar_t kDocument[] = L"C:\\ProgramData\\Fuzz\\dll.xml";
const char kRepairedHead[] = "<?xml version=\"1.0\"?>";

std::string& HostRoot() {
    static std::string root;
    return root;
}

void RemoveRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(HostRoot(), ignored);
}

// A fresh root of its own, on memory-backed storage where there is some, so
// that an execution costs a few system calls and no disk traffic.
std::string MakeDocumentHostPath() {
    std::string pattern = std::filesystem::is_directory("/dev/shm")
                              ? "/dev/shm/ferrymark-simbase-XXXXXX"
                              : "/tmp/ferrymark-simbase-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    HostRoot() = pattern;
    std::atexit(RemoveRoot);
    platform::posix::SetRoot(pattern);
    const std::string host = platform::posix::HostPath(kDocument);
    if (platform::posix::CreateHostFolders(std::filesystem::path(host).parent_path()) != 0)
        std::abort();
    // The reader's warnings name the input's faults; millions of them say nothing.
    Logger::SetLevel(L"Error");
    return host;
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteAll(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!out) {
        std::perror("write");
        std::abort();
    }
}

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "simbase reader: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string host = MakeDocumentHostPath();
    WriteAll(host, data, size);
    const std::string input(reinterpret_cast<const char*>(data), size);

    const bool verified = VerifySimBaseDocument(kDocument, 3);
    const std::string after = ReadAll(host);
    if (!verified) {
        // Missing, unparsable or without a SimBase.Document: refused, never written.
        if (after != input)
            Fail("a refused document was changed");
        return 0;
    }
    // A document that had an entry is left byte for byte; one that was repaired
    // is rewritten by the library with its own declaration.
    if (after != input && after.compare(0, std::strlen(kRepairedHead), kRepairedHead) != 0)
        Fail("a repaired document does not start with the plain declaration");
    // What is on disk holds an entry now...
    pugi::xml_document saved;
    if (saved.load_buffer(after.data(), after.size(), pugi::parse_default, pugi::encoding_auto).status !=
            pugi::status_ok ||
        !saved.select_node(L"//SimBase.Document/Launch.Addon").node())
        Fail("a document that passed holds no Launch.Addon on disk");
    // ...so the next run passes it as it is.
    if (!VerifySimBaseDocument(kDocument, 3))
        Fail("a document that passed does not pass again");
    if (ReadAll(host) != after)
        Fail("a document that passed was written again");
    return 0;
}
