// The shell's folder picker under Wine, its dialog driven from a second thread.
#include "app/pick_folder.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <thread>

namespace {

// A visible dialog of this process, or null.
HWND OwnDialog() {
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, L"#32770", nullptr)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId() && IsWindowVisible(window))
            return window;
    }
    return nullptr;
}

struct Outcome {
    bool result = false;
    std::wstring picked = L"unchanged";
    bool seen = false;     // the dialog came up
    bool typed = false;    // it had a name field, and the entry went into it
    bool leftOver = false; // it, or a message box it raised, was still up later
    std::wstring caption;
};

// Shows the picker, with COM initialised on this thread or not, while a second
// thread waits for its dialog and presses OK on `entry` typed into its name
// field, or cancels when there is no entry or no field. Whatever is still up a
// few seconds later is cancelled, so that a test fails instead of hanging.
Outcome Pick(const std::wstring& title, const std::wstring& entry = L"", bool com = true) {
    Outcome out;
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        HWND dialog = nullptr;
        for (DWORD start = GetTickCount(); !done && !dialog && GetTickCount() - start < 20000;
             Sleep(50))
            dialog = OwnDialog();
        if (dialog == nullptr)
            return;
        Sleep(300); // let the dialog finish laying itself out
        wchar_t caption[256] = {};
        GetWindowTextW(dialog, caption, 256);
        out.caption = caption;
        out.seen = true;
        // The field in which the user types a name.
        const HWND edit =
            entry.empty() ? nullptr : FindWindowExW(dialog, nullptr, L"Edit", nullptr);
        out.typed = edit != nullptr;
        if (out.typed)
            SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(entry.c_str()));
        PostMessageW(dialog, WM_COMMAND, out.typed ? IDOK : IDCANCEL, 0);
        for (int wait = 1; wait <= 100 && !done; ++wait) {
            Sleep(100);
            if (const HWND left = wait >= 50 && wait % 10 == 0 ? OwnDialog() : nullptr) {
                out.leftOver = true;
                PostMessageW(left, WM_COMMAND, IDCANCEL, 0);
            }
        }
    });
    const bool initialised = com && SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    out.result = PickFolder(nullptr, out.picked, title);
    if (initialised)
        CoUninitialize();
    done = true;
    watcher.join();
    return out;
}

using PickFolderTest = SandboxTest;

} // namespace

TEST_F(PickFolderTest, CancellingLeavesTheOutputAndAPickedFolderIsItsParsingName) {
    const Outcome cancelled = Pick(L"Ferrymark cancel test");
    ASSERT_TRUE(cancelled.seen) << "the dialog came up";
    EXPECT_FALSE(cancelled.result);
    EXPECT_EQ(cancelled.picked, L"unchanged");

    MakeFolder(InFolder(L"Chosen"));
    const Outcome out = Pick(L"Ferrymark pick test", InFolder(L"Chosen"));
    ASSERT_TRUE(out.seen) << "the dialog came up";
    if (!out.typed)
        GTEST_SKIP() << "this shell's folder dialog has no name field to type into";
    EXPECT_TRUE(out.result);
    EXPECT_EQ(lstrcmpiW(out.picked.c_str(), InFolder(L"Chosen").c_str()), 0)
        << std::string(out.picked.begin(), out.picked.end());
}

TEST_F(PickFolderTest, TheDialogCarriesTheTitleGiven) {
    const Outcome out = Pick(L"Ferrymark title test");
    ASSERT_TRUE(out.seen) << "the dialog came up";
    if (out.caption == L"Select Folder")
        GTEST_SKIP() << "Wine shows its own caption \"Select Folder\" when the folder option "
                        "is set after the title";
    EXPECT_EQ(out.caption, L"Ferrymark title test");
}

TEST_F(PickFolderTest, AVirtualLocationGivesItsParsingName) {
    // The computer's own folder has no file-system path, only a parsing name.
    const std::wstring computer = L"::{20D04FE0-3AEA-1069-A2D8-08002B30309D}";
    const Outcome out = Pick(L"Ferrymark virtual test", computer);
    ASSERT_TRUE(out.seen) << "the dialog came up";
    if (!out.typed)
        GTEST_SKIP() << "this shell's folder dialog has no name field to type into";
    if (out.leftOver && !out.result && out.picked == L"unchanged")
        GTEST_SKIP() << "this shell's folder dialog does not take a parsing name typed in";
    EXPECT_TRUE(out.result);
    EXPECT_EQ(lstrcmpiW(out.picked.c_str(), computer.c_str()), 0)
        << std::string(out.picked.begin(), out.picked.end());
}

TEST_F(PickFolderTest, WithoutComTheDialogIsNotCreatedAndTheOutputStays) {
    Outcome out; // on a thread of its own, on which nothing has initialised COM
    std::thread([&] { out = Pick(L"Ferrymark without COM", L"", false); }).join();
    if (out.seen)
        GTEST_SKIP() << "this system created the dialog without COM being initialised";
    EXPECT_FALSE(out.result);
    EXPECT_EQ(out.picked, L"unchanged");
}
