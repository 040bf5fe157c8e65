#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "end_to_end/RunStage.h"
#include "support/Files.h"

// A test that runs the release executable, byte for byte the one that ships, on a world of its own.
class RunTest : public ::testing::Test, protected RunStage {
protected:
    // Runs the executable with the arguments; `faults` as the launcher reads them. Afterwards
    // `world.state` is what the run left. Expects nothing leaked beyond what is meant to be.
    standin::LaunchResult run(const std::wstring& arguments, const std::string& faults = "");

    // The whole log of the installer's folder, in UTF-8, without time prefixes, with the world's
    // names put back as placeholders: {world}, {anna}, {anna old}, {pointer} and so on.
    std::string log() const;
    // The same from what was written since the last call of `run` began.
    std::string lastLog() const;

    // A log written out by hand, from the folder of such logs.
    static std::string golden(const std::string& name);

    // That log with passages, each of which must be in it, replaced.
    static std::string goldenWith(const std::string& name,
                                  const std::vector<std::pair<std::string, std::string>>& changes);

private:
    std::string readableLog(const std::string& raw) const;
};

// Each user's lines stand together within one walk over the users, and the users come in no
// particular order: sorts them by SID, so that logs can be compared.
std::string withSortedUsers(const std::string& log);

// Fails at the first line that differs.
void expectSameLog(const std::string& actual, const std::string& expected);

// Fails for each file and folder that differs.
void expectSameTree(const std::map<std::wstring, std::string>& actual,
                    const std::map<std::wstring, std::string>& expected);
