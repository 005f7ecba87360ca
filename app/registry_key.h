// One open registry key. The constructor opens the key and creates it, with all
// missing parents, when it is missing; reads fall back to defaults, writes and
// deletes answer with a bool, and nothing is logged or thrown. The object owns its
// handle: it can be moved, and a moved-from key is closed.
#pragma once

#include "platform/registry.h"
#include "platform/types.h"

#include <cstdint>
#include <string>
#include <vector>

using RegistryHive = platform::registry::Hive;

// One value of a key as the registry holds it.
struct RegistryValue {
    std::wstring name;
    platform::registry::ValueType type;
    std::vector<std::uint8_t> data;
};

class RegistryKey {
public:
    // wow32 true selects the 32-bit view of the registry, false the 64-bit one.
    RegistryKey(RegistryHive hive, const std::wstring& path, bool wow32);

    bool IsOpen() const { return static_cast<bool>(key); }
    // Why the key is not open: the status of the failed open, kept for a log line.
    platform::registry::Status OpenStatus() const { return key.OpenStatus(); }
    RegistryHive Hive() const { return hive; }
    const std::wstring& Path() const { return path; }
    bool Wow32() const { return wow32; }

    std::uint32_t ReadDword(const std::wstring& name, std::uint32_t defaultValue) const;
    std::wstring ReadString(const std::wstring& name, const std::wstring& defaultValue) const;
    bool WriteDword(const std::wstring& name, std::uint32_t value);
    bool WriteString(const std::wstring& name, const std::wstring& value);
    // True when the value is gone, also when it never existed.
    bool DeleteValue(const std::wstring& name);

    // The names of the direct subkeys, complete before the caller changes anything.
    std::vector<std::wstring> SubKeys() const;
    // Every value of the key, in the order the registry lists them.
    std::vector<RegistryValue> Values() const;
    // An open key with no values and no subkeys.
    bool IsEmpty() const { return IsOpen() && Values().empty() && SubKeys().empty(); }

    // The key's last write time in UTC, and the same as "YYYY-MM-DD hh:mm:ss".
    platform::CalendarTime LastWriteTime() const;
    std::wstring LastWriteTimeText() const;

    // Looks at a key without creating it.
    static bool Exists(RegistryHive hive, const std::wstring& path, bool wow32);

    platform::registry::KeyHandle Handle() const { return key.get(); }

    // Moves the key with everything below it to a new place and follows it there.
    // After a failure the object is open again on its old key, which then exists
    // even if the move took it away.
    bool MoveTo(RegistryHive newHive, const std::wstring& newPath, bool newWow32, bool overwrite);

private:
    RegistryHive hive;
    platform::registry::UniqueKey key;
    std::wstring path;
    bool wow32;
};

// FILETIME ticks (100 ns since 1601-01-01) as a UTC calendar time.
platform::CalendarTime FileTimeToCalendar(std::uint64_t ticks);

// Moves a whole key tree: copies it to the destination and deletes it at the
// source. True when the tree now stands at the destination and is gone from the
// source. The caller must have closed its own handle on the source.
bool Rename(RegistryHive sourceHive, std::wstring sourcePath, bool sourceWow32,
            RegistryHive destinationHive, std::wstring destinationPath, bool destinationWow32,
            bool overwrite);
