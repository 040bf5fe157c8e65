#pragma once

#include "../Windows.h"

namespace standin {

// What a started program's calls are written to, behind the name of the machine file.
constexpr wchar_t kCompanionTraceTail[] = L".companion.jsonl";

// The handle is being closed.
void forgetProcess(HANDLE process);

}  // namespace standin
