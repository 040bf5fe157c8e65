#include "ErrorNames.h"

#include <fstream>
#include <regex>

#include "TestLogs.h"

namespace {

TEST(ErrorNames, AreWindowsOwn) {
    EXPECT_EQ(win32Name(5), "ERROR_ACCESS_DENIED");
    EXPECT_EQ(win32Name(1314), "ERROR_PRIVILEGE_NOT_HELD");
    EXPECT_EQ(win32Name(0), "no error");
    EXPECT_EQ(win32Name(4'000'000), "");
    EXPECT_EQ(hresultName(0x80004005), "E_FAIL");
    EXPECT_EQ(hresultName(0x80010106), "RPC_E_CHANGED_MODE");
}

TEST(ErrorNames, AnHResultOfAWin32ErrorHasItsName) {
    EXPECT_EQ(hresultName(0x80070005), "E_ACCESSDENIED");
    EXPECT_EQ(hresultName(0x80070522), "ERROR_PRIVILEGE_NOT_HELD");
}

TEST(ErrorNames, TheShellsOwnNumbersComeFirst) {
    EXPECT_EQ(shellErrorName(0x7C), "DE_INVALIDFILES");
    EXPECT_EQ(shellErrorName(32), "ERROR_SHARING_VIOLATION");
    EXPECT_EQ(shellErrorName(-1), "");
}

TEST(ErrorNames, AValueIsShownAsTheLogHasItWithItsName) {
    EXPECT_EQ(namedValue("5", ValueKind::Win32Error, false), "5 (ERROR_ACCESS_DENIED)");
    EXPECT_EQ(namedValue("522", ValueKind::Win32Error, true), "0x522 (ERROR_PRIVILEGE_NOT_HELD)");
    EXPECT_EQ(namedValue("80004005", ValueKind::HRESULT, true), "0x80004005 (E_FAIL)");
    EXPECT_EQ(namedValue("3", ValueKind::ExitCode, false), "3");
}

// Every plain error of the header, by another way of reading it.
TEST(ErrorNames, EachErrorOfTheHeaderHasAName) {
    std::ifstream header(WINERROR_H);
    const std::regex define("#define (ERROR_[A-Z0-9_]+) .*[( ]([0-9]+)L?\\)?\\s*");
    int count = 0;
    for (std::string line; std::getline(header, line);) {
        std::smatch found;
        if (!std::regex_match(line, found, define) || found[2] == "0") continue;
        ++count;
        EXPECT_NE(win32Name(static_cast<std::uint32_t>(std::stoul(found[2]))), "") << line;
    }
    EXPECT_GT(count, 1500);
}

}  // namespace
