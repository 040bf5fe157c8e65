#include <new>

#include "IsolationTest.h"
#include "network/LoopbackExemption.h"

namespace {

using standin::ExemptSid;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LoopbackFailureTest : public IsolationTest {
protected:
    LoopbackFailureTest() { machine.state.network->exempt = {{kOtherSid, 0}}; }

    // Nothing was changed, and the log, which goes on with the next entry, holds the text.
    void expectFailure(const std::string& text) {
        EXPECT_FALSE(enableLoopback(kFamily));

        g_configuratorLog->beginLine() << "next" << std::endl;
        EXPECT_EQ(logText(), text + (text.ends_with('\n') ? "next\n" : "[]next\n"));
        EXPECT_THAT(machine.state.network->exempt, ElementsAre(ExemptSid{kOtherSid, 0}));
    }
    size_t count(std::string_view name) const { return machine.trace.count(name); }
};

constexpr char kFound[] = "found Velta.QK_1a2b3c whole Velta.QK_1a2b3c Velta.QK_1a2b3c shown";

TEST_F(LoopbackFailureTest, ALibraryThatDoesNotLoadHasALineWithAnEnd) {
    machine.failNext("LoadLibraryW", 1001);

    expectFailure("LoadLibrary Firewallapi.dll failed 1001\n");

    EXPECT_EQ(count("GetProcAddress"), 0U);
    EXPECT_EQ(count("FreeLibrary"), 0U);
}

TEST_F(LoopbackFailureTest, ASystemWithoutTheLibraryIsTheSame) {
    machine.state.network.reset();
    const auto load = replaceImport<decltype(&::LoadLibraryW)>(
        "LoadLibraryW", [](auto real, LPCWSTR name) -> HMODULE {
            EXPECT_STREQ(name, L"Firewallapi.dll");
            return real(L"no such library.dll");
        });

    EXPECT_FALSE(enableLoopback(kFamily));

    EXPECT_EQ(logText(), "LoadLibrary Firewallapi.dll failed 126\n");
}

// Required: no line end here and in every failure below.
TEST_F(LoopbackFailureTest, AllFourFunctionsMustBeThere) {
    std::string expected;
    for (const char* const function :
         {"NetworkIsolationEnumAppContainers", "NetworkIsolationSetAppContainerConfig",
          "NetworkIsolationGetAppContainerConfig", "NetworkIsolationFreeAppContainers"}) {
        SCOPED_TRACE(function);
        machine.state.network->missingFunctions = {function};

        EXPECT_FALSE(enableLoopback(kFamily));

        expected += (expected.empty() ? "" : "[]") +
                    std::string("GetProcAddress failed in Firewallapi.dll");
        EXPECT_EQ(logText(), expected);
    }
    EXPECT_EQ(count("NetworkIsolationEnumAppContainers"), 0U);
    EXPECT_EQ(count("FreeLibrary"), 4U);
}

TEST_F(LoopbackFailureTest, ContainersThatCannotBeEnumeratedAreNotGivenBack) {
    machine.failNext("NetworkIsolationEnumAppContainers", 1001);

    expectFailure("Error enumerating network isolation containers1001");

    EXPECT_EQ(count("NetworkIsolationFreeAppContainers"), 0U);
    EXPECT_EQ(count("NetworkIsolationGetAppContainerConfig"), 0U);
    EXPECT_EQ(count("FreeLibrary"), 1U);
}

TEST_F(LoopbackFailureTest, AContainerThatIsNotRegisteredIsNotFound) {
    machine.state.network->containers.clear();
    add(L"Velta.QK_1a2b3", kOtherSid);
    add(L"Velta.QK_1a2b3cd", kOtherSid);

    expectFailure("Unable to find SID for appVelta.QK_1a2b3c");

    EXPECT_EQ(count("NetworkIsolationFreeAppContainers"), 1U);
    EXPECT_EQ(count("NetworkIsolationGetAppContainerConfig"), 0U);
}

TEST_F(LoopbackFailureTest, WithoutAnyContainerNoneIsFound) {
    machine.state.network->containers.clear();

    expectFailure("Unable to find SID for appVelta.QK_1a2b3c");
}

TEST_F(LoopbackFailureTest, AMatchWithoutASidIsFoundAndThenIsNone) {
    machine.state.network->containers = {{kFamily, L"shown", L"whole", L""}};
    add(kFamily, kOtherSid);

    expectFailure("found whole Velta.QK_1a2b3c shown[]Unable to find SID for appVelta.QK_1a2b3c");

    EXPECT_EQ(count("NetworkIsolationFreeAppContainers"), 1U);
}

TEST_F(LoopbackFailureTest, AnExemptListThatCannotBeReadStopsIt) {
    machine.failNext("NetworkIsolationGetAppContainerConfig", 5);

    expectFailure(std::string(kFound) + "[]Error enumerating app container config5");

    EXPECT_EQ(count("NetworkIsolationSetAppContainerConfig"), 0U);
    EXPECT_EQ(count("HeapFree"), 0U);
    EXPECT_EQ(count("NetworkIsolationFreeAppContainers"), 1U);
}

TEST_F(LoopbackFailureTest, AnExemptListThatCannotBeWrittenIsGivenBackAllTheSame) {
    machine.failNext("NetworkIsolationSetAppContainerConfig", 1001);

    expectFailure(std::string(kFound) +
                  "[]Could not enable loopback access for app Velta.QK_1a2b3c 1001");

    EXPECT_EQ(count("HeapFree"), 2U);
    EXPECT_EQ(count("NetworkIsolationFreeAppContainers"), 1U);
    EXPECT_EQ(count("FreeLibrary"), 1U);
}

}  // namespace
