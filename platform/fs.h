// File-system operations of the platform seam. Paths are wide strings in Windows
// form on every build; the backend translates them.
#pragma once

#include "platform/types.h"

#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

namespace platform {

// Raised by the queries whose failure no caller is meant to handle (a path that
// cannot be examined at all); the handler around the message loop receives it.
class FileSystemError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    // "<what>: <system text> [<path>]", in the code page of the file APIs.
    FileSystemError(const char* what, const std::wstring& path, const std::wstring& systemText);
};

// True when the path names an existing item, following links: a link whose
// target is gone does not exist.
bool Exists(const std::wstring& path);

// True when the path names a folder, following links.
bool IsFolder(const std::wstring& path);

// True when the path itself is a symbolic link, whatever it points to.
bool IsSymbolicLink(const std::wstring& path);

// True when the path itself is a link of any kind: a symbolic link, a junction or
// any other reparse point, whatever it points to. It is never followed; nothing
// there is false.
bool IsReparsePoint(const std::wstring& path);

// The access list that keeps a folder to administrators: full control for SYSTEM
// and Administrators, read and execute for Users, inherited by every file and
// folder below, and nothing inherited from the folder above.
SystemError RestrictToAdministrators(const std::wstring& folder);
// True when the folder has exactly that access list already.
bool IsRestrictedToAdministrators(const std::wstring& folder);

// Removes one file, empty folder or link (never what a link points to).
SystemError RemoveItem(const std::wstring& path);

// Removes a folder with everything below it, or a single item. Links inside the
// tree are removed, not followed.
SystemError RemoveTree(const std::wstring& path);

// Creates the folder and every missing parent. An existing folder is success.
SystemError CreateFolders(const std::wstring& path);

// Renames with the meaning of MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING |
// MOVEFILE_COPY_ALLOWED): an existing file at `to` is replaced, an existing folder
// there makes the move fail, and a file may be copied across volumes. An item that
// is in use cannot be moved, not even onto itself: a process holds it or something
// below it open, or has its working folder there.
SystemError MoveItem(const std::wstring& from, const std::wstring& to);

// True when the folder has no entries, following links. Raises FileSystemError
// when the folder cannot be listed (missing, not a folder, denied).
bool IsFolderEmpty(const std::wstring& path);

// The text in the narrow form that the platform's file calls use: the code page
// that the file APIs select on Windows (ANSI or OEM), UTF-8 on POSIX. Characters
// that the code page lacks come out as the platform's default character.
std::string ToFileApiCodePage(const std::wstring& text);

inline FileSystemError::FileSystemError(const char* what, const std::wstring& path,
                                        const std::wstring& systemText)
    : std::runtime_error(std::string(what) + ": " + ToFileApiCodePage(systemText) + " [" +
                         ToFileApiCodePage(path) + "]") {}

// Makes a symbolic link at `link` whose stored target text is `target`, with the
// flags of CreateSymbolicLinkW (1: the target is a folder; 2: unprivileged mode).
SystemError MakeSymbolicLink(const std::wstring& link, const std::wstring& target,
                             std::uint32_t flags);

// Copies a file's bytes to `to` with the meaning of CopyFileW: an existing file
// there is replaced when `overwrite` is true and is an error otherwise.
SystemError CopyFileTo(const std::wstring& from, const std::wstring& to, bool overwrite);

// The path as the C runtime's own wide file functions take it (_wfopen on Windows),
// for libraries that open files themselves: unchanged on Windows, the mapped host
// path on POSIX.
std::wstring RuntimeFilePath(const std::wstring& path);

// The stored target text of the symbolic link at `path`, as it was given when the
// link was made; the link is not followed. False when the path is not a link or
// its target cannot be read.
bool ReadSymbolicLinkTarget(const std::wstring& path, std::wstring& target);

// Opens a binary input stream on a path given in Windows form.
void OpenInputStream(std::ifstream& stream, const std::wstring& path);

// Opens a wide stream on a path given in Windows form.
void OpenStream(std::basic_ofstream<wchar_t>& stream, const std::wstring& path,
                std::ios_base::openmode mode);

} // namespace platform
