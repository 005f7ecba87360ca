#include "platform/registry.h"

#include <windows.h>

namespace platform::registry {
namespace {

HKEY ToHkey(KeyHandle key) {
    return reinterpret_cast<HKEY>(key);
}
KeyHandle FromHkey(HKEY key) {
    return reinterpret_cast<KeyHandle>(key);
}

HKEY Root(Hive hive) {
    return hive == Hive::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

} // namespace

KeyHandle OpenKey(Hive hive, const std::wstring& path, bool wow32, bool create, Status* status) {
    const REGSAM access = KEY_ALL_ACCESS | (wow32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY);
    HKEY key = nullptr;
    const LSTATUS opened =
        create ? RegCreateKeyExW(Root(hive), path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                 access, nullptr, &key, nullptr)
               : RegOpenKeyExW(Root(hive), path.c_str(), 0, access, &key);
    if (status != nullptr)
        *status = opened;
    return opened == ERROR_SUCCESS ? FromHkey(key) : nullptr;
}

void CloseKey(KeyHandle key) {
    if (key != nullptr)
        RegCloseKey(ToHkey(key));
}

Status QueryValue(KeyHandle key, const std::wstring& name, ValueType* type, std::uint8_t* data,
                  std::uint32_t* size) {
    DWORD rawType = 0;
    DWORD rawSize = size != nullptr ? *size : 0;
    LSTATUS status = RegQueryValueExW(ToHkey(key), name.c_str(), nullptr, &rawType, data,
                                      size != nullptr ? &rawSize : nullptr);
    if (type != nullptr)
        *type = static_cast<ValueType>(rawType);
    if (size != nullptr)
        *size = rawSize;
    return status;
}

Status SetValue(KeyHandle key, const std::wstring& name, ValueType type, const std::uint8_t* data,
                std::uint32_t size) {
    return RegSetValueExW(ToHkey(key), name.c_str(), 0, static_cast<DWORD>(type), data, size);
}

Status DeleteValue(KeyHandle key, const std::wstring& name) {
    return RegDeleteValueW(ToHkey(key), name.c_str());
}

Status QueryInfo(KeyHandle key, std::uint32_t* subKeyCount, std::uint32_t* maxSubKeyLength,
                 std::uint64_t* lastWriteTime) {
    DWORD count = 0;
    DWORD longest = 0;
    FILETIME written{};
    LSTATUS status = RegQueryInfoKeyW(ToHkey(key), nullptr, nullptr, nullptr, &count, &longest,
                                      nullptr, nullptr, nullptr, nullptr, nullptr, &written);
    if (subKeyCount != nullptr)
        *subKeyCount = count;
    if (maxSubKeyLength != nullptr)
        *maxSubKeyLength = longest;
    if (lastWriteTime != nullptr)
        *lastWriteTime =
            (static_cast<std::uint64_t>(written.dwHighDateTime) << 32) | written.dwLowDateTime;
    return status;
}

Status EnumKey(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* length) {
    DWORD size = length != nullptr ? *length : 0;
    LSTATUS status =
        RegEnumKeyExW(ToHkey(key), index, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (length != nullptr)
        *length = size;
    return status;
}

Status EnumValue(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* nameLength,
                 ValueType* type, std::uint8_t* data, std::uint32_t* size) {
    DWORD length = nameLength != nullptr ? *nameLength : 0;
    DWORD rawType = 0;
    DWORD rawSize = size != nullptr ? *size : 0;
    LSTATUS status = RegEnumValueW(ToHkey(key), index, name, &length, nullptr, &rawType, data,
                                   size != nullptr ? &rawSize : nullptr);
    if (nameLength != nullptr)
        *nameLength = length;
    if (type != nullptr)
        *type = static_cast<ValueType>(rawType);
    if (size != nullptr)
        *size = rawSize;
    return status;
}

Status CopyTree(KeyHandle source, const std::wstring& subKey, KeyHandle destination) {
    return RegCopyTreeW(ToHkey(source), subKey.empty() ? nullptr : subKey.c_str(),
                        ToHkey(destination));
}

Status DeleteTree(KeyHandle key, const std::wstring& subKey) {
    return RegDeleteTreeW(ToHkey(key), subKey.empty() ? nullptr : subKey.c_str());
}

Status DeleteTreeBelowHive(Hive hive, const std::wstring& subKey) {
    return RegDeleteTreeW(Root(hive), subKey.empty() ? nullptr : subKey.c_str());
}

} // namespace platform::registry
