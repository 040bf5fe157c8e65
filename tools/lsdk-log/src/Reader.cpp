#include "Reader.h"

#include <fstream>
#include <ostream>

#include "LogFiles.h"
#include "Options.h"
#include "Report.h"

namespace {

constexpr int kAllSucceeded = 0;
constexpr int kNotAllSucceeded = 1;
constexpr int kUnusable = 2;
constexpr int kNotPlaced = 3;

using Reports = std::vector<std::unique_ptr<Report>>;

Totals readLogs(const std::vector<LogFile>& logs, const Reports& reports, std::ostream& errors) {
    Totals totals;
    for (const LogFile& log : logs) {
        for (const auto& report : reports)
            report->beginLog(log);
        const LogSummary summary = readLog(log, [&](const Run& run) {
            for (const auto& report : reports)
                report->addRun(run);
        });
        for (const auto& report : reports)
            report->endLog(summary);
        ++totals.logs;
        totals.runs += summary.runCount;
        totals.unplaced += summary.unplaced;
        for (std::size_t i = 0; i < totals.byOutcome.size(); ++i)
            totals.byOutcome[i] += summary.runs[i];
        if (summary.failure.empty()) continue;
        ++totals.unreadable;
        errors << "lsdk-log: " << log.name << ": " << summary.failure << "\n";
    }
    for (const auto& report : reports)
        report->end(totals);
    return totals;
}

int exitCodeOf(const Totals& totals, bool isStrict) {
    if (totals.unreadable > 0) return kUnusable;
    if (isStrict && totals.unplaced > 0) return kNotPlaced;
    const auto succeeded = totals.byOutcome[static_cast<std::size_t>(Outcome::Succeeded)];
    return totals.runs > 0 && succeeded == totals.runs ? kAllSucceeded : kNotAllSucceeded;
}

}  // namespace

int runReader(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& errors) {
    const Options options = parseOptions(arguments);
    if (!options.error.empty()) {
        errors << "lsdk-log: " << options.error << "\n" << helpText();
        return kUnusable;
    }
    if (options.wantsHelp) {
        out << helpText();
        return kAllSucceeded;
    }
    const std::vector<LogFile> logs = findLogs(options.paths);
    Reports reports;
    std::ofstream page;
    if (!options.htmlFile.empty()) {
        page.open(options.htmlFile, std::ios::binary);
        reports.push_back(makeHtmlReport(page));
    }
    if (options.asJson) reports.push_back(makeJsonReport(out));
    if (reports.empty()) reports.push_back(makeTextReport(out));

    const Totals totals = readLogs(logs, reports, errors);
    if (!options.htmlFile.empty() && !page.flush()) {
        errors << "lsdk-log: " << nameOf(options.htmlFile) << ": cannot be written\n";
        return kUnusable;
    }
    return exitCodeOf(totals, options.isStrict);
}
