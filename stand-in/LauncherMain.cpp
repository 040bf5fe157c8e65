#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Launcher.h"
#include "Text.h"

namespace {

constexpr char kUsage[] =
    "launcher [--machine FILE] --trace FILE [--fault FAULT]... [--timeout SECONDS] [--folder FOLDER] [--environment NAME=VALUE]... -- PROGRAM "
    "ARGUMENTS...\n"
    "Runs PROGRAM with the stand-in machine mounted on it. The arguments reach it exactly as they stand.\n"
    "Faults: NAME:3=32, NAME:3+=32, #57=5, NAME:3!, #57!\n";

// The command line behind the first " -- ", cut into the program and the rest as it stands.
void takeProgram(std::wstring_view commandLine, standin::Launch& launch) {
    constexpr std::wstring_view kSeparator = L" -- ";
    const size_t separator = commandLine.find(kSeparator);
    if (separator == std::wstring_view::npos)
        throw std::invalid_argument("no program given behind --");
    std::wstring_view rest = commandLine.substr(separator + kSeparator.size());
    const bool isQuoted = rest.starts_with(L'"');
    if (isQuoted) rest.remove_prefix(1);
    const size_t end = std::min(rest.find(isQuoted ? L'"' : L' '), rest.size());
    launch.program = rest.substr(0, end);
    rest.remove_prefix(std::min(end + (isQuoted ? 1 : 0), rest.size()));
    if (rest.starts_with(L' ')) rest.remove_prefix(1);
    launch.commandTail = rest;
}

standin::Launch launchFrom(int count, wchar_t** arguments) {
    standin::Launch launch;
    for (int i = 1; i < count && std::wstring_view(arguments[i]) != L"--"; i += 2) {
        const std::wstring_view option = arguments[i];
        if (i + 1 >= count) throw std::invalid_argument("an option has no value");
        const std::wstring value = arguments[i + 1];
        if (option == L"--machine") {
            launch.machineFile = value;
        } else if (option == L"--trace") {
            launch.traceFile = value;
        } else if (option == L"--fault") {
            launch.faults += standin::toUtf8(value) + ";";
        } else if (option == L"--timeout") {
            launch.timeout = std::chrono::seconds(std::stoi(value));
        } else if (option == L"--folder") {
            launch.workingFolder = value;
        } else if (option == L"--environment") {
            const size_t equals = value.find(L'=');
            if (equals == std::wstring::npos)
                throw std::invalid_argument("no = in " + standin::toUtf8(value));
            launch.environment[value.substr(0, equals)] = value.substr(equals + 1);
        } else {
            throw std::invalid_argument("unknown option: " + standin::toUtf8(option));
        }
    }
    takeProgram(::GetCommandLineW(), launch);
    return launch;
}

void print(const char* title, const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        std::printf("%s=%s\n", title, text.c_str());
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        const standin::LaunchResult result = standin::launch(launchFrom(count, arguments));
        std::printf("exit_code=%ld\nexit_code_hex=0x%08lX\nended_normally=%d\ntimed_out=%d\n",
                    static_cast<long>(result.exitCode), result.exitCode,
                    result.endedNormally ? 1 : 0, result.timedOut ? 1 : 0);
        print("leak", result.leaks);
        print("double_release", result.doubleReleases);
        print("misuse", result.misuse);
        print("unfired_fault", result.unfiredFaults);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "launcher: %s\n%s", error.what(), kUsage);
        return 1;
    }
}
