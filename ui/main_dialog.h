// The program's main window.
//
// For now this is the placeholder of the main dialog: it shows template 600 with
// menu 100, and its only behaviour is to end the program on Escape, the close box
// and File, Exit, exactly as the finished dialog will. The simulator list, the
// target controls and the other menu commands come with the full dialog.
#pragma once

#include "app/logger.h"

#include <windows.h>

#include <exception>

class MainDialog {
public:
    MainDialog();
    MainDialog(const MainDialog&) = delete;
    MainDialog& operator=(const MainDialog&) = delete;

    // Creates the modeless dialog from its template and shows it.
    bool Create();
    HWND Handle() const { return window; }

    // A handler's exception cannot travel through the system's dispatch code; it
    // is kept here and raised again by the message loop once dispatch returns.
    static void RethrowPending();

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    Logger log;
    HWND window = nullptr;
    static std::exception_ptr pending;
};
