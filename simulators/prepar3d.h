// Prepar3D, and its five versions, which differ only in their constants.
#pragma once

#include "simulators/generic_simulator.h"

#include <utility>

class Prepar3D : public GenericSimulator {
public:
    bool SetLocation(std::wstring location) override;
    // Places a copy of the executable named fsx.exe that identifies as Flight
    // Simulator X, makes the four launch lists sound, and links files that older
    // add-ons look for in the install folder to where this version keeps them.
    bool Activate() override;
    // Takes the copy and the file links away again; written launch lists stay.
    bool Deactivate() override;

    // Per pair of slots (link side, target side), the file names linked when the
    // simulator is activated.
    using FileLinks =
        std::map<std::pair<SimulatorFolder, SimulatorFolder>, std::vector<std::wstring>>;
    const FileLinks& GetFileLinks() const { return fileLinks; }

protected:
    Prepar3D();
    // Whether this version keeps the linked files outside its install folder.
    bool UsesFileLinks() const;
    ~Prepar3D() = default;

    FileLinks fileLinks;
};

class Prepar3Dv1 final : public Prepar3D {
public:
    Prepar3Dv1();
};

class Prepar3Dv2 final : public Prepar3D {
public:
    Prepar3Dv2();
};

class Prepar3Dv3 final : public Prepar3D {
public:
    Prepar3Dv3();
};

class Prepar3Dv4 final : public Prepar3D {
public:
    Prepar3Dv4();
};

class Prepar3Dv5 final : public Prepar3D {
public:
    Prepar3Dv5();
};
