#include "LineTable.h"

#include "TestLogs.h"

namespace {

// The text of a line with something for each value.
std::string exampleOf(const LineInfo& line) {
    std::string text(line.texts[0]);
    for (size_t i = 0; i < line.valueCount; ++i) {
        text += line.kinds[i] == ValueKind::Text ? "C:\\some where" : "5";
        text += line.texts[i + 1];
    }
    return text;
}

TEST(LineTable, HasEachLineOfTheReference) {
    EXPECT_GT(allLines().size(), 190u);
    EXPECT_EQ(lineInfo(LineId::RunStarted).name, "run-started");
    EXPECT_EQ(titleOf(lineInfo(LineId::RunStarted).section), "Start");
}

TEST(LineTable, EachLineIsFoundByItsText) {
    for (const LineInfo& line : allLines()) {
        const std::string text = exampleOf(line);
        const auto match = matchLine(text, false);
        ASSERT_TRUE(match) << text;
        EXPECT_EQ(match->line->name, line.name) << text;
    }
}

TEST(LineTable, EachLineCutOffAnywhereIsABeginning) {
    for (const LineInfo& line : allLines()) {
        const std::string text = exampleOf(line);
        for (size_t size = 1; size < text.size(); ++size)
            EXPECT_NE(matchBeginning(text.substr(0, size)), nullptr) << text.substr(0, size);
    }
}

TEST(LineTable, ValuesStandWhereTheReferenceHasThem) {
    const auto match = matchLine("Failed to copy a from b from c to d SHFileOperation error: -5",
                                 false);

    ASSERT_TRUE(match);
    EXPECT_EQ(match->line->id, LineId::PluginCopyFailed);
    EXPECT_EQ(match->values[0], "a");
    EXPECT_EQ(match->values[3], "-5");
}

TEST(LineTable, ANumberIsNoOtherText) {
    EXPECT_FALSE(matchLine("SetEntriesInAcl Error five", false));
    EXPECT_FALSE(matchLine("SetEntriesInAcl Error ff", false));
    EXPECT_TRUE(matchLine("SetEntriesInAcl Error ff", true));
    EXPECT_FALSE(matchLine("Hello", false));
    EXPECT_EQ(matchBeginning("Hello"), nullptr);
}

TEST(LineTable, TheLogsThatTheReferenceShowsArePlaced) {
    ASSERT_GE(referenceExamples().size(), 8u);
    for (const std::string_view example : referenceExamples()) {
        for (const ::Run& run : runsOf(logOf(begunRun()) + std::string(example)))
            EXPECT_EQ(run.unplacedCount, 0u) << example;
    }
}

TEST(LineTable, AdviceStandsWithoutItsPage) {
    for (const LineInfo& line : allLines()) {
        for (const std::string_view text : {line.meaning, line.causes, line.advice}) {
            EXPECT_EQ(text.find("](#"), std::string_view::npos) << line.name;
            EXPECT_EQ(text.find("As above"), std::string_view::npos) << line.name;
        }
    }
}

}  // namespace
