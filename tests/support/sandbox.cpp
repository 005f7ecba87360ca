#include "support/sandbox.h"

#include "app/logger.h"
#include "platform/fs.h"
#include "platform/resources.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace reg = platform::registry;

namespace {

// The keys of the test (below Software), the program's and the simulators', and the Uninstall entries that tests
// make in the machine's own key.
void DeleteKeys(const std::wstring& testKeys) {
    const std::pair<const wchar_t*, std::wstring> trees[] = {
        {L"Software", testKeys},
        {L"Software", L"Kestrane"},
        {L"Software\\Microsoft\\Microsoft Games", L"Flight Simulator"},
        {L"Software", L"LockheedMartin"},
        {L"Software", L"Lockheed Martin"}};
    for (RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser})
        for (bool wow32 : {false, true})
            for (const auto& [parent, child] : trees)
                if (reg::KeyHandle key = reg::OpenKey(hive, parent, wow32, false)) {
                    reg::DeleteTree(key, child);
                    reg::CloseKey(key);
                }
    for (bool wow32 : {false, true}) {
        const RegistryKey uninstall(RegistryHive::LocalMachine, L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", wow32);
        for (const std::wstring& name : uninstall.SubKeys())
            if (name.rfind(L"FerrymarkTest.", 0) == 0)
                reg::DeleteTree(uninstall.Handle(), name);
    }
}

} // namespace

void SandboxTest::SetUp() {
    folder = CreateSandboxFolder();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    keyPath = L"Software\\FerrymarkTests\\" +
              Wide(std::string(info->test_suite_name()) + "." + info->name());
    DeleteKeys(keyPath.substr(9));
}

void SandboxTest::TearDown() {
    CloseLog();
    Logger::SetLevel(L"Info");
    DeleteKeys(keyPath.substr(9));
    RemoveSandboxFolder(folder);
}

std::string SandboxTest::ReadFile(const std::wstring& path) {
    std::ifstream in;
    platform::OpenInputStream(in, path);
    std::ostringstream bytes;
    if (in)
        bytes << in.rdbuf();
    return bytes.str();
}

void SandboxTest::MakeFolder(const std::wstring& path) {
    if (platform::CreateFolders(path).Failed())
        throw std::runtime_error("cannot create folder " + Narrow(path));
}

std::string SandboxTest::Embedded(std::uint32_t id) {
    const auto found = platform::FindOwnResource(id, platform::ResourceType::RcData);
    const void* bytes = platform::LockOwnResource(platform::LoadOwnResource(found));
    return std::string(static_cast<const char*>(bytes), platform::SizeOfOwnResource(found));
}

void SandboxTest::StoreLocation(const std::wstring& title, const std::wstring& location,
                                const std::wstring& version) {
    RegistryKey store(RegistryHive::LocalMachine,
                      L"Software\\Kestrane\\Ferrymark\\Simulators\\" + title, false);
    store.WriteString(L"InstallLocation", location);
    store.WriteString(L"Version", version);
}

void SandboxTest::OpenLog(const wchar_t* level) {
    Logger::OpenFile(InFolder(L"log.txt"));
    Logger::SetLevel(level);
}

std::vector<std::string> SandboxTest::LogLines() const {
    const std::string bytes = LogText();
    std::vector<std::string> lines;
    for (std::size_t start = 0, end; start < bytes.size(); start = end + 2) {
        end = std::min(bytes.find("\r\n", start), bytes.size());
        const std::string line = bytes.substr(start, end - start);
        // "dd.mm.yyyy hh:mm:ss", two blanks, the level in five columns, four blanks, the text.
        std::string level = line.size() > 26 ? line.substr(21, 5) : std::string();
        level.erase(0, level.find_first_not_of(' '));
        lines.push_back(level + " " + (line.size() > 30 ? line.substr(30) : std::string()));
    }
    return lines;
}

std::vector<std::string> SandboxTest::LogMatching(const std::vector<std::string>& prefixes) const {
    std::vector<std::string> found;
    for (const std::string& line : LogLines())
        if (std::any_of(prefixes.begin(), prefixes.end(),
                        [&](const std::string& prefix) { return line.rfind(prefix, 0) == 0; }))
            found.push_back(line);
    return found;
}

bool SandboxTest::LogContains(const std::string& line) const {
    const std::vector<std::string> lines = LogLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

void SandboxTest::CloseLog() {
    // Reopened first: the fresh stream closes without a word even if the old one failed.
    Logger::OpenFile(InFolder(L"log.txt"));
    Logger::Instance().close();
}

void SandboxTest::ClearLog() {
    CloseLog();
    WriteFile(InFolder(L"log.txt"), "");
    Logger::OpenFile(InFolder(L"log.txt"));
}
