// backup_holder.exe file|folder <path> <ready event> <stop event>: holds the item until told to stop.
// backup_holder.exe desktop: holds a window on Wine's virtual desktop until the server ends (see wine-run.sh).
#include <windows.h>

#include <cwchar>

int wmain(int argc, wchar_t** argv) {
    if (argc == 2 && std::wcscmp(argv[1], L"desktop") == 0) {
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
        Sleep(INFINITE);
    }
    HANDLE ready = argc == 5 ? OpenEventW(EVENT_MODIFY_STATE, FALSE, argv[3]) : nullptr;
    HANDLE stop = argc == 5 ? OpenEventW(SYNCHRONIZE, FALSE, argv[4]) : nullptr;
    if (ready == nullptr || stop == nullptr)
        return 3;
    const bool file = std::wcscmp(argv[1], L"file") == 0;
    if (file ? CreateFileW(argv[2], GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr) == INVALID_HANDLE_VALUE
             : !SetCurrentDirectoryW(argv[2]))
        return 4;
    SetEvent(ready);
    WaitForSingleObject(stop, 60000);
    return 0;
}
