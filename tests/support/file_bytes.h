// Whole files as bytes, and folders' access lists, for the Windows-side tests and
// their driver.
#pragma once

#include <string>

// The file's bytes, or nothing when it cannot be read.
std::string ReadAll(const std::wstring& path);
// False when the file cannot be written.
bool WriteAll(const std::wstring& path, const std::string& bytes);

// A folder's access list (its DACL) as SDDL text, or nothing when it cannot be read;
// and a new one given as SDDL, inherited from above unless it says P.
std::wstring FolderAccessList(const std::wstring& folder);
bool SetFolderAccessList(const std::wstring& folder, const std::wstring& sddl);
// What a folder kept for administrators reads back as through FolderAccessList:
// the protected list itself; under Wine, which keeps no access list but the Unix mode
// bits and reads back a list made from them, one in which only the owner (SYSTEM and
// the Wine user) may change the folder and everyone else may read it.
std::wstring AdministratorsOnlyList();
