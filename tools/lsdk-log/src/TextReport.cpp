#include "Report.h"
#include "Words.h"

namespace {

class TextReport : public Report {
public:
    explicit TextReport(std::ostream& out) : m_out(out) {}

    void beginLog(const LogFile& file) override;
    void addRun(const Run& run) override;
    void endLog(const LogSummary& summary) override;
    void end(const Totals& totals) override;

private:
    void row(const std::string& name, const std::string& text);
    void addUsers(const Run& run);
    void addProblem(const Problem& problem);

    std::ostream& m_out;
};

void TextReport::beginLog(const LogFile& file) {
    m_out << "== " << file.machine << "  (" << file.name << ")\n";
}

void TextReport::row(const std::string& name, const std::string& text) {
    constexpr std::size_t kWidth = 16;
    m_out << "  " << name << std::string(name.size() < kWidth ? kWidth - name.size() : 1, ' ')
          << text << "\n";
}

void TextReport::addUsers(const Run& run) {
    for (const auto& [sid, user] : run.users) {
        row("user", sid + (user.profile.empty() ? "" : "  " + user.profile) +
                        (user.isLoggedOn ? "  (logged on)" : ""));
        row("  app data", describeAppData(user, run));
        if (!user.migrated.empty()) row("  migrated", listOf(user.migrated));
        if (!user.missing.empty()) row("  did not exist", listOf(user.missing));
        if (!user.failed.empty()) row("  FAILED", listOf(user.failed));
        if (user.itemsLeft > 0) row("  not shown", counted(user.itemsLeft, "more item"));
        if (user.foldersOpened + user.foldersFailed > 0)
            row("  folders", std::to_string(user.foldersOpened) + " open to the app, " +
                                 std::to_string(user.foldersFailed) + " failed");
    }
    if (run.usersLeft > 0)
        row("users", counted(run.usersLeft, "more line") + " about further users");
}

void TextReport::addProblem(const Problem& problem) {
    const LineInfo& line = *problem.line;
    m_out << "\n  " << (problem.weight == Weight::Fatal ? "FATAL" : "PROBLEM") << ", line "
          << problem.firstLine;
    if (problem.count > 1) m_out << " and " << counted(problem.count - 1, "more time");
    m_out << ":\n";
    for (const std::string& example : problem.examples)
        m_out << "    | " << example << "\n";
    for (const std::string& reason : problem.reasons)
        row("  reason", reason);
    if (!problem.errors.empty()) row("  error", listOf(problem.errors));
    row("  meaning", std::string(line.meaning));
    row("  causes", std::string(line.causes));
    row("  what to do", std::string(line.advice));
}

void TextReport::addRun(const Run& run) {
    m_out << "\nRun " << run.number << ": " << describeOutcome(run) << "\n";
    if (!run.begin.empty()) row("time", run.begin + ", " + describeSeconds(run.seconds));
    row("arguments", describeArguments(run));
    if (!run.account.empty()) row("account", run.account);
    row("outcome", run.explanation);
    if (!run.decidedBy.empty()) row("last word", run.decidedBy);
    std::string steps;
    for (const Step& step : run.steps)
        steps += (steps.empty() ? "" : " > ") + describeStep(step) + " " +
                 describeSeconds(step.seconds);
    row("steps", steps.empty() ? "none" : steps);
    addUsers(run);
    for (const OlderPackage& package : run.packages)
        row("older package", package.fullName + ": " + package.outcome);
    if (!run.newPackage.empty()) row("new package", run.newPackage);
    row("package files", std::to_string(run.filesDone) + " handled");
    row("loopback", describeLoopback(run));
    row("plug-ins", describePlugins(run));
    row("crash dumps", describeDumps(run));
    for (const Problem& problem : run.problems)
        addProblem(problem);
    for (const Unplaced& unplaced : run.unplaced)
        row("NOT PLACED", "line " + std::to_string(unplaced.line) + ": " + unplaced.text);
    if (run.unplacedCount > run.unplaced.size())
        row("NOT PLACED", counted(run.unplacedCount - run.unplaced.size(), "more line"));
}

void TextReport::endLog(const LogSummary& summary) {
    for (const Unplaced& stray : summary.strays)
        row("NOT PLACED", "line " + std::to_string(stray.line) + ": " + stray.text);
    if (!summary.failure.empty()) m_out << "\n  " << summary.failure << "\n";
    if (summary.runCount == 0 && summary.failure.empty()) m_out << "\n  no run in this file\n";
    m_out << "\n";
}

void TextReport::end(const Totals& totals) {
    m_out << counted(totals.logs, "log") << ", " << counted(totals.runs, "run") << ":";
    for (std::size_t i = 0; i < totals.byOutcome.size(); ++i)
        m_out << (i > 0 ? ", " : " ") << totals.byOutcome[i] << " "
              << nameOf(static_cast<Outcome>(i));
    if (totals.unplaced > 0) m_out << "; " << counted(totals.unplaced, "line") << " not placed";
    if (totals.unreadable > 0)
        m_out << "; " << counted(totals.unreadable, "log") << " not readable";
    if (totals.passedOver > 0)
        m_out << "; " << counted(totals.passedOver, "file") << " passed over";
    m_out << "\n";
}

}  // namespace

std::unique_ptr<Report> makeTextReport(std::ostream& out) {
    return std::make_unique<TextReport>(out);
}
