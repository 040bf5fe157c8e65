#include <deque>
#include <utility>

#include "HtmlRun.h"
#include "HtmlStyle.h"
#include "Report.h"
#include "Text.h"
#include "Words.h"

namespace {

// So many of a log's last runs are shown whole, and so many of all logs together: a page for people.
constexpr std::size_t kRunsOfALog = 5;
constexpr std::size_t kRunsOfAll = 500;

struct ShownLog {
    std::string machine;
    std::string name;
    LogSummary summary;
    std::deque<Run> runs;
    std::string row;  // of the table of machines
};

// Keeps what the page shows until its end, since the table of machines stands first.
class HtmlReport : public Report {
public:
    explicit HtmlReport(std::ostream& out) : m_out(out) {}

    void beginLog(const LogFile& file) override {
        m_logs.push_back({file.machine, file.name, {}, {}, {}});
    }

    void addRun(const Run& run) override {
        std::deque<Run>& runs = m_logs.back().runs;
        runs.push_back(run);
        if (runs.size() > kRunsOfALog) runs.pop_front();
    }

    void endLog(const LogSummary& summary) override {
        ShownLog& log = m_logs.back();
        log.summary = summary;
        log.row = rowOf(log, m_logs.size());
        m_shown += log.runs.size();
        while (m_shown > kRunsOfAll && !log.runs.empty()) {
            log.runs.pop_front();
            --m_shown;
        }
    }

    void end(const Totals& totals) override;

private:
    static std::string rowOf(const ShownLog& log, std::size_t number);
    void addTiles(const Totals& totals);
    void addLog(const ShownLog& log, std::size_t number);

    std::ostream& m_out;
    std::vector<ShownLog> m_logs;
    std::size_t m_shown = 0;
};

std::string cell(const std::string& label, const std::string& html) {
    return "<td data-label=\"" + label + "\">" + (html.empty() ? "&ndash;" : html) + "</td>";
}

std::string HtmlReport::rowOf(const ShownLog& log, std::size_t number) {
    std::string row = "<tr>" + cell("Machine", "<a href=\"#log" + std::to_string(number) + "\">" +
                                                   escapeHtml(log.machine) + "</a>");
    if (log.runs.empty()) {
        const std::string why = log.summary.failure.empty() ? "no run in this file"
                                                            : log.summary.failure;
        return row + cell("Last run", "") +
               cell("Result", "<span class=\"badge warn\">" + why + "</span>") +
               cell("Version", "") + cell("App data", "") + cell("Problems", "") + "</tr>\n";
    }
    const Run& run = log.runs.back();
    std::size_t migrated = 0, failed = 0;
    for (const auto& [sid, user] : run.users) {
        const bool isDone = user.appData == AppData::Migrated ||
                            user.appData == AppData::MigratedBefore;
        migrated += isDone && !user.hasNoNewFolder;
        failed += user.hasNoNewFolder || !user.failed.empty();
    }
    std::string appData = counted(migrated, "user") + " migrated";
    if (failed > 0) appData += ", " + std::to_string(failed) + " with failures";
    std::string problems;
    for (const Problem& problem : run.problems)
        problems += (problems.empty() ? "" : "<br>") + escapeHtml(problem.line->name);
    const std::string runs = log.summary.runCount > 1
                                 ? " (of " + std::to_string(log.summary.runCount) + ")"
                                 : "";
    return row + cell("Last run", escapeHtml(run.begin) + runs) + cell("Result", badgeOf(run)) +
           cell("Version", escapeHtml(run.argument(1))) + cell("App data", appData) +
           cell("Problems", problems) + "</tr>\n";
}

void HtmlReport::addTiles(const Totals& totals) {
    const auto tile = [&](std::uint64_t count, std::string_view name, std::string_view kind) {
        m_out << "<div class=\"tile\"><b" << (count > 0 ? kind : "") << ">" << count << "</b>"
              << name << "</div>\n";
    };
    m_out << "<div class=\"tiles\">\n";
    tile(totals.logs, totals.logs == 1 ? "log" : "logs", "");
    tile(totals.runs, totals.runs == 1 ? "run" : "runs", "");
    for (std::size_t i = 0; i < totals.byOutcome.size(); ++i)
        tile(totals.byOutcome[i], nameOf(static_cast<Outcome>(i)), "");
    if (totals.unplaced > 0) tile(totals.unplaced, "lines not placed", "");
    if (totals.unreadable > 0) tile(totals.unreadable, "logs not readable", "");
    m_out << "</div>\n";
}

void HtmlReport::addLog(const ShownLog& log, std::size_t number) {
    m_out << "<section id=\"log" << number << "\">\n<h2>" << escapeHtml(log.machine) << "</h2>\n"
          << "<p class=\"soft small\"><code>" << escapeHtml(log.name) << "</code>, "
          << counted(log.summary.runCount, "run");
    if (log.runs.size() < log.summary.runCount)
        m_out << ", of which the last " << log.runs.size() << " are shown here";
    m_out << "</p>\n";
    if (!log.summary.failure.empty())
        m_out << "<p class=\"badge bad\">" << escapeHtml(log.summary.failure) << "</p>\n";
    for (const Unplaced& stray : log.summary.strays) {
        m_out << "<p class=\"small\">Belongs to no run, line " << stray.line
              << ":</p><code class=\"log\">" << escapeHtml(stray.text) << "</code>\n";
    }
    for (auto run = log.runs.rbegin(); run != log.runs.rend(); ++run)
        m_out << htmlOf(*run);
    m_out << "</section>\n";
}

void HtmlReport::end(const Totals& totals) {
    m_out << "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
             "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
             "'unsafe-inline'\">\n"
             "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
             "<title>LSDKConfigurator runs</title>\n<style>"
          << kHtmlStyle << "</style>\n</head>\n<body>\n<h1>LSDKConfigurator runs</h1>\n";
    addTiles(totals);
    if (m_logs.size() > 1) {
        m_out << "<h2>Machines</h2>\n<div class=\"card\"><table><thead><tr><th>Machine</th><th>Last "
                 "run</th><th>Result</th><th>Version</th><th>App data</th><th>Problems</th></tr>"
                 "</thead><tbody>\n";
        for (const ShownLog& log : m_logs)
            m_out << log.row;
        m_out << "</tbody></table></div>\n";
    }
    for (std::size_t i = 0; i < m_logs.size(); ++i)
        addLog(m_logs[i], i + 1);
    m_out << "</body>\n</html>\n";
}

}  // namespace

std::unique_ptr<Report> makeHtmlReport(std::ostream& out) {
    return std::make_unique<HtmlReport>(out);
}
