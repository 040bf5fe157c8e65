#include "support/MachineTest.h"

using ::testing::ElementsAreArray;

MountedMachine::MountedMachine() {
    get().reset();
    get().mount(::GetModuleHandleW(nullptr));
    get().trace.start();
}

MountedMachine::~MountedMachine() {
    get().trace.stop();
    get().unmount();
    EXPECT_THAT(get().ledger.leaks(), ElementsAreArray(m_leaks)) << "still out";
    EXPECT_THAT(get().ledger.doubleReleases(), ElementsAreArray(m_doubleReleases))
        << "released twice";
    EXPECT_THAT(get().ledger.misuse(), ElementsAreArray(m_misuse)) << "used after release";
    EXPECT_THAT(get().faults.unfired(), ElementsAreArray(m_unfiredFaults))
        << "faults that never fired";
    get().reset();
}
