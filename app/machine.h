// Machine-wide queries that start-up needs first and later code shares.
#pragma once

#include "platform/types.h"

#include <string>

namespace KnownFolder {
inline constexpr platform::Guid ProgramData{
    0x62AB5D82, 0xFDC1, 0x4DC3, {0xA9, 0xDD, 0x07, 0x0D, 0x1D, 0x49, 0x5D, 0x97}};
inline constexpr platform::Guid LocalAppData{
    0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}};
inline constexpr platform::Guid RoamingAppData{
    0x3EB685DB, 0x65F9, 0x4CF6, {0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D}};
inline constexpr platform::Guid Documents{
    0xFDD39AD0, 0x238F, 0x46AF, {0xAD, 0xB4, 0x6C, 0x85, 0x48, 0x03, 0x69, 0xC7}};
inline constexpr platform::Guid Pictures{
    0x33E28130, 0x4E1E, 0x4676, {0x83, 0x5A, 0x98, 0x39, 0x5C, 0x3B, 0xC3, 0xBB}};
inline constexpr platform::Guid ProgramFilesX86{
    0x7C5A40EF, 0xA0FB, 0x4BFC, {0x87, 0x4A, 0xC0, 0xF2, 0xE0, 0xB9, 0xFA, 0x8E}};
} // namespace KnownFolder

// The path of a known folder. There is no failure result: an unknown folder ends
// the process.
std::wstring GetKnownFolder(const platform::Guid& id);

// Takes the single-instance name; true when another process already holds it.
// The name stays taken until this process ends.
bool IsAlreadyRunning();

// The machine-wide data folder: known folder ProgramData, then Kestrane, then Ferrymark.
std::wstring GetDataFolder();
