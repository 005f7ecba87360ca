// A fresh folder and fresh registry keys (the simulators' too) for each test, on the build's real platform.
#pragma once

#include "app/registry_key.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

class SandboxTest : public ::testing::Test {
public:
    // Whole files by Windows-form paths.
    static std::string ReadFile(const std::wstring& path);
    static void WriteFile(const std::wstring& path, const std::string& bytes);
    static void MakeFolder(const std::wstring& path);
    // A folder's DACL as SDDL on Windows, its mode bits in octal on POSIX.
    static std::wstring AccessList(const std::wstring& folder);
    static void OpenToEveryone(const std::wstring& folder);
    static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }
    static std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }
    // An RCDATA resource of the test program's own image.
    static std::string Embedded(std::uint32_t id);
    // Writes the stored location (and version) of a simulator, as its dialog does.
    static void StoreLocation(const std::wstring& title, const std::wstring& location,
                              const std::wstring& version = L"");

protected:
    void SetUp() override;
    void TearDown() override;

    const std::wstring& Folder() const { return folder; }
    std::wstring InFolder(const std::wstring& name) const { return folder + L"\\" + name; }
    const std::wstring& KeyPath() const { return keyPath; }

    // The log in this test's folder; its lines as "LEVEL text" without the time.
    void OpenLog(const wchar_t* level = L"TRACE");
    std::string LogText() const { return ReadFile(InFolder(L"log.txt")); }
    std::vector<std::string> LogLines() const;
    std::vector<std::string> LogMatching(const std::vector<std::string>& prefixes) const;
    bool LogContains(const std::string& line) const;
    void ClearLog();
    void CloseLog();

private:
    std::wstring folder;
    std::wstring keyPath;
};

// Platform parts of the sandbox.
std::wstring CreateSandboxFolder();
void RemoveSandboxFolder(const std::wstring& folder);
