// The count of changes made through the POSIX backend, and the cut at a chosen one.
#include "platform/posix/host.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace platform::posix {
namespace {

struct Changes {
    long counted = 0;
    long cutAt = [] {
        const char* fromEnvironment = std::getenv("FERRYMARK_CUT_AT_CHANGE");
        return fromEnvironment != nullptr ? std::atol(fromEnvironment) : 0L;
    }();
    ChangeObserver observer = nullptr;
};

Changes& State() {
    static Changes changes;
    return changes;
}

} // namespace

void CountChange(const char* what, const std::string& hostPath) {
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
}

void SetChangeCut(long number) {
    State().cutAt = number;
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
