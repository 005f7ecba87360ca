// Whole files as bytes, for the Windows-side tests and their driver.
#pragma once

#include <string>

// The file's bytes, or nothing when it cannot be read.
std::string ReadAll(const std::wstring& path);
// False when the file cannot be written.
bool WriteAll(const std::wstring& path, const std::string& bytes);
