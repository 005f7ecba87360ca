// What the program does before its first window, as the reference programs of the
// start measurement do it: every library that the program imports is mapped, and
// the same DPI and Common Controls calls are made. COM, which the program itself
// does not initialise at its start, is initialised when asked.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <objbase.h>
#include <shlobj.h>
#include <uxtheme.h>
#include <winver.h>

inline bool StartLikeTheProgram(bool initialiseCom) {
    // One function of each library that the program imports, so that the loader
    // maps them all, as it does for the program.
    static void* const volatile imports[] = {
        reinterpret_cast<void*>(&RegOpenKeyExW),          reinterpret_cast<void*>(&GetStockObject),
        reinterpret_cast<void*>(&SHGetKnownFolderPath),   reinterpret_cast<void*>(&OpenThemeData),
        reinterpret_cast<void*>(&GetFileVersionInfoSizeW), reinterpret_cast<void*>(&CoTaskMemFree)};
    if (imports[0] == nullptr)
        return false;
    SetProcessDPIAware();
    InitCommonControls();
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&controls);
    if (initialiseCom)
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    return true;
}
