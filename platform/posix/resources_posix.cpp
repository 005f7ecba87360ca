// POSIX backend of the resources.
//
// The program's own resources: the build compiles the program's resource script
// with the Windows resource compiler into a .res file and links its bytes in as
// an array (see resources/CMakeLists.txt); this file finds a resource in it. The
// version update of another file goes through LIEF, which rewrites the resource
// tree of a PE image (giving an image without resources an empty tree first, as
// Windows does). Where LIEF cannot, the update is refused at its start, as on a
// platform without the facility.
#include "platform/posix/host.h"
#include "platform/resources.h"

#include <LIEF/PE.hpp>
#include <LIEF/logging.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

// The compiled resource script, from the generated source.
extern const unsigned char ferrymarkResourceFile[];
extern const std::size_t ferrymarkResourceFileSize;

namespace platform {

namespace {

struct Entry {
    std::uint16_t type;
    std::uint32_t id;
    std::uint16_t language;
    const unsigned char* data;
    std::size_t size;
};

std::uint32_t ReadU32(const unsigned char* at) {
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

std::uint16_t ReadU16(const unsigned char* at) {
    return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}

std::size_t AlignUp(std::size_t value) {
    return (value + 3) & ~static_cast<std::size_t>(3);
}

// Reads a type or name field of a .res header: an integer (0xFFFF, then the
// number) or a string of 16-bit characters up to a null. `offset` moves past it.
bool ReadOrdinal(const unsigned char* header, std::size_t length, std::size_t& offset,
                 std::uint32_t& ordinal) {
    if (offset + 4 <= length && ReadU16(header + offset) == 0xFFFF) {
        ordinal = ReadU16(header + offset + 2);
        offset += 4;
        return true;
    }
    while (offset + 2 <= length && ReadU16(header + offset) != 0)
        offset += 2;
    offset += 2;
    return false;
}

// The resources with integer type and identifier. A .res file is a run of
// entries, each a header (data size, header size, type, name, language and
// more) followed by the data, both aligned to four bytes.
std::vector<Entry> ReadResourceFile() {
    std::vector<Entry> entries;
    const unsigned char* file = ferrymarkResourceFile;
    const std::size_t length = ferrymarkResourceFileSize;
    std::size_t at = 0;
    while (at + 8 <= length) {
        const std::size_t dataSize = ReadU32(file + at);
        const std::size_t headerSize = ReadU32(file + at + 4);
        if (headerSize < 8 || at + headerSize + dataSize > length)
            break;
        const unsigned char* header = file + at;
        std::size_t offset = 8;
        std::uint32_t type = 0;
        std::uint32_t id = 0;
        const bool typeIsNumber = ReadOrdinal(header, headerSize, offset, type);
        const bool idIsNumber = ReadOrdinal(header, headerSize, offset, id);
        offset = AlignUp(offset) + 4 + 2; // data version, memory flags
        if (typeIsNumber && idIsNumber && type != 0 && offset + 2 <= headerSize) {
            entries.push_back(Entry{static_cast<std::uint16_t>(type), id, ReadU16(header + offset),
                                    header + headerSize, dataSize});
        }
        at = AlignUp(at + headerSize + dataSize);
    }
    return entries;
}

const std::vector<Entry>& Entries() {
    static const std::vector<Entry> entries = ReadResourceFile();
    return entries;
}

// An update that has begun: the parsed image, changed in memory until it ends.
struct PendingUpdate {
    std::string hostPath;
    std::unique_ptr<LIEF::PE::Binary> image;
};

// Updates that have begun and not ended, as a handle table holds them: one that is
// never ended stays here until the process ends.
std::vector<std::unique_ptr<PendingUpdate>>& PendingUpdates() {
    static std::vector<std::unique_ptr<PendingUpdate>> pending;
    return pending;
}

void QuietParser() {
    // The parser reports on its own log what it does not understand; the
    // answers here say enough.
    static const bool quiet = [] {
        LIEF::Logger::disable();
        return true;
    }();
    (void)quiet;
}

// The child of `node` with this identifier, made as a directory when missing.
LIEF::PE::ResourceNode& ChildDirectory(LIEF::PE::ResourceNode& node, std::uint32_t id) {
    for (LIEF::PE::ResourceNode& child : node.childs())
        if (!child.has_name() && child.id() == id)
            return child;
    LIEF::PE::ResourceDirectory directory;
    directory.id(id);
    return node.add_child(directory);
}

// True when the image holds exactly these bytes as the resource of this type,
// identifier and language.
bool HoldsResource(LIEF::PE::Binary& image, std::uint32_t type, std::uint32_t id,
                   std::uint16_t language, const std::vector<std::uint8_t>& bytes) {
    if (!image.has_resources())
        return false;
    for (LIEF::PE::ResourceNode& typeNode : image.resources().childs()) {
        if (typeNode.has_name() || typeNode.id() != type)
            continue;
        for (LIEF::PE::ResourceNode& idNode : typeNode.childs()) {
            if (idNode.has_name() || idNode.id() != id)
                continue;
            for (LIEF::PE::ResourceNode& languageNode : idNode.childs()) {
                const auto* data = dynamic_cast<LIEF::PE::ResourceData*>(&languageNode);
                if (data != nullptr && languageNode.id() == language)
                    return data->content() == bytes;
            }
        }
    }
    return false;
}

// The image rebuilt with an empty resource tree: a new initialised, readable
// section with a root directory of no entries, named by the image's resource
// table entry.
std::unique_ptr<LIEF::PE::Binary> WithEmptyResourceTree(LIEF::PE::Binary& image) {
    constexpr std::uint32_t kInitialisedReadableData = 0x40000040;
    constexpr std::size_t kDirectoryHeaderSize = 16; // IMAGE_RESOURCE_DIRECTORY
    LIEF::PE::Section section(".rsrc");
    section.content(std::vector<std::uint8_t>(kDirectoryHeaderSize, 0));
    section.characteristics(kInitialisedReadableData);
    image.add_section(section, LIEF::PE::PE_SECTION_TYPES::RESOURCE);
    LIEF::PE::Builder builder(&image);
    builder.build();
    return LIEF::PE::Parser::parse(builder.get_build());
}

// Puts `bytes` in place of the file, keeping its permissions: written beside it
// first, so that a failed write leaves the file as it was.
bool ReplaceFile(const std::string& hostPath, const std::vector<std::uint8_t>& bytes) {
    struct stat original {};
    if (::stat(hostPath.c_str(), &original) != 0)
        return false;
    const std::string temporary = hostPath + ".ferrymark-update";
    if (posix::CountChange("create file", temporary) != 0)
        return false;
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                          original.st_mode & 07777);
    if (fd < 0)
        return false;
    std::size_t done = 0;
    const bool full = posix::CountChange("write file", temporary) != 0;
    while (!full && done < bytes.size()) {
        const ssize_t step = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (step <= 0)
            break;
        done += static_cast<std::size_t>(step);
    }
    const bool closed = ::close(fd) == 0;
    if (done == bytes.size() && closed) {
        if (posix::CountChange("move", temporary + " -> " + hostPath) == 0 &&
            ::rename(temporary.c_str(), hostPath.c_str()) == 0)
            return true;
    }
    if (posix::CountChange("remove", temporary) == 0)
        ::unlink(temporary.c_str());
    return false;
}

} // namespace

FoundResource FindOwnResource(std::uint32_t id, ResourceType type) {
    for (const Entry& entry : Entries())
        if (entry.type == static_cast<std::uint16_t>(type) && entry.id == id)
            return &entry;
    return nullptr;
}

LoadedResource LoadOwnResource(FoundResource found) {
    return found;
}

const void* LockOwnResource(LoadedResource loaded) {
    return loaded == nullptr ? nullptr : static_cast<const Entry*>(loaded)->data;
}

std::size_t SizeOfOwnResource(FoundResource found) {
    return found == nullptr ? 0 : static_cast<const Entry*>(found)->size;
}

ResourceUpdate BeginResourceUpdate(const std::wstring& path) {
    QuietParser();
    auto update = std::make_unique<PendingUpdate>();
    update->hostPath = posix::HostPath(path);
    try {
        if (!LIEF::PE::is_pe(update->hostPath))
            return nullptr;
        update->image = LIEF::PE::Parser::parse(update->hostPath);
    } catch (...) {
        return nullptr;
    }
    if (update->image == nullptr)
        return nullptr;
    // Windows gives an image without resources a resource section of its own.
    // LIEF rebuilds only a resource tree that the image already has, so such an
    // image first gets an empty one: a section holding a resource directory
    // without entries, which the image is rebuilt and read again with.
    if (!update->image->has_resources()) {
        try {
            update->image = WithEmptyResourceTree(*update->image);
        } catch (...) {
            return nullptr;
        }
        if (update->image == nullptr || !update->image->has_resources())
            return nullptr;
    }
    PendingUpdates().push_back(std::move(update));
    return PendingUpdates().back().get();
}

bool UpdateResourceData(ResourceUpdate update, ResourceType type, std::uint32_t id,
                        std::uint16_t language, const void* data, std::size_t size) {
    if (update == nullptr || data == nullptr)
        return false;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    const std::vector<std::uint8_t> content(bytes, bytes + size);
    try {
        LIEF::PE::Binary& image = *static_cast<PendingUpdate*>(update)->image;
        LIEF::PE::ResourceNode& typeNode =
            ChildDirectory(image.resources(), static_cast<std::uint32_t>(type));
        LIEF::PE::ResourceNode& idNode = ChildDirectory(typeNode, id);
        for (LIEF::PE::ResourceNode& child : idNode.childs()) {
            auto* existing = dynamic_cast<LIEF::PE::ResourceData*>(&child);
            if (existing != nullptr && !child.has_name() && child.id() == language) {
                existing->content(content);
                return true;
            }
        }
        LIEF::PE::ResourceData fresh(content, 0);
        fresh.id(language);
        idNode.add_child(fresh);
        return true;
    } catch (...) {
        return false;
    }
}

bool EndResourceUpdate(ResourceUpdate update) {
    auto& pending = PendingUpdates();
    const auto found = std::find_if(pending.begin(), pending.end(),
                                    [update](const auto& item) { return item.get() == update; });
    if (found == pending.end())
        return false;
    const std::unique_ptr<PendingUpdate> ending = std::move(*found);
    pending.erase(found);
    try {
        // What the changes were, to check the rebuilt image against.
        std::vector<
            std::tuple<std::uint32_t, std::uint32_t, std::uint16_t, std::vector<std::uint8_t>>>
            wanted;
        for (LIEF::PE::ResourceNode& typeNode : ending->image->resources().childs())
            for (LIEF::PE::ResourceNode& idNode : typeNode.childs())
                for (LIEF::PE::ResourceNode& languageNode : idNode.childs())
                    if (const auto* data = dynamic_cast<LIEF::PE::ResourceData*>(&languageNode))
                        if (!typeNode.has_name() && !idNode.has_name())
                            wanted.emplace_back(typeNode.id(), idNode.id(),
                                                static_cast<std::uint16_t>(languageNode.id()),
                                                data->content());
        LIEF::PE::Builder builder(ending->image.get());
        builder.build_resources(true);
        builder.build();
        const std::vector<std::uint8_t>& built = builder.get_build();
        // The file is written only when the rebuilt image reads back with every
        // resource in place.
        std::unique_ptr<LIEF::PE::Binary> check = LIEF::PE::Parser::parse(built);
        if (check == nullptr)
            return false;
        for (const auto& [type, id, language, bytes] : wanted)
            if (!HoldsResource(*check, type, id, language, bytes))
                return false;
        return ReplaceFile(ending->hostPath, built);
    } catch (...) {
        return false;
    }
}

namespace {

int OpenOutputFile(const std::string& hostPath) {
    if (const int refused = posix::CountChange("create file", hostPath)) {
        errno = refused;
        return -1;
    }
    return ::open(hostPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

} // namespace

SharedOutputFile::SharedOutputFile(const std::wstring& path)
    : handle(OpenOutputFile(posix::HostPath(path))) {}

SharedOutputFile::~SharedOutputFile() {
    if (IsOpen())
        ::close(static_cast<int>(handle));
}

bool SharedOutputFile::IsOpen() const {
    return handle >= 0;
}

void SharedOutputFile::Write(const void* data, std::size_t size) {
    if (handle >= 0) {
        char name[4096] = {};
        const std::string descriptor = "/proc/self/fd/" + std::to_string(handle);
        const ssize_t length = ::readlink(descriptor.c_str(), name, sizeof name - 1);
        // A full disk: the file stays as short as it is.
        if (posix::CountChange("write file",
                               length > 0 ? std::string(name, static_cast<std::size_t>(length))
                                          : descriptor) != 0)
            return;
    }
    const ssize_t written = ::write(static_cast<int>(handle), data, size);
    (void)written;
}

} // namespace platform
