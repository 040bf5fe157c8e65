#include "RunBuilder.h"

#include <algorithm>
#include <utility>

#include "ErrorNames.h"
#include "Text.h"

namespace {

constexpr std::size_t kMostExamples = 5;
constexpr std::size_t kMostCauses = 5;
constexpr std::size_t kMostUnplaced = 10;

bool isComFailure(LineId id) {
    return id == LineId::ComFailed || id == LineId::ComSecurityFailed;
}

bool beginsRun(std::string_view text) {
    const auto match = matchLine(text, true);
    const LineInfo* const line = match ? match->line : matchBeginning(text);
    if (!line || (line->id != LineId::RunStarted && !isComFailure(line->id))) return false;
    // Cut off early it is the second line of a run as well.
    return match || text.size() > lineInfo(LineId::PrivilegesStarted).texts[0].size();
}

void addOnce(std::vector<std::string>& list, std::string text, std::size_t most) {
    if (list.size() < most && std::ranges::find(list, text) == list.end())
        list.push_back(std::move(text));
}

}  // namespace

RunBuilder::RunBuilder(std::uint64_t number, const Entry& first, bool hasStart)
    : m_hasStart(hasStart), m_awaitsStart(hasStart) {
    m_run.number = number;
    m_run.firstLine = first.line;
}

void RunBuilder::add(const Entry& entry) {
    ++m_run.lines;
    takeTime(entry);
    m_cut = Cut::No;
    if (entry.text.empty()) {
        m_cut = Cut::WithinTime;
        return;
    }
    if (const auto match = matchLine(entry.text, m_isHexadecimal)) {
        if (match->line->hasEnd && !entry.hasEnd) m_cut = Cut::WithinLine;
        place(*match, entry);
        return;
    }
    const LineInfo* const begun = matchBeginning(entry.text);
    if (begun && (!entry.hasEnd || entry.isShortened)) {
        if (!entry.isShortened) m_cut = Cut::WithinLine;
        m_last = begun;
        m_lastText = oneLine(entry.text);
        if (begun->id == LineId::RunStarted) m_awaitsStart = false;
        return;
    }
    // Foreign text behind a line of the log counts by itself.
    const std::size_t lineEnd = entry.text.find('\n');
    const std::string firstLine = entry.text.substr(0, lineEnd);
    const auto match = lineEnd == std::string::npos ? std::nullopt
                                                    : matchLine(firstLine, m_isHexadecimal);
    if (match) place(*match, entry);
    addUnplaced(entry.line + (match ? 1 : 0), match ? entry.text.substr(lineEnd + 1) : entry.text);
}

void RunBuilder::place(const LineMatch& match, const Entry& entry) {
    const LineInfo& line = *match.line;
    m_last = &line;
    m_lastText = oneLine(entry.text);
    if (isComFailure(line.id)) m_isHexadecimal = true;
    enterStep(line, entry);
    takeProblem(match, entry);
    takeDetails(match);
}

void RunBuilder::addUnplaced(std::uint64_t line, std::string_view text) {
    ++m_run.unplacedCount;
    if (m_run.unplaced.size() < kMostUnplaced) m_run.unplaced.push_back({line, oneLine(text, 300)});
}

void RunBuilder::takeTime(const Entry& entry) {
    if (!entry.time) return;
    if (m_run.begin.empty()) m_run.begin = *entry.time;
    m_run.end = *entry.time;
}

// The lines of users and of several steps belong to the step that is under way.
void RunBuilder::enterStep(const LineInfo& line, const Entry& entry) {
    const Section now = m_run.steps.empty() ? Section::Start : m_run.steps.back().section;
    Section next = line.section;
    if (next == Section::UsersAndTheirFolders || next == Section::LinesOfSeveralSteps) next = now;
    if (line.id == LineId::CommonFilesUnknown && now < Section::Loopback) next = now;
    if (next == Section::FolderAccess && now == Section::Loopback) next = Section::UserDataFolders;
    if (m_run.steps.empty() || next > now) {
        m_run.steps.push_back({next, entry.time.value_or(m_run.begin)});
    }
    Step& step = m_run.steps.back();
    ++step.lines;
    step.worst = std::max(step.worst, weightHere(line));
    if (entry.time && !step.begin.empty()) step.seconds = secondsBetween(step.begin, *entry.time);
}

Problem& RunBuilder::problemOf(const LineInfo& line, const Entry& entry) {
    const auto isSame = [&](const Problem& problem) { return problem.line == &line; };
    const auto found = std::ranges::find_if(m_run.problems, isSame);
    if (found != m_run.problems.end()) return *found;
    Problem& problem = m_run.problems.emplace_back();
    problem.line = &line;
    problem.firstLine = entry.line;
    return problem;
}

// A well-known SID that cannot be made ends the process, but for a user's turn, which passes over
// that user.
Weight RunBuilder::weightHere(const LineInfo& line) const {
    const bool isSid = line.id == LineId::SidMemoryFailed || line.id == LineId::SidCreateFailed;
    return isSid && !m_roundSid.empty() ? Weight::Failure : line.weight;
}

// A failure has the causes right before it as its reasons.
void RunBuilder::takeProblem(const LineMatch& match, const Entry& entry) {
    const LineInfo& line = *match.line;
    std::vector<std::string> errors;
    for (std::size_t i = 0; i < line.valueCount; ++i) {
        const ValueKind kind = line.kinds[i];
        if (kind != ValueKind::Text && kind != ValueKind::Number)
            errors.push_back(namedValue(match.values[i], kind, m_isHexadecimal));
    }
    if (line.weight == Weight::Cause) {
        if (!m_rounds.empty() && m_rounds.back().hasFallback)
            m_rounds.back().refusal = {&line,        Weight::Failure, 1, entry.line,
                                       {m_lastText}, errors,          {}};
        std::string cause = m_lastText;
        for (const std::string& error : errors)
            if (error.find('(') != std::string::npos) cause += " = " + error;
        if (m_causes.size() == kMostCauses) m_causes.erase(m_causes.begin());
        m_causes.push_back(std::move(cause));
        return;
    }
    if (line.weight == Weight::Failure || line.weight == Weight::Fatal) {
        Problem& problem = problemOf(line, entry);
        ++problem.count;
        problem.weight = std::max(problem.weight, weightHere(line));
        addOnce(problem.examples, m_lastText, kMostExamples);
        for (std::string& error : errors)
            addOnce(problem.errors, std::move(error), kMostExamples);
        for (std::string& cause : m_causes)
            addOnce(problem.reasons, std::move(cause), kMostExamples);
    }
    m_causes.clear();
}

void RunBuilder::takeDetails(const LineMatch& match) {
    takeStartLine(match) || takeProfileLine(match) || takeMigrationLine(match) ||
        takeFolderLine(match) || takeRegistryLine(match) || takePackageLine(match) ||
        takeCompanionLine(match) || takeRoundLine(match) || takePostInstallLine(match) ||
        takePluginLine(match);
}

Run RunBuilder::finish(bool isLast) {
    if (!m_run.begin.empty()) m_run.seconds = secondsBetween(m_run.begin, m_run.end);
    if (const auto found = m_run.users.find(m_run.loggedOn); found != m_run.users.end())
        found->second.isLoggedOn = true;
    judge(isLast);
    if (!m_hasStart) m_run.explanation += " The log begins in the middle of this run.";
    return std::move(m_run);
}

void LogAnalysis::add(const Entry& entry) {
    const bool hasStart = beginsRun(entry.text);
    if (hasStart || (m_run.empty() && matchLine(entry.text, false))) {
        const bool goesOn = hasStart && !m_run.empty() && m_run.back().awaitsItsStart() &&
                            entry.text.starts_with(lineInfo(LineId::RunStarted).texts[0]);
        if (!goesOn) {
            if (!m_run.empty()) m_receiver(m_run.back().finish(false));
            m_run.clear();
            m_run.emplace_back(++m_runs, entry, hasStart);
        }
    }
    if (!m_run.empty()) {
        m_run.back().add(entry);
        return;
    }
    ++m_strayCount;
    if (m_strays.size() < kMostUnplaced) m_strays.push_back({entry.line, oneLine(entry.text, 300)});
}

void LogAnalysis::finish() {
    if (!m_run.empty()) m_receiver(m_run.back().finish(true));
    m_run.clear();
}
