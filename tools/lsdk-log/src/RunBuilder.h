#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "Entries.h"
#include "Run.h"

// Puts one run together from its entries, in their order.
class RunBuilder {
public:
    // `hasStart`: the first entry begins a run; otherwise the log begins in the middle of one.
    RunBuilder(std::uint64_t number, const Entry& first, bool hasStart);

    void add(const Entry& entry);
    // No more entries come. `isLast`: of the log, so that the run can still be under way.
    Run finish(bool isLast);
    // Only lines that come before "Starting with : " were added so far.
    bool awaitsItsStart() const { return m_awaitsStart; }

private:
    enum class Cut { No, WithinLine, WithinTime };
    struct Round {
        bool hasFallback = false;
        bool hasOpened = false;
        bool isRefused() const { return hasFallback && !hasOpened; }
        Problem refusal;  // why the fallback failed; without a line when nothing tells
    };

    // RunBuilder.cpp: what is the same for all lines.
    void place(const LineMatch& match, const Entry& entry);
    void addUnplaced(std::uint64_t line, std::string_view text);
    void takeTime(const Entry& entry);
    void enterStep(const LineInfo& line, const Entry& entry);
    void takeProblem(const LineMatch& match, const Entry& entry);
    Problem& problemOf(const LineInfo& line, const Entry& entry);
    Weight weightHere(const LineInfo& line) const;
    void takeDetails(const LineMatch& match);

    // UserLines.cpp: users and their app data. False: the line is none of these.
    bool takeProfileLine(const LineMatch& match);
    bool takeMigrationLine(const LineMatch& match);
    bool takeFolderLine(const LineMatch& match);
    bool takeRegistryLine(const LineMatch& match);
    void endRegistryLists();
    User* user(std::string_view sid);
    void addItem(std::vector<std::string> User::*list, std::string_view item);

    // StepLines.cpp: all other steps.
    bool takeStartLine(const LineMatch& match);
    bool takePackageLine(const LineMatch& match);
    bool takeCompanionLine(const LineMatch& match);
    bool takeRoundLine(const LineMatch& match);
    bool takePostInstallLine(const LineMatch& match);
    bool takePluginLine(const LineMatch& match);
    void setListedPackages(const std::string& outcome, bool isGone);

    // Outcome.cpp: how the run ended.
    void judge(bool isLast);
    bool endedAtRefusedFolders() const;
    void setRefused();
    void judgeCutOff(bool isLast);
    void setFailed(const LineInfo& line, std::string explanation);

    Run m_run;
    bool m_hasStart;
    bool m_awaitsStart;
    bool m_isHexadecimal = false;
    Cut m_cut = Cut::No;
    const LineInfo* m_last = nullptr;
    std::string m_lastText;
    std::string m_stepBegin;
    std::vector<std::string> m_causes;  // not yet told why they matter

    std::string m_profileSid;
    std::string m_userSid;    // whose app data is migrated
    std::string m_topFolder;  // of LocalState, that is copied
    int m_registryView = -1;  // 0 to 3: two lists, each in two hives
    std::array<bool, 2> m_hasListFailed{};
    std::string m_roundSid;  // whose turn it is in a round; empty for nobody's
    bool m_isTurnCounted = false;
    std::vector<Round> m_rounds;
    bool m_areSettingsNext = false;
    bool m_hasNoPluginFolder = false;
};

// Takes the entries of one log and hands out its runs.
class LogAnalysis {
public:
    using Receiver = std::function<void(const Run&)>;

    explicit LogAnalysis(Receiver receiver) : m_receiver(std::move(receiver)) {}

    void add(const Entry& entry);
    void finish();

    std::uint64_t runs() const { return m_runs; }
    // Foreign text before the first run.
    const std::vector<Unplaced>& strays() const { return m_strays; }
    std::uint64_t strayCount() const { return m_strayCount; }

private:
    Receiver m_receiver;
    std::uint64_t m_runs = 0;
    std::vector<RunBuilder> m_run;  // one or none
    std::vector<Unplaced> m_strays;
    std::uint64_t m_strayCount = 0;
};
