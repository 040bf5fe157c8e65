#pragma once

#include "executable/ImageFindings.h"

// Functions that the executable imports, and that neither the stand-in machine watches nor the C++
// runtime alone calls: what it did through them no trace would show.
Findings unwatchedImports(const PeFile& file);
