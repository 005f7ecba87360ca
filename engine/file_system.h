// The raising forms of the file-system changes that the engine does not expect to
// fail: a failure is no result to handle but an exception, which travels past
// every caller to the handler around the message loop.
#pragma once

#include <string>

void RemoveItemOrRaise(const std::wstring& path);
void RemoveTreeOrRaise(const std::wstring& path);
void CreateFoldersOrRaise(const std::wstring& path);
void CopyFileOrRaise(const std::wstring& from, const std::wstring& to, bool overwrite);
