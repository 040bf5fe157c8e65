#include "end_to_end/RunTest.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "stand-in/Text.h"
#include "support/LogText.h"

namespace {

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// The log's bytes are the first 256 characters of Unicode.
std::string latin1ToUtf8(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            text += byte;
        } else {
            text += static_cast<char>(0xC0 | (code >> 6));
            text += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return text;
}

bool belongsToUser(const std::string& line) {
    static const char* const kBeginnings[] = {"AppData in ",
                                              "NO AppData in ",
                                              "Exception while ",
                                              "Caught std::exception while reading AppData",
                                              "Caught std::exception while reading Local AppData",
                                              "fetching AppData",
                                              "Trying to fetch local appdata folder",
                                              "Roaming AppData directory sub folder",
                                              "Unable to create directory",
                                              "Unable to set AppX",
                                              "AppX permissions",
                                              "SetNamedSecurityInfo ",
                                              "GetNamedSecurityInfo ",
                                              "SetEntriesInAcl ",
                                              "ensure AppDataDir",
                                              "Empty folder",
                                              "User profile outFolder"};
    return std::any_of(std::begin(kBeginnings), std::end(kBeginnings),
                       [&](const char* beginning) { return line.starts_with(beginning); });
}

}  // namespace

standin::LaunchResult RunTest::run(const std::wstring& arguments, const std::string& faults) {
    const standin::LaunchResult result = launch(arguments, faults);
    for (const std::string& leak : result.leaks) {
        // The text of the own SID and the descriptors behind the files' lists are never released.
        EXPECT_TRUE(leak == "memory#1" || leak.starts_with("lost descriptor#"))
            << leak << " is still out";
    }
    EXPECT_THAT(result.doubleReleases, ::testing::IsEmpty());
    EXPECT_THAT(result.misuse, ::testing::IsEmpty());
    EXPECT_THAT(result.unfiredFaults, ::testing::IsEmpty());
    return result;
}

std::string RunTest::readableLog(const std::string& raw) const {
    std::string text = latin1ToUtf8(withoutTimes(raw));
    replaceAll(text, std::string(1, '\0'), "{NUL}");
    const auto name = [&](const std::wstring& value, const std::string& placeholder) {
        replaceAll(text, standin::toUtf8(value), placeholder);
    };
    for (const WorldUser* user : {&kAnna, &kBjorn, &kChen}) {
        const std::string userName = standin::toUtf8(user->name);
        name(world.oldPackage(*user), "{" + userName + " old}");
        name(world.newPackage(*user), "{" + userName + " new}");
        name(user->sid, "{" + userName + "}");
    }
    name(kAdministratorSid, "{admin}");
    name(world.installFolder(), "{install}");
    name(scratch.path(), "{world}");
    name(L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData",
         "{classes}");
    const std::string pointerLine = "User.Sid :";
    for (size_t at = text.find(pointerLine); at != std::string::npos;
         at = text.find(pointerLine, at + 1)) {
        const size_t begin = at + pointerLine.size();
        text.replace(begin, text.find('\n', begin) - begin, "{pointer}");
    }
    return text;
}

std::string RunTest::log() const {
    return readableLog(readFile(logFile()));
}

std::string RunTest::lastLog() const {
    return readableLog(readFile(logFile()).substr(logBytesBefore));
}

std::string RunTest::golden(const std::string& name) {
    std::string text = readFile(buildFolder() + L"\\golden\\" + standin::toWide(name));
    replaceAll(text, "\r\n", "\n");
    return text;
}

std::string RunTest::goldenWith(const std::string& name,
                                const std::vector<std::pair<std::string, std::string>>& changes) {
    std::string text = golden(name);
    for (const auto& [from, to] : changes) {
        const size_t at = text.find(from);
        if (at == std::string::npos) throw std::invalid_argument("not in " + name + ": " + from);
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string withSortedUsers(const std::string& log) {
    std::istringstream lines(log);
    std::string sorted;
    std::vector<std::string> blocks;
    const auto flush = [&] {
        std::sort(blocks.begin(), blocks.end());
        for (const std::string& block : blocks)
            sorted += block;
        blocks.clear();
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Setting Permissions on user SID : ") ||
            line.starts_with("Users Profile (CSIDL_PROFILE) succeded and its value is: ")) {
            blocks.push_back(line + "\n");
        } else if (!blocks.empty() && belongsToUser(line)) {
            blocks.back() += line + "\n";
        } else {
            flush();
            sorted += line + "\n";
        }
    }
    flush();
    return sorted;
}

void expectSameLog(const std::string& actual, const std::string& expected) {
    std::istringstream actualLines(actual);
    std::istringstream expectedLines(expected);
    std::string actualLine;
    std::string expectedLine;
    for (size_t number = 1;; ++number) {
        const bool hasActual = static_cast<bool>(std::getline(actualLines, actualLine));
        const bool hasExpected = static_cast<bool>(std::getline(expectedLines, expectedLine));
        if (!hasActual && !hasExpected) return;
        ASSERT_EQ(hasActual ? actualLine : "(end of the log)",
                  hasExpected ? expectedLine : "(end of the log)")
            << "in line " << number;
    }
}

void expectSameTree(const std::map<std::wstring, std::string>& actual,
                    const std::map<std::wstring, std::string>& expected) {
    for (const auto& [name, bytes] : expected) {
        const auto found = actual.find(name);
        if (found == actual.end()) {
            ADD_FAILURE() << standin::toUtf8(name) << " is missing";
        } else {
            EXPECT_EQ(found->second, bytes) << standin::toUtf8(name);
        }
    }
    for (const auto& [name, bytes] : actual) {
        if (!expected.contains(name)) ADD_FAILURE() << standin::toUtf8(name) << " is there";
    }
}
