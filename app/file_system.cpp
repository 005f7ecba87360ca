#include "app/file_system.h"

#include "platform/fs.h"

namespace {

[[noreturn]] void Raise(const char* what, const std::wstring& path,
                        const platform::SystemError& failure) {
    throw platform::FileSystemError(what, path, failure.text);
}

} // namespace

void CopyFileOrRaise(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const platform::SystemError failure = platform::CopyFileTo(from, to, overwrite);
    if (failure.Failed())
        throw platform::FileSystemError("copy_file: " + platform::ToFileApiCodePage(failure.text) +
                                        " [" + platform::ToFileApiCodePage(from) + "] [" +
                                        platform::ToFileApiCodePage(to) + "]");
}

void RemoveItemOrRaise(const std::wstring& path) {
    const platform::SystemError failure = platform::RemoveItem(path);
    if (failure.Failed())
        Raise("remove", path, failure);
}

void RemoveTreeOrRaise(const std::wstring& path) {
    const platform::SystemError failure = platform::RemoveTree(path);
    if (failure.Failed())
        Raise("remove_all", path, failure);
}

void CreateFoldersOrRaise(const std::wstring& path) {
    const platform::SystemError failure = platform::CreateFolders(path);
    if (failure.Failed())
        Raise("create_directories", path, failure);
}
