// The bare program that the start of Ferrymark.exe is compared with: one modal
// dialog from a resource, nothing else.
#include <windows.h>

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
    return static_cast<int>(DialogBoxParamW(instance, MAKEINTRESOURCEW(1), nullptr, DialogProcedure, 0));
}
