// A stand-in for the update framework's DLL: it records each call, with its arguments, in
// winsparkle-calls.txt beside itself; for win_sparkle_init also the calling thread's windows (none).
#include <windows.h>

#include <cstdio>
#include <string>

static void Record(const std::string& line) {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&Record), &self);
    wchar_t buffer[MAX_PATH] = {};
    GetModuleFileNameW(self, buffer, MAX_PATH);
    const std::wstring path(buffer);
    if (FILE* file = _wfopen((path.substr(0, path.find_last_of(L'\\') + 1) + L"winsparkle-calls.txt").c_str(), L"ab")) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
}

extern "C" {
__declspec(dllexport) void win_sparkle_set_registry_path(const char* path) {
    Record(std::string("win_sparkle_set_registry_path ") + path);
}
__declspec(dllexport) void win_sparkle_set_appcast_url(const char* url) {
    Record(std::string("win_sparkle_set_appcast_url ") + url);
}
__declspec(dllexport) void win_sparkle_init() {
    int windows = 0;
    WNDENUMPROC count = [](HWND, LPARAM counter) -> BOOL { return ++*reinterpret_cast<int*>(counter) > 0; };
    EnumThreadWindows(GetCurrentThreadId(), count, reinterpret_cast<LPARAM>(&windows));
    Record("win_sparkle_init windows=" + std::to_string(windows));
}
__declspec(dllexport) void win_sparkle_cleanup() { Record("win_sparkle_cleanup"); }
__declspec(dllexport) void win_sparkle_check_update_with_ui() { Record("win_sparkle_check_update_with_ui"); }
}
