#include "ui/dialog.h"

std::exception_ptr Dialog::pending;

HWND Dialog::Create(HWND parent, std::uint16_t templateId, bool isModal) {
    modal = isModal;
    if (modal) {
        DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(templateId), parent,
                        &Dialog::DialogProc, reinterpret_cast<LPARAM>(this));
        // What the modal dialog's handlers raised goes on from its creator's
        // handler, which passes it to the loop in turn.
        RethrowPending();
    } else {
        CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(templateId), parent,
                           &Dialog::DialogProc, reinterpret_cast<LPARAM>(this));
    }
    return handle;
}

void Dialog::HandleMessages(std::initializer_list<std::uint32_t> messages) {
    handledMessages.insert(messages.begin(), messages.end());
}

INT_PTR Dialog::HandleMessage(HWND, UINT, WPARAM, LPARAM) {
    return 0;
}

void Dialog::SetParameter(const std::wstring& name, void* value) {
    parameters[name] = value;
}

void* Dialog::GetParameter(const std::wstring& name) const {
    const auto found = parameters.find(name);
    return found == parameters.end() ? nullptr : found->second;
}

void Dialog::RethrowPending() {
    if (pending) {
        std::exception_ptr error = pending;
        pending = nullptr;
        std::rethrow_exception(error);
    }
}

INT_PTR CALLBACK Dialog::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<Dialog*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_INITDIALOG) {
        // Bound directly, not through the virtual Attach.
        self = reinterpret_cast<Dialog*>(lParam);
        if (self != nullptr)
            self->handle = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    }
    if (self != nullptr && self->handledMessages.count(message) != 0) {
        try {
            return self->HandleMessage(window, message, wParam, lParam);
        } catch (...) {
            pending = std::current_exception();
            // A modal dialog would otherwise run on in its own loop while the
            // program is already ending.
            if (self->modal)
                EndDialog(window, IDCANCEL);
            return 0;
        }
    }
    if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL))
        EndDialog(window, LOWORD(wParam));
    return 0;
}
