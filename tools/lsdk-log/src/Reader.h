#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// The whole program: the arguments without its own name; returns the exit code.
int runReader(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& errors);
