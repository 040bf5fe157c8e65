#pragma once

#include <iosfwd>
#include <memory>
#include <ostream>

#include "LogFiles.h"
#include "Run.h"

struct Totals {
    std::uint64_t logs = 0;
    std::uint64_t unreadable = 0;
    std::uint64_t runs = 0;
    std::array<std::uint64_t, 4> byOutcome{};
    std::uint64_t unplaced = 0;
    std::uint64_t passedOver = 0;  // files of a folder that are no logs
};

// What was read, in the order in which it is read. Nothing of a log is kept behind its end but what
// the form of the report needs.
class Report {
public:
    virtual ~Report() = default;
    virtual void beginLog(const LogFile& file) = 0;
    virtual void addRun(const Run& run) = 0;
    virtual void endLog(const LogSummary& summary) = 0;
    virtual void end(const Totals& totals) = 0;
};

// Plain words, a paragraph per run.
std::unique_ptr<Report> makeTextReport(std::ostream& out);
// One JSON document; tools/lsdk-log/README.md describes it.
std::unique_ptr<Report> makeJsonReport(std::ostream& out);
// One page without scripts or links to elsewhere.
std::unique_ptr<Report> makeHtmlReport(std::ostream& out);
