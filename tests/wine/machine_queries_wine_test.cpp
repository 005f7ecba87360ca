// The Win32 backend of the machine queries under Wine: running copies of a
// program in the real process list, and the shell's folder picker driven from a
// second thread.
#include "app/logger.h"
#include "app/machine_queries.h"
#include "app/pick_folder.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <functional>
#include <thread>

namespace {

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH + 1] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring own(path);
    return own.substr(0, own.find_last_of(L'\\'));
}

class WineProcessTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        logPath = InFolder(L"log.txt");
        Logger::OpenFile(logPath);
        Logger::SetLevel(L"Info");
    }
    void TearDown() override {
        Logger::Instance().close();
        SandboxTest::TearDown();
    }
    std::wstring logPath;
};

} // namespace

TEST_F(WineProcessTest, TwoRunningCopiesAreOneTrueAnswer) {
    // A copy of the helper under a name of this run alone.
    const std::wstring name = L"MQ-Sleeper-" + std::to_wstring(GetCurrentProcessId()) + L".exe";
    const std::wstring copyPath = InFolder(name);
    ASSERT_TRUE(CopyFileW((OwnFolder() + L"\\machine_queries_sleeper.exe").c_str(),
                          copyPath.c_str(), TRUE));
    EXPECT_FALSE(IsProcessRunning(name, true)) << "not started yet";

    PROCESS_INFORMATION copies[2] = {};
    for (PROCESS_INFORMATION& copy : copies) {
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        std::wstring commandLine = L"\"" + copyPath + L"\"";
        ASSERT_TRUE(CreateProcessW(copyPath.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0,
                                   nullptr, nullptr, &startup, &copy));
        WaitForInputIdle(copy.hProcess, 2000);
    }
    EXPECT_TRUE(IsProcessRunning(name, false));
    EXPECT_TRUE(
        IsProcessRunning(L"mq-sleeper-" + std::to_wstring(GetCurrentProcessId()) + L".EXE", false))
        << "case is ignored";
    EXPECT_FALSE(IsProcessRunning(copyPath, true)) << "a full path finds nothing";
    for (PROCESS_INFORMATION& copy : copies) {
        TerminateProcess(copy.hProcess, 0);
        WaitForSingleObject(copy.hProcess, 10000);
        CloseHandle(copy.hThread);
        CloseHandle(copy.hProcess);
    }
    EXPECT_FALSE(IsProcessRunning(name, true)) << "both ended";
    EXPECT_EQ(ReadFile(logPath), "");
}

namespace {

// Waits on a thread of its own for a dialog of this process and hands it to
// `act`. Should the dialog still be up a few seconds after that, or never be
// found, the watcher cancels whatever dialog it can see, so that a test fails
// instead of hanging.
class DialogWatcher {
public:
    explicit DialogWatcher(std::function<void(HWND)> act, DWORD timeoutMs = 20000)
        : thread([this, act, timeoutMs] { Run(act, timeoutMs); }) {}
    ~DialogWatcher() { Finish(); }
    DialogWatcher(const DialogWatcher&) = delete;
    DialogWatcher& operator=(const DialogWatcher&) = delete;

    // Stops watching and waits for the watcher's thread; the answers below are
    // read after this.
    void Finish() {
        stop = true;
        if (thread.joinable())
            thread.join();
    }
    bool Seen() const { return seen; }
    // True when the watcher had to cancel what the action left open.
    bool LeftOver() const { return leftOver; }
    // The caption the dialog showed when it was found.
    std::wstring Caption() const { return caption; }

private:
    void Run(const std::function<void(HWND)>& act, DWORD timeoutMs) {
        const DWORD start = GetTickCount();
        HWND dialog = nullptr;
        while (!stop && dialog == nullptr && GetTickCount() - start < timeoutMs) {
            Sleep(50);
            dialog = FindDialog();
        }
        if (dialog == nullptr)
            return;
        Sleep(300); // let the dialog finish laying itself out
        wchar_t text[256] = {};
        GetWindowTextW(dialog, text, 256);
        caption = text;
        seen = true;
        act(dialog);
        // Anything still up after a few seconds, the dialog or a message box it
        // raised, is cancelled.
        for (int wait = 0; wait < 100 && !stop; ++wait) {
            Sleep(100);
            if (wait >= 50 && wait % 10 == 0)
                CancelAllDialogs();
        }
    }

    void CancelAllDialogs() {
        EnumWindows(
            [](HWND window, LPARAM data) -> BOOL {
                if (IsOwnDialog(window)) {
                    reinterpret_cast<DialogWatcher*>(data)->leftOver = true;
                    PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
                }
                return TRUE;
            },
            reinterpret_cast<LPARAM>(this));
    }

    static bool IsOwnDialog(HWND window) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        wchar_t className[64] = {};
        GetClassNameW(window, className, 64);
        return process == GetCurrentProcessId() && IsWindowVisible(window) &&
               lstrcmpW(className, L"#32770") == 0;
    }

    static HWND FindDialog() {
        HWND found = nullptr;
        EnumWindows(
            [](HWND window, LPARAM data) -> BOOL {
                if (!IsOwnDialog(window))
                    return TRUE;
                *reinterpret_cast<HWND*>(data) = window;
                return FALSE;
            },
            reinterpret_cast<LPARAM>(&found));
        return found;
    }

    std::atomic<bool> stop{false};
    std::atomic<bool> seen{false};
    std::atomic<bool> leftOver{false};
    std::wstring caption;
    std::thread thread;
};

class PickFolderTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        initialised = SUCCEEDED(result);
        ASSERT_TRUE(initialised) << std::hex << result;
    }
    void TearDown() override {
        if (initialised)
            CoUninitialize();
        SandboxTest::TearDown();
    }
    bool initialised = false;
};

// The edit control in which the user types a name, found among the dialog's
// descendants.
HWND FileNameEdit(HWND dialog) {
    HWND found = nullptr;
    EnumChildWindows(
        dialog,
        [](HWND child, LPARAM data) -> BOOL {
            wchar_t className[64] = {};
            GetClassNameW(child, className, 64);
            if (lstrcmpiW(className, L"Edit") == 0 && IsWindowVisible(child)) {
                *reinterpret_cast<HWND*>(data) = child;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
}

} // namespace

TEST_F(PickFolderTest, CancellingAnswersFalseAndLeavesTheOutput) {
    std::wstring picked = L"unchanged";
    DialogWatcher watcher([](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); });
    const bool result = PickFolder(nullptr, picked, L"Ferrymark cancel test");
    watcher.Finish();
    EXPECT_TRUE(watcher.Seen()) << "the dialog came up";
    EXPECT_FALSE(result);
    EXPECT_EQ(picked, L"unchanged");
}

TEST_F(PickFolderTest, TheDialogCarriesTheTitleGiven) {
    std::wstring picked = L"unchanged";
    DialogWatcher watcher([](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); });
    const bool result = PickFolder(nullptr, picked, L"Ferrymark title test");
    watcher.Finish();
    ASSERT_TRUE(watcher.Seen()) << "the dialog came up";
    EXPECT_FALSE(result);
    // Wine's dialog replaces a title set before the folder option with its own
    // caption; Windows keeps the title.
    if (watcher.Caption() == L"Select Folder")
        GTEST_SKIP() << "Wine shows its own caption \"Select Folder\" when the folder option "
                        "is set after the title";
    EXPECT_EQ(watcher.Caption(), L"Ferrymark title test");
}

TEST_F(PickFolderTest, APickedFolderIsItsParsingName) {
    MakeFolder(InFolder(L"Chosen"));
    const std::wstring chosen = InFolder(L"Chosen");
    std::wstring picked = L"unchanged";
    std::atomic<bool> typed{false};
    DialogWatcher watcher([&](HWND dialog) {
        HWND edit = FileNameEdit(dialog);
        if (edit == nullptr) {
            PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
            return;
        }
        typed = true;
        SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(chosen.c_str()));
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    const bool result = PickFolder(nullptr, picked, L"Ferrymark pick test");
    watcher.Finish();
    ASSERT_TRUE(watcher.Seen()) << "the dialog came up";
    if (!typed)
        GTEST_SKIP() << "this shell's folder dialog has no name field to type into";
    EXPECT_TRUE(result);
    EXPECT_TRUE(lstrcmpiW(picked.c_str(), chosen.c_str()) == 0)
        << std::string(picked.begin(), picked.end());
}

TEST(PickFolderWithoutCom, FailsToCreateTheDialogAndLeavesTheOutput) {
    // A thread of its own, on which nothing has initialised COM.
    std::wstring picked = L"unchanged";
    bool result = true;
    bool seen = false;
    std::thread([&] {
        DialogWatcher watcher([](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); },
                              5000);
        result = PickFolder(nullptr, picked, L"Ferrymark without COM");
        watcher.Finish();
        seen = watcher.Seen();
    }).join();
    if (seen)
        GTEST_SKIP() << "this system created the dialog without COM being initialised";
    EXPECT_FALSE(result);
    EXPECT_EQ(picked, L"unchanged");
}

TEST_F(PickFolderTest, AVirtualLocationGivesItsParsingName) {
    // The computer's own folder has no file-system path, only a parsing name.
    const std::wstring computer = L"::{20D04FE0-3AEA-1069-A2D8-08002B30309D}";
    std::wstring picked = L"unchanged";
    std::atomic<bool> typed{false};
    DialogWatcher watcher([&](HWND dialog) {
        HWND edit = FileNameEdit(dialog);
        if (edit == nullptr) {
            PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
            return;
        }
        typed = true;
        SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(computer.c_str()));
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    const bool result = PickFolder(nullptr, picked, L"Ferrymark virtual test");
    watcher.Finish();
    ASSERT_TRUE(watcher.Seen()) << "the dialog came up";
    if (!typed)
        GTEST_SKIP() << "this shell's folder dialog has no name field to type into";
    if (watcher.LeftOver() && !result && picked == L"unchanged")
        GTEST_SKIP() << "this shell's folder dialog does not take a parsing name typed in";
    EXPECT_TRUE(result);
    EXPECT_TRUE(lstrcmpiW(picked.c_str(), computer.c_str()) == 0)
        << std::string(picked.begin(), picked.end());
}
