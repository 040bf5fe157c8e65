#include "TestLogs.h"

using ::testing::ElementsAre;

namespace {

constexpr char kTime[] = "[Sat Nov  8 09:06:27 2025] ";

std::vector<std::string> textsOf(const std::string& log) {
    std::vector<std::string> texts;
    for (const Entry& entry : entriesOf(log))
        texts.push_back(entry.text);
    return texts;
}

TEST(Entries, ALineIsAnEntryWithItsTime) {
    const auto entries = entriesOf(logOf({"Starting", "Example :"}));

    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].text, "Starting");
    EXPECT_EQ(entries[0].time, "2025-11-08 09:06:27");
    EXPECT_TRUE(entries[0].hasEnd);
    EXPECT_EQ(entries[1].line, 2u);
}

TEST(Entries, BytesMayComeInAnyPieces) {
    const std::string log = goldenLog("typical.log");
    std::vector<std::string> texts;
    EntryReader reader([&](const Entry& entry) { texts.push_back(entry.text); });

    for (const char byte : log)
        reader.feed({&byte, 1});
    reader.finish();

    EXPECT_EQ(texts, textsOf(log));
}

TEST(Entries, BehindAnEntryWithoutAnEndTheNextOneBeginsOnTheLine) {
    const std::string log = logOf(
        {std::string("Unable to find SID for appVelta.QK") + kTime + "Empty folder"});

    EXPECT_THAT(textsOf(log), ElementsAre("Unable to find SID for appVelta.QK", "Empty folder"));
    EXPECT_FALSE(entriesOf(log)[0].hasEnd);
}

TEST(Entries, ATimeWithinAValueBeginsNothing) {
    const std::string text = std::string("Current user: ") + kTime + "x";

    EXPECT_THAT(textsOf(logOf({text})), ElementsAre(text));
}

TEST(Entries, ARunBeginsBehindWhateverWasCutOff) {
    EXPECT_THAT(textsOf(std::string(kTime) + "Profile di" + kTime + "Starting with : \"a\" \r\n"),
                ElementsAre("Profile di", "Starting with : \"a\" "));
    EXPECT_THAT(textsOf(std::string("[Sat Nov") + kTime + "Starting with : \"a\" \r\n"),
                ElementsAre("", "Starting with : \"a\" "));
    EXPECT_THAT(textsOf(std::string(kTime) + "Empty folder\r" + kTime + "Starting with : \"a\" \r"),
                ElementsAre("Empty folder", "Starting with : \"a\" "));
    EXPECT_THAT(textsOf(std::string(kTime) + "StartinError initializing COM code 0x80004005.\r\n"),
                ElementsAre("Startin", "Error initializing COM code 0x80004005."));
}

TEST(Entries, ALineWithoutATimeGoesOnWithTheEntryBefore) {
    const std::string log = logOf({"FindPackages failed. Error message: one\r\ntwo\r\n", "Starting"});

    EXPECT_THAT(textsOf(log),
                ElementsAre("FindPackages failed. Error message: one\ntwo", "Starting"));
}

TEST(Entries, TextThatIsNotUtf8IsLatin1) {
    EXPECT_THAT(textsOf(logOf({"Current user: Bj\xF6rn", "Current user: Bj\xC3\xB6rn"})),
                ElementsAre("Current user: Björn", "Current user: Björn"));
}

TEST(Entries, SecondsAreCountedOverMidnightAndYears) {
    EXPECT_EQ(secondsBetween("2024-12-31 23:59:58", "2025-01-01 00:00:03"), 5);
    EXPECT_EQ(secondsBetween("2025-01-01 00:00:03", "2025-01-01 00:00:01"), -2);
}

}  // namespace
