#include "app/pick_folder.h"
#include "platform/win32/unique_handle.h"

#include <shobjidl.h>

bool PickFolder(HWND owner, std::wstring& folder, std::wstring title) {
    using platform::win32::UniqueCom;
    UniqueCom<IFileDialog> dialog;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFileDialog, dialog.put_void())))
        return false;

    dialog->SetTitle(title.c_str());
    FILEOPENDIALOGOPTIONS options = 0;
    if (SUCCEEDED(dialog->GetOptions(&options)))
        dialog->SetOptions(options | FOS_PICKFOLDERS);

    // Cancelling is one of the ways Show fails.
    if (FAILED(dialog->Show(owner)))
        return false;
    UniqueCom<IShellItem> item;
    if (FAILED(dialog->GetResult(item.put())))
        return false;
    // The parsing name, not the file-system path: a virtual location without a
    // path still has one.
    platform::win32::UniqueCoTaskMemory<wchar_t> name;
    if (FAILED(item->GetDisplayName(SIGDN_DESKTOPABSOLUTEPARSING, name.put())))
        return false;
    folder = name.get();
    return true;
}
