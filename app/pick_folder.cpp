#include "app/pick_folder.h"

#include <windows.h>

#include <shobjidl.h>

bool PickFolder(HWND owner, std::wstring& folder, std::wstring title) {
    IFileDialog* dialog = nullptr;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFileDialog, reinterpret_cast<void**>(&dialog))))
        return false;

    dialog->SetTitle(title.c_str());
    FILEOPENDIALOGOPTIONS options = 0;
    if (SUCCEEDED(dialog->GetOptions(&options)))
        dialog->SetOptions(options | FOS_PICKFOLDERS);

    // Cancelling is one of the ways Show fails.
    if (FAILED(dialog->Show(owner))) {
        dialog->Release();
        return false;
    }
    IShellItem* item = nullptr;
    if (FAILED(dialog->GetResult(&item))) {
        dialog->Release();
        return false;
    }
    // The parsing name, not the file-system path: a virtual location without a
    // path still has one.
    PWSTR name = nullptr;
    if (FAILED(item->GetDisplayName(SIGDN_DESKTOPABSOLUTEPARSING, &name))) {
        item->Release();
        dialog->Release();
        return false;
    }
    folder = name;
    CoTaskMemFree(name);
    item->Release();
    dialog->Release();
    return true;
}
