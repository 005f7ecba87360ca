// POSIX backend: where Windows-form paths land on the host.
//
// A path such as C:\ProgramData\Kestrane maps to <root>/C/ProgramData/Kestrane,
// \\server\share\x to <root>/UNC/server/share/x. The root is chosen by the caller
// (each test takes a fresh one); without a call to SetRoot it comes from the
// environment variable FERRYMARK_ROOT.
#pragma once

#include <string>

namespace platform::posix {

void SetRoot(const std::string& hostFolder);
std::string Root();

// The host path of a Windows-form path; a relative path stays relative.
std::string HostPath(const std::wstring& windowsPath);

// The Windows-form path of a host path: below the root, the drive or share it
// maps from; elsewhere (a relative path) the same text with backslashes.
std::wstring WindowsPath(const std::string& hostPath);

// Creates a host folder with every missing parent: 0, or the errno of the step
// that failed. A folder that is already there is success.
int CreateHostFolders(const std::string& hostPath);

std::string ToUtf8(const std::wstring& text);
std::wstring FromUtf8(const std::string& text);

// Every call of this backend that changes the machine passes through CountChange
// just before it acts: a move, the removal of one item (each one inside a tree),
// the creation of one folder, a link, the creation and the writing of a file, and
// every write of the registry store (a value set or deleted, a key created, a tree
// copied or deleted, each one transaction). The result is an errno for a change
// that must fail, 0 for a change that is to be made; the caller fails the call as
// the platform would. How a test cuts the program short or fails a change at a
// chosen count is in platform/posix/test_hooks.h.
// The native build is a test vehicle; the product has no such counter.
[[nodiscard]] int CountChange(const char* what, const std::string& hostPath);

} // namespace platform::posix
