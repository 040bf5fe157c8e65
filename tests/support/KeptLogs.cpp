#include "support/KeptLogs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "stand-in/Machine.h"
#include "stand-in/Text.h"
#include "stand-in/Windows.h"
#include "support/Files.h"
#include "support/LogText.h"
#include "support/Programs.h"

namespace {

// Taken before any test: later the program may seem to be elsewhere.
const std::wstring g_folder = programBeside(L"logs\\");
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

// "run_tests.Suite.Name" and the extension; a parameter is set off by a slash.
std::wstring keptFile(const testing::TestInfo& test, const wchar_t* extension) {
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '_');
    return g_folder + g_program + L"." + standin::toWide(name) + extension;
}

}  // namespace

void keepLog(const std::wstring& path) {
    const standin::Untraced untraced;
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    if (test == nullptr || isLeftBehind(path)) return;

    static std::set<std::string> kept;
    static std::ios::openmode mode = std::ios::trunc;
    const size_t before = kept.size();
    const std::string raw = readFile(path);
    std::istringstream lines(withoutTimes(raw));
    for (std::string line; std::getline(lines, line);)
        kept.insert(line);
    if (kept.size() == before) return;

    std::string text;
    for (const std::string& line : kept)
        text += line + "\n";
    writeFile(keptFile(*test, L".txt"), text);
    const std::filesystem::path whole = keptFile(*test, L".log");
    std::ofstream(whole, std::ios::binary | std::ios::out | mode) << raw;
    mode = std::ios::app;
}
