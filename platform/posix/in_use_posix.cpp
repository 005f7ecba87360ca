// Whether an item is in use, on Linux. Windows refuses to rename a file that a
// process holds open without sharing its deletion, and a folder when anything
// below it is open or is some process's working folder; Linux renames all of
// these. The answer is read from /proc instead: every process's open
// descriptors and its working folder, by the paths they name now.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <cstdint>
#include <fcntl.h>
#include <sys/syscall.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {

bool IsHeldOpen(const std::string& hostPath);

namespace {

// The text of a link below /proc in `buffer`; empty when it cannot be read. The
// scan reads thousands of these per question, so it allocates nothing.
std::string_view ReadLink(const char* path, char (&buffer)[PATH_MAX + 1]) {
    const ssize_t length = readlink(path, buffer, PATH_MAX);
    return length > 0 ? std::string_view(buffer, static_cast<std::size_t>(length)) : std::string_view();
}

bool IsDigits(const char* text) {
    if (*text == '\0')
        return false;
    for (; *text != '\0'; ++text)
        if (*text < '0' || *text > '9')
            return false;
    return true;
}

// True when `named` (a path read from /proc) is the item or, for a folder,
// lies below it.
bool Covers(std::string_view item, bool folder, std::string_view named) {
    if (named.empty() || named[0] != '/')
        return false; // sockets, pipes and anonymous objects
    if (named == item)
        return true;
    if (!folder)
        return false;
    if (item == "/")
        return true;
    return named.size() > item.size() && named.compare(0, item.size(), item) == 0 &&
           named[item.size()] == '/';
}

// Calls `visit` with the name of each entry of the folder until it returns true;
// true when it did. Reads the folder with a buffer on the stack: opendir would
// allocate one for each of the hundreds of folders that one question lists.
template <typename Visit>
bool AnyEntry(const char* path, Visit visit) {
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return false; // the process has ended, or is not ours to look at
    alignas(8) char buffer[8192];
    bool found = false;
    for (long got; !found && (got = syscall(SYS_getdents64, folder, buffer, sizeof buffer)) > 0;) {
        for (long at = 0; !found && at < got;) {
            struct Entry {
                std::uint64_t inode;
                std::int64_t offset;
                unsigned short length;
                unsigned char type;
                char name[1];
            };
            const auto* entry = reinterpret_cast<const Entry*>(buffer + at);
            found = visit(entry->name);
            at += entry->length;
        }
    }
    close(folder);
    return found;
}

bool ProcessHolds(const char* process, std::string_view item, bool folder) {
    char path[64 + NAME_MAX];
    char target[PATH_MAX + 1];
    std::snprintf(path, sizeof path, "/proc/%s/cwd", process);
    if (Covers(item, folder, ReadLink(path, target)))
        return true;
    std::snprintf(path, sizeof path, "/proc/%s/fd", process);
    char fd[sizeof path + 1 + NAME_MAX + 1];  // the folder, a slash and an entry's name
    return AnyEntry(path, [&](const char* name) {
        if (!IsDigits(name))
            return false;
        std::snprintf(fd, sizeof fd, "%s/%s", path, name);
        return Covers(item, folder, ReadLink(fd, target));
    });
}

} // namespace

bool IsHeldOpen(const std::string& hostPath) {
    struct stat info {};
    if (lstat(hostPath.c_str(), &info) != 0)
        return false;
    // A link is never held itself: opening it opens what it points to.
    if (S_ISLNK(info.st_mode))
        return false;
    char* resolved = realpath(hostPath.c_str(), nullptr);
    if (resolved == nullptr)
        return false;
    const std::string item(resolved);
    std::free(resolved);
    const bool folder = S_ISDIR(info.st_mode);

    return AnyEntry("/proc", [&](const char* name) { return IsDigits(name) && ProcessHolds(name, item, folder); });
}

} // namespace platform::posix
