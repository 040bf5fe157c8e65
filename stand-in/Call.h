#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace standin {

// One call on the platform: a Windows function or a method of a Windows Runtime object of the machine.
struct Call {
    size_t number = 0;  // from 1, in order of beginning
    std::string name;
    std::vector<std::string> arguments;
    std::string result;
    bool failed = false;
    uint32_t error = 0;  // the last error of a failed call that has one
    bool hasError = false;
    bool injected = false;  // the failure came from a fault

    // One line: CopyFileW("C:\a", "C:\b", 0) = 0, error 32 (injected)
    std::string text() const {
        std::string line = name + "(";
        for (size_t i = 0; i < arguments.size(); ++i) {
            if (i > 0) line += ", ";
            line += arguments[i];
        }
        line += ") = " + result;
        if (hasError) line += ", error " + std::to_string(error);
        if (injected) line += " (injected)";
        return line;
    }
};

}  // namespace standin
