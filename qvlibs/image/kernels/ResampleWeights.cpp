#include "qvlibs/image/kernels/ResampleWeights.h"

#include <algorithm>
#include <cmath>

// Built without contraction of products and sums (see CMakeLists.txt), and without the C library's sine: its
// last bit differs between processors, and a weight must not.

namespace qv {
namespace {

// sin(pi x), |x| <= 4; the series ends below 1e-16 on the reduced range.
double sinPi(double x) {
    const double turns = std::nearbyint(x);
    const double a = (x - turns) * 3.14159265358979323846;
    double term = a, sum = a;
    for (int k = 2; k <= 20; k += 2) {
        term = -term * a * a / (k * (k + 1));
        sum += term;
    }
    return static_cast<int>(turns) % 2 == 0 ? sum : -sum;
}

double sinc(double t) { return std::abs(t) < 1e-9 ? 1 : sinPi(t) / (3.14159265358979323846 * t); }

double halfWidth(ResampleKernel kernel) {
    switch (kernel) {
    case ResampleKernel::Triangle: return 1;
    case ResampleKernel::CatmullRom: return 2;
    case ResampleKernel::Lanczos3: return 3;
    default: return 0.5;
    }
}

// The unscaled weights of one destination position. Positions beyond the edges count for the edge.
class Window {
public:
    Window(ResampleKernel kernel, int from, int to)
        : kernel_(kernel), from_(from), to_(to), step_(static_cast<double>(from) / to) {}

    // Fills `weights` and returns the source position of the first.
    int at(int position, std::vector<double>& weights) const {
        weights.clear();
        if (kernel_ == ResampleKernel::Nearest) {
            weights.push_back(1);
            return static_cast<int>((2LL * position + 1) * from_ / (2LL * to_));
        }
        const double center = static_cast<double>((2LL * position + 1) * from_) / (2LL * to_);
        const double width = kernel_ == ResampleKernel::Box ? step_ : std::max(step_, 1.0);
        const double reach = halfWidth(kernel_) * width;
        const int begin = static_cast<int>(std::floor(center - reach));
        const int end = static_cast<int>(std::ceil(center + reach));
        const int first = std::clamp(begin, 0, from_ - 1);
        weights.resize(static_cast<size_t>(std::clamp(end, first + 1, from_) - first));
        for (int at = begin; at < end; ++at) {
            const int inside = std::clamp(at - first, 0, static_cast<int>(weights.size()) - 1);
            weights[static_cast<size_t>(inside)] += valueAt(at, center, width, reach);
        }
        return first;
    }

private:
    double valueAt(int at, double center, double width, double reach) const {
        if (kernel_ == ResampleKernel::Box)
            return std::max(0.0, std::min(at + 1.0, center + reach) - std::max<double>(at, center - reach));
        return resampleKernelAt(kernel_, (at + 0.5 - center) / width);
    }

    ResampleKernel kernel_;
    int from_, to_;
    double step_;
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
    if (weights.size() % 2 != 0) weights.push_back(0);
}

} // namespace

double resampleKernelAt(ResampleKernel kernel, double t) {
    t = std::abs(t);
    if (t >= halfWidth(kernel)) return 0;
    switch (kernel) {
    case ResampleKernel::Triangle: return 1 - t;
    case ResampleKernel::CatmullRom:
        return t < 1 ? (1.5 * t - 2.5) * t * t + 1 : ((-0.5 * t + 2.5) * t - 4) * t + 2;
    case ResampleKernel::Lanczos3: return sinc(t) * sinc(t / 3);
    default: return 1;
    }
}

ResampleWeights makeResampleWeights(ResampleKernel kernel, int from, int to) {
    ResampleWeights out;
    out.taps.reserve(static_cast<size_t>(to));
    const Window window(kernel, from, to);
    std::vector<double> exact;
    for (int position = 0; position < to; ++position) {
        const int first = window.at(position, exact);
        appendRounded(exact, first, out);
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
