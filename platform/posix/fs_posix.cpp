#include "platform/fs.h"
#include "platform/posix/host.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace platform {

namespace posix {
// in_use_posix.cpp: true when a process holds the item or anything below it
// open, or has its working folder there.
bool IsHeldOpen(const std::string& hostPath);
} // namespace posix

namespace {

SystemError FromErrno(int error) {
    SystemError result;
    result.code = static_cast<std::uint32_t>(error);
    result.text = posix::FromUtf8(std::strerror(error));
    return result;
}

[[noreturn]] void Raise(const char* what, const std::wstring& path, int error) {
    throw FileSystemError(what, path, posix::FromUtf8(std::strerror(error)));
}

bool IsAbsent(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
}

// Copies a regular file, for a move between file systems and for CopyFileTo;
// without `overwrite` an existing destination is an error.
SystemError CopyHostFile(const std::string& from, const std::string& to, bool overwrite = true) {
    int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return FromErrno(errno);
    struct stat info {};
    fstat(in, &info);
    const int replace = overwrite ? O_TRUNC : O_EXCL;
    if (const int refused = posix::CountChange("create file", to)) {
        close(in);
        return FromErrno(refused);
    }
    int out = open(to.c_str(), O_WRONLY | O_CREAT | replace | O_CLOEXEC, info.st_mode & 07777);
    if (out < 0) {
        int error = errno;
        close(in);
        return FromErrno(error);
    }
    // A disk that fills up leaves the file made but short of its bytes.
    SystemError failure;
    if (const int refused = posix::CountChange("write file", to))
        failure = FromErrno(refused);
    char buffer[65536];
    while (!failure.Failed()) {
        ssize_t got = read(in, buffer, sizeof buffer);
        if (got == 0)
            break;
        if (got < 0) {
            failure = FromErrno(errno);
            break;
        }
        for (ssize_t done = 0; done < got;) {
            ssize_t wrote = write(out, buffer + done, static_cast<std::size_t>(got - done));
            if (wrote < 0) {
                failure = FromErrno(errno);
                break;
            }
            done += wrote;
        }
        if (failure.Failed())
            break;
    }
    close(in);
    if (close(out) != 0 && !failure.Failed())
        failure = FromErrno(errno);
    return failure;
}

// Removes a folder with everything below it, or a single item: 0 or the errno of
// the step that failed. A link is removed itself and never followed, wherever it
// stands, since lstat never looks through it; each removal counts as a change of
// its own. Names are taken in order so that the removals come in the same order
// on every run.
int RemoveHostTree(const std::string& host) {
    struct stat info {};
    if (lstat(host.c_str(), &info) != 0)
        return errno;
    if (S_ISDIR(info.st_mode)) {
        DIR* folder = opendir(host.c_str());
        if (folder == nullptr)
            return errno;
        std::vector<std::string> names;
        errno = 0;
        while (dirent* entry = readdir(folder))
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                names.emplace_back(entry->d_name);
        const int listing = errno;
        closedir(folder);
        if (listing != 0)
            return listing;
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            if (const int error = RemoveHostTree(host + "/" + name))
                return error;
        if (const int refused = posix::CountChange("remove folder", host))
            return refused;
        return rmdir(host.c_str()) == 0 ? 0 : errno;
    }
    if (const int refused = posix::CountChange("remove", host))
        return refused;
    return unlink(host.c_str()) == 0 ? 0 : errno;
}

} // namespace

bool Exists(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    struct stat info {};
    if (stat(host.c_str(), &info) == 0)
        return true;
    if (IsAbsent(errno))
        return false;
    Raise("exists", path, errno);
}

bool IsFolder(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    struct stat info {};
    if (stat(host.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    if (IsAbsent(errno))
        return false;
    Raise("is_directory", path, errno);
}

bool IsSymbolicLink(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    struct stat info {};
    if (lstat(host.c_str(), &info) == 0)
        return S_ISLNK(info.st_mode);
    if (IsAbsent(errno))
        return false;
    Raise("is_symlink", path, errno);
}

bool IsReparsePoint(const std::wstring& path) {
    // POSIX knows one kind of link: the symbolic link.
    return IsSymbolicLink(path);
}

// The stand-in for the access list: the owner may change the folder, everyone
// else may only read and enter it (0755). Files and folders made below it get
// the same through the umask; nothing enforces that they keep it.
SystemError RestrictToAdministrators(const std::wstring& folder) {
    const std::string host = posix::HostPath(folder);
    if (const int refused = posix::CountChange("access", host))
        return FromErrno(refused);
    if (chmod(host.c_str(), 0755) != 0)
        return FromErrno(errno);
    return {};
}

bool IsRestrictedToAdministrators(const std::wstring& folder) {
    struct stat info {};
    return stat(posix::HostPath(folder).c_str(), &info) == 0 && (info.st_mode & 07777) == 0755;
}

SystemError RemoveItem(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    struct stat info {};
    if (lstat(host.c_str(), &info) != 0)
        return FromErrno(errno);
    if (const int refused =
            posix::CountChange(S_ISDIR(info.st_mode) ? "remove folder" : "remove", host))
        return FromErrno(refused);
    int result = S_ISDIR(info.st_mode) ? rmdir(host.c_str()) : unlink(host.c_str());
    if (result != 0)
        return FromErrno(errno);
    return {};
}

SystemError RemoveTree(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    struct stat info {};
    if (lstat(host.c_str(), &info) != 0)
        return FromErrno(errno);
    if (const int error = RemoveHostTree(host))
        return FromErrno(error);
    return {};
}

SystemError CreateFolders(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    // Each missing folder is made on its own, the outermost first.
    for (std::string::size_type end = host.find('/', 1);; end = host.find('/', end + 1)) {
        const std::string folder = host.substr(0, end);
        struct stat info {};
        if (!folder.empty() && stat(folder.c_str(), &info) != 0) {
            if (errno != ENOENT)
                return FromErrno(errno);
            if (const int refused = posix::CountChange("create folder", folder))
                return FromErrno(refused);
            if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST)
                return FromErrno(errno);
        }
        if (end == std::string::npos)
            break;
    }
    struct stat info {};
    if (stat(host.c_str(), &info) != 0)
        return FromErrno(errno);
    if (!S_ISDIR(info.st_mode))
        return FromErrno(ENOTDIR);
    return {};
}

SystemError MoveItem(const std::wstring& from, const std::wstring& to) {
    const std::string source = posix::HostPath(from);
    const std::string destination = posix::HostPath(to);
    struct stat sourceInfo {};
    if (lstat(source.c_str(), &sourceInfo) != 0)
        return FromErrno(errno);
    // Windows refuses to move what is in use, even onto itself; rename(2) would
    // not, so the question is asked here.
    if (posix::IsHeldOpen(source))
        return FromErrno(EBUSY);
    // Windows replaces an existing file but never an existing folder, where
    // rename(2) would replace an empty one.
    struct stat destinationInfo {};
    const bool destinationExists = lstat(destination.c_str(), &destinationInfo) == 0;
    const bool sameItem = destinationExists && sourceInfo.st_dev == destinationInfo.st_dev &&
                          sourceInfo.st_ino == destinationInfo.st_ino;
    if (destinationExists && !sameItem && S_ISDIR(destinationInfo.st_mode))
        return FromErrno(EEXIST);
    // A file in use cannot be replaced either.
    if (destinationExists && !sameItem && posix::IsHeldOpen(destination))
        return FromErrno(EBUSY);
    if (!sameItem)
        if (const int refused = posix::CountChange("move", source + " -> " + destination))
            return FromErrno(refused);
    if (rename(source.c_str(), destination.c_str()) == 0)
        return {};
    int error = errno;
    if (error != EXDEV || !S_ISREG(sourceInfo.st_mode))
        return FromErrno(error);
    SystemError copied = CopyHostFile(source, destination);
    if (copied.Failed())
        return copied;
    if (unlink(source.c_str()) != 0)
        return FromErrno(errno);
    return {};
}

bool IsFolderEmpty(const std::wstring& path) {
    const std::string host = posix::HostPath(path);
    DIR* folder = opendir(host.c_str());
    if (folder == nullptr)
        Raise("is_empty", path, errno);
    bool empty = true;
    errno = 0;
    while (dirent* entry = readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            empty = false;
            break;
        }
    }
    const int error = errno;
    closedir(folder);
    if (empty && error != 0)
        Raise("is_empty", path, error);
    return empty;
}

std::string ToFileApiCodePage(const std::wstring& text) {
    return posix::ToUtf8(text);
}

void OpenStream(std::basic_ofstream<wchar_t>& stream, const std::wstring& path,
                std::ios_base::openmode mode) {
    if ((mode & std::ios_base::out) != 0 &&
        posix::CountChange("open for writing", posix::HostPath(path)) != 0) {
        stream.setstate(std::ios_base::failbit);
        return;
    }
    stream.open(posix::HostPath(path), mode);
}

SystemError CopyFileTo(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const std::string source = posix::HostPath(from);
    struct stat info {};
    if (stat(source.c_str(), &info) != 0)
        return FromErrno(errno);
    // Windows copies files only; a folder is refused as access denied.
    if (S_ISDIR(info.st_mode))
        return FromErrno(EACCES);
    return CopyHostFile(source, posix::HostPath(to), overwrite);
}

std::wstring RuntimeFilePath(const std::wstring& path) {
    return posix::FromUtf8(posix::HostPath(path));
}

} // namespace platform

namespace platform {

SystemError MakeSymbolicLink(const std::wstring& link, const std::wstring& target,
                             std::uint32_t /*flags*/) {
    // A real link to the mapped target; a relative target stays relative to the
    // link's folder, as on Windows. Folder and file links are one kind here.
    if (const int refused = posix::CountChange("link", posix::HostPath(link)))
        return FromErrno(refused);
    if (symlink(posix::HostPath(target).c_str(), posix::HostPath(link).c_str()) != 0)
        return FromErrno(errno);
    return {};
}

bool ReadSymbolicLinkTarget(const std::wstring& path, std::wstring& target) {
    // The link holds the mapped host path; the caller sees the Windows form it
    // was made from.
    std::string buffer(4096, '\0');
    const ssize_t length = readlink(posix::HostPath(path).c_str(), &buffer[0], buffer.size());
    if (length < 0 || static_cast<std::size_t>(length) >= buffer.size())
        return false;
    buffer.resize(static_cast<std::size_t>(length));
    target = posix::WindowsPath(buffer);
    return true;
}

void OpenInputStream(std::ifstream& stream, const std::wstring& path) {
    stream.open(posix::HostPath(path), std::ios::binary);
}

} // namespace platform
