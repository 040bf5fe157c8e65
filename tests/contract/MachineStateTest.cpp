#include <stdexcept>

#include "stand-in/ErrorInfo.h"
#include "support/MachineTest.h"

using standin::machineFromJson;
using standin::MachineState;
using standin::toJson;
using ::testing::ElementsAre;

namespace {

MachineState fullState() {
    MachineState state;
    state.packages.push_back(
        {.name = L"Maker.App",
         .publisher = L"CN=Maker, O=\"Ü\"",
         .version = {1, 2, 3, 65535},
         .fullName = L"full",
         .familyName = L"family",
         .installPath = L"C:\\App",
         .users = {L"S-1-5-21-1", L"S-1-5-21-2"},
         .isProvisioned = true,
         .removal = {standin::RemovalOutcome::Kind::Failed, E_FAIL, L"text", true}});
    state.tokenUser = L"S-1-5-21-1";
    state.folders[CSIDL_APPDATA] = {L"C:\\a", 0};
    state.folders[CSIDL_PROFILE] = {L"", E_FAIL};
    state.registryRoot = L"Software\\x";
    state.hasPathLimits = false;
    state.clock = 0x01D9000000000000;
    state.errorObject = {E_FAIL, L"d", L"r"};
    state.json = {standin::JsonHabits::FailedParse::LeftOver, true};
    state.hasPackageManager8 = false;
    state.desktop = {false, 17, 3, L"S-1-5-21-3", standin::PretendedProcess{5, 7}};
    state.network.emplace();
    state.network->containers = {{L"name", std::nullopt, L"whole", L"S-1-15-2-1"}};
    state.network->exempt = {{L"S-1-15-2-2", 4}};
    state.network->missingFunctions = {"a function"};
    return state;
}

TEST(MachineStateTest, JsonKeepsEverything) {
    const MachineState read = machineFromJson(toJson(fullState()));

    ASSERT_EQ(read.packages.size(), 1u);
    EXPECT_EQ(read.packages[0].publisher, L"CN=Maker, O=\"Ü\"");
    EXPECT_EQ(read.packages[0].version.revision, 65535);
    EXPECT_THAT(read.packages[0].users, ElementsAre(L"S-1-5-21-1", L"S-1-5-21-2"));
    EXPECT_TRUE(read.packages[0].isProvisioned);
    EXPECT_EQ(read.folders.at(CSIDL_APPDATA).path, L"C:\\a");
    EXPECT_EQ(read.folders.at(CSIDL_PROFILE).error, E_FAIL);
    EXPECT_FALSE(read.hasPathLimits);
    EXPECT_EQ(read.clock, 0x01D9000000000000u);
    EXPECT_EQ(read.errorObject->restrictedDescription, L"r");
    EXPECT_EQ(read.json.failedParse, standin::JsonHabits::FailedParse::LeftOver);
    EXPECT_TRUE(read.json.reversesKeys);
    EXPECT_EQ(read.packages[0].removal.kind, standin::RemovalOutcome::Kind::Failed);
    EXPECT_TRUE(read.packages[0].removal.endsAtOnce);
    EXPECT_FALSE(read.hasPackageManager8);
    EXPECT_EQ(read.desktop->shellProcess, 17u);
    EXPECT_EQ(read.desktop->pretended->exitCode, 7u);
    EXPECT_EQ(read.network->containers.at(0).displayName, std::nullopt);
    EXPECT_EQ(read.network->containers.at(0).packageFullName, L"whole");
    EXPECT_EQ(read.network->exempt.at(0).attributes, 4u);
    EXPECT_THAT(read.network->missingFunctions, ElementsAre("a function"));
    EXPECT_EQ(toJson(read), toJson(fullState()));
}

TEST(MachineStateTest, WhatIsLeftOutIsTheRealThing) {
    const MachineState read = machineFromJson("{}");

    EXPECT_EQ(toJson(read), toJson(MachineState()));
    EXPECT_TRUE(read.hasPathLimits);
    EXPECT_FALSE(read.clock.has_value());
}

TEST(MachineStateTest, OtherTextIsRefused) {
    EXPECT_THROW(machineFromJson(""), std::runtime_error);
    EXPECT_THROW(machineFromJson(R"({"packages": [{"name": "a"}]})"), std::runtime_error);
    EXPECT_THROW(standin::readMachine(L"C:\\no such file"), std::runtime_error);
}

TEST_F(MachineTest, AChangeIsWrittenBackAtOnce) {
    standin::writeMachine(scratch / L"machine.json", fullState());
    machine.attachFile(scratch / L"machine.json");

    ::SetRestrictedErrorInfo(nullptr);

    EXPECT_FALSE(standin::readMachine(scratch / L"machine.json").errorObject.has_value());
}

TEST_F(MachineTest, SecurityIsWrittenBackAtOnceAndStaysWithTheNextChange) {
    const std::wstring file = scratch / L"machine.json";
    const standin::FileSecurity first = {L"S-1-5-32-544", standin::AccessList{}, std::nullopt};
    const standin::FileSecurity second = {L"S-1-5-18", std::nullopt, std::nullopt};
    standin::writeMachine(file, fullState());

    standin::appendSecurity(file, L"C:\\a", first);
    standin::appendSecurity(file, L"C:\\b", first);
    standin::appendSecurity(file, L"C:\\A", second);
    MachineState read = standin::readMachine(file);
    EXPECT_EQ(read.fileSecurity.at(L"C:\\a"), second);
    EXPECT_EQ(read.fileSecurity.at(L"C:\\b"), first);

    standin::writeMachine(file, read);
    EXPECT_FALSE(exists(file + L".changes"));
    EXPECT_EQ(standin::readMachine(file).fileSecurity, read.fileSecurity);
}

TEST_F(MachineTest, AChangeThatWasCutOffIsNone) {
    const std::wstring file = scratch / L"machine.json";
    standin::writeMachine(file, fullState());
    standin::appendSecurity(file, L"C:\\a", {L"S-1-5-18", std::nullopt, std::nullopt});
    writeFile(file + L".changes", readFile(file + L".changes") + R"([{"path": "C:)");

    EXPECT_EQ(standin::readMachine(file).fileSecurity.size(), 1u);
}

}  // namespace
