// Another process that holds an item, for the tests on POSIX:
// a forked child opens a file or changes into a folder and waits on a pipe.
#include "platform/posix/host.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace other_process {

enum class Hold { OpenFile, WorkingFolder };

struct OtherProcess {
    pid_t pid = -1;
    int stop = -1;
};

OtherProcess* StartHolder(Hold how, const std::wstring& path, std::string& why) {
    const std::string host = platform::posix::HostPath(path);
    int ready[2];
    int stop[2];
    if (pipe(ready) != 0)
        return why = "pipe failed", nullptr;
    if (pipe(stop) != 0) {
        close(ready[0]);
        close(ready[1]);
        return why = "pipe failed", nullptr;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        // The child keeps only its own two pipe ends: an inherited write end of
        // another holder's stop pipe would keep that holder waiting for ever.
        const long highest = sysconf(_SC_OPEN_MAX);
        for (int fd = 3; fd < (highest > 0 && highest < 4096 ? highest : 4096); ++fd)
            if (fd != ready[1] && fd != stop[0])
                close(fd);
        const bool held =
            how == Hold::OpenFile ? open(host.c_str(), O_RDONLY) >= 0 : chdir(host.c_str()) == 0;
        const char answer = held ? 'y' : 'n';
        if (write(ready[1], &answer, 1) != 1)
            _exit(2);
        char ignored;
        while (read(stop[0], &ignored, 1) > 0) {
        }
        _exit(0);
    }
    close(ready[1]);
    close(stop[0]);
    if (pid < 0) {
        close(ready[0]);
        close(stop[1]);
        return why = "fork failed", nullptr;
    }
    char answer = 'n';
    const ssize_t got = read(ready[0], &answer, 1);
    close(ready[0]);
    auto* process = new OtherProcess{pid, stop[1]};
    if (got != 1 || answer != 'y') {
        why = "the child could not take hold of " + host;
        close(process->stop);
        waitpid(pid, nullptr, 0);
        delete process;
        return nullptr;
    }
    return process;
}

void StopHolder(OtherProcess* process) {
    if (process == nullptr)
        return;
    close(process->stop);
    while (waitpid(process->pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    delete process;
}

bool RunningUnderWine() {
    return false;
}

} // namespace other_process
