// The six simulators the program knows, in their fixed order.
#pragma once

#include "simulators/generic_simulator.h"

#include <memory>
#include <vector>

// FSX, then Prepar3D v1 to v5: the order of the list rows and of every walk.
// Each record is made from its concrete class, which is what deletes it.
std::vector<std::shared_ptr<GenericSimulator>> CreateSimulators();
