#include "tools/machine/recording_host.h"

#include "app/constants.h"
#include "simulators/catalogue.h"

#include <stdexcept>

RecordingHost::RecordingHost()
    : settings(RegistryHive::LocalMachine, kSettingsKey, false), simulators(CreateSimulators()),
      recordedTitle(settings.ReadString(L"TargetTitle", L"")),
      active(settings.ReadDword(L"TargetActive", 0) != 0) {
    channel.SetName(L"MAINDLG");
}

GenericSimulator& RecordingHost::Record(const std::wstring& title) const {
    for (const auto& simulator : simulators)
        if (simulator->GetTitle() == title)
            return *simulator;
    throw std::out_of_range("no simulator of that title");
}
