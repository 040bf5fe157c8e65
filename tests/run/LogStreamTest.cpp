#include "run/LogStream.h"

#include <optional>

#include "support/LogTest.h"

namespace {

// A stream over a file of its own, compared byte for byte after it was closed.
class LogStreamTest : public MachineTest {
protected:
    LogStreamTest() {
        stream.emplace();
        stream->open(path().c_str());
    }
    ~LogStreamTest() override { stream.reset(); }

    std::wstring path() const { return scratch / L"log.txt"; }
    // Closes the stream.
    std::string bytes() {
        EXPECT_NO_THROW(stream.reset());
        return readFile(path());
    }

    std::optional<LogStream> stream;
};

TEST_F(LogStreamTest, EveryCharacterOfOneByteIsThatByte) {
    std::string expected;
    for (int code = 1; code < 256; ++code) {
        if (code == '\n') continue;
        *stream << std::wstring(1, static_cast<wchar_t>(code));
        expected += static_cast<char>(code);
    }

    EXPECT_TRUE(stream->good());
    EXPECT_EQ(bytes(), expected);
}

TEST_F(LogStreamTest, LineEndIsCrLfAlsoWithinAText) {
    *stream << L"one\ntwo" << "\n" << std::endl;

    EXPECT_EQ(bytes(), "one\r\ntwo\r\n\r\n");
}

TEST_F(LogStreamTest, NulWithinAStringIsWritten) {
    *stream << std::wstring(L"a\0b", 3) << std::endl;

    EXPECT_EQ(bytes(), std::string("a\0b\r\n", 5));
}

TEST_F(LogStreamTest, TextBeforeACharacterThatCannotBeEncodedIsKept) {
    const struct {
        const char* name;
        std::wstring text;
    } rows[] = {
        {"just above one byte", L"head\u0100tail"}, {"euro sign", L"head\u20ACtail"},
        {"ideograph", L"head\u4E2Dtail"},           {"surrogate pair", L"head\xD83D\xDE00tail"},
        {"surrogate alone", L"head\xDC00tail"},     {"last of all", L"head\xFFFFtail"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        stream.emplace();
        stream->open((scratch / L"row.txt").c_str());

        EXPECT_NO_THROW(*stream << "narrow " << row.text);

        EXPECT_TRUE(stream->bad());
        EXPECT_NO_THROW(*stream << "later" << std::endl);
        EXPECT_NO_THROW(stream.reset());
        EXPECT_EQ(readFile(scratch / L"row.txt"), "narrow head");
        removeTree(scratch / L"row.txt");
    }
}

TEST_F(LogStreamTest, EveryWayToInsertTheCharacterTurnsTheStreamBad) {
    const wchar_t* const pointer = L"a\u4E2D";
    const auto turnsBad = [this](const char* way, const auto& value) {
        SCOPED_TRACE(way);
        stream.emplace();
        stream->open((scratch / L"way.txt").c_str());
        EXPECT_NO_THROW(*stream << value);
        EXPECT_TRUE(stream->bad());
        stream.reset();
        EXPECT_EQ(readFile(scratch / L"way.txt"), "");
        removeTree(scratch / L"way.txt");
    };

    turnsBad("pointer", pointer + 1);
    turnsBad("string", std::wstring(pointer + 1));
    turnsBad("one character", pointer[1]);
}

TEST_F(LogStreamTest, LinesBeforeStayAndAllLaterTextIsLost) {
    *stream << "first line" << std::endl;
    *stream << "second " << L"\u4E2D" << " rest of the line" << std::endl;
    *stream << "third line" << std::endl;

    EXPECT_EQ(bytes(), "first line\r\nsecond ");
}

TEST_F(LogStreamTest, LongTextBeforeTheCharacterIsKeptWhole) {
    const std::wstring head(20'000, L'h');

    *stream << head + L"\u4E2D" + head;

    EXPECT_TRUE(stream->bad());
    EXPECT_EQ(bytes(), std::string(20'000, 'h'));
}

TEST_F(LogStreamTest, EmptyTextIsNoFailure) {
    *stream << L"" << std::wstring() << "" << std::endl;

    EXPECT_TRUE(stream->good());
    EXPECT_EQ(bytes(), "\r\n");
}

TEST_F(LogStreamTest, AFileThatCannotBeOpenedSetsFailbit) {
    LogStream other;

    other.open((scratch / L"missing\\log.txt").c_str());

    EXPECT_EQ(other.rdstate(), std::ios_base::failbit);
}

TEST_F(LogStreamTest, OpeningClearsTheState) {
    LogStream other;
    other.setstate(std::ios_base::badbit);

    other.open((scratch / L"other.txt").c_str());

    EXPECT_EQ(other.rdstate(), std::ios_base::goodbit);
}

class LogWithAForeignCharacter : public LogTest {};

TEST_F(LogWithAForeignCharacter, KeepsTheHeadOfItsLineAndNothingBehind) {
    log->beginLine() << "before" << std::endl;
    log->beginLine() << "Profile dir is : " << L"C:\\Users\\\u4E2D\u6587" << "." << std::endl;
    EXPECT_NO_THROW(log->beginLine() << "after" << std::endl);
    const std::wstring path = logPath();

    log.reset();

    EXPECT_EQ(withoutTimes(readFile(path)), "before\nProfile dir is : C:\\Users\\");
}

}  // namespace
