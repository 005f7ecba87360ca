#include "ui/simulator_dialog.h"

#include "app/constants.h"
#include "app/pick_folder.h"
#include "app/registry_key.h"
#include "app/text.h"
#include "resources/resource.h"

#include <vssym32.h>

#include <vector>

namespace {

RegistryKey StoreKey(const GenericSimulator& simulator) {
    return RegistryKey(RegistryHive::LocalMachine,
                       FormatWide(L"%s\\Simulators\\%s", kSettingsKey, simulator.GetTitle().c_str()),
                       false);
}

} // namespace

SimulatorDialog::SimulatorDialog() {
    log.SetName(L"SIMDLG");
    HandleMessages({WM_INITDIALOG, WM_COMMAND, WM_CTLCOLORSTATIC});
}

INT_PTR SimulatorDialog::HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_INITDIALOG:
        return InitDialog(window);
    case WM_CTLCOLORSTATIC:
        return ColorStatic(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam));
    case WM_COMMAND:
        // This dialog has taken over its own closing; IDOK does nothing here.
        switch (LOWORD(wParam)) {
        case IDC_SIMULATOR_BROWSE:
            Browse();
            break;
        case IDC_SIMULATOR_REMOVE:
            Remove();
            break;
        case IDC_SIMULATOR_APPLY:
            Apply();
            break;
        case IDCANCEL:
            EndDialog(window, IDCANCEL);
            break;
        default:
            break;
        }
        return 0;
    default:
        return 0;
    }
}

INT_PTR SimulatorDialog::InitDialog(HWND window) {
    SetStyle(GetStyle() & ~static_cast<std::uint32_t>(WS_MINIMIZEBOX));
    theme.Open(window, L"TEXTSTYLE");
    simulator = static_cast<GenericSimulator*>(GetParameter(L"sim"));
    if (simulator == nullptr) {
        log.Error(L"Received invalid Simulator object");
        return 0;
    }
    const std::wstring title = simulator->GetTitle();
    SetDlgItemTextW(window, IDC_SIMULATOR_HEADING,
                    FormatWide(L"Set %s location", title.c_str()).c_str());
    SetDlgItemTextW(window, IDC_SIMULATOR_LOCATION, simulator->GetLocation(true).c_str());
    if (simulator->HasLocation()) {
        log.Debug(L"Editing " + title + L" install location");
    } else {
        log.Debug(L"Adding " + title + L" install location");
        SetDlgItemTextW(window, IDC_SIMULATOR_APPLY, L"Add");
        ShowWindow(GetDlgItem(window, IDC_SIMULATOR_REMOVE), SW_HIDE);
    }
    return 1;
}

INT_PTR SimulatorDialog::ColorStatic(HDC context, HWND control) {
    if (GetDlgCtrlID(control) == IDC_SIMULATOR_HEADING) {
        SetTextColor(context, theme.GetColor(TEXT_CONTROLLABEL, 0, TMT_TEXTCOLOR));
        SetBkMode(context, TRANSPARENT);
    }
    // The brush of the panel under the upper part of the dialog.
    return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_WINDOW));
}

void SimulatorDialog::Browse() {
    log.Debug(L"Selecting simulator folder");
    const std::wstring title = simulator->GetTitle();
    std::wstring folder;
    for (;;) {
        if (!PickFolder(handle, folder, FormatWide(L"Select %s folder", title.c_str()))) {
            log.Debug(L"Selecting cancelled");
            return;
        }
        log.Debug(L"Selected " + folder);
        if (simulator->VerifyFolder(folder)) {
            log.Debug(L"Folder is valid " + title + L" install location");
            SetDlgItemTextW(handle, IDC_SIMULATOR_LOCATION, folder.c_str());
            return;
        }
        const std::wstring text =
            FormatWide(L"This folder is not recognized as %s location.", title.c_str());
        if (MessageBoxW(handle, text.c_str(), L"Invalid folder", MB_RETRYCANCEL | MB_ICONERROR) ==
            IDCANCEL) {
            log.Debug(L"Folder is invalid " + title + L" install location");
            return;
        }
    }
}

std::wstring SimulatorDialog::LocationText() const {
    HWND field = GetDlgItem(handle, IDC_SIMULATOR_LOCATION);
    std::vector<wchar_t> buffer(static_cast<std::size_t>(GetWindowTextLengthW(field)) + 1, L'\0');
    GetWindowTextW(field, buffer.data(), static_cast<int>(buffer.size()));
    return buffer.data();
}

void SimulatorDialog::Apply() {
    // Used as it stands: no trimming, no normalising of separators.
    const std::wstring text = LocationText();
    const std::wstring title = simulator->GetTitle();
    log.Info(L"Entered " + title + L" install location " + text);
    if (!simulator->VerifyFolder(text)) {
        log.Info(L"Folder is invalid " + title + L" install location");
        const std::wstring message =
            FormatWide(L"This folder is not recognized as %s location.", title.c_str());
        MessageBoxW(handle, message.c_str(), L"Invalid folder", MB_ICONERROR);
        return;
    }
    const std::wstring version = simulator->GetVersion(false, text);
    if (version.empty()) {
        log.Error(L"Failed to read version information");
        const std::wstring message = FormatWide(L"Failed to read %s version.", title.c_str());
        MessageBoxW(handle, message.c_str(), L"Verification error", MB_ICONERROR);
        return;
    }
    log.Info(L"Adding " + title + L" version " + version + L" to installed simulators");
    {
        // A failed write is not noticed: the dialog closes as if it had worked.
        RegistryKey store = StoreKey(*simulator);
        store.WriteString(L"InstallLocation", text);
        store.WriteString(L"Version", version);
    }
    simulator->SetLocation(text);
    EndDialog(handle, IDC_SIMULATOR_APPLY);
}

void SimulatorDialog::Remove() {
    log.Info(L"Removing " + simulator->GetTitle() + L" from installed simulators");
    {
        // The key itself stays.
        RegistryKey store = StoreKey(*simulator);
        store.DeleteValue(L"InstallLocation");
        store.DeleteValue(L"Version");
    }
    simulator->SetLocation(L"");
    EndDialog(handle, IDC_SIMULATOR_REMOVE);
}
