// The bare program that the start of Ferrymark.exe is compared with: one modal
// dialog from a resource, nothing else.
//
// Built a second time with FERRYMARK_SAME_LIBRARIES, as the reference that costs
// what the program's choice of libraries costs and nothing of its own: the
// program's manifest (Common Controls 6, visual styles), every library that the
// program imports, the same Common Controls and DPI calls before the first
// window, and COM initialised. Ferrymark.exe against it is the program's own
// start-up work (registry, log, rotation, the six records, the images).
#include <windows.h>

#ifdef FERRYMARK_SAME_LIBRARIES
#include "program_libraries.h"
#endif

namespace {

INT_PTR CALLBACK DialogProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
    case WM_INITDIALOG:
        return TRUE;
    case WM_COMMAND:
        if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
            EndDialog(dialog, 0);
            return TRUE;
        }
        return FALSE;
    case WM_CLOSE:
        EndDialog(dialog, 0);
        return TRUE;
    default:
        return FALSE;
    }
}

} // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
#ifdef FERRYMARK_SAME_LIBRARIES
    if (!StartLikeTheProgram(true))
        return 1;
#endif
    return static_cast<int>(DialogBoxParamW(instance, MAKEINTRESOURCEW(1), nullptr, DialogProcedure, 0));
}
