// The program's icon, name, purpose and version; nothing in it does anything but
// the Close button, which the dialog procedure's default handling serves.
#pragma once

#include "ui/dialog.h"
#include "ui/theme.h"

class AboutDialog : public Dialog {
public:
    AboutDialog();

    INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

private:
    Theme theme;
};
