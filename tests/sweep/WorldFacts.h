#pragma once

#include "end_to_end/World.h"
#include "sweep/model/RunFacts.h"

// What the model of a run must know of the world before the run. `tree` as listTree gives it, of
// the world's whole folder.
RunFacts factsOf(const World& world, const std::map<std::wstring, std::string>& tree,
                 const std::wstring& arguments);
