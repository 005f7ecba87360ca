#include "tools/machine/machine_snapshot.h"

#include "app/text.h"
#include "platform/find.h"
#include "platform/fs.h"
#include "platform/registry.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>

namespace reg = platform::registry;

namespace {

// Names fold as the registry store folds them, so that one key is one entry.
std::wstring Fold(const std::wstring& text) {
    return FoldCase(text, FoldedLetters::Latin1);
}

std::wstring Hex64(std::uint64_t value) {
    wchar_t text[17];
    for (int i = 15; i >= 0; --i) {
        text[i] = L"0123456789abcdef"[value & 0xF];
        value >>= 4;
    }
    text[16] = L'\0';
    return text;
}

// Buffers that one walk reuses for every file and key.
struct Scratch {
    std::vector<char> fileBytes = std::vector<char>(64 * 1024);
    std::vector<wchar_t> valueName = std::vector<wchar_t>(16384);
    std::vector<std::uint8_t> valueData = std::vector<std::uint8_t>(1024);
};

// FNV-1a, 64 bits, over the file's bytes, read in pieces.
bool HashFile(const std::wstring& path, std::uint64_t& hash, std::vector<char>& buffer) {
    std::ifstream in;
    platform::OpenInputStream(in, path);
    if (!in.is_open())
        return false;
    hash = 0xcbf29ce484222325ULL;
    while (in) {
        in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        const std::streamsize got = in.gcount();
        for (std::streamsize i = 0; i < got; ++i) {
            hash ^= static_cast<unsigned char>(buffer[static_cast<std::size_t>(i)]);
            hash *= 0x100000001b3ULL;
        }
    }
    return in.eof();
}

std::wstring FileState(const std::wstring& path, Scratch& scratch) {
    try {
        std::wstring target;
        if (platform::IsSymbolicLink(path))
            return platform::ReadSymbolicLinkTarget(path, target) ? L"link -> " + target
                                                                  : L"link (target unreadable)";
        if (platform::IsFolder(path))
            return L"folder";
    } catch (const platform::FileSystemError&) {
        return L"unreadable";
    }
    std::uint64_t hash = 0;
    return HashFile(path, hash, scratch.fileBytes) ? L"file " + Hex64(hash) : L"file (unreadable)";
}

void WalkFolder(const std::wstring& folder, bool driveRoot, MachineSnapshot& snapshot,
                Scratch& scratch) {
    std::vector<std::wstring> names;
    if (!platform::FindFileNames(folder + L"\\*", names))
        return;
    std::sort(names.begin(), names.end());
    for (const std::wstring& name : names) {
        if (name == L"." || name == L"..")
            continue;
        // C:\windows is Wine's system folder (and Windows' own): it is not the
        // machine that the program changes, and it is large.
        if (driveRoot && Fold(name) == L"WINDOWS")
            continue;
        const std::wstring path = folder + L"\\" + name;
        const std::wstring state = FileState(path, scratch);
        snapshot.files[path] = {path, state};
        if (state == L"folder")
            WalkFolder(path, false, snapshot, scratch);
    }
}

std::wstring TypeName(reg::ValueType type) {
    switch (static_cast<std::uint32_t>(type)) {
    case 0: return L"REG_NONE";
    case 1: return L"REG_SZ";
    case 2: return L"REG_EXPAND_SZ";
    case 3: return L"REG_BINARY";
    case 4: return L"REG_DWORD";
    case 5: return L"REG_DWORD_BIG_ENDIAN";
    case 6: return L"REG_LINK";
    case 7: return L"REG_MULTI_SZ";
    case 8: return L"REG_RESOURCE_LIST";
    case 9: return L"REG_FULL_RESOURCE_DESCRIPTOR";
    case 10: return L"REG_RESOURCE_REQUIREMENTS_LIST";
    case 11: return L"REG_QWORD";
    }
    return L"REG_TYPE_" + std::to_wstring(static_cast<std::uint32_t>(type));
}

std::wstring HexBytes(const std::vector<std::uint8_t>& data) {
    std::wstring text;
    for (std::size_t i = 0; i < data.size(); ++i) {
        if (i != 0)
            text += L' ';
        text += L"0123456789abcdef"[data[i] >> 4];
        text += L"0123456789abcdef"[data[i] & 0xF];
    }
    return text;
}

// UTF-16 little-endian text; the closing terminators go, an inner one shows as \0.
std::wstring Utf16Text(const std::vector<std::uint8_t>& data) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2)
        text += static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
    while (!text.empty() && text.back() == L'\0')
        text.pop_back();
    std::wstring shown;
    for (wchar_t c : text)
        shown += c == L'\0' ? std::wstring(L"\\0") : std::wstring(1, c);
    if (data.size() % 2 != 0)
        shown += L" (odd size " + std::to_wstring(data.size()) + L")";
    return shown;
}

std::wstring ValueState(reg::ValueType type, const std::vector<std::uint8_t>& data) {
    std::wstring text;
    switch (type) {
    case reg::ValueType::String:
    case reg::ValueType::ExpandString:
    case reg::ValueType::MultiString:
        text = Utf16Text(data);
        break;
    case reg::ValueType::Dword:
        if (data.size() == 4)
            text = std::to_wstring(static_cast<std::uint32_t>(data[0] | (data[1] << 8) |
                                                              (data[2] << 16)) |
                                   (static_cast<std::uint32_t>(data[3]) << 24));
        else
            text = HexBytes(data);
        break;
    case reg::ValueType::Qword:
        if (data.size() == 8) {
            std::uint64_t value = 0;
            for (int i = 7; i >= 0; --i)
                value = (value << 8) | data[static_cast<std::size_t>(i)];
            text = std::to_wstring(value);
        } else {
            text = HexBytes(data);
        }
        break;
    default:
        text = HexBytes(data);
        break;
    }
    return TypeName(type) + L": " + text;
}

void Add(MachineSnapshot& snapshot, const std::wstring& item, const std::wstring& state) {
    snapshot.registry[Fold(item)] = {item, state};
}

void RecordValues(reg::KeyHandle key, const std::wstring& item, MachineSnapshot& snapshot,
                  Scratch& scratch) {
    std::vector<wchar_t>& name = scratch.valueName;
    std::vector<std::uint8_t>& data = scratch.valueData;
    for (std::uint32_t index = 0;; ++index) {
        std::uint32_t nameLength = static_cast<std::uint32_t>(name.size());
        std::uint32_t size = static_cast<std::uint32_t>(data.size());
        reg::ValueType type = reg::ValueType::None;
        reg::Status status =
            reg::EnumValue(key, index, name.data(), &nameLength, &type, data.data(), &size);
        if (status == reg::kMoreData && size > data.size()) {
            data.resize(size);
            nameLength = static_cast<std::uint32_t>(name.size());
            status = reg::EnumValue(key, index, name.data(), &nameLength, &type, data.data(), &size);
        }
        if (status == reg::kNoMoreItems)
            return;
        if (status != reg::kSuccess) {
            // A key whose values cannot be listed (Wine answers some of its own
            // keys with an invalid handle at every index) is recorded once, and
            // the walk goes on with its subkeys.
            Add(snapshot, item + L"|#" + std::to_wstring(index),
                L"unreadable value (status " + std::to_wstring(status) + L")");
            return;
        }
        Add(snapshot, item + L"|" + std::wstring(name.data(), nameLength),
            ValueState(type, std::vector<std::uint8_t>(data.begin(), data.begin() + size)));
    }
}

// Subtrees left out of the snapshot, as upper-case paths below the hive. See
// TakeSnapshot for the reasons.
bool Excluded(const std::wstring& foldedPath, bool wow32) {
    // The 64-bit view lists the 32-bit view's key below Software; it is walked as
    // the 32-bit view itself.
    if (!wow32 && foldedPath == L"SOFTWARE\\WOW6432NODE")
        return true;
    return foldedPath == L"SOFTWARE\\CLASSES";
}

void WalkKey(reg::Hive hive, const std::wstring& path, bool wow32, const std::wstring& itemPrefix,
             MachineSnapshot& snapshot, Scratch& scratch) {
    reg::KeyHandle key = reg::OpenKey(hive, path, wow32, false);
    const std::wstring item = itemPrefix + path;
    if (key == nullptr) {
        Add(snapshot, item, L"key (cannot be opened)");
        return;
    }
    Add(snapshot, item, L"key");
    RecordValues(key, item, snapshot, scratch);
    std::uint32_t count = 0;
    std::uint32_t longest = 0;
    std::vector<std::wstring> children;
    if (reg::QueryInfo(key, &count, &longest, nullptr) == reg::kSuccess) {
        std::vector<wchar_t> name(longest + 1);
        for (std::uint32_t index = 0; index < count; ++index) {
            std::uint32_t length = longest + 1;
            if (reg::EnumKey(key, index, name.data(), &length) == reg::kSuccess)
                children.emplace_back(name.data(), length);
        }
    }
    reg::CloseKey(key);
    for (const std::wstring& child : children) {
        const std::wstring childPath = path + L"\\" + child;
        if (!Excluded(Fold(childPath), wow32))
            WalkKey(hive, childPath, wow32, itemPrefix, snapshot, scratch);
    }
}

} // namespace

MachineSnapshot TakeSnapshot() {
    MachineSnapshot snapshot;
    Scratch scratch;
    // A second drive holds what a user installed there; where there is none the
    // walk finds nothing.
    for (const wchar_t* drive : {L"C:", L"D:"})
        WalkFolder(drive, true, snapshot, scratch);
    // HKLM\Software\Classes is left out: under Wine it holds the whole COM and
    // file-type registration of the prefix, which takes most of the time of a
    // snapshot, and the program never reads or writes below it.
    const struct {
        reg::Hive hive;
        bool wow32;
        const wchar_t* prefix;
    } roots[] = {
        {reg::Hive::LocalMachine, false, L"HKLM64\\"},
        {reg::Hive::LocalMachine, true, L"HKLM32\\"},
        {reg::Hive::CurrentUser, false, L"HKCU64\\"},
        {reg::Hive::CurrentUser, true, L"HKCU32\\"},
    };
    for (const auto& root : roots)
        WalkKey(root.hive, L"Software", root.wow32, root.prefix, snapshot, scratch);
    return snapshot;
}

namespace {

void DiffMaps(const std::map<std::wstring, MachineSnapshot::Entry>& before,
              const std::map<std::wstring, MachineSnapshot::Entry>& after,
              std::vector<Difference>& differences) {
    auto b = before.begin();
    auto a = after.begin();
    while (b != before.end() || a != after.end()) {
        if (a == after.end() || (b != before.end() && b->first < a->first)) {
            differences.push_back({Difference::Removed, b->second.item, b->second.state, L""});
            ++b;
        } else if (b == before.end() || a->first < b->first) {
            differences.push_back({Difference::Added, a->second.item, L"", a->second.state});
            ++a;
        } else {
            if (b->second.state != a->second.state)
                differences.push_back(
                    {Difference::Changed, a->second.item, b->second.state, a->second.state});
            ++b;
            ++a;
        }
    }
}

} // namespace

std::vector<Difference> DiffSnapshots(const MachineSnapshot& before, const MachineSnapshot& after) {
    std::vector<Difference> differences;
    DiffMaps(before.files, after.files, differences);
    DiffMaps(before.registry, after.registry, differences);
    return differences;
}

std::wstring Describe(const Difference& difference) {
    switch (difference.kind) {
    case Difference::Added:
        return L"added " + difference.item + L": " + difference.after;
    case Difference::Removed:
        return L"removed " + difference.item + L": " + difference.before;
    case Difference::Changed:
        break;
    }
    return L"changed " + difference.item + L": " + difference.before + L" -> " + difference.after;
}

std::wstring Describe(const std::vector<Difference>& differences) {
    std::wstring text;
    for (const Difference& difference : differences)
        text += Describe(difference) + L"\n";
    return text;
}
