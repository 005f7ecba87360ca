#include "ui/main_dialog.h"

#include "app/constants.h"
#include "app/text.h"
#include "app/update_framework.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "simulators/catalogue.h"
#include "ui/about_dialog.h"
#include "ui/simulator_dialog.h"

#include <shellapi.h>
#include <vssym32.h>

#include <cmath>

namespace {

constexpr int kTitleColumn = 0;
constexpr int kLocationColumn = 1;
const wchar_t kManual[] = L".\\Manual.pdf";

} // namespace

MainDialog::MainDialog()
    : settings(RegistryHive::LocalMachine, kSettingsKey, false), targetActive(false) {
    bitmapIds = {{2, IDB_PREPAR3D_V1},
                 {3, IDB_PREPAR3D_V2},
                 {4, IDB_PREPAR3D_V3},
                 {5, IDB_PREPAR3D_V4},
                 {6, IDB_PREPAR3D_V5}};
    log.SetName(L"MAINDLG");
    HandleMessages({WM_INITDIALOG, WM_COMMAND, WM_NOTIFY});
}

void MainDialog::GreetOnFirstRun() {
    if (settings.ReadDword(L"FirstRun", 0) != 0)
        return;
    const std::wstring greeting =
        FormatWide(L"Welcome to %s!\n\nClick on each simulator you have installed to set its "
                   L"location.\nBe sure to keep the list updated.",
                   kProductTitle);
    MessageBoxW(handle, greeting.c_str(), kProductTitle, MB_ICONINFORMATION);
    settings.WriteDword(L"FirstRun", 1);
}

INT_PTR MainDialog::HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_INITDIALOG:
        log.Debug(L"Dialog init");
        InitDialog(window);
        return 1;
    case WM_COMMAND:
        HandleCommand(LOWORD(wParam));
        return 0;
    case WM_NOTIFY: {
        const auto* header = reinterpret_cast<const NMHDR*>(lParam);
        if (header->idFrom != IDC_SIMULATOR_LIST)
            return 0;
        if (header->code == NM_DBLCLK) {
            const auto* activation = reinterpret_cast<const NMITEMACTIVATE*>(lParam);
            if (activation->iItem != -1)
                EditSimulator(*activation);
            return 0;
        }
        if (header->code == NM_CUSTOMDRAW) {
            const LRESULT result = HandleListDraw(reinterpret_cast<NMLVCUSTOMDRAW*>(lParam));
            SetWindowLongPtrW(window, DWLP_MSGRESULT, result);
            return 1;
        }
        return 0;
    }
    default:
        return 0;
    }
}

void MainDialog::HandleCommand(WORD command) {
    switch (command) {
    case IDM_HELP_MANUAL:
        // Relative to the current folder, not to the program's.
        if (platform::Exists(kManual)) {
            ShellExecuteW(handle, L"open", kManual, nullptr, nullptr, SW_SHOW);
        } else {
            log.Warn(L"User manual is missing.");
            MessageBoxW(handle, L"User manual is missing.", L"Missing manual", MB_ICONERROR);
        }
        break;
    case IDM_HELP_UPDATES: {
        auto* updates = static_cast<UpdateFramework*>(GetParameter(L"updates"));
        if (updates == nullptr || !updates->CheckUpdateWithUi())
            MessageBoxW(handle, L"Updates can't be checked: WinSparkle.dll is missing.",
                        kProductTitle, MB_ICONERROR);
        break;
    }
    case IDM_HELP_ABOUT: {
        AboutDialog about;
        about.Create(handle, IDD_ABOUT, true);
        break;
    }
    case IDC_TARGET_BUTTON:
        PressTargetButton();
        break;
    case IDCANCEL:
    case IDM_FILE_EXIT:
        // The window is not destroyed here: it goes with the process.
        EndDialog(handle, command);
        PostQuitMessage(0);
        break;
    default:
        break;
    }
}

void MainDialog::PressTargetButton() {
    const std::wstring title = targetCombo.GetSelectedText();
    if (!targetActive && title.empty()) {
        MessageBoxW(handle, L"Select target simulator.", kProductTitle, MB_ICONERROR);
        return;
    }
    SwitchTarget(title, !targetActive);
}

void MainDialog::EditSimulator(const NMITEMACTIVATE& activation) {
    auto* simulator = reinterpret_cast<GenericSimulator*>(simulatorList.GetItemData(activation.iItem));
    if (simulator == nullptr)
        return;
    SimulatorDialog editor;
    editor.SetParameter(L"sim", simulator);
    editor.Create(handle, IDD_SIMULATOR, true);
    // The text goes to the cell that was double-clicked, whichever column it is in.
    const std::wstring location = simulator->GetLocation(true);
    simulatorList.SetItemText(activation.iItem, activation.iSubItem,
                              location.empty() ? notInstalledText : location);
    RefreshTargets();
}

void MainDialog::InitDialog(HWND window) {
    SetIcon(LoadIcon(IDI_FERRYMARK, 0, 0));
    SetMenu(window, LoadMenuW(nullptr, MAKEINTRESOURCEW(IDR_MAIN_MENU)));
    theme.Open(window, L"TEXTSTYLE");

    targetCombo.Attach(GetDlgItem(window, IDC_TARGET_COMBO));
    targetButton.Attach(GetDlgItem(window, IDC_TARGET_BUTTON));
    targetCombo.SetCueBanner(L"Select simulator...");

    simulatorList.Attach(GetDlgItem(window, IDC_SIMULATOR_LIST));
    simulatorList.SetExtendedStyle(LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    simulatorList.SetHeaderFont(theme.CreateFont(TEXT_INSTRUCTION, 0, TMT_FONT, nullptr));
    simulatorList.SetHeaderTextColor(theme.GetColor(TEXT_INSTRUCTION, 0, TMT_TEXTCOLOR));
    simulatorList.SetColumns({{kTitleColumn, L"Title", 1, 0, 200},
                              {kLocationColumn, L"Location", 1, 0, 500}});

    simulators = CreateSimulators();
    for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
        // The stored location is the root folder as well: one read of the record's
        // key serves the test and the text.
        const std::wstring location = simulator->GetLocation(true);
        const int row = simulatorList.AddRow(
            {{kTitleColumn, simulator->GetTitle()},
             {kLocationColumn, location.empty() ? notInstalledText : location}});
        simulatorList.SetItemData(row, reinterpret_cast<LPARAM>(simulator.get()));
    }
    RefreshTargets();

    // The state comes from the registry alone; nothing on disk is looked at.
    targetActive = settings.ReadDword(L"TargetActive", 0) != 0;
    targetTitle = settings.ReadString(L"TargetTitle", L"");
    log.Info(L"Current target is " + (targetTitle.empty() ? std::wstring(L"NONE") : targetTitle) +
             L", status: " + (targetActive ? L"active" : L"inactive"));
    UpdateTargetState(targetTitle, targetActive);
}

void MainDialog::RefreshTargets() {
    log.Info(L"Refreshing targetable simulators");
    const std::wstring selected = targetCombo.GetSelectedText();
    targetCombo.Clear();

    // The context is never released: each refresh leaks one, as it always has.
    HDC context = GetDC(handle);
    TEXTMETRICW metrics{};
    GetTextMetricsW(context, &metrics);
    const int size = static_cast<int>(std::lround(metrics.tmHeight * 1.33));

    for (const std::shared_ptr<GenericSimulator>& simulator : simulators) {
        // Targetable as IsTargetable() says, with the stored location read once for
        // the test and the log line.
        const std::wstring location = simulator->GetLocation(true);
        if (location.empty() || !simulator->Targetable())
            continue;
        log.Info(simulator->GetTitle() + L" is targetable, version " +
                 simulator->GetVersion(true, L"") + L" is installed to " + location);
        HBITMAP bitmap = nullptr;
        const auto id = bitmapIds.find(simulator->GetKind());
        // Bitmaps of earlier refreshes stay with the combo box until the dialog ends.
        if (id != bitmapIds.end())
            bitmap = targetCombo.LoadBitmap(id->second, size, size, 0);
        targetCombo.AddItem(simulator->GetTitle(), bitmap);
    }
    targetCombo.SelectText(selected);

    // The button begins a pixel above the combo box, whose height may have grown,
    // and is two pixels taller; it keeps its x position and its width.
    const RECT combo = targetCombo.GetClientRectIn(handle);
    const RECT button = targetButton.GetClientRectIn(handle);
    targetButton.MoveWindowTo(button.left, combo.top - 1);
    targetButton.ResizeWindow(button.right, combo.bottom + 2);

    simulatorList.SetColumnWidth(kTitleColumn, LVSCW_AUTOSIZE, 30);
    simulatorList.SetColumnWidth(kLocationColumn, LVSCW_AUTOSIZE, 0);
}

void MainDialog::UpdateTargetState(const std::wstring& title, bool active) {
    targetCombo.SelectText(title);
    if (active) {
        targetButton.SetText(L"Deactivate");
        targetCombo.Disable();
        simulatorList.Disable();
    } else {
        targetButton.SetText(L"Activate");
        targetCombo.Enable();
        simulatorList.Enable();
    }
}

LRESULT MainDialog::HandleListDraw(NMLVCUSTOMDRAW* drawInfo) {
    if (drawInfo->nmcd.dwDrawStage == CDDS_PREPAINT)
        return CDRF_NOTIFYITEMDRAW;
    if (drawInfo->nmcd.dwDrawStage != CDDS_ITEMPREPAINT)
        return 0;
    // The test is on the shown text, not on the record.
    const std::map<std::int32_t, std::wstring> row =
        simulatorList.GetRow(static_cast<int>(drawInfo->nmcd.dwItemSpec));
    const auto location = row.find(kLocationColumn);
    if (location != row.end() && location->second == notInstalledText)
        drawInfo->clrText = theme.GetColor(TEXT_CONTROLLABEL, TS_CONTROLLABEL_DISABLED, TMT_TEXTCOLOR);
    return CDRF_NEWFONT;
}

bool MainDialog::SwitchTarget(std::wstring title, bool activate) {
    return ::SwitchTarget(*this, std::move(title), activate);
}

void MainDialog::ShowError(const std::wstring& text, const std::wstring& caption) {
    MessageBoxW(handle, text.c_str(), caption.c_str(), MB_ICONERROR);
}
