// Moving Uninstall entries out of the machine's Uninstall key into the program's
// own key while a simulator is disabled, and back again. An entry is moved when
// its install location lies in the simulator's folder and its publisher is not
// one of the simulators' makers; its InstallShield folder goes aside with it.
#pragma once

#include "app/registry_key.h"

#include <string>

// True when the two texts agree, without regard to case, up to the length of the
// shorter one; false when either is empty. Either may thus be a prefix of the
// other, and a closing backslash on one side does not matter.
bool PathsOverlap(const std::wstring& first, const std::wstring& second);

// Moves the entries of the Uninstall key in the view that wow32 selects whose
// install location overlaps `location` below `backupPath` (always in the 64-bit
// view), each with its former last write time in "__LastModified". True, always.
bool RegistryBackup(RegistryHive backupHive, std::wstring backupPath, std::wstring location,
                    bool wow32);

// Moves the entries below `backupPath` back into the Uninstall key of the view
// that wow32 selects, unless a live namesake is at least as new. True, always.
bool RegistryRestore(RegistryHive backupHive, std::wstring backupPath, bool wow32);
