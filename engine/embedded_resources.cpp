#include "engine/embedded_resources.h"

#include "app/logger.h"
#include "resources/resource.h"

namespace {

using platform::ResourceType;

// English (United States), the language of every resource that the program writes.
constexpr std::uint16_t kLanguage = 1033;
// The identifier that the version block takes in the patched file.
constexpr std::uint32_t kVersionResourceId = 1;

// Every message of these two operations stands at TRACE: the callers log what a
// reader of the log needs.
void Trace(const std::wstring& text) {
    Logger::Write(Logger::TraceLevel, text);
}

// The bytes of an embedded resource, or null after logging why not.
const void* LockEmbedded(std::uint32_t id, ResourceType type, std::size_t& size) {
    const platform::FoundResource found = platform::FindOwnResource(id, type);
    if (found == nullptr) {
        Trace(L"Could not locate resource");
        return nullptr;
    }
    const platform::LoadedResource loaded = platform::LoadOwnResource(found);
    if (loaded == nullptr) {
        Trace(L"Could not load resource");
        return nullptr;
    }
    const void* bytes = platform::LockOwnResource(loaded);
    if (bytes == nullptr) {
        Trace(L"Could not lock resource");
        return nullptr;
    }
    size = platform::SizeOfOwnResource(found);
    return bytes;
}

} // namespace

bool ExtractResource(std::uint32_t id, std::wstring path, ResourceType type) {
    Trace(L"ExtractResource " + path);
    std::size_t size = 0;
    const void* bytes = LockEmbedded(id, type, size);
    if (bytes == nullptr)
        return false;
    platform::SharedOutputFile file(path);
    if (!file.IsOpen()) {
        Trace(L"Could not open file for writing");
        return false;
    }
    file.Write(bytes, size);
    return true;
}

bool PatchToFSX(std::wstring path) {
    Trace(L"PatchToFSX " + path);
    std::size_t size = 0;
    const void* bytes = LockEmbedded(IDV_FSX_VERSION, ResourceType::Version, size);
    if (bytes == nullptr)
        return false;
    const platform::ResourceUpdate update = platform::BeginResourceUpdate(path);
    if (update == nullptr) {
        Trace(L"Could not open file for writing");
        return false;
    }
    if (!platform::UpdateResourceData(update, ResourceType::Version, kVersionResourceId, kLanguage,
                                      bytes, size)) {
        // The update stays pending, neither ended nor discarded: the file is unchanged.
        Trace(L"Could not add resource");
        return false;
    }
    if (!platform::EndResourceUpdate(update)) {
        Trace(L"Could not write changes to file");
        return false;
    }
    return true;
}
