// A fresh folder and fresh registry keys for each test, against the real platform
// of the build: the POSIX backend under a new root, or Windows (Wine) itself. The
// keys the simulator records use, and the program's store of them, start empty too.
#pragma once

#include "app/registry_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

class SandboxTest : public ::testing::Test {
public:
    // Whole files, read and written by Windows-form paths on either build.
    static std::string ReadFile(const std::wstring& path);
    static void WriteFile(const std::wstring& path, const std::string& bytes);
    static void MakeFolder(const std::wstring& path);
    // The read-only attribute of a file (on POSIX: no write permission at all).
    static void SetReadOnly(const std::wstring& path, bool readOnly);
    static bool IsReadOnly(const std::wstring& path);
    // A folder's access list: its DACL as SDDL on Windows, its mode bits in octal on
    // POSIX; and one that lets everyone change the folder.
    static std::wstring AccessList(const std::wstring& folder);
    static void OpenToEveryone(const std::wstring& folder);
    static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }
    // An RCDATA resource of the test program's own image.
    static std::string Embedded(std::uint32_t id);
    // Writes the stored location (and version) of a simulator, as its dialog does.
    static void StoreLocation(const std::wstring& title, const std::wstring& location,
                              const std::wstring& version = L"");

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
    // The log's lines as "LEVEL text" without the time; a record's continuation
    // lines have an empty level.
    std::vector<std::string> LogLines() const;
    // The lines that begin with one of the prefixes, in order.
    std::vector<std::string> LogMatching(const std::vector<std::string>& prefixes) const;
    bool LogContains(const std::string& line) const {
        const std::vector<std::string> lines = LogLines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    // Empties the log; it stays open.
    void ClearLog();
    void CloseLog();

private:
    static void DeleteKeys();

    std::wstring folder;
    std::wstring keyPath;
};

// Platform parts of the sandbox.
std::wstring CreateSandboxFolder();
void RemoveSandboxFolder(const std::wstring& folder);
