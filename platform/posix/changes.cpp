// The count of changes made through the POSIX backend, and the cut or the failure
// at a chosen one.
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace platform::posix {
namespace {

long FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::atol(value) : 0L;
}

struct Changes {
    long counted = 0;
    long cutAt = FromEnvironment("FERRYMARK_CUT_AT_CHANGE");
    long failAt = FromEnvironment("FERRYMARK_FAIL_AT_CHANGE");
    ChangeObserver observer = nullptr;
};

Changes& State() {
    static Changes changes;
    return changes;
}

} // namespace

int CountChange(const char* what, const std::string& hostPath) {
    Changes& changes = State();
    ++changes.counted;
    if (changes.observer != nullptr)
        changes.observer(changes.counted, what, hostPath);
    if (changes.counted == changes.cutAt) {
        // The process ends here and now, before the change: no handler, no
        // destructor and no buffered write runs, as when the power goes.
        ::kill(::getpid(), SIGKILL);
        std::_Exit(137);
    }
    if (changes.counted != changes.failAt)
        return 0;
    // The error a Windows user meets for this kind of change: a full disk where
    // bytes are written, access denied for everything else.
    const std::string kind = what;
    return kind == "write file" || kind == "create file" ? ENOSPC : EACCES;
}

void SetChangeCut(long number) {
    State().cutAt = number;
}

void SetChangeFailure(long number) {
    State().failAt = number;
}

void ResetChangeCount() {
    State().counted = 0;
}

long ChangesCounted() {
    return State().counted;
}

void SetChangeObserver(ChangeObserver observer) {
    State().observer = observer;
}

} // namespace platform::posix
