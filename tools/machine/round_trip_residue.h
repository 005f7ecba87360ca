// What activating a target and deactivating it again may leave on a machine, each
// item with its reason. A difference between the snapshots before and after a
// round trip that no item allows is a loss.
#pragma once

#include "simulators/generic_simulator.h"
#include "tools/machine/machine_snapshot.h"

#include <functional>
#include <vector>

struct ResidueItem {
    const char* reason;
    std::function<bool(const Difference&)> allows;
};

std::vector<ResidueItem> RoundTripResidue(const GenericSimulator& target);

// True when `item` lies below `folder` (not the folder itself).
bool IsBelow(const std::wstring& item, const std::wstring& folder);
