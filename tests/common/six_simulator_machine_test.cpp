// The six-simulator machine reads back through the simulator records, and the
// machine snapshot sees each kind of change once and nothing else: the switch
// tests' residue check is only as good as that. Links show there as their targets.
#include "app/machine.h"
#include "app/registry_key.h"
#include "platform/fs.h"
#include "simulators/catalogue.h"
#include "support/sandbox.h"
#include "tools/machine/machine_snapshot.h"
#include "tools/machine/six_simulator_machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace {

const RegistryHive HKLM = RegistryHive::LocalMachine;

std::string Upper(const std::wstring& wide) {
    std::string text(wide.begin(), wide.end());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

class SixSimulatorMachineTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        machine.Remove();  // leftovers of an earlier run in a shared Wine prefix
    }
    void TearDown() override {
        machine.Remove();
        SandboxTest::TearDown();
    }

    SixSimulatorMachine machine;
};

} // namespace

TEST_F(SixSimulatorMachineTest, EachRecordReadsItsSimulatorBack) {
    machine.Install(true);
    const auto records = CreateSimulators();
    ASSERT_EQ(machine.Simulators().size(), records.size());
    for (std::size_t at = 0; at < records.size(); ++at) {
        const GenericSimulator& record = *records[at];
        const InstalledSimulator& installed = machine.Simulators()[at];
        SCOPED_TRACE(Narrow(installed.title));
        EXPECT_EQ(installed.title, record.GetTitle());
        EXPECT_EQ(record.GetLocation(true), installed.location);
        EXPECT_EQ(record.GetLocation(false), installed.location + L"\\");
        EXPECT_TRUE(record.VerifyFolder(installed.location));
        EXPECT_EQ(record.GetVersion(false, installed.location), installed.version);
        EXPECT_EQ(record.GetVersion(true, L""), installed.version);
        EXPECT_TRUE(platform::Exists(record.GetFolder(RootExecutable)));
        for (SimulatorFolder slot : record.Folders())
            EXPECT_TRUE(platform::IsFolder(record.GetFolder(slot))) << slot;
    }
}

TEST_F(SixSimulatorMachineTest, EachChangeIsOneDifference) {
    machine.Install(true);
    const std::wstring v4 = machine.Simulator(L"Prepar3D v4").location;
    const std::wstring v3Key = L"Software\\Lockheed Martin\\Prepar3D v3";
    const struct {
        const char* what;
        std::function<void()> change;
        Difference::Kind kind;
        std::wstring item;
    } cases[] = {
        {"file content", [&] { WriteFile(v4 + L"\\Settings 1.cfg", "changed"); },
         Difference::Changed, v4 + L"\\Settings 1.cfg"},
        {"file removed", [&] { platform::RemoveItem(v4 + L"\\Settings 2.xml"); },
         Difference::Removed, v4 + L"\\Settings 2.xml"},
        {"folder added", [&] { MakeFolder(v4 + L"\\New"); }, Difference::Added, v4 + L"\\New"},
        {"value changed, name in another case",
         [&] { RegistryKey(HKLM, v3Key, true).WriteString(L"setuppath", L"C:\\Elsewhere\\"); },
         Difference::Changed, L"HKLM32\\" + v3Key + L"|SetupPath"},
        {"value added",
         [&] { RegistryKey(HKLM, L"Software\\Lockheed Martin\\Prepar3D v4", false).WriteDword(L"Extra", 7); },
         Difference::Added, L"HKLM64\\Software\\Lockheed Martin\\Prepar3D v4|Extra"},
    };
    // Each change is compared with the snapshot after the one before it, so the
    // table costs one snapshot a row (a snapshot is slow under Wine).
    MachineSnapshot before = TakeSnapshot();
    EXPECT_TRUE(DiffSnapshots(before, TakeSnapshot()).empty()) << "a snapshot taken twice differs";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.change();
        MachineSnapshot after = TakeSnapshot();
        const std::vector<Difference> differences = DiffSnapshots(before, after);
        before = std::move(after);
        ASSERT_EQ(differences.size(), 1u) << Narrow(Describe(differences));
        EXPECT_EQ(differences[0].kind, c.kind) << Narrow(Describe(differences[0]));
        // Registry names compare without regard to case; the store may keep either spelling.
        EXPECT_EQ(Upper(differences[0].item), Upper(c.item)) << Narrow(Describe(differences[0]));
    }
}
