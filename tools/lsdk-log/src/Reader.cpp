#include "Reader.h"

#include <fstream>
#include <ostream>
#include <utility>

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
    std::string passedOver;
    for (const LogFile& log : logs) {
        bool hasBegun = false;
        const auto begin = [&] {
            if (std::exchange(hasBegun, true)) return;
            for (const auto& report : reports)
                report->beginLog(log);
        };
        const LogSummary summary = readLog(log, [&](const Run& run) {
            begin();
            for (const auto& report : reports)
                report->addRun(run);
        });
        const bool isLog = hasBegun || (!summary.failure.empty() && !summary.isUtf16);
        if (log.isFound && !isLog) {
            ++totals.passedOver;
            passedOver += (passedOver.empty() ? "" : ", ") + log.name;
            if (summary.isUtf16) passedOver += " (" + summary.failure + ")";
            continue;
        }
        begin();
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
    if (!passedOver.empty()) errors << "lsdk-log: no run in: " << passedOver << "\n";
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

int reportUnwritable(const std::filesystem::path& file, std::ostream& errors) {
    errors << "lsdk-log: " << nameOf(file) << ": cannot be written\n";
    return kUnusable;
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
        if (!page) return reportUnwritable(options.htmlFile, errors);
        reports.push_back(makeHtmlReport(page));
    }
    if (options.asJson) reports.push_back(makeJsonReport(out));
    if (reports.empty()) reports.push_back(makeTextReport(out));

    const Totals totals = readLogs(logs, reports, errors);
    if (!options.htmlFile.empty() && !page.flush())
        return reportUnwritable(options.htmlFile, errors);
    return exitCodeOf(totals, options.isStrict);
}
