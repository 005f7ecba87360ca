// On POSIX: a forked child takes hold, says so through a pipe, and becomes a sleeping program; the
// pipe closes when it has become that program.
#include "support/other_process.h"
#include "platform/posix/host.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace other_process {

struct OtherProcess {
    pid_t pid;
};

OtherProcess* StartHolder(Hold how, const std::wstring& path, const std::wstring& as, std::string& why) {
    const std::string host = platform::posix::HostPath(path);
    const std::string program = as.empty() ? "/bin/sleep" : platform::posix::HostPath(as);
    std::error_code failed;
    if (!as.empty() && (!std::filesystem::copy_file("/bin/sleep", program, failed) ||
                        chmod(program.c_str(), 0755) != 0))
        return why = "cannot copy the sleeping program to " + program, nullptr;
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
        return why = "pipe failed", nullptr;
    const pid_t pid = fork();
    if (pid == 0) {
        // Whatever else the child inherited open would count as held by it.
        for (int fd = 3; fd < 4096; ++fd)
            if (fd != ready[1])
                close(fd);
        const bool held =
            how == Hold::OpenFile ? open(host.c_str(), O_RDONLY) >= 0 : chdir(host.c_str()) == 0;
        // A small program keeps them: a fork of the test program would slow its writes down.
        if (write(ready[1], held ? "y" : "n", 1) == 1 && held) {
            execl(program.c_str(), "sleep", "infinity", static_cast<char*>(nullptr));
            if (write(ready[1], "n", 1) != 1) { // no program to become
            }
        }
        _exit(2);
    }
    close(ready[1]);
    char answer = 'n', more = 0;
    const bool started = pid > 0 && read(ready[0], &answer, 1) == 1 && answer == 'y' &&
                         read(ready[0], &more, 1) == 0;
    close(ready[0]);
    if (started)
        return new OtherProcess{pid};
    why = pid < 0 ? "fork failed" : "the child could not take hold of " + host;
    if (pid > 0)
        waitpid(pid, nullptr, 0);
    return nullptr;
}

void StopHolder(OtherProcess* process) {
    if (process == nullptr)
        return;
    kill(process->pid, SIGKILL);
    while (waitpid(process->pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    delete process;
}

bool RunningUnderWine() {
    return false;
}

} // namespace other_process
