// A sample of the sweeps, drawn by a printed seed: always the same unless LSDK_SWEEP_SEED=N asks
// for another, so that a change of the program is judged and not the draw.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>

#include "sweep/Sweep.h"

namespace {

struct Share {
    std::string world;
    bool isKill;
    int number;
    size_t cases;

    friend std::ostream& operator<<(std::ostream& stream, const Share& share) {
        return stream << share.cases << " cases of " << share.world;
    }
};

unsigned long seed() {
    const char* given = std::getenv("LSDK_SWEEP_SEED");
    constexpr unsigned long kUsual = 20261121;
    return given != nullptr ? std::strtoul(given, nullptr, 10) : kUsual;
}

// A number for each case by which it is drawn or not, whatever other cases there are (FNV-1a).
uint64_t lotOf(const SweepCase& sweepCase, unsigned long drawnBy) {
    uint64_t lot = 14695981039346656037u;
    for (const char letter : std::to_string(drawnBy) + sweepCase.text()) {
        lot ^= static_cast<unsigned char>(letter);
        lot *= 1099511628211u;
    }
    return lot;
}

// Where the run removes packages itself, a thread of the system's takes part: the allocations do
// not come in the same order every time, so a drawn number would not stand for the same one.
bool isRepeatable(const SweepCase& sweepCase) {
    const bool isAllocation = sweepCase.faults.starts_with("malloc:");
    return !isAllocation || (sweepCase.world != "enterprise" && sweepCase.world != "old-status");
}

std::vector<SweepCase> sampleOf(const Share& share, unsigned long drawnBy) {
    const SweepWorld& world = sweepWorld(share.world);
    std::vector<SweepCase> cases = share.isKill ? killCases(world) : faultCases(world);
    std::erase_if(cases, [](const SweepCase& one) { return !isRepeatable(one); });
    std::sort(cases.begin(), cases.end(), [&](const SweepCase& a, const SweepCase& b) {
        return lotOf(a, drawnBy) < lotOf(b, drawnBy);
    });
    const size_t begin = std::min(cases.size(), static_cast<size_t>(share.number) * share.cases);
    const size_t end = std::min(cases.size(), begin + share.cases);
    return {cases.begin() + static_cast<ptrdiff_t>(begin),
            cases.begin() + static_cast<ptrdiff_t>(end)};
}

class Sweep : public ::testing::TestWithParam<Share> {};

class SweptBefore : public ::testing::TestWithParam<SweepCase> {};

// What whole sweeps have found, whatever the sample draws.
TEST_P(SweptBefore, TakesThePrescribedCourse) {
    EXPECT_THAT(runCase(GetParam()), ::testing::IsEmpty()) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Found, SweptBefore,
                         ::testing::Values(
                             // The half of a plug-in stays, so the next run's copy arrives inside it.
                             SweepCase{"typical", "SHFileOperationW:2~"},
                             SweepCase{"typical", "SHFileOperationW:3~"},
                             // The companion has done its work when nobody waits for it any more.
                             SweepCase{"typical", "CreateProcessWithTokenW:1!"}));

TEST_P(Sweep, EachFailureTakesThePrescribedCourse) {
    const unsigned long drawnBy = seed();
    std::printf("seed %lu\n", drawnBy);
    const std::vector<SweepCase> sample = sampleOf(GetParam(), drawnBy);
    ASSERT_THAT(sample, ::testing::Not(::testing::IsEmpty()));
    for (const SweepCase& sweepCase : sample) {
        for (const std::string& problem : runCase(sweepCase)) {
            ADD_FAILURE() << problem << "\nseed " << drawnBy << ", again with: scripts/sweep.sh '"
                          << sweepCase.text() << "'";
        }
    }
}

// Shares of one world, each a test of its own, so that they run side by side.
std::vector<Share> shares() {
    // A run on the guarded heap takes ten times as long.
#ifdef LSDK_GUARDED_HEAP
    constexpr size_t kShorter = 10;
#else
    constexpr size_t kShorter = 1;
#endif
    std::vector<Share> all;
    const auto add = [&](const std::string& world, bool isKill, int count, size_t cases) {
        for (int i = 0; i < count; ++i)
            all.push_back({world, isKill, i, cases / kShorter});
    };
    add("typical", false, 6, 40);
    add("enterprise", false, 4, 40);
    add("finished", false, 2, 40);
    add("old-status", false, 3, 40);
    add("usage", false, 1, 12);
    add("enterprise", true, 1, 20);
    add("typical", true, 2, 25);
    add("old-status", true, 2, 25);
    return all;
}

INSTANTIATE_TEST_SUITE_P(Sample, Sweep, ::testing::ValuesIn(shares()), [](const auto& share) {
    std::string name = share.param.world + (share.param.isKill ? "_killed_" : "_") +
                       std::to_string(share.param.number);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
