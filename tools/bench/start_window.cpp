// Times the start of a Windows program to its visible main window: the program is
// started, and its top-level windows are polled until a visible dialog with a
// child of the given class shows. The window is then closed and the program's end
// awaited before the next run. Prints every run and the median.
//
//   bench_start PROGRAM CHILD_CLASS RUNS
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct Search {
    DWORD process;
    const wchar_t* childClass;
    HWND found;
};

BOOL CALLBACK HasChild(HWND child, LPARAM parameter) {
    auto* search = reinterpret_cast<Search*>(parameter);
    wchar_t name[64] = {};
    GetClassNameW(child, name, 64);
    if (lstrcmpiW(name, search->childClass) == 0) {
        search->found = child;
        return FALSE;
    }
    return TRUE;
}

BOOL CALLBACK Visit(HWND window, LPARAM parameter) {
    auto* search = reinterpret_cast<Search*>(parameter);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    wchar_t name[64] = {};
    if (owner != search->process || !IsWindowVisible(window) || GetClassNameW(window, name, 64) == 0 ||
        lstrcmpW(name, L"#32770") != 0)
        return TRUE;
    Search children{search->process, search->childClass, nullptr};
    EnumChildWindows(window, HasChild, reinterpret_cast<LPARAM>(&children));
    if (children.found == nullptr)
        return TRUE;
    search->found = window;
    return FALSE;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_start PROGRAM CHILD_CLASS RUNS\n");
        return 2;
    }
    const std::wstring program = argv[1];
    const int runs = _wtoi(argv[3]);
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        std::wstring commandLine = L"\"" + program + L"\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started{};
        LARGE_INTEGER begin, end;
        QueryPerformanceCounter(&begin);
        if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                            nullptr, &startup, &started)) {
            std::fprintf(stderr, "bench_start: cannot start the program (error %lu)\n", GetLastError());
            return 1;
        }
        Search search{started.dwProcessId, argv[2], nullptr};
        // Polled with a wait of one millisecond between looks. Without it every
        // look is a stream of requests to Wine's server, which is one thread
        // shared with the program that is measured: a program that needs the
        // server more (registry, files, windows) was slowed more by the
        // measuring itself. The wait is on the started process, so its end is
        // still seen at once; the figure gains at most the one millisecond.
        const ULONGLONG deadline = GetTickCount64() + 60000;
        while (search.found == nullptr && GetTickCount64() < deadline) {
            EnumWindows(Visit, reinterpret_cast<LPARAM>(&search));
            if (search.found == nullptr && WaitForSingleObject(started.hProcess, 1) == WAIT_OBJECT_0)
                break;
        }
        QueryPerformanceCounter(&end);
        if (search.found == nullptr) {
            std::fprintf(stderr, "bench_start: no visible main window\n");
            TerminateProcess(started.hProcess, 1);
            return 1;
        }
        PostMessageW(search.found, WM_CLOSE, 0, 0);
        if (WaitForSingleObject(started.hProcess, 20000) != WAIT_OBJECT_0) {
            std::fprintf(stderr, "bench_start: the program did not end after WM_CLOSE\n");
            TerminateProcess(started.hProcess, 1);
            WaitForSingleObject(started.hProcess, 20000);
        }
        CloseHandle(started.hThread);
        CloseHandle(started.hProcess);
        times.push_back(static_cast<double>(end.QuadPart - begin.QuadPart) / static_cast<double>(frequency.QuadPart));
    }
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    const double median = sorted.size() % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
    std::printf("start median_s=%.4f runs_s=", median);
    for (std::size_t i = 0; i < times.size(); ++i)
        std::printf("%s%.4f", i == 0 ? "" : ",", times[i]);
    std::printf("\n");
    return 0;
}
