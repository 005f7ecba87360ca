// POSIX backend of the process list, read from the kernel's process table.
//
// Windows lists each process by the bare file name of its image. The nearest
// thing here is the last component of /proc/<pid>/exe, the executable actually
// mapped: unlike comm it is not cut at 15 characters and does not change when a
// thread renames itself. The link can only be read for the caller's own processes
// (and not at all for kernel threads); for those comm, the kernel's short name,
// stands in. A process that ends while the table is read is left out.
#include "platform/posix/host.h"
#include "platform/process.h"

#include <cctype>
#include <climits>
#include <dirent.h>
#include <fstream>
#include <unistd.h>

namespace platform {
namespace {

std::string& TableFolder() {
    static std::string folder = "/proc";
    return folder;
}

bool IsProcessId(const char* name) {
    if (*name == '\0')
        return false;
    for (; *name != '\0'; ++name)
        if (!std::isdigit(static_cast<unsigned char>(*name)))
            return false;
    return true;
}

// The last component of the executable link, without the mark the kernel adds
// when the file has been deleted since the process started.
bool ExecutableName(const std::string& processFolder, std::string& name) {
    char target[PATH_MAX];
    const ssize_t length = readlink((processFolder + "/exe").c_str(), target, sizeof target - 1);
    if (length <= 0)
        return false;
    std::string path(target, static_cast<std::size_t>(length));
    const std::string deleted = " (deleted)";
    if (path.size() > deleted.size() &&
        path.compare(path.size() - deleted.size(), deleted.size(), deleted) == 0)
        path.erase(path.size() - deleted.size());
    const std::string::size_type slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    return !name.empty();
}

bool ShortName(const std::string& processFolder, std::string& name) {
    std::ifstream comm(processFolder + "/comm");
    if (!comm || !std::getline(comm, name))
        return false;
    return !name.empty();
}

} // namespace

namespace posix {

void SetProcessTableFolder(const std::string& hostFolder) {
    TableFolder() = hostFolder.empty() ? std::string("/proc") : hostFolder;
}

} // namespace posix

ProcessListResult ListProcessNames(std::vector<std::wstring>& exeNames) {
    exeNames.clear();
    DIR* table = opendir(TableFolder().c_str());
    if (table == nullptr)
        return ProcessListResult::SnapshotFailed;
    while (dirent* entry = readdir(table)) {
        if (!IsProcessId(entry->d_name))
            continue;
        const std::string processFolder = TableFolder() + "/" + entry->d_name;
        std::string name;
        if (ExecutableName(processFolder, name) || ShortName(processFolder, name))
            exeNames.push_back(posix::FromUtf8(name));
    }
    closedir(table);
    // An empty snapshot has no first entry, as on Windows.
    if (exeNames.empty())
        return ProcessListResult::FirstEntryFailed;
    return ProcessListResult::Listed;
}

} // namespace platform
