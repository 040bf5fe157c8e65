#include "Slices.h"

#include <cstdio>

#include "platform/Windows.h"

double seconds() {
    LARGE_INTEGER count;
    LARGE_INTEGER frequency;
    ::QueryPerformanceCounter(&count);
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void runSlices(int rounds, int slices, const Sides& sides) {
    for (int round = 0; round < rounds; ++round) {
        double product = 0;
        double bare = 0;
        for (int slice = 0; slice < slices; ++slice) {
            const auto timeOne = [&](const auto& side, double& sum) {
                sides.prepare();
                const double start = seconds();
                side(round, slice);
                sum += seconds() - start;
            };
            const bool isProductFirst = (round + slice) % 2 == 0;
            if (isProductFirst) timeOne(sides.product, product);
            timeOne(sides.bare, bare);
            if (!isProductFirst) timeOne(sides.product, product);
        }
        std::printf("round %.6f %.6f\n", product, bare);
        std::fflush(stdout);
    }
}
