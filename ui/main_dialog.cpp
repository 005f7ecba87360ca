#include "ui/main_dialog.h"

#include "resources/resource.h"

std::exception_ptr MainDialog::pending;

MainDialog::MainDialog() {
    log.SetName(L"MAINDLG");
}

bool MainDialog::Create() {
    window = CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_MAIN), nullptr,
                                &MainDialog::DialogProc, reinterpret_cast<LPARAM>(this));
    if (window == nullptr)
        return false;
    ShowWindow(window, SW_SHOW);
    return true;
}

void MainDialog::RethrowPending() {
    if (pending) {
        std::exception_ptr error = pending;
        pending = nullptr;
        std::rethrow_exception(error);
    }
}

INT_PTR CALLBACK MainDialog::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG)
        SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    auto* self = reinterpret_cast<MainDialog*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr)
        return FALSE;
    try {
        return self->HandleMessage(window, message, wParam, lParam);
    } catch (...) {
        pending = std::current_exception();
        return FALSE;
    }
}

INT_PTR MainDialog::HandleMessage(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
    case WM_INITDIALOG:
        window = dialog;
        log.Debug(L"Dialog init");
        SetMenu(dialog, LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDR_MAIN_MENU)));
        return TRUE;
    case WM_COMMAND: {
        const WORD command = LOWORD(wParam);
        // IDCANCEL is what Escape and the close box send. The window is not
        // destroyed here: it goes with the process.
        if (command == IDCANCEL || command == IDM_FILE_EXIT) {
            EndDialog(dialog, command);
            PostQuitMessage(0);
        }
        return 0;
    }
    default:
        return FALSE;
    }
}
