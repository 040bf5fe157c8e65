// Runs sweeps whole, or one case of them again:
//     sweep WORLD faults|kills [PART PARTS]     every PARTS-th case, from the PART-th on
//     sweep WORLD list                          the calls of the run without faults
//     sweep CASE                                such as: typical #57=5
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "stand-in/Text.h"
#include "sweep/Sweep.h"

namespace {

bool report(const SweepCase& sweepCase) {
    const std::vector<std::string> problems = runCase(sweepCase);
    for (const std::string& problem : problems)
        std::printf("FAILED %s\n%s\n", sweepCase.text().c_str(), problem.c_str());
    std::fflush(stdout);
    return problems.empty();
}

int runWhole(const std::vector<SweepCase>& cases, size_t part, size_t parts) {
    size_t passed = 0;
    size_t failed = 0;
    for (size_t i = part; i < cases.size(); i += parts) {
        report(cases[i]) ? ++passed : ++failed;
        if ((passed + failed) % 100 == 0) {
            std::printf("%zu of %zu cases, %zu failed\n", i + 1, cases.size(), failed);
            std::fflush(stdout);
        }
    }
    std::printf("%zu passed, %zu failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}

void list(const SweepWorld& world) {
    for (const standin::Call& call : SweepStage(world).run().calls)
        std::printf("%zu %s\n", call.number, call.text().c_str());
}

}  // namespace

int wmain(int count, wchar_t** values) {
    try {
        std::vector<std::string> arguments;
        for (int i = 1; i < count; ++i)
            arguments.push_back(standin::toUtf8(values[i]));
        if (arguments.size() == 1) return report(parseCase(arguments[0])) ? 0 : 1;
        if (arguments.size() != 2 && arguments.size() != 4)
            throw std::invalid_argument("sweep WORLD faults|kills|list [PART PARTS], or sweep CASE");
        const SweepWorld& world = sweepWorld(arguments[0]);
        if (arguments[1] == "list") {
            list(world);
            return 0;
        }
        const size_t part = arguments.size() == 4 ? std::stoul(arguments[2]) : 0;
        const size_t parts = arguments.size() == 4 ? std::stoul(arguments[3]) : 1;
        return runWhole(arguments[1] == "kills" ? killCases(world) : faultCases(world), part, parts);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sweep: %s\n", error.what());
        return 2;
    }
}
