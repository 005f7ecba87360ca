#include "app/registry_key.h"

#include "app/logger.h"
#include "app/paths.h"
#include "app/text.h"

#include <cstring>

namespace reg = platform::registry;

namespace {

// The raw handles of a tree move are deliberately never closed, on no path: they
// leak and stay open until the process ends. They are only remembered here so
// that a leak checker sees them as still reachable; nothing ever reads the list.
reg::KeyHandle LeftOpen(reg::KeyHandle key) {
    static auto* const handles = new std::vector<reg::KeyHandle>();
    handles->push_back(key);
    return key;
}

} // namespace

// A key that cannot be opened is a null handle, and every later read on it yields
// its default.
RegistryKey::RegistryKey(RegistryHive keyHive, const std::wstring& keyPath, bool view32)
    : hive(keyHive), key(keyHive, keyPath, view32, true), path(keyPath), wow32(view32) {}

bool RegistryKey::Exists(RegistryHive keyHive, const std::wstring& keyPath, bool view32) {
    return static_cast<bool>(reg::UniqueKey(keyHive, keyPath, view32, false));
}

bool RegistryKey::MoveTo(RegistryHive newHive, const std::wstring& newPath, bool newWow32,
                         bool overwrite) {
    // The move deletes the source tree: our own handle on it must be closed first.
    key.reset();
    const bool moved = Rename(hive, path, wow32, newHive, newPath, newWow32, overwrite);
    if (moved) {
        hive = newHive;
        path = newPath;
        wow32 = newWow32;
    }
    key = reg::UniqueKey(hive, path, wow32, true);
    return moved;
}

std::uint32_t RegistryKey::ReadDword(const std::wstring& name, std::uint32_t defaultValue) const {
    // Four bytes and no type check: a longer value fails with "more data" and
    // yields the default, a short one yields whatever bytes it has.
    std::uint8_t buffer[4] = {0, 0, 0, 0};
    std::uint32_t size = sizeof buffer;
    if (reg::QueryValue(key.get(), name, nullptr, buffer, &size) != reg::kSuccess)
        return defaultValue;
    return static_cast<std::uint32_t>(buffer[0]) | (static_cast<std::uint32_t>(buffer[1]) << 8) |
           (static_cast<std::uint32_t>(buffer[2]) << 16) |
           (static_cast<std::uint32_t>(buffer[3]) << 24);
}

std::wstring RegistryKey::ReadString(const std::wstring& name,
                                     const std::wstring& defaultValue) const {
    std::uint32_t size = 0;
    if (reg::QueryValue(key.get(), name, nullptr, nullptr, &size) != reg::kSuccess || size == 0)
        return defaultValue;
    std::vector<char16_t> buffer(size / 2, u'\0');
    std::uint32_t got = static_cast<std::uint32_t>(buffer.size() * 2);
    if (reg::QueryValue(key.get(), name, nullptr, reinterpret_cast<std::uint8_t*>(buffer.data()),
                        &got) != reg::kSuccess)
        return defaultValue;
    std::size_t length = 0;
    while (length < buffer.size() && buffer[length] != u'\0')
        ++length;
    return FromUtf16(buffer.data(), length);
}

bool RegistryKey::WriteDword(const std::wstring& name, std::uint32_t value) {
    const std::uint8_t bytes[4] = {
        static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
        static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    return reg::SetValue(key.get(), name, reg::ValueType::Dword, bytes, sizeof bytes) ==
           reg::kSuccess;
}

bool RegistryKey::WriteString(const std::wstring& name, const std::wstring& value) {
    // The terminator is stored with the text: (length + 1) * 2 bytes.
    std::u16string units = ToUtf16(value);
    units.push_back(u'\0');
    std::vector<std::uint8_t> bytes(units.size() * 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(units[i] & 0xFF);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(units[i] >> 8);
    }
    return reg::SetValue(key.get(), name, reg::ValueType::String, bytes.data(),
                         static_cast<std::uint32_t>(bytes.size())) == reg::kSuccess;
}

bool RegistryKey::DeleteValue(const std::wstring& name) {
    const reg::Status status = reg::DeleteValue(key.get(), name);
    return status == reg::kSuccess || status == reg::kFileNotFound;
}

std::vector<std::wstring> RegistryKey::SubKeys() const {
    std::uint32_t count = 0;
    std::uint32_t longest = 0;
    std::vector<std::wstring> names;
    if (reg::QueryInfo(key.get(), &count, &longest, nullptr) != reg::kSuccess)
        return names;
    names.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        std::vector<wchar_t> buffer(longest + 1, L'\0');
        std::uint32_t length = longest + 1;
        if (reg::EnumKey(key.get(), index, buffer.data(), &length) == reg::kSuccess)
            names.emplace_back(buffer.data(), length);
    }
    return names;
}

std::vector<RegistryValue> RegistryKey::Values() const {
    std::vector<RegistryValue> values;
    // Names are at most 16,383 characters; the data's size is asked first.
    std::vector<wchar_t> name(16384, L'\0');
    for (std::uint32_t index = 0;; ++index) {
        std::uint32_t nameLength = static_cast<std::uint32_t>(name.size());
        std::uint32_t size = 0;
        RegistryValue value;
        if (reg::EnumValue(key.get(), index, name.data(), &nameLength, &value.type, nullptr,
                           &size) != reg::kSuccess)
            return values;
        value.name.assign(name.data(), nameLength);
        value.data.resize(size);
        nameLength = static_cast<std::uint32_t>(name.size());
        if (size != 0 && reg::EnumValue(key.get(), index, name.data(), &nameLength, &value.type,
                                        value.data.data(), &size) != reg::kSuccess)
            return values;
        values.push_back(std::move(value));
    }
}

platform::CalendarTime FileTimeToCalendar(std::uint64_t ticks) {
    const std::uint64_t totalMilliseconds = ticks / 10000;
    const std::uint64_t totalSeconds = totalMilliseconds / 1000;
    std::int64_t days = static_cast<std::int64_t>(totalSeconds / 86400);
    const std::uint64_t secondOfDay = totalSeconds % 86400;
    // Days since 1601-01-01 to a civil date (proleptic Gregorian): shift to the
    // epoch 0000-03-01 and count eras of 400 years.
    days += 584694; // 1601-01-01 counted from 0000-03-01
    const std::int64_t era = days / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthShifted = (5 * dayOfYear + 2) / 153;
    platform::CalendarTime result;
    result.day = static_cast<int>(dayOfYear - (153 * monthShifted + 2) / 5 + 1);
    result.month = static_cast<int>(monthShifted < 10 ? monthShifted + 3 : monthShifted - 9);
    result.year = static_cast<int>(yearOfEra + era * 400 + (result.month <= 2 ? 1 : 0));
    result.hour = static_cast<int>(secondOfDay / 3600);
    result.minute = static_cast<int>(secondOfDay / 60 % 60);
    result.second = static_cast<int>(secondOfDay % 60);
    result.milliseconds = static_cast<int>(totalMilliseconds % 1000);
    return result;
}

platform::CalendarTime RegistryKey::LastWriteTime() const {
    std::uint64_t ticks = 0;
    reg::QueryInfo(key.get(), nullptr, nullptr, &ticks);
    return FileTimeToCalendar(ticks);
}

std::wstring RegistryKey::LastWriteTimeText() const {
    const platform::CalendarTime time = LastWriteTime();
    return FormatWide(L"%04i-%02i-%02i %02i:%02i:%02i", time.year, time.month, time.day, time.hour,
                      time.minute, time.second);
}

bool Rename(RegistryHive sourceHive, std::wstring sourcePath, bool sourceWow32,
            RegistryHive destinationHive, std::wstring destinationPath, bool destinationWow32,
            bool overwrite) {
    Logger::Write(Logger::TraceLevel, L"Rename");
    if (sourcePath.empty()) {
        Logger::Write(Logger::WarnLevel, L"Source path is empty");
        return false;
    }
    if (destinationPath.empty()) {
        Logger::Write(Logger::WarnLevel, L"Destination path is empty");
        return false;
    }
    if (!RegistryKey::Exists(sourceHive, sourcePath, sourceWow32)) {
        Logger::Write(Logger::WarnLevel, L"Source key does not exist");
        return false;
    }
    if (!overwrite && RegistryKey::Exists(destinationHive, destinationPath, destinationWow32)) {
        Logger::Write(Logger::DebugLevel,
                      L"Destination key exists, but overwriting is not allowed");
        return false;
    }
    if (overwrite) {
        Logger::Write(Logger::DebugLevel, L"Deleting destination tree");
        // No view here: the delete acts in the process's own (64-bit) view even
        // for a 32-bit destination, so an existing 32-bit key survives and the
        // copy merges into it. The result does not matter.
        reg::DeleteTreeBelowHive(destinationHive, destinationPath);
    }

    const reg::KeyHandle destination =
        LeftOpen(reg::OpenKey(destinationHive, destinationPath, destinationWow32, true));
    const reg::KeyHandle source =
        LeftOpen(reg::OpenKey(sourceHive, sourcePath, sourceWow32, false));
    if (reg::CopyTree(source, L"", destination) != reg::kSuccess) {
        Logger::Write(Logger::WarnLevel, L"Failed to copy registry tree\nSource: " + sourcePath +
                                             L"\nDestination: " + destinationPath);
        return false;
    }

    // The same rules as for file paths: a forward slash separates too.
    const std::wstring name = PathLastComponent(sourcePath);
    const std::wstring parentPath = PathParent(sourcePath);
    const reg::KeyHandle parent =
        LeftOpen(reg::OpenKey(sourceHive, parentPath, sourceWow32, false));
    if (reg::DeleteTree(parent, name) != reg::kSuccess) {
        Logger::Write(Logger::WarnLevel, L"Failed to delete registry tree " + sourcePath);
        return false;
    }
    Logger::Write(Logger::TraceLevel, L"Rename OK");
    return true;
}
