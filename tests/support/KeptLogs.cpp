#include "support/KeptLogs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "stand-in/Machine.h"
#include "stand-in/Text.h"
#include "stand-in/Windows.h"
#include "support/Files.h"
#include "support/LogText.h"
#include "support/Programs.h"

namespace {

// Taken before any test: later the program may seem to be elsewhere.
const std::wstring g_logs = programBeside(L"logs\\");
const std::wstring g_runs = programBeside(L"runs\\");
const std::wstring g_program = [] {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring name = path + programBeside(L"").size();
    return name.substr(0, name.find_last_of(L'.'));
}();
const FILETIME g_start = [] {
    FILETIME now = {};
    ::GetSystemTimeAsFileTime(&now);
    return now;
}();

bool isLeftBehind(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return ::CompareFileTime(&data.ftLastWriteTime, &g_start) < 0;
}

// "run_tests.Suite.Name"; a parameter is set off by a slash.
std::wstring keptName(const testing::TestInfo& test) {
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '_');
    return g_program + L"." + standin::toWide(name);
}

// Of the log, most likely. The trace is not read as what it is, which would take longer than many a run.
bool hasFailedWrite(const std::wstring& trace) {
    std::istringstream calls(readFile(trace));
    for (std::string call; std::getline(calls, call);) {
        if (call.find("\"call\":\"_write\"") != std::string::npos &&
            call.find("\"failed\":true") != std::string::npos)
            return true;
    }
    return false;
}

// Empty too if a test holds the log, so that nothing was logged.
std::string logText(const std::wstring& log) {
    try {
        return readFile(log);
    } catch (const std::runtime_error&) {
        return "";
    }
}

}  // namespace

void keepLog(const std::wstring& path) {
    const standin::Untraced untraced;
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    if (test == nullptr || isLeftBehind(path)) return;

    static std::set<std::string> kept;
    const size_t before = kept.size();
    std::istringstream lines(withoutTimes(readFile(path)));
    for (std::string line; std::getline(lines, line);)
        kept.insert(line);
    if (kept.size() == before) return;

    std::string text;
    for (const std::string& line : kept)
        text += line + "\n";
    writeFile(g_logs + keptName(*test) + L".txt", text);
}

void keepRun(const std::wstring& log, size_t logBytesBefore, const std::wstring& trace,
             const standin::LaunchResult& result, const std::string& faults) {
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    if (test == nullptr) return;

    static std::map<std::wstring, int> counts;
    const std::wstring name = keptName(*test);
    const int number = ++counts[name];
    const std::wstring file = name + L"." + std::to_wstring(number) + L".log";
    const std::string whole = logText(log);
    writeFile(g_runs + file, whole.substr(std::min(logBytesBefore, whole.size())));

    const std::filesystem::path ends = g_runs + name + L".ends";
    std::ofstream out(ends, number == 1 ? std::ios::trunc : std::ios::app);
    out << standin::toUtf8(file) << ' ' << static_cast<int>(result.exitCode) << ' '
        << (result.endedNormally ? "returned " : "died ")
        << (hasFailedWrite(trace) ? "lost " : "written ") << faults << std::endl;
    if (!out) throw std::runtime_error("the end of the run cannot be kept");
}
