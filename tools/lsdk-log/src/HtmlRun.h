#pragma once

#include <string>

#include "Run.h"

// One run as HTML: its facts, its steps in time, a row per user, its problems with advice.
std::string htmlOf(const Run& run);

// How it ended, as a coloured word.
std::string badgeOf(const Run& run);
