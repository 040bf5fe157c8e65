#include "run/Clock.h"
#include "run/ConfiguratorLog.h"
#include "support/LogTest.h"

namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

// Lines of an open log, byte for byte, at times that the test sets.
class ConfiguratorLogLine : public LogTest {
protected:
    ConfiguratorLogLine() {
        setZone("UTC0");
        setTime(kSomeTime);
    }

    void setTime(int64_t secondsSince1970) { machine.state.clock = fileTime(secondsSince1970); }
    std::string bytesOnDisk() const { return readFile(logPath()); }
};

TEST_F(ConfiguratorLogLine, IsTimeInBracketsOneBlankTextAndCrLfWithoutByteOrderMark) {
    log->beginLine() << "Starting" << std::endl;

    EXPECT_EQ(bytesOnDisk(), "[Sat Nov 21 02:06:27 2026] Starting\r\n");
}

TEST_F(ConfiguratorLogLine, DayOfTheMonthBelowTenHasABlankForItsFirstDigit) {
    setTime(1'767'582'249);

    log->beginLine() << "Starting" << std::endl;

    EXPECT_EQ(bytesOnDisk(), "[Mon Jan  5 03:04:09 2026] Starting\r\n");
}

TEST_F(ConfiguratorLogLine, PrefixKeepsItsFormAtAnyTime) {
    const struct {
        int64_t secondsSince1970;
        const char* prefix;
    } rows[] = {
        {0, "[Thu Jan  1 00:00:00 1970] "},
        {971'136'000, "[Tue Oct 10 00:00:00 2000] "},
        {1'709'251'199, "[Thu Feb 29 23:59:59 2024] "},
        {1'770'206'400, "[Wed Feb  4 12:00:00 2026] "},
        {1'772'712'000, "[Thu Mar  5 12:00:00 2026] "},
        {1'775'476'800, "[Mon Apr  6 12:00:00 2026] "},
        {1'778'155'200, "[Thu May  7 12:00:00 2026] "},
        {1'780'920'000, "[Mon Jun  8 12:00:00 2026] "},
        {1'783'598'400, "[Thu Jul  9 12:00:00 2026] "},
        {1'786'363'200, "[Mon Aug 10 12:00:00 2026] "},
        {1'789'128'000, "[Fri Sep 11 12:00:00 2026] "},
        {1'797'249'600, "[Mon Dec 14 12:00:00 2026] "},
        {2'147'483'648, "[Tue Jan 19 03:14:08 2038] "},
        {32'535'215'999, "[Wed Dec 31 23:59:59 3000] "},
    };
    std::string expected;
    for (const auto& row : rows) {
        setTime(row.secondsSince1970);

        log->beginLine() << std::endl;

        expected += row.prefix + std::string("\r\n");
    }
    EXPECT_EQ(bytesOnDisk(), expected);
}

TEST_F(ConfiguratorLogLine, PartsOfASecondAreCut) {
    machine.state.clock = fileTime(kSomeTime) + 9'999'999;

    log->beginLine() << std::endl;

    EXPECT_EQ(bytesOnDisk(), "[Sat Nov 21 02:06:27 2026] \r\n");
}

TEST_F(ConfiguratorLogLine, TimeIsTheLocalOne) {
    setZone("EST5EDT");

    setTime(1'783'166'400);  // noon in UTC
    log->beginLine() << "summer" << std::endl;
    setTime(1'767'528'000);  // noon in UTC
    log->beginLine() << "winter" << std::endl;

    EXPECT_EQ(bytesOnDisk(),
              "[Sat Jul  4 08:00:00 2026] summer\r\n"
              "[Sun Jan  4 07:00:00 2026] winter\r\n");
}

TEST_F(ConfiguratorLogLine, TimeIsTakenAnewForEachLine) {
    log->beginLine() << "first" << std::endl;
    setTime(kSomeTime + 1);
    log->beginLine() << "second" << std::endl;

    EXPECT_EQ(bytesOnDisk(),
              "[Sat Nov 21 02:06:27 2026] first\r\n"
              "[Sat Nov 21 02:06:28 2026] second\r\n");
    EXPECT_EQ(machine.trace.count("GetSystemTimeAsFileTime"), 2U);
}

TEST_F(ConfiguratorLogLine, IsOnTheDiskAsSoonAsItIsEnded) {
    log->beginLine() << "Starting with : " << L"\"40.1.0.0\" ";
    EXPECT_THAT(bytesOnDisk(), IsEmpty());

    log->m_stream << std::endl;

    EXPECT_EQ(bytesOnDisk(), "[Sat Nov 21 02:06:27 2026] Starting with : \"40.1.0.0\" \r\n");
    EXPECT_THAT(machine.calls({"_write"}), SizeIs(1));
}

TEST_F(ConfiguratorLogLine, WithoutItsEndRunsIntoTheNext) {
    log->beginLine() << "OpenProcessToken failed. GetLastError returned:" << 5;
    setTime(kSomeTime + 1);
    log->beginLine() << "next" << std::endl;

    EXPECT_EQ(bytesOnDisk(),
              "[Sat Nov 21 02:06:27 2026] OpenProcessToken failed. GetLastError returned:5"
              "[Sat Nov 21 02:06:28 2026] next\r\n");
}

TEST_F(ConfiguratorLogLine, WithoutItsEndReachesTheDiskWhenTheLogEnds) {
    log->beginLine() << "unended";
    EXPECT_THAT(bytesOnDisk(), IsEmpty());

    log.reset();

    EXPECT_EQ(bytesOnDisk(), "[Sat Nov 21 02:06:27 2026] unended");
}

TEST_F(ConfiguratorLogLine, TakesTextsAndNumbersInAChain) {
    const DWORD largest = 0xFFFFFFFF;
    const HRESULT failure = E_FAIL;
    const wchar_t* const wide = L"wide";

    log->beginLine() << "narrow " << wide << L" " << std::wstring(L"text") << " " << largest << " "
                     << failure << " " << 1'234'567L << " " << true << false << std::endl;

    EXPECT_EQ(logText(), "narrow wide text 4294967295 -2147467259 1234567 10\n");
}

TEST_F(ConfiguratorLogLine, NarrowCharactersAreWidenedByTheirCode) {
    log->beginLine() << "caf\xE9" << std::endl;

    EXPECT_EQ(logText(), "caf\xE9\n");
}

TEST_F(ConfiguratorLogLine, PrefixIsNotTouchedByHexadecimalNumbers) {
    log->beginLine() << std::hex << 255 << std::endl;
    log->beginLine() << 1314 << std::endl;

    EXPECT_EQ(bytesOnDisk(),
              "[Sat Nov 21 02:06:27 2026] ff\r\n"
              "[Sat Nov 21 02:06:27 2026] 522\r\n");
}

TEST_F(ConfiguratorLogLine, GoesThroughTheGlobalPointer) {
    g_configuratorLog->beginLine() << "through the global" << std::endl;

    EXPECT_EQ(g_configuratorLog, &*log);
    EXPECT_EQ(logText(), "through the global\n");
}

}  // namespace
