// The entry function: brings the machine-wide pieces up in a fixed order, runs the
// one message loop and takes the pieces down again.
#include "app/constants.h"
#include "app/data_folder.h"
#include "app/logger.h"
#include "app/machine.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "app/rotation.h"
#include "app/text.h"
#include "app/update_framework.h"
#include "platform/fs.h"
#include "resources/resource.h"
#include "ui/main_dialog.h"

#include <windows.h>

#include <commctrl.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <vector>

namespace {

std::wstring WidenWithRuntime(const char* text) {
    const std::size_t length = std::mbstowcs(nullptr, text, 0);
    if (length == static_cast<std::size_t>(-1))
        return std::wstring(text, text + std::strlen(text));
    std::vector<wchar_t> buffer(length + 1, L'\0');
    std::mbstowcs(buffer.data(), text, length + 1);
    return std::wstring(buffer.data(), length);
}

void ErrorBox(const std::wstring& text) {
    MessageBoxW(nullptr, text.c_str(), kProductTitle, MB_ICONERROR);
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    // 1. DPI awareness and Common Controls.
    SetProcessDPIAware();
    InitCommonControls();
    INITCOMMONCONTROLSEX controls{};
    controls.dwSize = sizeof controls;
    controls.dwICC = ICC_STANDARD_CLASSES;
    InitCommonControlsEx(&controls);

    // 2. Single instance: a second start leaves the first one's log untouched.
    if (IsAlreadyRunning()) {
        ErrorBox(FormatWide(L"%s is already running.", kProductTitle));
        std::exit(2);
    }

    // 3. Settings; a key that could not be opened yields all defaults.
    RegistryKey settings(RegistryHive::LocalMachine, kSettingsKey, false);

    // 4. Data folder, made or tightened so that only administrators can change
    // it; what was done is logged once the log is open.
    const std::wstring dataFolder = GetDataFolder();
    const DataFolderAccess access = PrepareDataFolder(dataFolder);

    // 5. Older logs move up one number before the new one is opened.
    RotateNumbered(dataFolder, L"log", L".txt",
                   static_cast<std::int32_t>(settings.ReadDword(L"LogLimit", kDefaultLogLimit)));

    // 6. Log.
    Logger log;
    log.SetName(L"APP");
    const std::wstring logPath = PathJoin(dataFolder, kLogFileName);
    OpenLogBelow(dataFolder, logPath);
    Logger::SetLevel(settings.ReadString(L"LogLevel", L"Info"));

    // 7. What runs where.
    RegistryKey systemDescription(RegistryHive::LocalMachine, kSystemDescriptionKey, false);
    const std::wstring releaseId = systemDescription.ReadString(L"ReleaseId", L"N/A");
    const std::wstring productName = systemDescription.ReadString(L"ProductName", L"N/A");
    log.Info(FormatWide(L"%s version %i.%i.%i.%i running on %s build %s", kProductTitle,
                        kVersion[0], kVersion[1], kVersion[2], kVersion[3], productName.c_str(),
                        releaseId.c_str()));
    LogDataFolderAccess(dataFolder, access);

    // 8. An old install must be removed first. The key is created when missing and
    // stays behind empty; that is accepted.
    RegistryKey oldInstall(RegistryHive::LocalMachine, kOldInstallKey, true);
    if (oldInstall.IsOpen()) {
        const std::wstring location = oldInstall.ReadString(L"InstallLocation", L"");
        if (!location.empty() && platform::Exists(PathJoin(location, kOldInstallExecutable))) {
            log.Fatal(L"Old version of Ferrymark installed");
            ErrorBox(L"Uninstall previous version of Ferrymark and restart the program.");
            std::exit(1);
        }
    }

    // 9. Updates; the framework is initialised before any window exists.
    RegistryKey update(RegistryHive::LocalMachine, FormatWide(L"%s\\Update", kSettingsKey), false);
    const std::wstring appcastUrl = update.ReadString(L"AppcastURL", kDefaultAppcastUrl);
    log.Info(L"Appcast URL " + appcastUrl);
    UpdateFramework updates;
    updates.SetRegistryPath(update.Path());
    updates.SetAppcastUrl(appcastUrl);
    updates.Init();

    // 10. The main dialog, modeless and shown, then the greeting of a first start.
    MainDialog mainDialog;
    mainDialog.SetParameter(L"updates", &updates);
    if (mainDialog.Create(nullptr, IDD_MAIN, false) == nullptr)
        throw std::runtime_error("The main dialog could not be created");
    mainDialog.Show();
    mainDialog.GreetOnFirstRun();

    // 11. The message loop, the one guarded region of the program.
    try {
        MSG message{};
        // Any result but 0 counts as a message, the error value -1 included.
        while (GetMessageW(&message, nullptr, 0, 0) != 0) {
            if (!IsDialogMessageW(mainDialog.GetHandle(), &message)) {
                TranslateMessage(&message);
                DispatchMessageW(&message);
            }
            Dialog::RethrowPending();
        }
    } catch (const std::exception& error) {
        const std::wstring details = WidenWithRuntime(error.what());
        ErrorBox(L"An unexpected error has occurred.\n\nError details:\n" + details);
        log.Fatal(FormatWide(L"Unexpected error: %s", details.c_str()));
        return 1;
    }

    // 12. Normal end.
    updates.Cleanup();
    log.Info(L"Shutdown");
    return 0;
}
