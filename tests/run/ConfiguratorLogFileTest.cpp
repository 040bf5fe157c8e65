#include <optional>

#include "run/ConfiguratorLog.h"
#include "stand-in/Text.h"
#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::StartsWith;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Logs that the test opens itself, beside the executable that the program seems to be.
class ConfiguratorLogFile : public MachineTest {
protected:
    std::wstring logPath() const { return scratch / L"lsdkConfiguratorLog.txt"; }
    std::string logText() const { return withoutTimes(readFile(logPath())); }

    void logOneRun(const char* text) {
        machine.isComSecuritySet = false;  // as in a process of its own
        ConfiguratorLog log;
        log.beginLine() << text << std::endl;
    }

    // What holds for a run whose log cannot be opened.
    void expectSilentLog() {
        ConfiguratorLog log;
        EXPECT_EQ(g_configuratorLog, &log);
        EXPECT_TRUE(log.m_comReady);

        EXPECT_NO_THROW(log.beginLine() << "lost " << L"text" << 5 << std::endl);

        EXPECT_TRUE(log.m_stream.fail());
        EXPECT_EQ(machine.trace.count("_wfopen"), 1U);
    }

private:
    decltype(seemToBeIn(std::declval<const ScratchFolder&>())) m_place = seemToBeIn(scratch);
};

TEST_F(ConfiguratorLogFile, LiesBesideTheExecutable) {
    logOneRun("line");

    EXPECT_THAT(listTree(scratch.path()),
                ElementsAre(Pair(L"lsdkConfiguratorLog.txt", EndsWith("] line\r\n"))));
}

TEST_F(ConfiguratorLogFile, PathIsBuiltFromTheModulesInABufferOf260) {
    const std::string folder = standin::toUtf8(scratch.path());
    DWORD size = 0;
    {
        const auto moduleName = replaceImport<decltype(&::GetModuleFileNameW)>(
            "GetModuleFileNameW", [&](auto real, HMODULE module, LPWSTR path, DWORD length) -> DWORD {
                if (!module) size = length;
                return real(module, path, length);
            });
        logOneRun("line");
    }

    EXPECT_EQ(size, 260U);
    EXPECT_THAT(
        machine.calls({"PathCchRemoveFileSpec", "PathCchAddBackslash", "PathCchAppend"}),
        ElementsAre("PathCchRemoveFileSpec(\"" + folder + "\", 260) = 0",
                    "PathCchAddBackslash(\"" + folder + "\\\", 260) = 0",
                    "PathCchAppend(\"" + folder +
                        "\\lsdkConfiguratorLog.txt\", 260, \"lsdkConfiguratorLog.txt\") = 0"));
    EXPECT_THAT(
        machine.calls({"_wfopen"}),
        ElementsAre(StartsWith("_wfopen(\"" + folder + "\\lsdkConfiguratorLog.txt\", \"a\")")));
}

TEST_F(ConfiguratorLogFile, SecondRunAddsToTheSameFile) {
    logOneRun("first run");
    logOneRun("second run");

    EXPECT_EQ(logText(), "first run\nsecond run\n");
}

TEST_F(ConfiguratorLogFile, WhatStoodInTheFileStaysAsItIs) {
    writeFile(logPath(), "an unended head\n\xFF");

    logOneRun("line");

    EXPECT_THAT(readFile(logPath()), StartsWith("an unended head\n\xFF["));
    EXPECT_THAT(readFile(logPath()), EndsWith("] line\r\n"));
}

TEST_F(ConfiguratorLogFile, OpensWhileAnotherHoldsItForReadingOrWriting) {
    writeFile(logPath(), "");
    for (const DWORD access : {DWORD{GENERIC_READ}, DWORD{GENERIC_WRITE}}) {
        const HeldOpen held(logPath(), access, kShareAll);

        logOneRun("line");
    }

    EXPECT_EQ(logText(), "line\nline\n");
}

TEST_F(ConfiguratorLogFile, OthersMayOpenItWhileItIsOpen) {
    ConfiguratorLog log;
    log.beginLine() << "before" << std::endl;

    EXPECT_NO_THROW(HeldOpen(logPath(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_NO_THROW(HeldOpen(logPath(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE));

    log.beginLine() << "after" << std::endl;
    EXPECT_EQ(logText(), "before\nafter\n");
}

TEST_F(ConfiguratorLogFile, LinesOfTwoRunsAtOnceStandBehindEachOther) {
    ConfiguratorLog one;
    ConfiguratorLog other;

    one.beginLine() << "one" << std::endl;
    other.beginLine() << "other" << std::endl;
    one.beginLine() << "one again" << std::endl;

    EXPECT_THAT(logText(), EndsWith("one\nother\none again\n"));
}

TEST_F(ConfiguratorLogFile, HolderThatSharesNothingMakesTheLogSilent) {
    writeFile(logPath(), "as it was");
    {
        const HeldOpen held(logPath());

        expectSilentLog();
    }

    EXPECT_EQ(readFile(logPath()), "as it was");
}

TEST_F(ConfiguratorLogFile, HolderThatSharesReadingOnlyMakesTheLogSilent) {
    writeFile(logPath(), "as it was");
    {
        const HeldOpen held(logPath(), GENERIC_READ, FILE_SHARE_READ);

        expectSilentLog();
    }

    EXPECT_EQ(readFile(logPath()), "as it was");
}

TEST_F(ConfiguratorLogFile, FolderInItsPlaceMakesTheLogSilent) {
    makeFolder(logPath());

    expectSilentLog();

    EXPECT_THAT(listTree(scratch.path()), ElementsAre(Pair(L"lsdkConfiguratorLog.txt\\", "")));
}

TEST_F(ConfiguratorLogFile, MissingFolderMakesTheLogSilent) {
    const auto place = replaceImport<decltype(&::GetModuleFileNameW)>(
        "GetModuleFileNameW", [&](auto, HMODULE, LPWSTR path, DWORD size) -> DWORD {
            return static_cast<DWORD>((scratch / L"missing\\program.exe").copy(path, size - 1));
        });

    expectSilentLog();

    EXPECT_THAT(listTree(scratch.path()), IsEmpty());
}

TEST_F(ConfiguratorLogFile, LogThatOpensLaterIsNotTriedAgain) {
    writeFile(logPath(), "");
    std::optional<HeldOpen> held(std::in_place, logPath());
    ConfiguratorLog log;
    held.reset();

    log.beginLine() << "lost" << std::endl;

    EXPECT_EQ(readFile(logPath()), "");
    EXPECT_EQ(machine.trace.count("_wfopen"), 1U);
}

TEST_F(ConfiguratorLogFile, WriteFailureLosesAllLaterTextAndThrowsNothing) {
    makeSymbolicLink("/dev/full", logPath());
    ConfiguratorLog log;
    EXPECT_TRUE(log.m_stream.good());

    EXPECT_NO_THROW(log.beginLine() << "does not fit" << std::endl);

    EXPECT_TRUE(log.m_stream.bad());
    EXPECT_NO_THROW(log.beginLine() << "later" << std::endl);
}

TEST_F(ConfiguratorLogFile, OpeningClearsTheStreamsStateAndLeavesNoExceptionsOn) {
    const ConfiguratorLog log;

    EXPECT_TRUE(log.m_stream.good());
    EXPECT_EQ(log.m_stream.exceptions(), std::ios_base::goodbit);
}

TEST_F(ConfiguratorLogFile, GlobalPointerIsNullBeforeAndIsNeverReset) {
    g_configuratorLog = nullptr;
    std::optional<ConfiguratorLog> log(std::in_place);
    const ConfiguratorLog* const address = &*log;
    EXPECT_EQ(g_configuratorLog, address);

    log.reset();

    EXPECT_EQ(g_configuratorLog, address);
}

TEST_F(ConfiguratorLogFile, EndStopsComBeforeItClosesTheFile) {
    std::vector<std::string> ends;
    machine.onCall("CoUninitialize", [&] { ends.emplace_back("CoUninitialize"); });
    const auto close = replaceImport<decltype(&::fclose)>("fclose", [&](auto real, FILE* file) -> int {
        ends.emplace_back("close");
        return real(file);
    });

    logOneRun("line");

    EXPECT_THAT(ends, ElementsAre("CoUninitialize", "close"));
}

}  // namespace
