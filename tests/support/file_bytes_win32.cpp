#include "support/file_bytes.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <cstdio>

std::string ReadAll(const std::wstring& path) {
    std::string bytes;
    if (std::FILE* file = _wfopen(path.c_str(), L"rb")) {
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
            bytes.append(buffer, got);
        std::fclose(file);
    }
    return bytes;
}

bool WriteAll(const std::wstring& path, const std::string& bytes) {
    std::FILE* file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr)
        return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && written;
}

std::wstring FolderAccessList(const std::wstring& folder) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    wchar_t* text = nullptr;
    std::wstring sddl;
    if (GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &descriptor) == ERROR_SUCCESS &&
        ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr))
        sddl = text;
    LocalFree(text);
    LocalFree(descriptor);
    return sddl;
}

bool SetFolderAccessList(const std::wstring& folder, const std::wstring& sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const bool set = ConvertStringSecurityDescriptorToSecurityDescriptorW(
                         sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr) &&
                     SetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION, descriptor);
    LocalFree(descriptor);
    return set;
}

std::wstring AdministratorsOnlyList() {
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr)
        return L"D:(A;OICI;FA;;;SY)(A;OICI;FA;;;S-1-5-21-0-0-0-1000)(A;OICI;0x1200a9;;;WD)";
    return L"D:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";
}
