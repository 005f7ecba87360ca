// The benchmark's measuring program, on both builds: the switch of the six-simulator
// machine there and back, and natively the backup of its configuration files
// against cp of the same files. Each figure is the median of several runs; the
// machine is installed afresh before each run, outside the timed region.
//
//   ferrymark_bench switch RUNS CONTENT CONFIG UNINSTALL
//   ferrymark_bench backup RUNS CONFIG UNINSTALL        (POSIX only)
//   ferrymark_bench prepare-start                       (Windows only)
//
// CONTENT, CONFIG and UNINSTALL are the per-folder, per-pattern and per-simulator
// numbers of MachineSizes; the program prints the machine's totals that follow.

#include "app/constants.h"
#include "app/file_system.h"
#include "app/logger.h"
#include "app/machine.h"
#include "app/machine_queries.h"
#include "app/paths.h"
#include "app/registry_key.h"
#include "engine/switch_target.h"
#include "simulators/catalogue.h"
#include "tools/machine/recording_host.h"
#include "tools/machine/six_simulator_machine.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

const wchar_t kTarget[] = L"Prepar3D v4";

struct Totals {
    std::size_t contentFiles = 0, configFiles = 0, uninstallEntries = 0;
};

// What the machine holds, counted the way the switch and the backup see it.
Totals Count(const MachineSizes& sizes) {
    Totals totals;
    std::set<std::wstring> folders;
    for (const auto& simulator : CreateSimulators()) {
        folders.insert(simulator->GetFolder(Root));
        for (SimulatorFolder slot : simulator->Folders())
            folders.insert(simulator->GetFolder(slot));
        for (const auto& [slot, patterns] : simulator->BackupPatterns())
            for (const std::wstring& pattern : patterns)
                totals.configFiles += ListFiles(PathJoin(simulator->GetFolder(slot), pattern)).size();
    }
    // The machine puts the same number of content files below every slot folder
    // and every install folder.
    totals.contentFiles = folders.size() * static_cast<std::size_t>(sizes.contentFiles);
    for (bool wow32 : {true, false})
        totals.uninstallEntries +=
            RegistryKey(RegistryHive::LocalMachine, SixSimulatorMachine::kUninstallKey, wow32).SubKeys().size();
    return totals;
}

// Processor time of this process and of its ended children, user and system: on
// a shared machine it tells the work apart from the waiting.
double CpuSeconds() {
#ifdef _WIN32
    FILETIME created, ended, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user))
        return 0;
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    return static_cast<double>(ticks(kernel) + ticks(user)) / 1e7;
#else
    double total = 0;
    for (int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        total += static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                 static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    }
    return total;
#endif
}

// Wall-clock seconds of `work`; its processor seconds are added to `cpu`.
double Seconds(const std::function<void()>& work, std::vector<double>& cpu) {
    const double cpuStart = CpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cpu.push_back(CpuSeconds() - cpuStart);
    return seconds;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::string List(const std::vector<double>& values) {
    std::string text;
    for (double value : values) {
        char number[32];
        std::snprintf(number, sizeof number, "%s%.4f", text.empty() ? "" : ",", value);
        text += number;
    }
    return text;
}

#ifndef _WIN32
// The root that the benchmark was given; each run's machine stands in a folder of
// its own below it.
const std::string& GivenRoot() {
    static const std::string root = platform::posix::Root();
    return root;
}
#endif

// A fresh machine with the locations stored, as after the user confirmed them;
// the program's log open in its data folder, as in the program.
//
// Natively the machine of each run is installed in a root of its own, and none is
// removed while the benchmark measures (tools/bench.sh removes them all after its
// last figure): this machine's disk is ext4 without a journal, whose inode
// allocator steps over every inode freed in the last minute, reading its record,
// each time it makes a file. A run that followed the removal of the run before
// would pay, for each backup file that the switch makes, in proportion to the
// content files just removed: the set-up's doing, not the switch's.
void FreshMachine(SixSimulatorMachine& machine, int run) {
    Logger::Instance().close();
#ifdef _WIN32
    (void)run;
    machine.Remove();
#else
    const std::string root = GivenRoot() + "/run-" + std::to_string(run);
    struct stat existing {};
    if (lstat(root.c_str(), &existing) == 0)
        throw std::runtime_error(root + " exists already: give the benchmark an empty FERRYMARK_ROOT");
    platform::posix::SetRoot(root);
#endif
    machine.Install(true);
#ifndef _WIN32
    // The install's files go to the disk now, not while the switch is timed.
    sync();
#endif
    CreateFoldersOrRaise(GetDataFolder());
    Logger::OpenFile(PathJoin(GetDataFolder(), kLogFileName));
}

// After the last run: the machine goes under Wine; natively the runs' roots stay
// for the caller to remove (see FreshMachine).
void EndMachines(SixSimulatorMachine& machine) {
    Logger::Instance().close();
#ifdef _WIN32
    machine.Remove();
#else
    (void)machine;
    platform::posix::CloseRegistryStore();
#endif
}

#ifndef _WIN32
// With FERRYMARK_BENCH_PERF_CONTROL naming the control pipe of a `perf record -D -1
// --control fifo:PIPE`, the profile covers the timed switch runs alone, not the
// install of the machine around them.
void ProfileSwitch(bool on) {
    static const char* const pipe = std::getenv("FERRYMARK_BENCH_PERF_CONTROL");
    if (pipe == nullptr)
        return;
    if (std::FILE* control = std::fopen(pipe, "w")) {
        std::fputs(on ? "enable\n" : "disable\n", control);
        std::fclose(control);
    }
}

// The folders that the switch moves, source and destination in the order of the
// moves, as the POSIX backend reports them before each one.
std::vector<std::pair<std::string, std::string>>& FolderMoves() {
    static std::vector<std::pair<std::string, std::string>> moves;
    return moves;
}
void RecordFolderMove(long, const char* what, const std::string& hostPath) {
    const std::string::size_type arrow = hostPath.find(" -> ");
    struct stat info {};
    if (std::string(what) == "move" && arrow != std::string::npos &&
        lstat(hostPath.substr(0, arrow).c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        FolderMoves().emplace_back(hostPath.substr(0, arrow), hostPath.substr(arrow + 4));
}

// The same folder moves as the switch's, there and back, each by a bare `mv`: what
// the file system's renames cost, apart from the program.
void MoveWithMv(const std::vector<std::pair<std::string, std::string>>& moves) {
    for (const auto& [source, destination] : moves) {
        const pid_t child = fork();
        if (child == 0) {
            execlp("mv", "mv", "-T", source.c_str(), destination.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            throw std::runtime_error("mv failed: " + source);
    }
}
#endif

int MeasureSwitch(int runs, const MachineSizes& sizes) {
    SixSimulatorMachine machine(sizes);
    std::vector<double> times, cpu, moves, moveCpu;
    std::size_t folderMoves = 0;
    Totals totals;
    for (int run = 0; run < runs; ++run) {
        FreshMachine(machine, run);
        if (run == 0)
            totals = Count(sizes);
        RecordingHost host;
#ifndef _WIN32
        FolderMoves().clear();
        platform::posix::SetChangeObserver(RecordFolderMove);
        ProfileSwitch(true);
#endif
        times.push_back(Seconds(
            [&] {
                if (!SwitchTarget(host, kTarget, true) || !SwitchTarget(host, kTarget, false) ||
                    !host.boxes.empty())
                    throw std::runtime_error("the switch did not run to its end");
            },
            cpu));
#ifndef _WIN32
        ProfileSwitch(false);
        // The machine is back where it started: the same moves once more, by mv.
        platform::posix::SetChangeObserver(nullptr);
        sync();
        moves.push_back(Seconds([] { MoveWithMv(FolderMoves()); }, moveCpu));
        folderMoves = FolderMoves().size();
#endif
    }
    EndMachines(machine);
    std::printf("switch content_files=%zu config_files=%zu uninstall_entries=%zu median_s=%.4f "
                "cpu_median_s=%.4f runs_s=%s",
                totals.contentFiles, totals.configFiles, totals.uninstallEntries, Median(times),
                Median(cpu), List(times).c_str());
    if (!moves.empty())
        std::printf(" folder_moves=%zu mv_median_s=%.4f mv_cpu_median_s=%.4f", folderMoves,
                    Median(moves), Median(moveCpu));
    std::printf("\n");
    return 0;
}

#ifndef _WIN32
// cp of the given files, in one process, into `destination` below the root,
// keeping their folders (--parents) since the simulators' files share names.
void Copy(const std::vector<std::string>& relativeFiles, const std::string& destination) {
    std::vector<char*> arguments;
    std::string program = "cp", parents = "--parents", target = "--target-directory=" + destination;
    arguments.push_back(program.data());
    arguments.push_back(parents.data());
    arguments.push_back(target.data());
    std::vector<std::string> files = relativeFiles;
    for (std::string& file : files)
        arguments.push_back(file.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(platform::posix::Root().c_str()) == 0)
            execvp("cp", arguments.data());
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("cp failed");
}

int MeasureBackup(int runs, const MachineSizes& sizes) {
    SixSimulatorMachine machine(sizes);
    std::vector<double> backups, copies, backupCpu, copyCpu;
    Totals totals;
    for (int run = 0; run < runs; ++run) {
        FreshMachine(machine, run);
        if (run == 0)
            totals = Count(sizes);
        const auto simulators = CreateSimulators();
        const std::wstring backupRoot = PathJoin(GetDataFolder(), L"backup");
        backups.push_back(Seconds([&] {
            for (const auto& simulator : simulators)
                if (simulator->HasLocation())
                    simulator->Backup(backupRoot);
        }, backupCpu));
        // The same files, as Backup finds them, by their paths below the root.
        std::vector<std::string> files;
        const std::string root = platform::posix::Root() + "/";
        for (const auto& simulator : simulators)
            for (const auto& [slot, patterns] : simulator->BackupPatterns())
                for (const std::wstring& pattern : patterns)
                    for (const std::wstring& file : ListFiles(PathJoin(simulator->GetFolder(slot), pattern)))
                        files.push_back(platform::posix::HostPath(file).substr(root.size()));
        const std::string destination = platform::posix::HostPath(PathJoin(GetDataFolder(), L"copy"));
        CreateFoldersOrRaise(PathJoin(GetDataFolder(), L"copy"));
        copies.push_back(Seconds([&] { Copy(files, destination); }, copyCpu));
        if (files.size() != totals.configFiles)
            throw std::runtime_error("the copy saw other files than the backup");
    }
    EndMachines(machine);
    std::printf("backup config_files=%zu backup_median_s=%.4f cp_median_s=%.4f backup_cpu_median_s=%.4f "
                "cp_cpu_median_s=%.4f backup_runs_s=%s cp_runs_s=%s\n",
                totals.configFiles, Median(backups), Median(copies), Median(backupCpu), Median(copyCpu),
                List(backups).c_str(), List(copies).c_str());
    return 0;
}
#else
// The start measurement's machine: the simulators installed with their
// locations, and a program that has greeted before, so that it opens its main
// window and nothing else.
int PrepareStart() {
    SixSimulatorMachine machine;
    Logger::Instance().close();
    machine.Remove();
    machine.Install(true);
    RegistryKey(RegistryHive::LocalMachine, kSettingsKey, false).WriteDword(L"FirstRun", 1);
    std::printf("prepare-start: machine installed\n");
    return 0;
}
#endif

int Usage() {
    std::fprintf(stderr,
                 "usage: ferrymark_bench switch RUNS CONTENT CONFIG UNINSTALL\n"
                 "       ferrymark_bench backup RUNS CONFIG UNINSTALL\n"
                 "       ferrymark_bench prepare-start\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::string command = argc > 1 ? argv[1] : "";
        // The log says nothing below INFO, as the program's default.
        Logger::SetLevel(L"Info");
        if (command == "switch" && argc == 6) {
            MachineSizes sizes;
            sizes.contentFiles = std::atoi(argv[3]);
            sizes.configFiles = std::atoi(argv[4]);
            sizes.uninstallEntries = std::atoi(argv[5]);
            return MeasureSwitch(std::atoi(argv[2]), sizes);
        }
#ifndef _WIN32
        if (command == "backup" && argc == 5) {
            MachineSizes sizes;
            sizes.configFiles = std::atoi(argv[3]);
            sizes.uninstallEntries = std::atoi(argv[4]);
            return MeasureBackup(std::atoi(argv[2]), sizes);
        }
#else
        if (command == "prepare-start" && argc == 2)
            return PrepareStart();
#endif
        return Usage();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ferrymark_bench: %s\n", error.what());
        return 1;
    }
}
