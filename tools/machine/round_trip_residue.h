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

// The differences between `before` and the machine now that neither the round
// trip's residue for `target` nor one of `extra` allows: what a switch lost.
std::vector<Difference> Unexplained(const MachineSnapshot& before, const GenericSimulator& target,
                                    const std::vector<ResidueItem>& extra = {});

// True when `item` lies below `folder` (not the folder itself).
bool IsBelow(const std::wstring& item, const std::wstring& folder);
