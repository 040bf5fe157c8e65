#include "platform/PlatformException.h"
#include "platform/StandardExceptions.h"
#include "run/ConfiguratorRun.h"
#include "stand-in/Text.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Not;

// What the last stage makes for its own length, and what becomes of it.
class PostInstallResources : public ConfiguratorRun {};

TEST_F(PostInstallResources, SidsAreMadeForTheUsersAndThenForTheSystem) {
    runTypically();

    const auto calls = machine.calls({"CreateWellKnownSid"});
    ASSERT_GE(calls.size(), 2U);
    EXPECT_THAT(calls[0], testing::StartsWith("CreateWellKnownSid(27, null, "));
    EXPECT_THAT(calls[1], testing::StartsWith("CreateWellKnownSid(22, null, "));
}

TEST_F(PostInstallResources, SidsAndThenThePathAreReleasedBehindTheLastStep) {
    const std::string path = standin::toUtf8(scratch / L"Package\\ucrtbased.dll");

    runTypically();

    std::vector<std::string> released;
    for (const std::string& call :
         machine.calls({"RegSetValueExW", "LocalFree", "WindowsDeleteString", "CoUninitialize"})) {
        if (call.starts_with("RegSetValueExW(")) released.clear();  // the last step
        if (call.starts_with("LocalFree(") || call.find(path) != std::string::npos)
            released.push_back(call);
    }
    EXPECT_THAT(released, ElementsAre("LocalFree(memory#3) = null", "LocalFree(memory#2) = null",
                                      "WindowsDeleteString(\"" + path + "\") = 0"));
}

TEST_F(PostInstallResources, EverythingIsReleasedWhenAStepEndsTheRun) {
    removeTree(scratch / L"Package\\LumoraSDKAppServiceClient.exe");

    EXPECT_EQ(runTypically(), -1);

    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("memory#1"));  // the text of the account's SID
}

TEST_F(PostInstallResources, APathThatCannotBeBuiltLeavesTheStageAsAPlatformException) {
    machine.failNext("WindowsConcatString", 0x8007000E);

    EXPECT_THROW(runTypically(), Platform::OutOfMemoryException);

    EXPECT_THAT(steps(), Not(Contains("users SID")));
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("memory#1"));
}

TEST_F(PostInstallResources, ASidThatCannotBeMadeLeavesTheStageAndTheFirstOneIsReleased) {
    machine.failNth("CreateWellKnownSid", 2, ERROR_INVALID_PARAMETER);

    EXPECT_THROW(runTypically(), UnknownException);

    EXPECT_THAT(log(), EndsWith("\nCan't create well known sid 22. Last error is: 87.\n"));
    EXPECT_THAT(steps(), Not(Contains("files")));
    // The text of the account's SID, and the buffer of the SID that could not be made.
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("memory#1", "memory#3"));
    machine.ledger.clear();
}

TEST_F(PostInstallResources, NoMemoryForASidLeavesTheStageToo) {
    machine.failNext("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY);

    EXPECT_THROW(runTypically(), UnknownException);

    EXPECT_THAT(log(), EndsWith("\nCan't allocate 68 for PSID.\n"));
}

}  // namespace
