// The program's embedded resources, and the update of a version resource in
// another executable file.
//
// The calls mirror the steps of the platform's own resource functions, so that
// the code above can tell which step failed. Handles are opaque; a null handle
// is a failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// Integer resource types.
enum class ResourceType : std::uint16_t {
    Bitmap = 2,
    Icon = 3,
    Menu = 4,
    Dialog = 5,
    RcData = 10,
    GroupIcon = 14,
    Version = 16,
    Manifest = 24
};

using FoundResource = const void*;
using LoadedResource = const void*;
using ResourceUpdate = void*;

// A resource of the program's own image, by integer identifier and type; null
// when it is absent.
FoundResource FindOwnResource(std::uint32_t id, ResourceType type);
// Null on failure.
LoadedResource LoadOwnResource(FoundResource found);
// The resource's bytes, which need no release; null on failure.
const void* LockOwnResource(LoadedResource loaded);
std::size_t SizeOfOwnResource(FoundResource found);

// Starts an update of the resources of the executable at `path`, keeping the
// resources that it has. Null on failure: no such file, not an executable image,
// or no way to write resources into it.
ResourceUpdate BeginResourceUpdate(const std::wstring& path);
// Replaces or adds the resource of this type, identifier and language in the
// pending update. False on failure; the update then stays pending.
bool UpdateResourceData(ResourceUpdate update, ResourceType type, std::uint32_t id,
                        std::uint16_t language, const void* data, std::size_t size);
// Writes the pending changes into the file and ends the update. False when the
// file could not be written; it is then unchanged.
bool EndResourceUpdate(ResourceUpdate update);

// A file opened for binary output: created, or an existing one cut to nothing,
// while other readers and writers may keep it open or open it too. Closed by the
// destructor.
class SharedOutputFile {
public:
    explicit SharedOutputFile(const std::wstring& path);
    ~SharedOutputFile();
    SharedOutputFile(const SharedOutputFile&) = delete;
    SharedOutputFile& operator=(const SharedOutputFile&) = delete;

    bool IsOpen() const;
    // One write of all the bytes; its outcome is not reported.
    void Write(const void* data, std::size_t size);

private:
    std::intptr_t handle;
};

} // namespace platform
