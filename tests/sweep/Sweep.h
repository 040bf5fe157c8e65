#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sweep/SweepRun.h"

// The cases of a world, from the calls of its run without faults: each call with each of its
// errors, once; each kind of lasting failure from each of its calls on; each allocation failed.
std::vector<SweepCase> faultCases(const SweepWorld& world);
// The process ended behind each call, and in the middle of each that writes.
std::vector<SweepCase> killCases(const SweepWorld& world);

// As SweepCase::text has it. Throws std::invalid_argument.
SweepCase parseCase(const std::string& text);

// Runs the case in a fresh world, then the program once more without faults on what the run has
// left, and judges both. What is wrong; nothing: all of it was as it must be.
std::vector<std::string> runCase(const SweepCase& sweepCase);
