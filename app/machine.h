// Machine-wide queries that start-up needs first and later code shares.
#pragma once

#include "platform/known_folders.h"
#include "platform/types.h"

#include <string>

// The path of a known folder. There is no failure result: an unknown folder ends
// the process.
std::wstring GetKnownFolder(const platform::Guid& id);

// Takes the single-instance name; true when another process already holds it.
// The name stays taken until this process ends.
bool IsAlreadyRunning();

// The machine-wide data folder: known folder ProgramData, then Kestrane, then Ferrymark.
std::wstring GetDataFolder();
