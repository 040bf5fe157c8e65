#pragma once

#include <string>

#include "Run.h"

// What reports say in the same words.

// "40.1.0.0 of Velta.QK, executable QK.exe, product code ZRKL, enterprise deployment".
std::string describeArguments(const Run& run);
// "migrated", "migrated by a former run", "not reached" and so on.
std::string describeAppData(const User& user, const Run& run);
// The step's title.
std::string describeStep(const Step& step);
// "succeeded (exit code 0)".
std::string describeOutcome(const Run& run);
// "3 s", "2 min 5 s".
std::string describeSeconds(std::int64_t seconds);
// "a, b and c".
std::string listOf(const std::vector<std::string>& items);
// What stands behind a loopback, a crash dump step and so on that was not reached.
std::string describeLoopback(const Run& run);
std::string describeDumps(const Run& run);
std::string describePlugins(const Run& run);
// A count and a noun in the right form: "1 run", "2 runs".
std::string counted(std::uint64_t count, const std::string& noun);
