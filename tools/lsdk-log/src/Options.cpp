#include "Options.h"

namespace {

std::filesystem::path pathOf(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    bool areOptionsOver = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (areOptionsOver || !argument.starts_with('-')) {
            options.paths.push_back(pathOf(argument));
        } else if (argument == "--") {
            areOptionsOver = true;
        } else if (argument == "--json") {
            options.asJson = true;
        } else if (argument == "--strict") {
            options.isStrict = true;
        } else if (argument == "--help" || argument == "-h") {
            options.wantsHelp = true;
        } else if (argument == "--html") {
            if (++i == arguments.size()) {
                options.error = "--html needs the name of a file";
                return options;
            }
            options.htmlFile = pathOf(arguments[i]);
        } else {
            options.error = "unknown option: " + argument;
            return options;
        }
    }
    if (options.paths.empty() && !options.wantsHelp) options.error = "no log named";
    return options;
}

std::string helpText() {
    return "usage: lsdk-log [--json] [--html FILE] [--strict] PATH...\n"
           "\n"
           "Tells what happened in each run of LSDKConfigurator, from lsdkConfiguratorLog.txt.\n"
           "\n"
           "  PATH         a log, or a folder: all *.txt and *.log below it\n"
           "  --json       one JSON document instead of text\n"
           "  --html FILE  also writes one self-contained page: steps in time, a row per user, a row\n"
           "               per machine for several logs; text and JSON are then written with --json only\n"
           "  --strict     a line that is not one of the configurator's counts as an error\n"
           "  --help       this text\n"
           "\n"
           "A machine is named as its log file, or, where that has the usual name, as the folder.\n"
           "\n"
           "Exit code: 0 every run succeeded, 1 a run did not, or there was none, 2 a wrong command\n"
           "line, or a log that cannot be read, 3 with --strict: a line could not be placed.\n";
}
