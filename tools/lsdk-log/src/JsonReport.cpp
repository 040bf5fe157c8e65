#include <nlohmann/json.hpp>

#include "Report.h"
#include "Words.h"

namespace {

using Json = nlohmann::ordered_json;

std::string_view nameOf(Weight weight) {
    constexpr std::string_view kNames[] = {"information", "note", "cause", "failure", "fatal"};
    return kNames[static_cast<std::size_t>(weight)];
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json usersOf(const Run& run) {
    Json users = Json::array();
    for (const auto& [sid, user] : run.users) {
        users.push_back({{"sid", sid},
                         {"profile", orNull(user.profile)},
                         {"isLoggedOn", user.isLoggedOn},
                         {"appData", describeAppData(user, run)},
                         {"hasStatusFile", user.hasStatusFile},
                         {"migrated", user.migrated},
                         {"missing", user.missing},
                         {"failed", user.failed},
                         {"foldersOpened", user.foldersOpened},
                         {"foldersFailed", user.foldersFailed}});
    }
    return users;
}

Json problemsOf(const Run& run) {
    Json problems = Json::array();
    for (const Problem& problem : run.problems) {
        problems.push_back({{"id", problem.line->name},
                            {"weight", nameOf(problem.weight)},
                            {"step", titleOf(problem.line->section)},
                            {"count", problem.count},
                            {"line", problem.firstLine},
                            {"texts", problem.examples},
                            {"errors", problem.errors},
                            {"reasons", problem.reasons},
                            {"meaning", problem.line->meaning},
                            {"causes", problem.line->causes},
                            {"advice", problem.line->advice}});
    }
    return problems;
}

Json unplacedOf(const std::vector<Unplaced>& lines) {
    Json unplaced = Json::array();
    for (const Unplaced& line : lines)
        unplaced.push_back({{"line", line.line}, {"text", line.text}});
    return unplaced;
}

Json jsonOf(const Run& run) {
    Json steps = Json::array();
    for (const Step& step : run.steps) {
        steps.push_back({{"step", describeStep(step)},
                         {"begin", orNull(step.begin)},
                         {"seconds", step.seconds},
                         {"lines", step.lines},
                         {"worst", nameOf(step.worst)}});
    }
    Json packages = Json::array();
    for (const OlderPackage& package : run.packages) {
        packages.push_back({{"fullName", package.fullName},
                            {"isGone", package.isGone},
                            {"outcome", package.outcome}});
    }
    return {{"number", run.number},
            {"line", run.firstLine},
            {"lines", run.lines},
            {"begin", orNull(run.begin)},
            {"end", orNull(run.end)},
            {"seconds", run.seconds},
            {"outcome", nameOf(run.outcome)},
            {"exitCode", run.exitCode ? Json(*run.exitCode) : Json()},
            {"explanation", run.explanation},
            {"decidedBy", orNull(run.decidedBy)},
            {"decidedById", run.decider ? Json(run.decider->name) : Json()},
            {"arguments", run.arguments},
            {"isEnterprise", run.isEnterprise ? Json(*run.isEnterprise) : Json()},
            {"account", orNull(run.account)},
            {"loggedOn", orNull(run.loggedOn)},
            {"steps", steps},
            {"users", usersOf(run)},
            {"olderPackages", packages},
            {"newPackage", orNull(run.newPackage)},
            {"filesHandled", run.filesDone},
            {"loopback", describeLoopback(run)},
            {"plugIns", describePlugins(run)},
            {"crashDumps", describeDumps(run)},
            {"problems", problemsOf(run)},
            {"unplaced", run.unplacedCount},
            {"unplacedLines", unplacedOf(run.unplaced)}};
}

// Written on the way, so that a document of any size needs the same memory.
class JsonReport : public Report {
public:
    explicit JsonReport(std::ostream& out) : m_out(out) { m_out << "{\"logs\":["; }

    void beginLog(const LogFile& file) override {
        m_out << (m_hasLog ? ",\n" : "\n") << "{\"file\":" << Json(file.name).dump()
              << ",\"machine\":" << Json(file.machine).dump() << ",\"runs\":[";
        m_hasLog = true;
        m_hasRun = false;
    }

    void addRun(const Run& run) override {
        m_out << (m_hasRun ? ",\n" : "\n") << jsonOf(run).dump();
        m_hasRun = true;
    }

    void endLog(const LogSummary& summary) override {
        m_out << "],\"bytes\":" << summary.bytes << ",\"unplaced\":" << summary.unplaced
              << ",\"strayLines\":" << unplacedOf(summary.strays).dump()
              << ",\"failure\":" << orNull(summary.failure).dump() << "}";
    }

    void end(const Totals& totals) override {
        const Json total = {{"logs", totals.logs},
                            {"unreadable", totals.unreadable},
                            {"runs", totals.runs},
                            {"succeeded", totals.byOutcome[0]},
                            {"failed", totals.byOutcome[1]},
                            {"crashed", totals.byOutcome[2]},
                            {"cutOff", totals.byOutcome[3]},
                            {"unplaced", totals.unplaced},
                            {"passedOver", totals.passedOver}};
        m_out << "\n],\"totals\":" << total.dump() << "}\n";
    }

private:
    std::ostream& m_out;
    bool m_hasLog = false;
    bool m_hasRun = false;
};

}  // namespace

std::unique_ptr<Report> makeJsonReport(std::ostream& out) {
    return std::make_unique<JsonReport>(out);
}
