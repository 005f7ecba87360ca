// A small program for the tests: it holds a file open without sharing its
// deletion, or makes a folder its working folder, then signals a named event and
// waits for another one before it ends.
//
//   backup_holder.exe file|folder <path> <ready event> <stop event>
#include <windows.h>

#include <cwchar>

int wmain(int argc, wchar_t** argv) {
    if (argc != 5)
        return 2;
    HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[3]);
    HANDLE stop = OpenEventW(SYNCHRONIZE, FALSE, argv[4]);
    if (ready == nullptr || stop == nullptr)
        return 3;
    HANDLE file = INVALID_HANDLE_VALUE;
    if (std::wcscmp(argv[1], L"file") == 0) {
        file = CreateFileW(argv[2], GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return 4;
    } else if (std::wcscmp(argv[1], L"folder") == 0) {
        if (!SetCurrentDirectoryW(argv[2]))
            return 5;
    } else {
        return 6;
    }
    SetEvent(ready);
    WaitForSingleObject(stop, 60000);
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    CloseHandle(ready);
    CloseHandle(stop);
    return 0;
}
