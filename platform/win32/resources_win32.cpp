// Win32 backend of the resources: the running program's own image (module handle
// null) and the resource update functions.
#include "platform/resources.h"
#include "platform/win32/unique_handle.h"

namespace platform {

namespace {

LPCWSTR IntegerName(std::uint32_t value) {
    return MAKEINTRESOURCEW(value);
}

HANDLE AsHandle(std::intptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}

} // namespace

FoundResource FindOwnResource(std::uint32_t id, ResourceType type) {
    return FindResourceW(nullptr, IntegerName(id), IntegerName(static_cast<std::uint32_t>(type)));
}

LoadedResource LoadOwnResource(FoundResource found) {
    return LoadResource(nullptr, static_cast<HRSRC>(const_cast<void*>(found)));
}

const void* LockOwnResource(LoadedResource loaded) {
    return LockResource(static_cast<HGLOBAL>(const_cast<void*>(loaded)));
}

std::size_t SizeOfOwnResource(FoundResource found) {
    return SizeofResource(nullptr, static_cast<HRSRC>(const_cast<void*>(found)));
}

ResourceUpdate BeginResourceUpdate(const std::wstring& path) {
    return BeginUpdateResourceW(path.c_str(), FALSE);
}

bool UpdateResourceData(ResourceUpdate update, ResourceType type, std::uint32_t id,
                        std::uint16_t language, const void* data, std::size_t size) {
    return UpdateResourceW(update, IntegerName(static_cast<std::uint32_t>(type)), IntegerName(id),
                           language, const_cast<void*>(data), static_cast<DWORD>(size)) != FALSE;
}

bool EndResourceUpdate(ResourceUpdate update) {
    return EndUpdateResourceW(update, FALSE) != FALSE;
}

SharedOutputFile::SharedOutputFile(const std::wstring& path)
    : handle(reinterpret_cast<std::intptr_t>(
          CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))) {}

SharedOutputFile::~SharedOutputFile() {
    // Taken over here and closed with the owner, if the file was opened at all.
    const win32::UniqueHandle owned(AsHandle(handle));
}

bool SharedOutputFile::IsOpen() const {
    return AsHandle(handle) != INVALID_HANDLE_VALUE;
}

void SharedOutputFile::Write(const void* data, std::size_t size) {
    DWORD written = 0;
    WriteFile(AsHandle(handle), data, static_cast<DWORD>(size), &written, nullptr);
}

} // namespace platform
