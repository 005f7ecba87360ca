// The demo's Windows side, run under Wine in the demo's own prefix.
//
//   ferrymark_demo install
//       Makes the prefix a flight-simulator PC: the six simulators in their usual
//       folders, nothing of Ferrymark's own yet. Prints where each one is.
//   ferrymark_demo drive <Ferrymark.exe> <screenshot folder>
//       Starts Ferrymark and tells the story a user would: the greeting, the
//       locations of Prepar3D v4, Prepar3D v5 and Flight Simulator X, then
//       Prepar3D v4 activated. Saves a screenshot of each step and prints its name.
#include "e2e/driver.h"
#include "tools/machine/six_simulator_machine.h"

#include <commctrl.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

namespace {

enum Control { Combo = 604, TargetButton = 605, List = 606, Location = 802, Apply = 805 };

int Install() {
    SixSimulatorMachine machine;
    machine.Remove();
    machine.Install(false);
    std::wprintf(L"The simulators of this PC, as you would enter them in Ferrymark:\n");
    for (const InstalledSimulator& simulator : machine.Simulators())
        std::wprintf(L"  %-20ls %-14ls %ls\n", simulator.title.c_str(), simulator.version.c_str(),
                     simulator.location.c_str());
    return 0;
}

class Story {
public:
    Story(const std::wstring& program, const std::wstring& folder) : run(program) {
        SetScreenshotFolder(folder);
        shots = folder;
    }

    bool Tell() {
        if (HWND greeting = run.WaitForDialog(L"Ferrymark", 30000, IDOK)) {
            Shot(greeting, L"1-greeting");
            PressButton(greeting, IDOK);
        }
        main = run.WaitForDialog(L"Ferrymark", 30000, List);
        if (main == nullptr)
            return Fail(L"the main dialog did not appear");
        Shot(main, L"2-first-start");
        SixSimulatorMachine machine;
        struct Step {
            int row;
            const wchar_t* title;
            const wchar_t* shot;
        };
        for (const Step& step : {Step{4, L"Prepar3D v4", L"3-prepar3d-v4"},
                                 Step{5, L"Prepar3D v5", L"4-prepar3d-v5"},
                                 Step{0, L"Flight Simulator X", L"5-flight-simulator-x"}}) {
            if (!SetLocation(step.row, machine.Simulator(step.title).location, step.shot))
                return Fail(std::wstring(L"the location of ") + step.title + L" was not taken");
        }
        HWND combo = GetDlgItem(main, Combo);
        const std::vector<std::wstring> targets = ComboTexts(combo);
        for (std::size_t at = 0; at < targets.size(); ++at)
            if (targets[at] == L"Prepar3D v4")
                SendMessageW(combo, CB_SETCURSEL, at, 0);
        Shot(main, L"6-target-chosen");
        PressButton(main, TargetButton);
        if (!WaitUntil([&] { return WindowText(GetDlgItem(main, TargetButton)) == L"Deactivate"; },
                       180000))
            return Fail(L"Prepar3D v4 did not become active");
        Shot(main, L"7-prepar3d-v4-active");
        PostKey(main, VK_ESCAPE);
        return run.WaitForExit() == 0;
    }

private:
    bool SetLocation(int row, const std::wstring& folder, const std::wstring& shot) {
        HWND list = GetDlgItem(main, List);
        const RECT bounds = ListItemRect(list, row);
        const auto titleWidth = static_cast<LONG>(SendMessageW(list, LVM_GETCOLUMNWIDTH, 0, 0));
        DoubleClick(list, {bounds.left + titleWidth + 8, (bounds.top + bounds.bottom) / 2});
        HWND editor = run.WaitForDialog(L"Configure simulator", 20000, Location);
        if (editor == nullptr)
            return false;
        SetWindowTextW(GetDlgItem(editor, Location), folder.c_str());
        Shot(editor, shot + L"-dialog");
        PressButton(editor, Apply);
        if (!WaitUntil([&] { return !IsWindow(editor); }))
            return false;
        Shot(main, shot);
        return true;
    }
    void Shot(HWND window, const std::wstring& name) {
        Screenshot(window, name);
        std::wprintf(L"%ls\\%ls.bmp\n", shots.c_str(), name.c_str());
        std::fflush(stdout);
    }
    static bool Fail(const std::wstring& why) {
        std::fwprintf(stderr, L"demo: %ls\n", why.c_str());
        return false;
    }

    ProgramRun run;
    std::wstring shots;
    HWND main = nullptr;
};

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc == 2 && std::wcscmp(argv[1], L"install") == 0)
        return Install();
    if (argc == 4 && std::wcscmp(argv[1], L"drive") == 0)
        return Story(argv[2], argv[3]).Tell() ? 0 : 1;
    std::fwprintf(stderr, L"usage: ferrymark_demo install | drive <Ferrymark.exe> <folder>\n");
    return 2;
}
