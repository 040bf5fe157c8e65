#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Options {
    std::vector<std::filesystem::path> paths;
    std::filesystem::path htmlFile;  // empty: no page
    bool asJson = false;
    bool isStrict = false;
    bool wantsHelp = false;
    std::string error;  // what is wrong with the command line; empty when nothing is
};

// The arguments without the program's own name.
Options parseOptions(const std::vector<std::string>& arguments);

std::string helpText();
