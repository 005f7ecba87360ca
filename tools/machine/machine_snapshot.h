// A snapshot of the machine as the program sees it, and the differences between
// two: every item below the C: and D: drives (type, a link's stored target, a file's
// content hash) and every key and value of HKLM\Software and HKCU\Software in
// both views. Over the platform seam alone, so it works on both builds.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

struct MachineSnapshot {
    // Item name to its state. Files by their Windows path as found
    // ("C:\ProgramData\..."); registry keys as "HKLM64\Software\...", "HKLM32\...",
    // "HKCU64\...", "HKCU32\..."; values as the key's item, "|" and the value name.
    // States: "file <hash>", "folder", "link -> <target>", "key", "<REG type>: <data>".
    struct Entry {
        std::wstring item;
        std::wstring state;
    };
    // Files keyed by their path as found; registry items by their upper-case form,
    // since registry names compare without regard to case.
    std::map<std::wstring, Entry> files;
    std::map<std::wstring, Entry> registry;

    std::size_t Size() const { return files.size() + registry.size(); }
};

MachineSnapshot TakeSnapshot();

struct Difference {
    enum Kind { Added, Removed, Changed } kind;
    std::wstring item;
    std::wstring before;  // empty for Added
    std::wstring after;   // empty for Removed
};

// In item order: files first, then registry items.
std::vector<Difference> DiffSnapshots(const MachineSnapshot& before, const MachineSnapshot& after);

// One line for a failure message, e.g. "changed C:\x.cfg: file 0123... -> file 4567...".
std::wstring Describe(const Difference& difference);
// All of them, one a line.
std::wstring Describe(const std::vector<Difference>& differences);
