// What the tests and tools of the native build reach into the POSIX backend for:
// letting go of the registry store, and the count of changes that CountChange
// (platform/posix/host.h) keeps.
//
// When the cut is set to N (SetChangeCut, or the environment variable
// FERRYMARK_CUT_AT_CHANGE), change number N kills the process with SIGKILL before
// it is made, so that nothing runs after it, as when the power goes. When the
// failure is set to N instead (SetChangeFailure, or the environment variable
// FERRYMARK_FAIL_AT_CHANGE), change number N is not made and fails with the error
// a Windows user meets there: a full disk for the creation or the writing of a
// file, access denied for everything else.
#pragma once

#include <string>

namespace platform::posix {

// Lets open stores go; called when the root changes, and by tests that need the
// store's file closed.
void CloseRegistryStore();

// 0: no cut, no failure.
void SetChangeCut(long number);
void SetChangeFailure(long number);
void ResetChangeCount();
long ChangesCounted();
// Told of each change before it is made (and before a cut), with its number.
using ChangeObserver = void (*)(long number, const char* what, const std::string& hostPath);
void SetChangeObserver(ChangeObserver observer);

} // namespace platform::posix
