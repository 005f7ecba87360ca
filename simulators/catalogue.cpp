#include "simulators/catalogue.h"

#include "simulators/fsx.h"
#include "simulators/prepar3d.h"

std::vector<std::shared_ptr<GenericSimulator>> CreateSimulators() {
    std::vector<std::shared_ptr<GenericSimulator>> simulators;
    simulators.push_back(std::make_shared<FSX>());
    simulators.push_back(std::make_shared<Prepar3Dv1>());
    simulators.push_back(std::make_shared<Prepar3Dv2>());
    simulators.push_back(std::make_shared<Prepar3Dv3>());
    simulators.push_back(std::make_shared<Prepar3Dv4>());
    simulators.push_back(std::make_shared<Prepar3Dv5>());
    return simulators;
}
