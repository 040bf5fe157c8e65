#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace standin {

// A process that is only pretended: the error with which its start fails, else the code it ends with.
struct PretendedProcess {
    uint32_t startError = 0;
    uint32_t exitCode = 0;
};

// What there is at the screen, and what becomes of a program that is started with the token of
// whoever sits there.
struct Desktop {
    bool hasShell = true;
    uint32_t shellProcess = 4711;  // 0: the shell's window goes before its process can be asked for
    uint32_t otherWindows = 0;     // top-level windows beside the shell's
    std::wstring user;             // SID of the user there; none: the user of the process's token
    // None: the program is really started, mounted on the same machine as that user.
    std::optional<PretendedProcess> pretended;
};

}  // namespace standin
