// The running processes, as the platform's process snapshot lists them.
#pragma once

#include <string>
#include <vector>

namespace platform {

// How reading the process list went. The two failures are told apart because the
// caller logs them differently: the snapshot itself could not be taken, or it was
// taken and its first entry could not be read.
enum class ProcessListResult { Listed, SnapshotFailed, FirstEntryFailed };

// Fills `exeNames` with the bare executable file name of every running process,
// one entry per process, in the platform's order ("notepad.exe", never a path).
ProcessListResult ListProcessNames(std::vector<std::wstring>& exeNames);

} // namespace platform

#ifndef _WIN32
namespace platform::posix {

// The folder the process table is read from: "/proc" unless a test points the
// backend at a folder of its own to see how the callers meet a missing or an
// empty table. An empty text restores "/proc".
void SetProcessTableFolder(const std::string& hostFolder);

} // namespace platform::posix
#endif
