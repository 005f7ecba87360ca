// The shell's folder picker (Windows build only).
#pragma once

#include <string>

// The window handle type, declared as the Windows headers declare it so that this
// header does not pull them in.
struct HWND__;
typedef HWND__* HWND;

// Lets the user pick a folder in the shell's file dialog, owned by `owner` and
// captioned `title`. True with `folder` set to the picked item's parsing name;
// false when the dialog cannot be created, is cancelled or yields no result, and
// `folder` is then left as it was. The dialog opens where the shell remembers;
// the old value of `folder` plays no part. COM must have been initialised on the
// calling thread by someone else: the program never does it, and without it the
// dialog cannot be created.
bool PickFolder(HWND owner, std::wstring& folder, std::wstring title);
