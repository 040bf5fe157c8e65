#pragma once

#include <string>
#include <vector>

#include "end_to_end/World.h"

// A world in which the sweeps let runs fail, and the command line of its runs.
struct SweepWorld {
    std::string name;
    std::wstring arguments;
    bool isEnterprise;
    std::vector<WorldUser> users;  // those of the profile list, the one who is logged on first
    void (*make)(World& world);
    // The machine is one on which a run has come to its end before.
    bool isFinished = false;
};

// typical, enterprise, finished, old-status, usage.
const std::vector<SweepWorld>& sweepWorlds();
// Throws std::invalid_argument for a name that is none of theirs.
const SweepWorld& sweepWorld(const std::string& name);
