#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "TestLogs.h"

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class ReaderTest : public ::testing::Test {
protected:
    std::string write(const std::string& name, const std::vector<std::string>& texts) {
        return folder.write(name, logOf(texts)).string();
    }

    nlohmann::json json(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "--json");
        return nlohmann::json::parse(read(arguments).out);
    }

    ScratchFolder folder;
};

TEST_F(ReaderTest, TheExitCodeTellsWhetherEveryRunSucceeded) {
    const std::string good = write("good.txt", wholeRun());
    const std::string bad = write("bad.txt", begunRun());

    EXPECT_EQ(read({good}).exitCode, 0);
    EXPECT_EQ(read({good, bad}).exitCode, 1);
    EXPECT_EQ(read({write("none.txt", {})}).exitCode, 1);
}

TEST_F(ReaderTest, AWrongCommandLineGivesTheHelp) {
    EXPECT_EQ(read({}).exitCode, 2);
    EXPECT_EQ(read({"--xml", "a"}).exitCode, 2);
    EXPECT_EQ(read({"a", "--html"}).exitCode, 2);
    EXPECT_THAT(read({}).errors, HasSubstr("usage: lsdk-log"));
    EXPECT_EQ(read({"--help"}).exitCode, 0);
    EXPECT_THAT(read({"--help"}).out, StartsWith("usage: lsdk-log"));
}

TEST_F(ReaderTest, ALogThatCannotBeReadIsNamed) {
    const Reading reading = read({write("good.txt", wholeRun()), (folder.path() / "no.txt").string()});

    EXPECT_EQ(reading.exitCode, 2);
    EXPECT_THAT(reading.errors, HasSubstr("no.txt: cannot be opened"));
}

TEST_F(ReaderTest, APageThatCannotBeWrittenIsAnErrorBeforeAnythingIsRead) {
    const Reading reading = read({"--html", (folder.path() / "no" / "page.html").string(), "no.txt"});

    EXPECT_EQ(reading.exitCode, 2);
    EXPECT_THAT(reading.errors, HasSubstr("page.html: cannot be written"));
    EXPECT_THAT(reading.errors, Not(HasSubstr("no.txt"))) << "read before";
}

TEST_F(ReaderTest, StrictMindsForeignLines) {
    std::vector<std::string> texts = wholeRun();
    texts.insert(texts.begin() + 1, "who is this");
    const std::string log = write("log.txt", texts);

    EXPECT_EQ(read({log}).exitCode, 0);
    EXPECT_EQ(read({"--strict", log}).exitCode, 3);
    EXPECT_THAT(read({log}).out, HasSubstr("line 2: who is this"));
}

TEST_F(ReaderTest, ForeignTextInFrontOfTheFirstRunBelongsToNone) {
    const std::string log = write("log.txt", {"who is this", "and that"});

    EXPECT_EQ(read({"--strict", log}).exitCode, 3);
    EXPECT_EQ(json({log})["logs"][0]["strayLines"].size(), 2u);
}

TEST_F(ReaderTest, ALogMayBeginInTheMiddleOfARun) {
    const std::string log = write("log.txt", {"fullpath is x", "rootKey at: K"});

    EXPECT_EQ(read({"--strict", log}).exitCode, 0);
    EXPECT_THAT(read({log}).out, HasSubstr("begins in the middle of this run"));
}

TEST_F(ReaderTest, AFolderIsAFleetOfMachines) {
    write("PC-0002/lsdkConfiguratorLog.txt", begunRun());
    write("PC-0001/lsdkConfiguratorLog.txt", wholeRun());
    write("PC-0003.log", wholeRun());
    write("notes.md", {"not a log"});

    const auto document = json({folder.path().string()});

    ASSERT_EQ(document["logs"].size(), 3u);
    EXPECT_EQ(document["logs"][0]["machine"], "PC-0001");
    EXPECT_EQ(document["logs"][1]["machine"], "PC-0002");
    EXPECT_EQ(document["logs"][2]["machine"], "PC-0003");
    EXPECT_EQ(document["totals"]["succeeded"], 2);
    EXPECT_EQ(document["totals"]["cutOff"], 1);
}

TEST_F(ReaderTest, AFileOfAFolderWithoutARunIsPassedOver) {
    write("PC-1.txt", wholeRun());
    write("readme.txt", {"who is this"});
    folder.write("install.log", "\xFF\xFEM\1S\1I\1");

    const Reading reading = read({"--json", "--strict", folder.path().string()});
    const auto document = nlohmann::json::parse(reading.out);

    EXPECT_EQ(reading.exitCode, 0);
    EXPECT_EQ(document["logs"].size(), 1u);
    EXPECT_EQ(document["totals"]["logs"], 1);
    EXPECT_EQ(document["totals"]["passedOver"], 2);
    EXPECT_EQ(document["totals"]["unplaced"], 0);
    EXPECT_THAT(reading.errors, HasSubstr("readme.txt"));
    EXPECT_THAT(reading.errors, HasSubstr("install.log"));
    EXPECT_THAT(read({folder.path().string()}).out, HasSubstr("2 files passed over"));
}

TEST_F(ReaderTest, AFileOfAFolderThatCannotBeOpenedIsNotPassedOver) {
    const fs::path log = folder.write("PC-1.txt", logOf(wholeRun()));
    fs::permissions(log, fs::perms::none);
    if (std::ifstream(log)) GTEST_SKIP() << "this account may read every file";

    EXPECT_EQ(read({folder.path().string()}).exitCode, 2);
}

TEST_F(ReaderTest, Utf16IsNamedAndNotRead) {
    const Reading reading = read({folder.write("log.txt", "\xFF\xFES\1t\1").string()});

    EXPECT_EQ(reading.exitCode, 2);
    EXPECT_THAT(reading.errors, HasSubstr("UTF-16"));
}

TEST_F(ReaderTest, JsonHasAllThatIsKnownOfARun) {
    const auto log = folder.write("log.txt", goldenLog("typical.log"));

    const auto run = json({log.string()})["logs"][0]["runs"][0];

    EXPECT_EQ(run["outcome"], "succeeded");
    EXPECT_EQ(run["exitCode"], 0);
    EXPECT_EQ(run["arguments"][2], "Velta.QK");
    EXPECT_EQ(run["users"][0]["sid"], "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(run["olderPackages"][0]["isGone"], true);
    EXPECT_EQ(run["unplaced"], 0);
}

TEST_F(ReaderTest, TextTellsTheReasonWithItsNameAndWhatToDo) {
    std::vector<std::string> texts = begunRun();
    texts.push_back("Could not set owner. Error: 1307.");

    const std::string text = read({write("log.txt", texts)}).out;

    EXPECT_THAT(text, HasSubstr("failed (exit code -1)"));
    EXPECT_THAT(text, HasSubstr("1307 (ERROR_INVALID_OWNER)"));
    EXPECT_THAT(text, HasSubstr("start the executable elevated"));
}

TEST_F(ReaderTest, ThePageHasARowPerMachineAndTheLastRunsOfEach) {
    std::string many;
    for (int i = 0; i < 8; ++i)
        many += logOf(wholeRun());
    folder.write("PC-1.txt", many);
    folder.write("PC-2.txt", goldenLog("typical.log"));
    const auto page = folder.path() / "page.html";

    EXPECT_EQ(read({"--html", page.string(), folder.path().string()}).exitCode, 0);

    std::ifstream file(page);
    const std::string html{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(html, HasSubstr("<a href=\"#log2\">PC-2</a>"));
    EXPECT_THAT(html, HasSubstr("8 runs, of which the last 5 are shown here"));
    EXPECT_THAT(html, HasSubstr("(logged on)"));
}

}  // namespace
