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

// Called when the root changes so that open stores are let go.
void CloseRegistryStore();

// Every call of this backend that changes the machine passes through CountChange
// just before it acts: a move, the removal of one item (each one inside a tree),
// the creation of one folder, a link, the creation and the writing of a file, and
// every write of the registry store (a value set or deleted, a key created, a tree
// copied or deleted, each one transaction). The count lets a test cut the program
// short at any of them: when the cut is set to N (SetChangeCut, or the environment
// variable FERRYMARK_CUT_AT_CHANGE), change number N kills the process with
// SIGKILL before it is made, so that nothing runs after it, as when the power
// goes. When the failure is set to N instead (SetChangeFailure, or the environment
// variable FERRYMARK_FAIL_AT_CHANGE), change number N is not made and fails with the
// error a Windows user meets there: a full disk for the creation or the writing of a
// file, access denied for everything else. The result is that error (an errno), 0
// for a change that is to be made; the caller fails the call as the platform would.
// The native build is a test vehicle; the product has no such counter.
[[nodiscard]] int CountChange(const char* what, const std::string& hostPath);
// 0: no cut, no failure.
void SetChangeCut(long number);
void SetChangeFailure(long number);
void ResetChangeCount();
long ChangesCounted();
// Told of each change before it is made (and before a cut), with its number.
using ChangeObserver = void (*)(long number, const char* what, const std::string& hostPath);
void SetChangeObserver(ChangeObserver observer);

} // namespace platform::posix
