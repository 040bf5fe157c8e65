#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stand-in/Machine.h"
#include "support/Files.h"
#include "support/ScratchFolder.h"
#include "support/ScratchRegistry.h"

// The machine, mounted on this test program and recording. At its end it checks that nothing is
// still out, nothing came back twice or was used after its release, and that every fault took
// effect.
class MountedMachine {
public:
    MountedMachine();
    ~MountedMachine();
    MountedMachine(const MountedMachine&) = delete;
    MountedMachine& operator=(const MountedMachine&) = delete;

    standin::Machine& get() { return standin::Machine::get(); }

    // What is to be found at the end instead of nothing.
    void expectLeaks(std::vector<std::string> names) { m_leaks = std::move(names); }
    void expectDoubleReleases(std::vector<std::string> names) {
        m_doubleReleases = std::move(names);
    }
    void expectMisuse(std::vector<std::string> texts) { m_misuse = std::move(texts); }
    void expectUnfiredFaults(std::vector<std::string> texts) { m_unfiredFaults = std::move(texts); }

private:
    std::vector<std::string> m_leaks;
    std::vector<std::string> m_doubleReleases;
    std::vector<std::string> m_misuse;
    std::vector<std::string> m_unfiredFaults;
};

// A test with a folder, a registry and a machine of its own.
class MachineTest : public ::testing::Test {
protected:
    ScratchFolder scratch;
    ScratchRegistry registry;
    MountedMachine mounted;
    standin::Machine& machine = mounted.get();
};
