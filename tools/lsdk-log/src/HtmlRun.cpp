#include "HtmlRun.h"

#include <algorithm>

#include "Entries.h"
#include "Text.h"
#include "Words.h"

namespace {

std::string fact(const std::string& name, const std::string& text) {
    return text.empty() ? "" : "<dt>" + name + "</dt><dd>" + escapeHtml(text) + "</dd>\n";
}

std::string heading(const std::string& text) {
    return "<h4>" + text + "</h4>\n";
}

std::string logText(const std::string& text) {
    return "<code class=\"log\">" + escapeHtml(text) + "</code>\n";
}

std::string factsOf(const Run& run) {
    std::string html = "<dl>\n" + fact("Arguments", describeArguments(run)) +
                       fact("Account", run.account) + fact("Outcome", run.explanation);
    if (!run.decidedBy.empty())
        html += "<dt>Last word</dt><dd>" + logText(run.decidedBy) + "</dd>\n";
    for (const OlderPackage& package : run.packages)
        html += fact("Older package", package.fullName + ": " + package.outcome);
    html += fact("New package", run.newPackage);
    html += fact("Package files", std::to_string(run.filesDone) + " handled");
    html += fact("Loopback", describeLoopback(run)) + fact("Plug-ins", describePlugins(run)) +
            fact("Crash dumps", describeDumps(run));
    return html + "</dl>\n";
}

std::string percent(std::int64_t part, std::int64_t whole) {
    constexpr std::int64_t kLast = 99;  // where what took no time at the end can still be seen
    return std::to_string(
               std::clamp<std::int64_t>(part * 100 / std::max<std::int64_t>(whole, 1), 0, kLast)) +
           "%";
}

std::string stepsOf(const Run& run) {
    std::string html = heading("Steps") + "<ol class=\"steps\">\n";
    for (const Step& step : run.steps) {
        const std::int64_t offset = step.begin.empty() ? 0 : secondsBetween(run.begin, step.begin);
        const bool isBad = step.worst == Weight::Fatal;
        const bool hasFailure = step.worst == Weight::Failure;
        html += std::string("<li class=\"") +
                (isBad        ? "bad"
                 : hasFailure ? "warn"
                              : "fine") +
                "\"><i></i><span>" + escapeHtml(describeStep(step)) +
                (isBad        ? " <b>fatal</b>"
                 : hasFailure ? " <b>failure</b>"
                              : "") +
                "</span><span class=\"soft small\">" + describeSeconds(step.seconds) +
                "</span><span class=\"track\"><u style=\"--a:" + percent(offset, run.seconds) +
                ";--w:" + percent(step.seconds, run.seconds) + "\"></u></span></li>\n";
    }
    return html + "</ol>\n";
}

std::string usersOf(const Run& run) {
    if (run.users.empty()) return "";
    std::string html =
        heading("Users") +
        "<table class=\"users\"><thead><tr><th>User</th><th>App data</th><th>Migrated</th><th>Failed"
        "</th><th>Folders for the app</th></tr></thead><tbody>\n";
    for (const auto& [sid, user] : run.users) {
        const std::string who = user.profile.empty() ? sid : user.profile;
        html += "<tr><td data-label=\"User\">" + escapeHtml(who) +
                (user.isLoggedOn ? " <b>(logged on)</b>" : "") +
                (user.profile.empty()
                     ? ""
                     : "<br><span class=\"soft small\">" + escapeHtml(sid) + "</span>") +
                "</td><td data-label=\"App data\">" + escapeHtml(describeAppData(user, run)) +
                "</td><td data-label=\"Migrated\">" + escapeHtml(listOf(user.migrated)) +
                (user.missing.empty() ? ""
                                      : "<br><span class=\"soft small\">did not exist: " +
                                            escapeHtml(listOf(user.missing)) + "</span>") +
                "</td><td data-label=\"Failed\">" + escapeHtml(listOf(user.failed)) +
                "</td><td data-label=\"Folders for the app\">" + std::to_string(user.foldersOpened) +
                " open, " + std::to_string(user.foldersFailed) + " failed</td></tr>\n";
    }
    return html + "</tbody></table>\n";
}

std::string problemOf(const Problem& problem) {
    const LineInfo& line = *problem.line;
    const bool isFatal = problem.weight == Weight::Fatal;
    std::string html =
        std::string("<details") + (isFatal ? " open" : "") + "><summary><span class=\"badge " +
        (isFatal ? "bad\">fatal" : "warn\">failure") + "</span> " +
        escapeHtml(oneLine(problem.examples.empty() ? "" : problem.examples.front(), 160)) +
        " <span class=\"soft small\">line " + std::to_string(problem.firstLine) +
        (problem.count > 1 ? ", " + std::to_string(problem.count) + " times" : "") +
        "</span></summary>\n";
    for (const std::string& example : problem.examples)
        html += logText(example);
    html += "<dl>\n" + fact("Error", problem.errors.empty() ? "" : listOf(problem.errors));
    for (const std::string& reason : problem.reasons)
        html += "<dt>Reason</dt><dd>" + logText(reason) + "</dd>\n";
    return html + fact("Meaning", std::string(line.meaning)) +
           fact("Causes", std::string(line.causes)) + fact("What to do", std::string(line.advice)) +
           "</dl></details>\n";
}

}  // namespace

std::string badgeOf(const Run& run) {
    const bool isGood = run.outcome == Outcome::Succeeded;
    const bool isWarned = run.outcome == Outcome::CutOff || (isGood && run.hasFailures());
    return std::string("<span class=\"badge ") +
           (isWarned ? "warn"
            : isGood ? "good"
                     : "bad") +
           "\">" + describeOutcome(run) + "</span>";
}

std::string htmlOf(const Run& run) {
    std::string html = "<article class=\"card\">\n<h3>Run " + std::to_string(run.number) + " " +
                       badgeOf(run) + "<span class=\"soft small\">" + escapeHtml(run.begin) +
                       (run.begin.empty() ? "" : ", " + describeSeconds(run.seconds)) +
                       "</span></h3>\n";
    html += factsOf(run);
    if (!run.problems.empty()) html += heading("Problems");
    for (const Problem& problem : run.problems)
        html += problemOf(problem);
    html += stepsOf(run) + usersOf(run);
    if (run.unplacedCount > 0) {
        html += heading("Lines that could not be placed: " + std::to_string(run.unplacedCount));
        for (const Unplaced& line : run.unplaced)
            html += logText("line " + std::to_string(line.line) + ": " + line.text);
    }
    return html + "</article>\n";
}
