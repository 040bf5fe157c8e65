#pragma once

#include <optional>
#include <string>

#include "support/MachineTest.h"

// A test that runs on the system as it is and again with the machine mounted: both must give the same.
class BothSystems : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) m_mounted.emplace();
    }

    ScratchFolder scratch;
    ScratchRegistry registry;

private:
    std::optional<MountedMachine> m_mounted;
};

inline std::string systemName(const ::testing::TestParamInfo<bool>& info) {
    return info.param ? "StandIn" : "Real";
}

#define ON_BOTH_SYSTEMS(Fixture) \
    INSTANTIATE_TEST_SUITE_P(System, Fixture, ::testing::Bool(), systemName)
