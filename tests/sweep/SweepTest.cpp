// A sample of the sweeps, drawn by a printed seed: always the same unless LSDK_SWEEP_SEED=N asks for
// another, so that a change of the program is judged and not the draw.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "sweep/Sweep.h"

namespace {

struct Share {
    std::string world;
    bool isKill;
    int number;
    size_t cases;
};

unsigned long seed() {
    const char* given = std::getenv("LSDK_SWEEP_SEED");
    constexpr unsigned long kUsual = 20261121;
    return given != nullptr ? std::strtoul(given, nullptr, 10) : kUsual;
}

std::vector<SweepCase> sampleOf(const Share& share, unsigned long drawnBy) {
    const SweepWorld& world = sweepWorld(share.world);
    std::vector<SweepCase> cases = share.isKill ? killCases(world) : faultCases(world);
    std::mt19937 generator(static_cast<std::mt19937::result_type>(drawnBy) +
                           static_cast<std::mt19937::result_type>(share.number));
    std::shuffle(cases.begin(), cases.end(), generator);
    cases.resize(std::min(cases.size(), share.cases));
    return cases;
}

class Sweep : public ::testing::TestWithParam<Share> {};

TEST_P(Sweep, EachFailureTakesThePrescribedCourse) {
    const unsigned long drawnBy = seed();
    std::printf("seed %lu\n", drawnBy);
    for (const SweepCase& sweepCase : sampleOf(GetParam(), drawnBy)) {
        for (const std::string& problem : runCase(sweepCase)) {
            ADD_FAILURE() << problem << "\nseed " << drawnBy << ", again with: scripts/sweep.sh '"
                          << sweepCase.text() << "'";
        }
    }
}

// Shares of one world, each a test of its own, so that they run side by side.
std::vector<Share> shares() {
    std::vector<Share> all;
    const auto add = [&](const std::string& world, bool isKill, int count, size_t cases) {
        for (int i = 0; i < count; ++i)
            all.push_back({world, isKill, i, cases});
    };
    add("typical", false, 8, 30);
    add("enterprise", false, 5, 26);
    add("finished", false, 4, 25);
    add("old-status", false, 5, 25);
    add("usage", false, 1, 25);
    add("typical", true, 3, 25);
    add("old-status", true, 3, 25);
    return all;
}

INSTANTIATE_TEST_SUITE_P(Sample, Sweep, ::testing::ValuesIn(shares()), [](const auto& share) {
    std::string name = share.param.world + (share.param.isKill ? "_killed_" : "_") +
                       std::to_string(share.param.number);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
