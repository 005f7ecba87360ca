// A stand-in for the update framework's DLL: it records each call, with its narrow
// arguments, in winsparkle-calls.txt beside itself; for win_sparkle_init also how
// many windows the calling thread has, which must be none.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {
void Record(const std::string& line) {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&Record), &self);
    wchar_t buffer[MAX_PATH] = {};
    GetModuleFileNameW(self, buffer, MAX_PATH);
    std::wstring path(buffer);
    path = path.substr(0, path.find_last_of(L'\\') + 1) + L"winsparkle-calls.txt";
    if (FILE* file = _wfopen(path.c_str(), L"ab")) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
}
} // namespace

extern "C" {
__declspec(dllexport) void win_sparkle_set_registry_path(const char* path) {
    Record(std::string("win_sparkle_set_registry_path ") + path);
}
__declspec(dllexport) void win_sparkle_set_appcast_url(const char* url) {
    Record(std::string("win_sparkle_set_appcast_url ") + url);
}
__declspec(dllexport) void win_sparkle_init() {
    int windows = 0;
    EnumThreadWindows(GetCurrentThreadId(), [](HWND, LPARAM count) -> BOOL {
        ++*reinterpret_cast<int*>(count);
        return TRUE;
    }, reinterpret_cast<LPARAM>(&windows));
    Record("win_sparkle_init windows=" + std::to_string(windows));
}
__declspec(dllexport) void win_sparkle_cleanup() { Record("win_sparkle_cleanup"); }
__declspec(dllexport) void win_sparkle_check_update_with_ui() { Record("win_sparkle_check_update_with_ui"); }
}
