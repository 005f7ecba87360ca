// Whether an item is in use, on Linux. Windows refuses to rename a file that a
// process holds open without sharing its deletion, and a folder when anything
// below it is open or is some process's working folder; Linux renames all of
// these. The answer is read from /proc instead: every process's open
// descriptors and its working folder, by the paths they name now.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {

bool IsHeldOpen(const std::string& hostPath);

namespace {

std::string ReadLink(const std::string& path) {
    char buffer[PATH_MAX + 1];
    const ssize_t length = readlink(path.c_str(), buffer, PATH_MAX);
    if (length <= 0)
        return {};
    return std::string(buffer, static_cast<std::size_t>(length));
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
bool Covers(const std::string& item, bool folder, const std::string& named) {
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

bool ProcessHolds(const std::string& processFolder, const std::string& item, bool folder) {
    if (Covers(item, folder, ReadLink(processFolder + "/cwd")))
        return true;
    const std::string descriptors = processFolder + "/fd";
    DIR* listing = opendir(descriptors.c_str());
    if (listing == nullptr)
        return false; // the process has ended, or is not ours to look at
    bool held = false;
    while (dirent* entry = readdir(listing)) {
        if (!IsDigits(entry->d_name))
            continue;
        if (Covers(item, folder, ReadLink(descriptors + "/" + entry->d_name))) {
            held = true;
            break;
        }
    }
    closedir(listing);
    return held;
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

    DIR* processes = opendir("/proc");
    if (processes == nullptr)
        return false;
    bool held = false;
    while (dirent* entry = readdir(processes)) {
        if (!IsDigits(entry->d_name))
            continue;
        if (ProcessHolds(std::string("/proc/") + entry->d_name, item, folder)) {
            held = true;
            break;
        }
    }
    closedir(processes);
    return held;
}

} // namespace platform::posix
