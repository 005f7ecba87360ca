// Flight Simulator X.
#pragma once

#include "simulators/generic_simulator.h"

class FSX final : public GenericSimulator {
public:
    FSX();
    bool SetLocation(std::wstring location) override;
};
