#include "app/update_framework.h"

#include "app/logger.h"
#include "platform/win32/unique_handle.h"

#include <vector>

namespace {

std::string ToThreadAnsi(const std::wstring& text) {
    if (text.empty())
        return {};
    const int size =
        WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        return {};
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), -1, buffer.data(), size, nullptr, nullptr);
    return std::string(buffer.data());
}

// Only the copy beside the program is loaded, never one found along the search path.
std::wstring BesideProgram(const wchar_t* fileName) {
    std::vector<wchar_t> buffer(32768, L'\0');
    const DWORD length =
        GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    std::wstring path(buffer.data(), length);
    const std::size_t slash = path.find_last_of(L"\\/");
    path = slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
    return path + fileName;
}

template <typename Function> Function Bind(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

} // namespace

UpdateFramework::UpdateFramework() {
    platform::win32::UniqueModule loaded(LoadLibraryW(BesideProgram(L"WinSparkle.dll").c_str()));
    if (loaded) {
        setRegistryPath = Bind<TextCall>(loaded.get(), "win_sparkle_set_registry_path");
        setAppcastUrl = Bind<TextCall>(loaded.get(), "win_sparkle_set_appcast_url");
        init = Bind<PlainCall>(loaded.get(), "win_sparkle_init");
        cleanup = Bind<PlainCall>(loaded.get(), "win_sparkle_cleanup");
        checkUpdateWithUi = Bind<PlainCall>(loaded.get(), "win_sparkle_check_update_with_ui");
        if (setRegistryPath && setAppcastUrl && init && cleanup && checkUpdateWithUi) {
            // Never freed: see the destructor.
            module = loaded.release();
            return;
        }
        Logger::Write(Logger::WarnLevel,
                      L"WinSparkle.dll lacks the update functions; updates can't be checked");
        return;
    }
    Logger::Write(Logger::WarnLevel,
                  L"WinSparkle.dll could not be loaded; updates can't be checked");
}

UpdateFramework::~UpdateFramework() {
    // The library stays loaded until the process ends: the framework may still
    // have its own threads finishing after cleanup.
}

void UpdateFramework::SetRegistryPath(const std::wstring& path) {
    if (Available())
        setRegistryPath(ToThreadAnsi(path).c_str());
}

void UpdateFramework::SetAppcastUrl(const std::wstring& url) {
    if (Available())
        setAppcastUrl(ToThreadAnsi(url).c_str());
}

void UpdateFramework::Init() {
    if (Available())
        init();
}

void UpdateFramework::Cleanup() {
    if (Available())
        cleanup();
}

bool UpdateFramework::CheckUpdateWithUi() {
    if (!Available())
        return false;
    checkUpdateWithUi();
    return true;
}
