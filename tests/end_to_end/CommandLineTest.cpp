#include "end_to_end/RunTest.h"

namespace {

constexpr char kUsage[] =
    "Starting\n"
    "Incorrect number of arguments passed.\n"
    "Use it like below :\n"
    "Version Product_Name Executable_name\n"
    "Example :\n"
    "0.6.5.7 Velta.QK QK.exe\n";

// Command lines, on a machine where nothing else is installed.
class CommandLineTest : public RunTest {
protected:
    // The first line of the log for these arguments, as the run of them wrote it.
    std::string firstLine(const std::wstring& arguments) {
        run(arguments);
        const std::string text = log();
        return text.substr(0, text.find('\n'));
    }
};

TEST_F(CommandLineTest, UsageTextFollowedToTheLetterIsRefusedWithTheUsageText) {
    const standin::LaunchResult result = run(L"0.6.5.7 Velta.QK QK.exe");

    EXPECT_EQ(result.exitCode, 0xFFFFFFFFu);
    EXPECT_TRUE(result.endedNormally);
    expectSameLog(
        log(),
        std::string(
            "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"0.6.5.7\" \"Velta.QK\" \"QK.exe\" \n") +
            kUsage);
}

TEST_F(CommandLineTest, NoArgumentsGiveTheUsageText) {
    const standin::LaunchResult result = run(L"");

    EXPECT_EQ(result.exitCode, 0xFFFFFFFFu);
    expectSameLog(
        log(),
        std::string("Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \n") + kUsage);
}

TEST_F(CommandLineTest, WithoutAPackageTheRunFails) {
    const standin::LaunchResult result = run(kTypicalArguments);

    EXPECT_EQ(result.exitCode, 0xFFFFFFFFu);
    // Asked for twice: a SID that could not be read is not remembered.
    const std::string nobody =
        "Exception while reading value size of value \"SelectedUserSID\" with ErrorCode 2.\n"
        "Caught std::exception while reading loggedOnUserSID with reason Unknown exception\n";
    const std::string end = "new package name 'Velta.QK_kt83f9rd2xj6a\n" + nobody +
                            "For user : S-1-5-18 getting profile dir.\n"
                            "Users Profile (CSIDL_PROFILE) succeded and its value is: {world}\\admin\n"
                            "App Data Migration not needed for any one.\n" +
                            nobody +
                            "current user SID {admin}\n"
                            "shouldLaunchRemovalInDeElevatedMode : 1\n"
                            "Couldn't find package install path\n";
    EXPECT_TRUE(log().ends_with(end)) << log();
}

TEST_F(CommandLineTest, EmptyArgumentsQuotesBlanksAndAccentsReachTheLogAsTheyAre) {
    EXPECT_EQ(
        firstLine(L"\"\" \"a b\" \"say \\\"hi\\\"\" caf\u00E9 \"end\\\\\""),
        "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"\" \"a b\" \"say \"hi\"\" \"caf\xC3\xA9\" \"end\\\" ");
}

TEST_F(CommandLineTest, AnArgumentOf32000CharactersIsTakenWhole) {
    const std::wstring longText(32'000, L'x');

    EXPECT_EQ(firstLine(L"1 2 3 " + longText),
              "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"1\" \"2\" \"3\" \"" +
                  std::string(32'000, 'x') + "\" ");
}

TEST_F(CommandLineTest, TextBeforeACharacterThatTheLogCannotEncodeReachesTheFileAndTheRunGoesOn) {
    makeTypicalWorld(world);

    const standin::LaunchResult result = run(L"40.1.0.0 Velta.QK QK.exe ZRKL \u4E2D");

    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_EQ(
        log(),
        "Starting with : \"{world}\\Installer\\LSDKConfigurator.exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" \"");
}

TEST_F(CommandLineTest, ArgumentsBehindTheFlagAreIgnored) {
    run(L"40.1.0.0 Velta.QK QK.exe ZRKL yes true true");

    EXPECT_NE(log().find("isEnterpriseDeployment from arg is:0\n"), std::string::npos);
}

TEST_F(CommandLineTest, TheFlagCountsInAnyMixOfUpperAndLowerCase) {
    run(L"40.1.0.0 Velta.QK QK.exe ZRKL tRuE");

    EXPECT_NE(log().find("isEnterpriseDeployment from arg is:1\n"), std::string::npos);
}

}  // namespace
