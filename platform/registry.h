// The registry backend under RegistryKey. The calls keep the meaning and status
// codes of the Win32 registry functions, so that the logic above them is written
// once; the POSIX backend is a substitute store with the same behaviour.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace platform::registry {

enum class Hive : std::uint8_t { LocalMachine, CurrentUser };

// Value types with their Win32 numbers.
enum class ValueType : std::uint32_t {
    None = 0,
    String = 1,       // REG_SZ
    ExpandString = 2, // REG_EXPAND_SZ
    Binary = 3,       // REG_BINARY
    Dword = 4,        // REG_DWORD
    MultiString = 7,  // REG_MULTI_SZ
    Qword = 11,       // REG_QWORD
};

// Status codes, as the Win32 functions return them.
using Status = long;
constexpr Status kSuccess = 0;
constexpr Status kFileNotFound = 2;
constexpr Status kAccessDenied = 5;
constexpr Status kInvalidHandle = 6;
constexpr Status kInvalidParameter = 87;
constexpr Status kMoreData = 234;
constexpr Status kNoMoreItems = 259;
constexpr Status kKeyDeleted = 1018;

// An open key. Opaque above the seam; released with CloseKey.
struct Key;
using KeyHandle = Key*;

// Opens (create false) or opens-or-creates with all missing parents (create true)
// the key `path` below `hive` with full access in the view that `wow32` selects.
// Returns null on failure; `status`, when given, receives the call's status.
KeyHandle OpenKey(Hive hive, const std::wstring& path, bool wow32, bool create,
                  Status* status = nullptr);
void CloseKey(KeyHandle key);

// An open key that is closed when its owner goes; moved, never copied. A failed
// open leaves the owner empty with the status of the failure.
class UniqueKey {
public:
    UniqueKey() = default;
    UniqueKey(Hive hive, const std::wstring& path, bool wow32, bool create)
        : key(OpenKey(hive, path, wow32, create, &status)) {}
    ~UniqueKey() { reset(); }
    UniqueKey(const UniqueKey&) = delete;
    UniqueKey& operator=(const UniqueKey&) = delete;
    UniqueKey(UniqueKey&& other) noexcept
        : status(other.status), key(std::exchange(other.key, nullptr)) {}
    UniqueKey& operator=(UniqueKey&& other) noexcept {
        if (this != &other) {
            reset();
            key = std::exchange(other.key, nullptr);
            status = other.status;
        }
        return *this;
    }

    KeyHandle get() const { return key; }
    explicit operator bool() const { return key != nullptr; }
    // The status of the open: kSuccess for an open key.
    Status OpenStatus() const { return status; }
    void reset() { CloseKey(std::exchange(key, nullptr)); }

private:
    // Before the key: the open that initialises the key writes the status.
    Status status = kInvalidHandle;
    KeyHandle key = nullptr;
};

// RegQueryValueExW: with data null only the size is reported. A buffer smaller
// than the value gives kMoreData and the needed size.
Status QueryValue(KeyHandle key, const std::wstring& name, ValueType* type, std::uint8_t* data,
                  std::uint32_t* size);
Status SetValue(KeyHandle key, const std::wstring& name, ValueType type, const std::uint8_t* data,
                std::uint32_t size);
Status DeleteValue(KeyHandle key, const std::wstring& name);

// RegQueryInfoKeyW: count of direct subkeys, length of the longest subkey name in
// characters without terminator, last write time as FILETIME ticks (100 ns since
// 1601-01-01 UTC). Any pointer may be null.
Status QueryInfo(KeyHandle key, std::uint32_t* subKeyCount, std::uint32_t* maxSubKeyLength,
                 std::uint64_t* lastWriteTime);

// RegEnumKeyExW: the name of subkey `index`; `length` is the buffer size in
// characters on entry and the name's length on success.
Status EnumKey(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* length);

// RegEnumValueW: the name, type and data of value `index`. `nameLength` is the
// name buffer's size in characters on entry and the name's length on success;
// `size` is the data buffer's size in bytes on entry and the data's size after.
// With data null only the size is reported. A buffer too small for the name or
// the data gives kMoreData; past the last value, kNoMoreItems.
Status EnumValue(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* nameLength,
                 ValueType* type, std::uint8_t* data, std::uint32_t* size);

// RegCopyTreeW: copies the values and subkeys of `subKey` below `source` (the key
// itself when empty) into `destination`.
Status CopyTree(KeyHandle source, const std::wstring& subKey, KeyHandle destination);

// RegDeleteTreeW: deletes `subKey` below `key` with everything below it; with an
// empty subKey, the values and subkeys of `key` itself.
Status DeleteTree(KeyHandle key, const std::wstring& subKey);

// RegDeleteTreeW on the predefined root key itself: no view bit is given, so it
// acts in the process's own view, which for this 64-bit program is the 64-bit
// view also where the caller means the 32-bit one.
Status DeleteTreeBelowHive(Hive hive, const std::wstring& subKey);

} // namespace platform::registry
