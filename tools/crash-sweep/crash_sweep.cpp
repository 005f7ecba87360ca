// The switch of the six-simulator machine cut short at every change it makes.
//
// For each change N of a full activation, and of a full deactivation, a child
// process runs the switch from the same machine and dies by SIGKILL just before
// change N (the POSIX backend's change counter). The machine is then brought back
// as its user would: the program starts again, reads the recorded state as the
// main dialog does, and the user presses the button it shows (after a cut
// activation the state still says inactive: activate, then deactivate; after a
// cut deactivation: deactivate). The point comes back whole when the machine
// differs from its state before the first switch by nothing but the round trip's
// documented residue. A point that does not is reported with what it lost: as a
// documented loss when the documented order of the steps itself loses it (the
// kinds below, each with its reason), else as a finding. Last, the count; the
// exit status is 0 when every point comes back whole or with a documented loss.
//
//     crash_sweep [--every K] [--part I/J]
//
// --every K takes every K-th point of each direction (default 1); --part I/J the
// I-th of J shares of those (from 0), so that J processes can share a sweep;
// --only a:N or d:N the one point N of an activation or a deactivation; --list
// prints the changes of both, numbered, and sweeps nothing.
#include "app/constants.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "engine/backup.h"
#include "engine/switch_target.h"
#include "platform/posix/host.h"
#include "simulators/catalogue.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/round_trip_residue.h"
#include "tools/machine/six_simulator_machine.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const std::wstring kTarget = L"Prepar3D v4";

// The main dialog's side of a switch, as the program has it after a start: the
// records and the recorded state read from the registry.
class Dialog final : public SwitchHost {
public:
    Dialog()
        : settings(RegistryHive::LocalMachine, kSettingsKey, false), simulators(CreateSimulators()),
          recordedTitle(settings.ReadString(L"TargetTitle", L"")),
          active(settings.ReadDword(L"TargetActive", 0) != 0) {
        channel.SetName(L"MAINDLG");
    }
    const std::vector<std::shared_ptr<GenericSimulator>>& Simulators() const override {
        return simulators;
    }
    RegistryKey& Settings() override { return settings; }
    std::wstring RecordedTargetTitle() const override { return recordedTitle; }
    void SetTargetActive(bool state) override { active = state; }
    void ShowError(const std::wstring& text, const std::wstring& caption) override {
        boxes += caption + L": " + text + L"; ";
    }
    void UpdateTargetState(const std::wstring&, bool) override {}
    const Logger& Log() const override { return channel; }

    RegistryKey settings;
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
    std::wstring recordedTitle;
    bool active;
    std::wstring boxes;
    Logger channel;
};

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

// The user's side after a start: the button that the recorded state shows.
std::wstring Recover() {
    Dialog dialog;
    if (!dialog.active) {
        SwitchTarget(dialog, kTarget, true);
        Dialog again;
        SwitchTarget(again, kTarget, false);
        return dialog.boxes + again.boxes;
    }
    SwitchTarget(dialog, dialog.recordedTitle, false);
    return dialog.boxes;
}

// What stands now against the machine before the first switch, less the residue.
std::vector<Difference> Losses(const MachineSnapshot& before) {
    const auto simulators = CreateSimulators();
    std::shared_ptr<GenericSimulator> target;
    for (const auto& simulator : simulators)
        if (simulator->GetTitle() == kTarget)
            target = simulator;
    const std::vector<ResidueItem> residue = RoundTripResidue(*target);
    std::vector<Difference> losses;
    for (const Difference& difference : DiffSnapshots(before, TakeSnapshot())) {
        bool allowed = false;
        for (const ResidueItem& item : residue)
            allowed = allowed || item.allows(difference);
        if (!allowed)
            losses.push_back(difference);
    }
    return losses;
}

// Losses that the documented order of two steps makes when a cut falls between
// them: no restore can tell afterwards that the second step is missing.
struct DocumentedLoss {
    const char* reason;
    std::function<bool(const Difference&)> covers;
};

std::vector<DocumentedLoss> DocumentedLosses(const SixSimulatorMachine& machine) {
    const std::wstring folder = machine.InstallShieldFolder();
    const std::wstring backup = GetBackupPath(folder);
    const std::wstring base = PathParent(folder);
    // Registry items compare without regard to case.
    const auto upper = [](std::wstring text) {
        for (wchar_t& c : text)
            c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
        return text;
    };
    const std::wstring uninstall = upper(L"\\" + std::wstring(SixSimulatorMachine::kUninstallKey) + L"\\");
    return {
        {"the add-on's InstallShield folder: RegistryBackup moves the Uninstall entry first and "
         "its folder after it, RegistryRestore moves the entry back first and then restores the "
         "folder with overwrite. Cut between the two on the way out, the folder never moved and "
         "the restore removes it as a folder standing in the restored place; cut between them on "
         "the way back, the folder stays under its backup name, since no moved entry names it any "
         "more",
         [=](const Difference& d) {
             return d.item == folder || IsBelow(d.item, folder) || d.item == backup ||
                    IsBelow(d.item, backup) || (d.item == base && d.kind == Difference::Removed);
         }},
        {"an Uninstall entry moved back: Rename makes the live key, copies the moved entry into "
         "it and then deletes the moved one. Cut after the live key is made, the live key is newer "
         "than the time recorded with the moved entry, so every later restore lets the live one "
         "win and the moved entry stays in the program's key for good; cut before the copy, the "
         "live entry stays empty",
         [=](const Difference& d) {
             const std::wstring item = upper(d.item);
             const bool kept = item.find(L"\\SIMULATORS\\") != std::wstring::npos &&
                               (item.find(L"\\UNINSTALL32\\") != std::wstring::npos ||
                                item.find(L"\\UNINSTALL64\\") != std::wstring::npos);
             const bool emptied = item.find(uninstall) != std::wstring::npos &&
                                  item.find(L'|') != std::wstring::npos;
             return (d.kind == Difference::Added && kept) || (d.kind == Difference::Removed && emptied);
         }},
        {"the value __LastModified: RegistryRestore moves the entry back first and deletes the "
         "value after it, so a cut between the two leaves it in the restored entry",
         [=](const Difference& d) {
             const std::wstring item = upper(d.item);
             return d.kind == Difference::Added && item.find(L"|__LASTMODIFIED") != std::wstring::npos &&
                    item.find(uninstall) != std::wstring::npos;
         }},
    };
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
    Dialog dialog;
    SwitchTarget(dialog, kTarget, activate);
    platform::posix::SetChangeObserver(nullptr);
    return changes;
}

// Runs the switch in a child that dies at change `point`; true when it did.
bool CutAt(bool activate, long point) {
    platform::posix::CloseRegistryStore();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        std::exit(2);
    }
    if (child == 0) {
        platform::posix::ResetChangeCount();
        platform::posix::SetChangeCut(point);
        Dialog dialog;
        SwitchTarget(dialog, kTarget, activate);
        std::_Exit(0);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        return false;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

} // namespace

int main(int argc, char** argv) {
    long every = 1;
    long part = 0;
    long parts = 1;
    char onlyDirection = 0;
    long only = 0;
    bool list = false;
    for (int at = 1; at < argc; ++at) {
        const std::string option = argv[at];
        list = list || option == "--list";
        if (at + 1 == argc)
            break;
        if (option == "--only" && std::sscanf(argv[at + 1], "%c:%ld", &onlyDirection, &only) != 2)
            parts = 0;
        if (option == "--every")
            every = std::max(1L, std::atol(argv[at + 1]));
        if (option == "--part" && std::sscanf(argv[at + 1], "%ld/%ld", &part, &parts) != 2)
            parts = 0;
    }
    if (parts < 1 || part < 0 || part >= parts) {
        std::fprintf(stderr, "crash-sweep: --part wants I/J with 0 <= I < J\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const auto started = std::chrono::steady_clock::now();

    char pattern[] = "/tmp/ferrymark-sweep-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        std::perror("mkdtemp");
        return 2;
    }
    Logger::SetLevel(L"Fatal");
    const std::string base = pattern;
    const std::string live = base + "/live";
    const std::string inactive = base + "/inactive";
    const std::string active = base + "/active";
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
    std::printf("sweep: activation makes %zu changes, deactivation %zu; every %ld-th point\n",
                activation.size(), deactivation.size(), every);

    const std::vector<DocumentedLoss> documented = DocumentedLosses(machine);
    std::vector<long> documentedPoints(documented.size(), 0);
    long points = 0;
    long whole = 0;
    long findings = 0;
    long share = 0;
    for (const bool activate : {true, false}) {
        const std::vector<std::string>& steps = activate ? activation : deactivation;
        for (long point = 1; point <= static_cast<long>(steps.size()); point += every) {
            if (share++ % parts != part)
                continue;
            if (only != 0 && (point != only || onlyDirection != (activate ? 'a' : 'd')))
                continue;
            ++points;
            Reset(live, activate ? inactive : active);
            const char* direction = activate ? "activation" : "deactivation";
            const char* change = steps[static_cast<std::size_t>(point - 1)].c_str();
            if (!CutAt(activate, point)) {
                ++findings;
                std::printf("%s point %ld (%s): the switch was not cut there\n", direction, point,
                            change);
                continue;
            }
            const std::wstring boxes = Recover();
            const std::vector<Difference> losses = Losses(before);
            if (losses.empty() && boxes.empty()) {
                ++whole;
                continue;
            }
            // Each loss by the documented kind that covers it, if one does.
            std::vector<bool> kinds(documented.size(), false);
            bool covered = boxes.empty();
            for (const Difference& loss : losses) {
                std::size_t kind = 0;
                while (kind < documented.size() && !documented[kind].covers(loss))
                    ++kind;
                covered = covered && kind < documented.size();
                if (kind < documented.size())
                    kinds[kind] = true;
            }
            if (covered) {
                std::printf("%s point %ld (%s): documented loss\n", direction, point, change);
                for (std::size_t kind = 0; kind < documented.size(); ++kind) {
                    documentedPoints[kind] += kinds[kind] ? 1 : 0;
                    if (kinds[kind])
                        std::printf("  (%zu) %s\n", kind + 1, documented[kind].reason);
                }
                std::printf("%s\n", Narrow(Describe(losses)).c_str());
                continue;
            }
            ++findings;
            std::printf("%s point %ld (%s) does not come back:%s%s\n%s\n", direction, point, change,
                        boxes.empty() ? "" : " boxes: ", Narrow(boxes).c_str(),
                        Narrow(Describe(losses)).c_str());
        }
    }
    platform::posix::CloseRegistryStore();
    Run("rm -rf '" + base + "'");
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("sweep: %.0f s\n", seconds);
    for (std::size_t at = 0; at < documented.size(); ++at)
        std::printf("sweep: documented loss (%zu) at %ld points\n", at + 1, documentedPoints[at]);
    std::printf("sweep: findings=%ld\n", findings);
    std::printf("sweep: points=%ld whole=%ld\n", points, whole);
    return findings == 0 ? 0 : 1;
}
