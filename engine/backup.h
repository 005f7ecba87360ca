// Setting a file or folder aside in place and bringing it back. A backup is never
// a copy: the item moves to a name beside it that is computed from its path
// alone, so a later run finds it again with no record kept anywhere else.
#pragma once

#include <string>

// The backup path beside an item: its parent joined with
// "Ferrymark backup (<Base64 of the item's last component>)".
std::wstring GetBackupPath(std::wstring path);

// True when the item exists and cannot be renamed onto itself; logs at WARN.
bool IsInUse(std::wstring path);

bool FileBackup(std::wstring path, bool overwrite);
bool FileRestore(std::wstring path, bool overwrite);
bool FolderBackup(std::wstring path, bool overwrite);
bool FolderRestore(std::wstring path, bool overwrite);
