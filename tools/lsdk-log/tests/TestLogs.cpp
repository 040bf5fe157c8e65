#include "TestLogs.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "Reader.h"
#include "RunBuilder.h"

namespace fs = std::filesystem;

namespace {

constexpr char kTime[] = "[Sat Nov  8 09:06:27 2025] ";

const std::vector<std::pair<std::string, std::string>> kNames = {
    {"{anna old}", "C:\\Users\\anna\\AppData\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne"},
    {"{anna new}", "C:\\Users\\anna\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a"},
    {"{björn old}", "C:\\Users\\b\\AppData\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne"},
    {"{björn new}", "C:\\Users\\b\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a"},
    {"{chen old}", "C:\\Users\\chen\\AppData\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne"},
    {"{chen new}", "C:\\Users\\chen\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a"},
    {"{anna}", "S-1-5-21-1-2-3-1001"},
    {"{björn}", "S-1-5-21-1-2-3-1002"},
    {"{chen}", "S-1-5-21-1-2-3-1003"},
    {"{admin}", "S-1-5-21-1-2-3-500"},
    {"{pointer}", "0x7ff"},
    {"{NUL}", std::string(1, '\0')},
    {"\n", "\r\n"},
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

std::string logOf(const std::vector<std::string>& texts) {
    std::string log;
    for (const std::string& text : texts)
        log += kTime + text + "\r\n";
    return log;
}

std::vector<std::string> begunRun() {
    return {
        "Starting with : \"C:\\i\\LSDKConfigurator.exe\" \"40.1.0.0\" \"Velta.QK\" \"QK.exe\" \"ZRKL\" ",
        "Starting", "isEnterpriseDeployment from arg is:0"};
}

std::vector<std::string> wholeRun() {
    std::vector<std::string> texts = begunRun();
    texts.push_back("rootKey at: SOFTWARE\\QK.exe");
    return texts;
}

std::string goldenLog(const std::string& name) {
    std::ifstream file(std::string(GOLDEN_LOGS "/") + name);
    std::string log;
    for (std::string line; std::getline(file, line);)
        log += kTime + replaced(line, "[]", kTime) + "\n";
    for (const auto& [placeholder, text] : kNames)
        log = replaced(log, placeholder, text);
    return log;
}

std::vector<Entry> entriesOf(const std::string& log) {
    std::vector<Entry> entries;
    EntryReader reader([&](const Entry& entry) { entries.push_back(entry); });
    reader.feed(log);
    reader.finish();
    return entries;
}

std::vector<Run> runsOf(const std::string& log) {
    std::vector<Run> runs;
    LogAnalysis analysis([&](const Run& run) { runs.push_back(run); });
    for (const Entry& entry : entriesOf(log))
        analysis.add(entry);
    analysis.finish();
    return runs;
}

Run runOf(const std::string& log) {
    const std::vector<Run> runs = runsOf(log);
    EXPECT_EQ(runs.size(), 1u);
    return runs.empty() ? Run() : runs.front();
}

const Problem* problemOf(const Run& run, LineId id) {
    for (const Problem& problem : run.problems)
        if (problem.line->id == id) return &problem;
    return nullptr;
}

Run runWith(const std::vector<std::string>& texts) {
    return runOf(logOf(begunRun()) + logOf(texts));
}

ScratchFolder::ScratchFolder() {
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    m_path = fs::temp_directory_path() /
             (std::string("lsdk-log-") + test->test_suite_name() + "-" + test->name());
    fs::remove_all(m_path);
    fs::create_directories(m_path);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path ScratchFolder::write(const std::string& name, const std::string& bytes) const {
    const fs::path file = m_path / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
}

Reading read(const std::vector<std::string>& arguments) {
    std::ostringstream out, errors;
    const int exitCode = runReader(arguments, out, errors);
    return {exitCode, out.str(), errors.str()};
}
