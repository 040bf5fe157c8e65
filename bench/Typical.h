#pragma once

#include <string>

// A whole run on the world of the recorded one, and the recorded calls, in turn; what the one
// before made is removed outside the time. `root`: the folder of the world, with the table and this
// program in it.
void sliceTypicalRun(const std::wstring& root, int rounds);
