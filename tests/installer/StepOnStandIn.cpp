// Stands where the installer puts the configurator: hands what it is started with to the real one,
// which it runs on a stand-in machine, and ends with its exit code. The file step.txt beside it
// tells, a line each, the program, the machine file, the trace file and the profile folder of the
// account. (The installer's service has an environment of its own.)
#include <algorithm>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "stand-in/Launcher.h"
#include "stand-in/Text.h"
#include "stand-in/Windows.h"

namespace {

// The command line behind the program's own name, as it stands.
std::wstring_view argumentsAsGiven() {
    std::wstring_view line = ::GetCommandLineW();
    const bool isQuoted = line.starts_with(L'"');
    line.remove_prefix(std::min(line.find(isQuoted ? L'"' : L' ', 1) + 1, line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(L' '), line.size()));
    return line;
}

std::wstring nextLine(std::istream& file) {
    std::string line;
    if (!std::getline(file, line)) throw std::runtime_error("step.txt is too short");
    return standin::toWide(line);
}

standin::Launch readStep() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    std::ifstream file((own.substr(0, own.rfind(L'\\')) + L"\\step.txt").c_str(), std::ios::binary);
    standin::Launch launch;
    launch.program = nextLine(file);
    launch.machineFile = nextLine(file);
    launch.traceFile = nextLine(file);
    launch.environment[L"USERPROFILE"] = nextLine(file);
    launch.commandTail = argumentsAsGiven();
    return launch;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int) {
    constexpr int kNotRun = 99;
    try {
        return static_cast<int>(standin::launch(readStep()).exitCode);
    } catch (const std::exception&) {
        return kNotRun;
    }
}
