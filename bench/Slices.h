#pragma once

#include <functional>

// Two sides of the same work, cut into slices that are done in turn: what else the machine does meets both alike.
struct Sides {
    std::function<void(int round, int slice)> product;
    std::function<void(int round, int slice)> bare;
    std::function<void()> prepare = [] {};  // before each, not timed
};

// Seconds since some fixed time.
double seconds();

// Does every slice on both sides, the first side of a slice being the second of the next, and
// prints the seconds of each round: "round PRODUCT BARE".
void runSlices(int rounds, int slices, const Sides& sides);
