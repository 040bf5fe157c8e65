#include "TestLogs.h"
#include "Words.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What is told of a run whose lines alone would tell something else.

namespace {

TEST(RunWords, UsersWhoseTurnsThrowCountAsUnhandled) {
    std::vector<std::string> texts;
    for (int i = 0; i < 4; ++i) {
        texts.insert(texts.end(), {"Current user: S-1",
                                   "Setting Permissions on user SID : S-2 with ProfilePath : C:\\u",
                                   "Can't create well known sid 84. Last error is: 87.",
                                   "ensure AppDataDir Permissions failed for user = C:\\u",
                                   "Now trying with Roaming AppData directory (CSIDL_APPDATA) C:\\r",
                                   "Roaming AppData directory sub folder :C:\\r  does not exist."});
    }
    const ::Run run = runWith(texts);

    EXPECT_EQ(run.outcome, Outcome::Failed);
    EXPECT_EQ(run.exitCode, -1);
    ASSERT_NE(run.decider, nullptr);
    EXPECT_EQ(run.decider->id, LineId::FolderBaseMissing);
    const Problem* const problem = problemOf(run, LineId::FolderBaseMissing);
    ASSERT_NE(problem, nullptr);
    EXPECT_THAT(problem->examples,
                ElementsAre("Roaming AppData directory sub folder :C:\\r  does not exist."));
}

TEST(RunWords, ASidThatCannotBeMadeInAUsersTurnIsNotFatal) {
    const ::Run run = runWith(
        {"Current user: S-1", "Setting Permissions on user SID : S-2 with ProfilePath : C:\\u",
         "Can't create well known sid 84. Last error is: 87.",
         "ensure AppDataDir Permissions failed for user = C:\\u", "rootKey at: K"});
    const ::Run ended = runWith({"Can't create well known sid 84. Last error is: 87."});

    EXPECT_EQ(run.outcome, Outcome::Succeeded);
    EXPECT_EQ(run.problems.at(0).weight, Weight::Failure);
    EXPECT_EQ(ended.problems.at(0).weight, Weight::Fatal);
    for (const Step& step : run.steps)
        EXPECT_NE(step.worst, Weight::Fatal);
}

TEST(RunWords, PlugInsOfNoKnownFolderAreNotMigrated) {
    const std::string done = "Migration succeeded, delete old plugins and plugin settings folders";

    EXPECT_THAT(runWith({"AppData roaming Velta RXP path = ", done}).plugins,
                HasSubstr("nothing was moved"));
    EXPECT_EQ(runWith({"AppData roaming Velta RXP path = C:\\r", done}).plugins, "migrated");
}

TEST(RunWords, AUserWithoutANewFolderIsNotMigrated) {
    const ::Run run = runWith(
        {"Migration started for the user  'S-1",
         "ERROR: Migration target folder 'C:\\n' does not exist. App Data Migration failed.",
         "Migration completed for the user  'S-1"});

    EXPECT_THAT(describeAppData(run.users.at("S-1"), run), HasSubstr("failed"));
}

TEST(RunWords, NobodyIsSaidToBeTheOneLoggedOnWhenTheLogNamesNobody) {
    ::Run run;
    EXPECT_THAT(describeAppData(User(), run), HasSubstr("names nobody"));

    run.loggedOn = "S-1";
    EXPECT_THAT(describeAppData(User(), run), HasSubstr("not the user who is logged on"));
}

TEST(RunWords, ACrashOfTheCompanionIsNoNumberOfPackages) {
    const std::string listed = "Adding package in packagesToUninstall list: P1";
    const ::Run crashed = runWith({listed, "Exit code of helper process 3221225477"});
    const ::Run left = runWith({listed, "Exit code of helper process 3221225471"});

    EXPECT_THAT(crashed.packages.at(0).outcome, HasSubstr("crashed"));
    EXPECT_THAT(left.packages.at(0).outcome, HasSubstr("number of packages"));
}

TEST(RunWords, AFileThatFailedIsNotCountedAsHandled) {
    const ::Run run = runWith(
        {"fullpath is C:\\a", "fullpath is C:\\b", "Could not set owner. Error: 1307."});

    EXPECT_EQ(run.filesDone, 1u);
}

TEST(RunWords, ArgumentsAreNoneOnlyWhereTheLogSaysSo) {
    EXPECT_EQ(describeArguments(runOf(logOf({"fullpath is x"}))), "not in the log");
    EXPECT_EQ(describeArguments(runOf(logOf({"Starting with : \"a\" "}))), "none");
}

}  // namespace
