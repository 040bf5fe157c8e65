#include "Text.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>

#include "TestLogs.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

TEST(Hostile, MarkupOfALogIsNoMarkupOfThePage) {
    const ScratchFolder folder;
    const auto log = folder.write(
        "x.txt", logOf({"Starting with : \"a\" \"<script>alert(1)</script>\" \"b\" \"c\" \"d\" ",
                        "Current user: \"><img src=x onerror=alert(1)>",
                        "Setting registry values for UWPCR failed with: '&<b>"}));
    const auto page = folder.path() / "page.html";

    read({"--html", page.string(), log.string()});

    std::ifstream file(page);
    const std::string html{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(html, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;"));
    EXPECT_THAT(html, HasSubstr("&#39;&amp;&lt;b&gt;"));
    EXPECT_THAT(html, Not(HasSubstr("<script")));
    EXPECT_THAT(html, Not(HasSubstr("<img")));
    EXPECT_THAT(html, HasSubstr("default-src 'none'"));
}

TEST(Hostile, ATerminalIsNotCommanded) {
    EXPECT_EQ(readableText("a\x1B[2Jb\x9B"
                           "c"),
              "a\xEF\xBF\xBD[2Jb\xEF\xBF\xBD"
              "c");
    EXPECT_EQ(readableText("a\xE2\x80\xAE"
                           "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(readableText(std::string("a\0b", 3)), "ab");
}

TEST(Hostile, TextIsValidUtf8WhateverTheBytes) {
    constexpr unsigned kSeed = 1;
    std::mt19937 random(kSeed);
    for (int i = 0; i < 2000; ++i) {
        std::string bytes(random() % 40, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random() % 3 == 0 ? 0x80 + random() % 0x80 : random() % 0x80);
        const std::string once = readableText(bytes);
        EXPECT_EQ(readableText(once), once) << "seed " << kSeed << ", case " << i;
        EXPECT_NO_THROW(nlohmann::json(oneLine(once, 10)).dump());
    }
}

TEST(Hostile, ALineWithoutEndKeepsItsBeginningOnly) {
    const std::string huge = "[Sat Nov  8 09:06:27 2025] Current user: " +
                             std::string(3'000'000, 'x');
    const std::vector<::Run> runs = runsOf(logOf(begunRun()) + huge + "\r\n" +
                                           logOf({"rootKey at: K"}));

    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].unplacedCount, 0u);
    EXPECT_EQ(runs[0].outcome, Outcome::Succeeded);
    EXPECT_LE(entriesOf(huge).at(0).text.size(), EntryReader::kLongestEntry);
}

TEST(Hostile, ManyTimesInOneLineAreReadInNoTime) {
    std::string line = "[Sat Nov  8 09:06:27 2025] Current user: ";
    while (line.size() < 4'000'000)
        line += "[Sat Nov  8 09:06:27 2025] ";

    EXPECT_EQ(runOf(logOf(begunRun()) + line).users.size(), 0u);
}

TEST(Hostile, ManyUsersItemsAndProblemsAreCountedAndNotKept) {
    std::vector<std::string> texts = begunRun();
    for (int i = 0; i < 3000; ++i) {
        const std::string sid = "S-1-5-21-" + std::to_string(i);
        texts.push_back("Migration started for the user  '" + sid);
        texts.push_back("Error copying 'a" + sid + "' to 'b'. Error code: " + std::to_string(i));
    }
    const ::Run run = runOf(logOf(texts));

    EXPECT_EQ(run.users.size(), 1000u);
    EXPECT_GT(run.usersLeft, 0u);
    ASSERT_EQ(run.problems.size(), 1u);
    EXPECT_EQ(run.problems[0].count, 3000u);
    EXPECT_LE(run.problems[0].examples.size(), 5u);
}

TEST(Hostile, NoiseIsReadWithoutHarm) {
    constexpr unsigned kSeed = 7;
    std::mt19937 random(kSeed);
    const std::string log = goldenLog("enterprise.log");
    for (int i = 0; i < 100; ++i) {
        std::string damaged = log;
        for (int j = 0; j < 50; ++j)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        std::uint64_t lines = 0;
        for (const ::Run& run : runsOf(logOf(wholeRun()) + damaged))
            lines += run.lines;
        EXPECT_GE(lines, wholeRun().size()) << "seed " << kSeed << ", case " << i;
    }
}

}  // namespace
