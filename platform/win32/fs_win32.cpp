// File-system backend on Win32. Link and existence tests use the attributes and
// reparse tags directly: the runtime's std::filesystem does not see links here.
#include "platform/fs.h"
#include "platform/win32/win32_util.h"

#include <cstddef>
#include <vector>

#include <winioctl.h>

namespace platform {
namespace {

bool IsAbsent(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
           error == ERROR_INVALID_NAME || error == ERROR_BAD_NETPATH ||
           error == ERROR_BAD_NET_NAME || error == ERROR_NOT_READY ||
           error == ERROR_INVALID_DRIVE || error == ERROR_FILENAME_EXCED_RANGE;
}

[[noreturn]] void Raise(const char* what, const std::wstring& path, DWORD error) {
    throw FileSystemError(what, path, win32::SystemText(error));
}

// Attributes of the item a path finally names, following links, or nothing. Only
// the basic information is asked for: the full record also carries the volume's
// serial number, which under Wine is a round trip to the mount manager for every
// call, and no caller here needs it.
bool FollowedAttributes(const std::wstring& path, DWORD& attributes, DWORD& error) {
    win32::UniqueHandle file(CreateFileW(
        path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) {
        error = GetLastError();
        return false;
    }
    FILE_BASIC_INFO info{};
    if (!GetFileInformationByHandleEx(file.get(), FileBasicInfo, &info, sizeof info)) {
        error = GetLastError();
        return false;
    }
    attributes = info.FileAttributes;
    return true;
}

SystemError RemoveTreeW(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return win32::Failure(GetLastError());
    const bool folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const bool link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (attributes & FILE_ATTRIBUTE_READONLY)
        SetFileAttributesW(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
    if (!folder) {
        if (!DeleteFileW(path.c_str()))
            return win32::Failure(GetLastError());
        return {};
    }
    if (!link) {
        WIN32_FIND_DATAW found{};
        win32::UniqueFind search(FindFirstFileW((path + L"\\*").c_str(), &found));
        if (search) {
            SystemError failure;
            do {
                const std::wstring name = found.cFileName;
                if (name == L"." || name == L"..")
                    continue;
                failure = RemoveTreeW(path + L"\\" + name);
            } while (!failure.Failed() && FindNextFileW(search.get(), &found));
            // The search ends before the folder itself is removed.
            search.reset();
            if (failure.Failed())
                return failure;
        }
    }
    if (!RemoveDirectoryW(path.c_str()))
        return win32::Failure(GetLastError());
    return {};
}

} // namespace

bool Exists(const std::wstring& path) {
    DWORD attributes = 0;
    DWORD error = 0;
    if (FollowedAttributes(path, attributes, error))
        return true;
    if (IsAbsent(error))
        return false;
    // An item that exists but cannot be opened (a sharing violation, a denied
    // folder) still exists; ask its attributes without following.
    if (error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED) {
        if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES)
            return true;
    }
    Raise("exists", path, error);
}

bool IsFolder(const std::wstring& path) {
    DWORD followed = 0;
    DWORD error = 0;
    if (FollowedAttributes(path, followed, error))
        return (followed & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (IsAbsent(error))
        return false;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    Raise("is_directory", path, error);
}

bool IsSymbolicLink(const std::wstring& path) {
    WIN32_FIND_DATAW found{};
    const win32::UniqueFind search(FindFirstFileW(path.c_str(), &found));
    if (!search) {
        const DWORD error = GetLastError();
        if (IsAbsent(error))
            return false;
        Raise("is_symlink", path, error);
    }
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           found.dwReserved0 == IO_REPARSE_TAG_SYMLINK;
}

bool IsReparsePoint(const std::wstring& path) {
    // The attributes of the name itself: a link, a junction or a mount point is
    // not looked through.
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const DWORD error = GetLastError();
    if (IsAbsent(error))
        return false;
    Raise("is_reparse_point", path, error);
}

SystemError RemoveItem(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return win32::Failure(GetLastError());
    const BOOL removed = (attributes & FILE_ATTRIBUTE_DIRECTORY) ? RemoveDirectoryW(path.c_str())
                                                                 : DeleteFileW(path.c_str());
    if (!removed)
        return win32::Failure(GetLastError());
    return {};
}

SystemError RemoveTree(const std::wstring& path) {
    return RemoveTreeW(path);
}

SystemError CreateFolders(const std::wstring& path) {
    // Walk from the first component after the root and create what is missing.
    std::size_t start = 0;
    if (path.size() >= 2 && path[1] == L':')
        start = 3;
    else if (path.size() >= 2 && path[0] == L'\\' && path[1] == L'\\') {
        std::size_t server = path.find(L'\\', 2);
        start = server == std::wstring::npos ? path.size() : path.find(L'\\', server + 1);
        if (start == std::wstring::npos)
            start = path.size();
    }
    for (std::size_t at = start; at <= path.size(); ++at) {
        if (at != path.size() && !IsPathSeparator(path[at]))
            continue;
        const std::wstring part = path.substr(0, at);
        if (part.empty() || part.size() <= 3)
            continue;
        if (!CreateDirectoryW(part.c_str(), nullptr)) {
            const DWORD error = GetLastError();
            if (error != ERROR_ALREADY_EXISTS)
                return win32::Failure(error);
        }
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return win32::Failure(GetLastError());
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
        return win32::Failure(ERROR_ALREADY_EXISTS);
    return {};
}

SystemError MoveItem(const std::wstring& from, const std::wstring& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED))
        return win32::Failure(GetLastError());
    return {};
}

bool IsFolderEmpty(const std::wstring& path) {
    std::wstring pattern = path;
    if (pattern.empty() || !IsPathSeparator(pattern.back()))
        pattern += L'\\';
    pattern += L'*';
    WIN32_FIND_DATAW found{};
    const win32::UniqueFind search(FindFirstFileW(pattern.c_str(), &found));
    if (!search) {
        const DWORD error = GetLastError();
        // A folder without even "." and ".." (the root of a drive) that has no
        // entries reports that nothing matched.
        if (error == ERROR_FILE_NOT_FOUND)
            return true;
        Raise("is_empty", path, error);
    }
    bool empty = true;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..") {
            empty = false;
            break;
        }
    } while (FindNextFileW(search.get(), &found));
    return empty;
}

std::string ToFileApiCodePage(const std::wstring& text) {
    if (text.empty())
        return {};
    const UINT codePage = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
    const int length = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()),
                                           nullptr, 0, nullptr, nullptr);
    if (length <= 0)
        return {};
    std::string narrow(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), &narrow[0], length,
                        nullptr, nullptr);
    return narrow;
}

SystemError CopyFileTo(const std::wstring& from, const std::wstring& to, bool overwrite) {
    if (!CopyFileW(from.c_str(), to.c_str(), overwrite ? FALSE : TRUE))
        return win32::Failure(GetLastError());
    return {};
}

std::wstring RuntimeFilePath(const std::wstring& path) {
    return path;
}

void OpenStream(std::basic_ofstream<wchar_t>& stream, const std::wstring& path,
                std::ios_base::openmode mode) {
    stream.open(path.c_str(), mode);
}

} // namespace platform

namespace platform {

SystemError MakeSymbolicLink(const std::wstring& link, const std::wstring& target,
                             std::uint32_t flags) {
    if (!CreateSymbolicLinkW(link.c_str(), target.c_str(), flags))
        return win32::Failure(GetLastError());
    // Some systems (Wine 8 among them) answer success and make nothing. A caller
    // that believed them would move a folder away and leave nothing in its place,
    // so a link counts as made only when it stands there as a link.
    const DWORD attributes = GetFileAttributesW(link.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return win32::Failure(ERROR_NOT_SUPPORTED);
    return {};
}

namespace {

// The symbolic-link form of the reparse data that FSCTL_GET_REPARSE_POINT returns
// (the layout of REPARSE_DATA_BUFFER, which the Windows headers keep for drivers).
struct SymbolicLinkReparseData {
    ULONG tag;
    USHORT dataLength;
    USHORT reserved;
    USHORT substituteNameOffset;
    USHORT substituteNameLength;
    USHORT printNameOffset;
    USHORT printNameLength;
    ULONG flags;
    WCHAR pathBuffer[1];
};

} // namespace

bool ReadSymbolicLinkTarget(const std::wstring& path, std::wstring& target) {
    win32::UniqueHandle link(CreateFileW(
        path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!link)
        return false;
    std::vector<unsigned char> buffer(MAXIMUM_REPARSE_DATA_BUFFER_SIZE);
    DWORD returned = 0;
    if (!DeviceIoControl(link.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer.data(),
                         static_cast<DWORD>(buffer.size()), &returned, nullptr))
        return false;
    const auto* data = reinterpret_cast<const SymbolicLinkReparseData*>(buffer.data());
    if (returned < offsetof(SymbolicLinkReparseData, pathBuffer) ||
        data->tag != IO_REPARSE_TAG_SYMLINK)
        return false;
    // The print name is the text the link was made with; the substitute name is
    // the NT form of an absolute target ("\??\C:\...").
    const bool print = data->printNameLength != 0;
    const USHORT offset = print ? data->printNameOffset : data->substituteNameOffset;
    const USHORT length = print ? data->printNameLength : data->substituteNameLength;
    if (offsetof(SymbolicLinkReparseData, pathBuffer) + offset + length > returned)
        return false;
    target.assign(data->pathBuffer + offset / sizeof(WCHAR), length / sizeof(WCHAR));
    if (!print && target.rfind(L"\\??\\", 0) == 0)
        target.erase(0, 4);
    return true;
}

void OpenInputStream(std::ifstream& stream, const std::wstring& path) {
    stream.open(path.c_str(), std::ios::binary);
}

} // namespace platform
