// Which source positions make one destination position, along one axis.
#pragma once

#include "qvlibs/image/kernels/Resample.h"

#include <cstdint>
#include <vector>

namespace qv {

// Weights are in units of 2^-14 and sum to 2^14 for every destination position.
constexpr int kWeightBits = 14;

// Rows are filtered first. Between the passes a value is kept in 16 bits, in units of 2^-6 of a level:
// filters that overshoot reach from -0.5 to 1.5 times the range and stay inside.
constexpr int kBetweenBits = 6;

constexpr int kWeightGroup = 4;

struct ResampleWeights {
    struct Taps {
        int first;  // source position of the first weight
        int count;  // at least 1; first + count never passes the source's end
        int weight; // index of the first weight
    };
    std::vector<Taps> taps; // one per destination position
    // Each position's weights start at a multiple of kWeightGroup and are filled up with zeros to the next:
    // they can be read in pairs and in fours.
    std::vector<std::int16_t> weights;
};

// `from` source positions to `to` destination positions, both at least 1. Throws bad_alloc.
ResampleWeights makeResampleWeights(ResampleKernel kernel, int from, int to);

// Kernel value at distance `t` from the centre (Triangle, CatmullRom, Lanczos3).
double resampleKernelAt(ResampleKernel kernel, double t);

// Whether the sizes and the region can be worked on.
[[nodiscard]] bool canResample(const ConstPixelView& src, const Region& region, const PixelView& dst);

} // namespace qv
