// Whole files as bytes, and folders' access lists, for the Windows-side tests and their driver.
#pragma once

#include <string>

// The file's bytes (nothing when it cannot be read); false when it cannot be written.
std::string ReadAll(const std::wstring& path);
bool WriteAll(const std::wstring& path, const std::string& bytes);
// A folder's access list (its DACL) as SDDL, or nothing; and a new one from SDDL.
std::wstring FolderAccessList(const std::wstring& folder);
bool SetFolderAccessList(const std::wstring& folder, const std::wstring& sddl);
// A folder kept for administrators as FolderAccessList reads it: under Wine, which
// keeps only the Unix mode bits, the list made from them (everyone else may read).
std::wstring AdministratorsOnlyList();
