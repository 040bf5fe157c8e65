#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "run/RunConfigurator.h"
#include "support/LogTest.h"

inline constexpr wchar_t kUserSid[] = L"S-1-5-21-1000-2000-3000-1001";
inline constexpr wchar_t kFamilyName[] = L"Velta.QK_kt83f9rd2xj6a";
inline constexpr wchar_t kCrashDumpKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\QK.exe";

// A small machine on which a whole run succeeds: the new package is installed, the account that
// the run has is the one that is logged on, and it has no profile in the profile list.
void makeMachine(standin::MachineState& state, const ScratchFolder& scratch,
                 ScratchRegistry& registry);
// Gives the account a profile with data folders, in "anna" of the scratch folder.
void addProfile(const ScratchFolder& scratch, ScratchRegistry& registry);

// The steps of a run, in the order in which they showed in its calls and log lines; one that shows
// several times in a row is named once.
std::vector<std::string> stepsOf(const std::vector<std::string>& calls);

// What the record of the run never gives back: the text of the account's SID, and what the system
// allocates for each access list of a file that is read without its descriptor.
std::vector<std::string> neverReleased(const std::vector<std::string>& leaks);

// The whole run within this process, on a small machine.
class ConfiguratorRun : public MachineTest {
protected:
    ConfiguratorRun() { makeMachine(machine.state, scratch, registry); }
    // Nothing is left but what is never given back.
    void TearDown() override;

    // Runs with these arguments, the program's path first.
    int run(std::initializer_list<const wchar_t*> arguments);
    // Runs with a command line that is right, and a sixth argument if there is one.
    int runTypically(const wchar_t* enterpriseFlag = nullptr);

    std::wstring logPath() const { return scratch / L"lsdkConfiguratorLog.txt"; }
    std::string log() const { return withoutTimes(readFile(logPath())); }
    std::vector<std::string> steps() const { return stepsOf(machine.calls()); }

private:
    decltype(seemToBeIn(std::declval<const ScratchFolder&>())) m_place = seemToBeIn(scratch);
};
