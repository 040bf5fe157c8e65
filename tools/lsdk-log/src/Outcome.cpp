#include <algorithm>
#include <utility>

#include "RunBuilder.h"

// How a run ended, which only its last lines tell.

std::string_view nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Succeeded:
            return "succeeded";
        case Outcome::Failed:
            return "failed";
        case Outcome::Crashed:
            return "crashed";
        case Outcome::CutOff:
            break;
    }
    return "cut off";
}

std::string Run::argument(std::size_t index) const {
    return index < arguments.size() ? arguments[index] : std::string();
}

bool Run::hasFailures() const {
    return !problems.empty();
}

namespace {

constexpr std::size_t kContainerRounds = 4;
// Of these, the ones whose failure ends the run behind the last.
constexpr std::size_t kDecidingRounds = 3;

}  // namespace

void RunBuilder::setFailed(const LineInfo& line, std::string explanation) {
    m_run.outcome = Outcome::Failed;
    m_run.exitCode = -1;
    m_run.decider = &line;
    m_run.explanation = std::move(explanation);
}

// The last round for app containers is over and one that counts let no user in.
bool RunBuilder::endedAtRefusedFolders() const {
    if (m_rounds.size() != kContainerRounds || m_run.steps.back().section != Section::FolderAccess)
        return false;
    return std::any_of(m_rounds.begin(), m_rounds.begin() + kDecidingRounds,
                       [](const Round& round) { return round.isRefused(); }) &&
           (m_rounds.back().isRefused() || m_rounds.back().hasOpened);
}

// The first round that counts decides; what it reported is a problem, although it is but a cause.
void RunBuilder::setRefused() {
    const char* const kWhy = "A folder that the app needs could be opened to it for no user.";
    const auto refused = std::ranges::find_if(m_rounds, &Round::isRefused);
    if (!refused->refusal.line) {
        const LineInfo& line = lineInfo(LineId::RoundFallbackFailed);
        m_run.decidedBy = line.texts[0];
        return setFailed(line, kWhy);
    }
    const Problem& refusal = refused->refusal;
    setFailed(*refusal.line, kWhy);
    m_run.decidedBy = refusal.examples.front();
    m_run.problems.push_back(refusal);
}

void RunBuilder::judge(bool isLast) {
    const LineId last = m_last ? m_last->id : LineId::RunStarted;
    m_run.decidedBy = m_lastText;
    if (m_cut != Cut::No) return judgeCutOff(isLast);

    if (last == LineId::DumpsKey) {
        m_run.outcome = Outcome::Succeeded;
        m_run.exitCode = 0;
        m_run.decidedBy.clear();
        m_run.explanation = "The last step was reached and reported no failure.";
    } else if (last == LineId::SidMemoryFailed || last == LineId::SidCreateFailed ||
               last == LineId::TokenSidFailed) {
        m_run.outcome = Outcome::Crashed;
        m_run.decider = m_last;
        m_run.explanation = "The process ended itself here.";
    } else if (last == LineId::UsageExample) {
        setFailed(lineInfo(LineId::Usage), "The command line has too few arguments.");
        m_run.decidedBy = lineInfo(LineId::Usage).texts[0];
    } else if (last == LineId::PrivilegesStarted && m_isHexadecimal) {
        const Problem& com = m_run.problems.front();
        setFailed(*com.line, "COM could not be started.");
        m_run.decidedBy = com.examples.front();
    } else if (m_last && m_last->weight == Weight::Fatal && last != LineId::Usage) {
        setFailed(*m_last, "This line's failure ends the run.");
        const bool isOfFile = !m_run.steps.empty() &&
                              m_run.steps.back().section == Section::PackageFiles;
        if (isOfFile && m_run.filesDone > 0) --m_run.filesDone;
    } else if (!m_run.steps.empty() && endedAtRefusedFolders()) {
        setRefused();
    } else {
        judgeCutOff(isLast);
    }
}

void RunBuilder::judgeCutOff(bool isLast) {
    m_run.outcome = Outcome::CutOff;
    std::string& text = m_run.explanation;
    text = m_cut == Cut::No ? "The log stops behind this line" : "The log stops within this line";
    if (m_cut == Cut::WithinTime) text = "The log stops within the line behind this one";
    if (!m_run.steps.empty())
        text += " (step: " + std::string(titleOf(m_run.steps.back().section)) + ")";
    text += isLast ? ". The run is still at work, was ended from outside, or lost its log."
                   : ". The run was ended from outside, ended itself, or lost its log.";
    if (m_last && m_last->id == LineId::PluginsStatusFile)
        text += " A bad status file of the plug-ins ends a run at this very place: delete it.";
    if (m_last && m_last->id == LineId::CompanionWait) text += " It was waiting for the companion.";
    if (m_cut == Cut::WithinLine)
        text += " A character that is not in Latin-1 ends the log, but not the run: see the exit code.";
}
