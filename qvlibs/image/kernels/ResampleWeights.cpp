#include "qvlibs/image/kernels/ResampleWeights.h"

#include <algorithm>
#include <cmath>
#include <numeric>

// Built without contraction of products and sums (see CMakeLists.txt), and without the C library's sine: its
// last bit differs between processors, and a weight must not.

namespace qv {
namespace {

constexpr double kPi = 3.14159265358979323846;

// sin(pi x), |x| <= 1/2: the series, to less than 1e-16.
double sinPi(double x) {
    const double a = kPi * x, b = a * a;
    constexpr double kFactors[] = {-1 / 272., -1 / 210., -1 / 156., -1 / 110.,
                                   -1 / 72.,  -1 / 42.,  -1 / 20.,  -1 / 6.};
    double sum = 1 - b / 342;
    for (const double factor : kFactors) sum = 1 + sum * b * factor;
    return a * sum;
}

// sinc(t) sinc(t / 3), 0 <= t < 3, by way of sin 3a = 3 sin a - 4 (sin a)^3.
double lanczos3(double t) {
    if (t < 1e-9) return 1;
    const double third = t / 3, s = sinPi(third <= 0.5 ? third : 1 - third);
    return s * s * (3 - 4 * s * s) * 3 / (kPi * kPi * t * t);
}

double halfWidth(ResampleKernel kernel) {
    switch (kernel) {
    case ResampleKernel::Triangle: return 1;
    case ResampleKernel::CatmullRom: return 2;
    case ResampleKernel::Lanczos3: return 3;
    default: return 0.5;
    }
}

// The unscaled weights of one destination position: those of source positions from `begin` to `end`, some of
// which may be beyond the edges.
struct Window {
    Window(ResampleKernel windowKernel, int position, int from, int to) : kernel(windowKernel) {
        const double ratio = static_cast<double>(from) / to;
        center = static_cast<double>((2LL * position + 1) * from) / (2.0 * to);
        width = kernel == ResampleKernel::Box ? ratio : std::max(ratio, 1.0);
        reach = halfWidth(kernel) * width;
        begin = static_cast<int>(std::floor(center - reach));
        end = static_cast<int>(std::ceil(center + reach));
        if (kernel != ResampleKernel::Nearest) return;
        begin = static_cast<int>((2LL * position + 1) * from / (2LL * to));
        end = begin + 1;
    }

    double weightOf(int at) const {
        if (kernel == ResampleKernel::Nearest) return 1;
        if (kernel == ResampleKernel::Box)
            return std::max(0.0, std::min(at + 1.0, center + reach) - std::max<double>(at, center - reach));
        return resampleKernelAt(kernel, (at + 0.5 - center) / width);
    }

    // Weights of positions inside only, the edges having those of all beyond; returns the first position.
    int folded(int from, std::vector<double>& weights) const {
        const int first = std::clamp(begin, 0, from - 1);
        weights.assign(static_cast<size_t>(std::clamp(end, first + 1, from) - first), 0);
        for (int at = begin; at < end; ++at) {
            const int inside = std::clamp(at - first, 0, static_cast<int>(weights.size()) - 1);
            weights[static_cast<size_t>(inside)] += weightOf(at);
        }
        return first;
    }

    ResampleKernel kernel;
    double center, width, reach;
    int begin, end;
};

// Rounds the running sum instead of each weight: the total is exact whatever their number, and the errors of
// neighbours cancel.
void appendRounded(const std::vector<double>& exact, int first, ResampleWeights& out) {
    double total = 0;
    for (const double value : exact) total += value;
    const double unit = (1 << kWeightBits) / total;
    std::vector<std::int16_t>& weights = out.weights;
    const size_t start = weights.size();
    double running = 0;
    int before = 0;
    for (size_t i = 0; i < exact.size(); ++i) {
        running += exact[i];
        const int now =
            i + 1 == exact.size() ? 1 << kWeightBits : static_cast<int>(std::nearbyint(running * unit));
        weights.push_back(static_cast<std::int16_t>(now - before));
        before = now;
    }
    size_t zeros = 0;
    while (weights[start + zeros] == 0) ++zeros;
    weights.erase(weights.begin() + static_cast<std::ptrdiff_t>(start),
                  weights.begin() + static_cast<std::ptrdiff_t>(start + zeros));
    while (weights.back() == 0) weights.pop_back();
    out.taps.push_back(
        {first + static_cast<int>(zeros), static_cast<int>(weights.size() - start), static_cast<int>(start)});
    while (weights.size() % kWeightGroup != 0) weights.push_back(0);
}

} // namespace

double resampleKernelAt(ResampleKernel kernel, double t) {
    t = std::abs(t);
    if (t >= halfWidth(kernel)) return 0;
    switch (kernel) {
    case ResampleKernel::Triangle: return 1 - t;
    case ResampleKernel::CatmullRom:
        return t < 1 ? (1.5 * t - 2.5) * t * t + 1 : ((-0.5 * t + 2.5) * t - 4) * t + 2;
    case ResampleKernel::Lanczos3: return lanczos3(t);
    default: return 1;
    }
}

ResampleWeights makeResampleWeights(ResampleKernel kernel, int from, int to) {
    ResampleWeights out;
    out.taps.reserve(static_cast<size_t>(to));
    // Positions repeat after a common part of both sizes, moved along; only at the edges weights differ.
    const int common = std::gcd(from, to), period = to / common, move = from / common;
    std::vector<double> exact;
    for (int position = 0; position < to; ++position) {
        const Window window(kernel, position, from, to);
        if (position >= period && window.begin >= move && window.end <= from) {
            const ResampleWeights::Taps& before = out.taps[static_cast<size_t>(position - period)];
            out.taps.push_back({before.first + move, before.count, before.weight});
        } else {
            const int first = window.folded(from, exact);
            appendRounded(exact, first, out);
        }
    }
    return out;
}

bool canResample(const ConstPixelView& src, const Region& region, const PixelView& dst) {
    const auto fits = [](int side) { return side > 0 && side <= kMaxResampleSide; };
    return src.rows && dst.rows && fits(src.width) && fits(src.height) && fits(dst.width) &&
           fits(dst.height) && fits(region.width) && fits(region.height) && region.x >= 0 && region.y >= 0 &&
           region.x <= src.width - region.width && region.y <= src.height - region.height;
}

} // namespace qv
