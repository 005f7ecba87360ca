// The administrators-only access list of a folder, on Win32.
#include "platform/fs.h"
#include "platform/win32/win32_util.h"

#include <aclapi.h>
#include <sddl.h>

namespace platform {
namespace {

// Protected (P): nothing comes from the folder above. Full control (FA) for SYSTEM
// and Administrators, read and execute (0x1200a9) for Users, each inherited by
// files (OI) and folders (CI) below.
const wchar_t kAdministratorsOnly[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

// A security descriptor that LocalFree releases.
using LocalDescriptor = win32::UniqueLocalMemory<void>;

// The access list of kAdministratorsOnly, owned by `descriptor`.
PACL WantedList(LocalDescriptor& descriptor, DWORD& error) {
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kAdministratorsOnly, SDDL_REVISION_1,
                                                              descriptor.put(), nullptr)) {
        error = GetLastError();
        return nullptr;
    }
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr;
    GetSecurityDescriptorDacl(descriptor.get(), &present, &list, &defaulted);
    return list;
}

} // namespace

SystemError RestrictToAdministrators(const std::wstring& folder) {
    LocalDescriptor wanted;
    DWORD error = ERROR_SUCCESS;
    PACL list = WantedList(wanted, error);
    if (list == nullptr)
        return win32::Failure(error);
    error = SetNamedSecurityInfoW(const_cast<wchar_t*>(folder.c_str()), SE_FILE_OBJECT,
                                  DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                  nullptr, nullptr, list, nullptr);
    if (error != ERROR_SUCCESS)
        return win32::Failure(error);
    return {};
}

bool IsRestrictedToAdministrators(const std::wstring& folder) {
    LocalDescriptor wanted, present;
    DWORD error = ERROR_SUCCESS;
    PACL wantedList = WantedList(wanted, error);
    PACL list = nullptr;
    if (wantedList == nullptr ||
        GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, &list, nullptr, present.put()) != ERROR_SUCCESS ||
        list == nullptr)
        return false;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (!GetSecurityDescriptorControl(present.get(), &control, &revision) ||
        (control & SE_DACL_PROTECTED) == 0 || list->AceCount != wantedList->AceCount)
        return false;
    // The same entries in the same order; only the mark of an inherited entry may differ.
    for (WORD at = 0; at < list->AceCount; ++at) {
        void* entry = nullptr;
        void* wantedEntry = nullptr;
        if (!GetAce(list, at, &entry) || !GetAce(wantedList, at, &wantedEntry))
            return false;
        const auto* ace = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
        const auto* wantedAce = static_cast<const ACCESS_ALLOWED_ACE*>(wantedEntry);
        if (ace->Header.AceType != ACCESS_ALLOWED_ACE_TYPE ||
            (ace->Header.AceFlags & ~INHERITED_ACE) != wantedAce->Header.AceFlags ||
            ace->Mask != wantedAce->Mask ||
            !EqualSid(const_cast<DWORD*>(&ace->SidStart), const_cast<DWORD*>(&wantedAce->SidStart)))
            return false;
    }
    return true;
}

} // namespace platform
