// A fresh folder and fresh registry keys for each test, against the real platform
// of the build: the POSIX backend under a new root, or Windows (Wine) itself.
#pragma once

#include "app/registry_key.h"

#include <gtest/gtest.h>

#include <string>

class SandboxTest : public ::testing::Test {
public:
    // Whole files, read and written by Windows-form paths on either build.
    static std::string ReadFile(const std::wstring& path);
    static void WriteFile(const std::wstring& path, const std::string& bytes);
    static void MakeFolder(const std::wstring& path);

protected:
    void SetUp() override;
    void TearDown() override;

    // A folder of this test alone, in Windows form, existing and empty.
    const std::wstring& Folder() const { return folder; }
    std::wstring InFolder(const std::wstring& name) const;
    // A registry path of this test alone, below Software, deleted before and after.
    const std::wstring& KeyPath() const { return keyPath; }

    // Opens the process log in this test's folder at `level`; closed after the test.
    void OpenLog(const wchar_t* level = L"TRACE");
    std::string LogText() const { return ReadFile(InFolder(L"log.txt")); }
    static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

private:
    void DeleteTestKeys();

    std::wstring folder;
    std::wstring keyPath;
};

// Platform parts of the sandbox.
std::wstring CreateSandboxFolder();
void RemoveSandboxFolder(const std::wstring& folder);
