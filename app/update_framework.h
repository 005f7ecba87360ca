// The update framework, bound at run time from WinSparkle.dll beside the program.
// Without the DLL the program runs on and says once in its log that updates
// can't be checked.
#pragma once

#include <string>

class UpdateFramework {
public:
    UpdateFramework();
    ~UpdateFramework();
    UpdateFramework(const UpdateFramework&) = delete;
    UpdateFramework& operator=(const UpdateFramework&) = delete;

    bool Available() const { return module != nullptr; }

    // The strings are handed over as narrow text in the thread's ANSI code page.
    void SetRegistryPath(const std::wstring& path);
    void SetAppcastUrl(const std::wstring& url);
    void Init();
    void Cleanup();
    // False when the framework is missing and nothing could be asked.
    bool CheckUpdateWithUi();

private:
    using TextCall = void (*)(const char*);
    using PlainCall = void (*)();

    void* module = nullptr;
    TextCall setRegistryPath = nullptr;
    TextCall setAppcastUrl = nullptr;
    PlainCall init = nullptr;
    PlainCall cleanup = nullptr;
    PlainCall checkUpdateWithUi = nullptr;
};
