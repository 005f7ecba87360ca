// The raising forms of the file-system changes that start-up and the engine do
// not expect to fail: a failure is no result to handle but an exception, which
// travels past every caller (to the handler around the message loop, or, before
// the loop runs, out of the entry function, which ends the process).
#pragma once

#include <string>

void RemoveItemOrRaise(const std::wstring& path);
void RemoveTreeOrRaise(const std::wstring& path);
void CreateFoldersOrRaise(const std::wstring& path);
// "copy_file: <system text> [<from>] [<to>]" when the copy fails.
void CopyFileOrRaise(const std::wstring& from, const std::wstring& to, bool overwrite);
