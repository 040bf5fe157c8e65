#pragma once

#include <string>
#include <vector>

#include "executable/PeFile.h"

// What is wrong with an executable, in words; nothing if it is as it has to be.
using Findings = std::vector<std::string>;

// DLLs, bound at once or late by the linker, that are not on the list.
Findings importFindings(const PeFile& file);
// Address layout, execution of data, kind of program.
Findings protectionFindings(const PeFile& file);
// A table for unwinding that a search would lose its way in, or that leads out of the code.
Findings unwindFindings(const PeFile& file);
// Fewer than `fewest` functions that check their stack frame before they return.
Findings stackProtectorFindings(const PeFile& file, size_t fewest);
// Time stamps, which differ from build to build, and the places where it was built.
Findings originFindings(const PeFile& file, const std::vector<std::string>& places);

// The stack protector's alarm: mov ecx, FAST_FAIL_STACK_COOKIE_CHECK_FAILURE; int 29h.
inline const std::string kStackAlarm = {'\xB9', 2, 0, 0, 0, '\xCD', '\x29'};
// The functions that can end in it; none if there is no alarm.
std::vector<RUNTIME_FUNCTION> guardedFunctions(const PeFile& file);
