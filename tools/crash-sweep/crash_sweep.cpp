// The switch of the six-simulator machine stopped at every change it makes.
//
// For each change N of a full activation, and of a full deactivation, a child
// process runs the switch from the same machine and, by the POSIX backend's change
// counter, either dies by SIGKILL just before change N (--kind cut, a power cut) or
// has that one change fail with the error a Windows user meets there (--kind fail:
// access denied, a full disk for a file's bytes); a failed step is logged and the
// switch goes on, a raising call ends the program as its handler does. The machine
// is then brought back as its user would: the program starts again, reads the
// recorded state as the main dialog does, and the user presses the button it shows
// (inactive: activate, then deactivate; active: deactivate). --kind recover cuts a
// sample of activations, then cuts the recovering deactivation at its own points
// and recovers once more, as for a power that fails twice. A point comes back whole
// when the machine differs from its state before the first switch by nothing but
// the round trip's documented residue and the recovery showed no box; every other
// point is printed with what it lost. Last, the count; the exit status is 0 when
// every point came back whole.
//
//     crash_sweep [--kind cut|fail|recover] [--every K] [--inner K] [--part I/J]
//
// --every K takes every K-th point of each direction (default 1; for recover, of
// the activation, default 10); --inner K every K-th point of a recovering
// deactivation (default 3); --part I/J the I-th of J shares of the points (from
// 0), so that J processes can share a sweep; --only a:N or d:N the one point N of
// an activation or a deactivation (a:N/M for recover: point M of the recovery of
// activation point N); --first a:TEXT or d:TEXT, repeatable, the first point of
// that direction whose change contains TEXT, instead of every K-th; --list prints
// the changes of both, numbered, and sweeps nothing.
#include "app/constants.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "engine/backup.h"
#include "engine/switch_target.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "simulators/catalogue.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/recording_host.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

const std::wstring kTarget = L"Prepar3D v4";

std::string Narrow(const std::wstring& text) {
    return platform::posix::ToUtf8(text);
}

void Run(const std::string& command) {
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "crash-sweep: failed: %s\n", command.c_str());
        std::exit(2);
    }
}

// The live root takes the state of a template again; the stored links name the
// live root's paths, which stay the same.
void Reset(const std::string& live, const std::string& from) {
    platform::posix::CloseRegistryStore();
    Run("rm -rf '" + live + "' && cp -a '" + from + "' '" + live + "'");
}

void Keep(const std::string& live, const std::string& as) {
    platform::posix::CloseRegistryStore();
    Run("rm -rf '" + as + "' && cp -a '" + live + "' '" + as + "'");
}

// The user's side after a start: the button that the recorded state shows. The
// boxes shown, if any, one after another.
std::wstring Recover() {
    std::wstring boxes;
    const auto collect = [&](const RecordingHost& host) {
        for (const std::wstring& box : host.boxes)
            boxes += box + L"; ";
    };
    RecordingHost dialog;
    if (!dialog.active) {
        SwitchTarget(dialog, kTarget, true);
        collect(dialog);
        RecordingHost again;
        SwitchTarget(again, kTarget, false);
        collect(again);
        return boxes;
    }
    SwitchTarget(dialog, dialog.recordedTitle, false);
    collect(dialog);
    return boxes;
}

// What stands now against the machine before the first switch, less the residue.
std::vector<Difference> Losses(const MachineSnapshot& before) {
    return Unexplained(before, RecordingHost().Record(kTarget));
}

std::vector<std::string> changes;
void Record(long, const char* what, const std::string& hostPath) {
    changes.push_back(std::string(what) + " " + hostPath);
}

// Counts the changes of one full switch, with their descriptions.
std::vector<std::string> Count(bool activate) {
    changes.clear();
    platform::posix::SetChangeObserver(Record);
    platform::posix::ResetChangeCount();
    RecordingHost dialog;
    SwitchTarget(dialog, kTarget, activate);
    platform::posix::SetChangeObserver(nullptr);
    return changes;
}

// Runs the switch in a child that dies at change `point` (cut) or has it fail;
// true when the change was reached. A raising call ends the child as the handler
// around the message loop ends the program: exit code 1.
bool StopAt(bool activate, long point, bool cut) {
    platform::posix::CloseRegistryStore();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        std::exit(2);
    }
    if (child == 0) {
        platform::posix::ResetChangeCount();
        (cut ? platform::posix::SetChangeCut : platform::posix::SetChangeFailure)(point);
        int code = 0;
        try {
            RecordingHost dialog;
            SwitchTarget(dialog, kTarget, activate);
        } catch (const std::exception&) {
            code = 1;
        }
        std::_Exit(platform::posix::ChangesCounted() >= point ? code : 3);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        return false;
    if (cut)
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    return WIFEXITED(status) && WEXITSTATUS(status) != 3;
}

struct Tally {
    long points = 0;
    long whole = 0;
};

// Recovers and compares; prints what a point that does not come back lost.
void Judge(Tally& tally, const MachineSnapshot& before, const std::string& where) {
    ++tally.points;
    const std::wstring boxes = Recover();
    const std::vector<Difference> losses = Losses(before);
    if (losses.empty() && boxes.empty()) {
        ++tally.whole;
        return;
    }
    std::printf("%s does not come back:%s%s\n%s\n", where.c_str(),
                boxes.empty() ? "" : " boxes: ", Narrow(boxes).c_str(),
                Narrow(Describe(losses)).c_str());
}

} // namespace

int main(int argc, char** argv) {
    std::string kind = "cut";
    long every = 0;
    long inner = 3;
    long part = 0;
    long parts = 1;
    char onlyDirection = 0;
    long only = 0;
    long onlyInner = 0;
    bool list = false;
    std::vector<std::string> firsts;
    for (int at = 1; at < argc; ++at) {
        const std::string option = argv[at];
        list = list || option == "--list";
        if (at + 1 == argc)
            break;
        const char* value = argv[at + 1];
        if (option == "--kind")
            kind = value;
        if (option == "--only" &&
            std::sscanf(value, "%c:%ld/%ld", &onlyDirection, &only, &onlyInner) < 2)
            parts = 0;
        if (option == "--first")
            firsts.push_back(value);
        if (option == "--every")
            every = std::max(1L, std::atol(value));
        if (option == "--inner")
            inner = std::max(1L, std::atol(value));
        if (option == "--part" && std::sscanf(value, "%ld/%ld", &part, &parts) != 2)
            parts = 0;
    }
    if (parts < 1 || part < 0 || part >= parts) {
        std::fprintf(stderr, "crash-sweep: --part wants I/J with 0 <= I < J\n");
        return 2;
    }
    if (kind != "cut" && kind != "fail" && kind != "recover") {
        std::fprintf(stderr, "crash-sweep: --kind is cut, fail or recover\n");
        return 2;
    }
    if (every == 0)
        every = kind == "recover" ? 10 : 1;
    const char* figure = kind == "cut" ? "sweep" : kind == "fail" ? "errors" : "recovery";
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const auto started = std::chrono::steady_clock::now();

    // Each point copies the whole machine twice: a folder in memory (TMPDIR) makes
    // a sweep several times faster than one on disk.
    const char* temporary = std::getenv("TMPDIR");
    std::string pattern =
        std::string(temporary != nullptr && *temporary != '\0' ? temporary : "/tmp") +
        "/ferrymark-sweep-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        std::perror("mkdtemp");
        return 2;
    }
    Logger::SetLevel(L"Fatal");
    const std::string base = pattern;
    const std::string live = base + "/live";
    const std::string inactive = base + "/inactive";
    const std::string active = base + "/active";
    const std::string recovering = base + "/recovering";
    platform::posix::SetRoot(live);

    // The machine of the tests with one file where they have several of a kind:
    // every kind of change still comes, and a point costs a whole round trip.
    MachineSizes sizes;
    sizes.contentFiles = 2;
    sizes.configFiles = 1;
    sizes.uninstallEntries = 1;
    SixSimulatorMachine machine(sizes);
    machine.Install(true);
    const MachineSnapshot before = TakeSnapshot();
    Keep(live, inactive);
    const std::vector<std::string> activation = Count(true);
    Keep(live, active);
    const std::vector<std::string> deactivation = Count(false);
    const std::vector<Difference> roundTrip = Losses(before);
    if (!roundTrip.empty()) {
        std::printf("the uncut round trip loses:\n%s\n", Narrow(Describe(roundTrip)).c_str());
        return 1;
    }
    if (list) {
        for (const bool activate : {true, false}) {
            const std::vector<std::string>& steps = activate ? activation : deactivation;
            for (std::size_t at = 0; at < steps.size(); ++at)
                std::printf("%c:%zu %s\n", activate ? 'a' : 'd', at + 1, steps[at].c_str());
        }
        Run("rm -rf '" + base + "'");
        return 0;
    }
    std::printf("%s: activation makes %zu changes, deactivation %zu; every %ld-th point\n", figure,
                activation.size(), deactivation.size(), every);

    // The points that --first names, by direction.
    std::vector<long> chosen;
    for (const std::string& first : firsts) {
        const std::vector<std::string>& steps = first[0] == 'a' ? activation : deactivation;
        std::size_t at = 0;
        while (at < steps.size() && steps[at].find(first.substr(2)) == std::string::npos)
            ++at;
        if (first.size() < 3 || first[1] != ':' || at == steps.size()) {
            std::printf("%s: no change matches %s\n", figure, first.c_str());
            return 1;
        }
        chosen.push_back((first[0] == 'a' ? 1 : -1) * static_cast<long>(at + 1));
    }
    const auto taken = [&](bool activate, long point) {
        if (only != 0)
            return point == only && onlyDirection == (activate ? 'a' : 'd');
        if (chosen.empty())
            return (point - 1) % every == 0;
        return std::find(chosen.begin(), chosen.end(), activate ? point : -point) != chosen.end();
    };

    Tally tally;
    long share = 0;
    const auto mine = [&] { return share++ % parts == part; };
    for (const bool activate : {true, false}) {
        if (kind == "recover" && !activate)
            break;
        const std::vector<std::string>& steps = activate ? activation : deactivation;
        const char* direction = activate ? "activation" : "deactivation";
        for (long point = 1; point <= static_cast<long>(steps.size()); ++point) {
            if (!taken(activate, point))
                continue;
            const std::string change = steps[static_cast<std::size_t>(point - 1)];
            const std::string where =
                std::string(direction) + " point " + std::to_string(point) + " (" + change + ")";
            if (kind != "recover") {
                if (!mine())
                    continue;
                Reset(live, activate ? inactive : active);
                if (!StopAt(activate, point, kind == "cut")) {
                    ++tally.points;
                    std::printf("%s: the switch was not stopped there\n", where.c_str());
                    continue;
                }
                Judge(tally, before, where);
                continue;
            }
            // The activation cut at this point; the user activates again, and the
            // deactivation after it is cut at each of its own points in turn.
            Reset(live, inactive);
            if (!StopAt(true, point, true)) {
                ++tally.points;
                std::printf("%s: the switch was not stopped there\n", where.c_str());
                continue;
            }
            {
                RecordingHost dialog;
                SwitchTarget(dialog, kTarget, true);
            }
            Keep(live, recovering);
            const std::vector<std::string> again = Count(false);
            for (long second = 1; second <= static_cast<long>(again.size()); second += inner) {
                if ((onlyInner != 0 && second != onlyInner) || !mine())
                    continue;
                const std::string twice = where + ", its deactivation's point " +
                                          std::to_string(second) + " (" +
                                          again[static_cast<std::size_t>(second - 1)] + ")";
                Reset(live, recovering);
                if (!StopAt(false, second, true)) {
                    ++tally.points;
                    std::printf("%s: the switch was not stopped there\n", twice.c_str());
                    continue;
                }
                Judge(tally, before, twice);
            }
        }
    }
    platform::posix::CloseRegistryStore();
    Run("rm -rf '" + base + "'");
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("%s: %.0f s\n", figure, seconds);
    std::printf("%s: points=%ld whole=%ld\n", figure, tally.points, tally.whole);
    return tally.points == tally.whole ? 0 : 1;
}
