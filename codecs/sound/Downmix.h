// From any number of channels to two.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace qv::codec {

enum class Speaker : std::uint8_t { Left, Right, Centre, Low, SideLeft, SideRight, Both };

// The usual order of loudspeakers for a number of channels; channels beyond those known go to both sides.
inline std::vector<Speaker> usualSpeakers(int channels) {
    using enum Speaker;
    switch (channels) {
    case 3: return {Left, Right, Centre};
    case 4: return {Left, Right, SideLeft, SideRight};
    case 5: return {Left, Right, Centre, SideLeft, SideRight};
    case 7: return {Left, Right, Centre, Low, Both, SideLeft, SideRight};
    default: break;
    }
    std::vector<Speaker> all = {Left, Right, Centre, Low, SideLeft, SideRight, SideLeft, SideRight};
    all.resize(static_cast<std::size_t>(std::max(channels, 0)), Both);
    return all;
}

// -1..1 to 16 bits: rounded, and held at the ends; what is no number is silence.
inline std::int16_t toSixteenBits(float value) {
    if (std::isnan(value)) return 0;
    return static_cast<std::int16_t>(std::lrintf(std::clamp(value * 32768.0F, -32768.0F, 32767.0F)));
}

// Weights of each channel in the left and in the right. Centre and surround come in 3 dB lower, the
// low-frequency channel is left out; then everything is turned down until the loudest input cannot overflow.
class Downmix {
public:
    explicit Downmix(const std::vector<Speaker>& speakers) {
        constexpr float k3dB = 0.70710678F;
        for (const Speaker speaker : speakers) {
            using enum Speaker;
            const bool left = speaker != Right && speaker != SideRight && speaker != Low;
            const bool right = speaker != Left && speaker != SideLeft && speaker != Low;
            const float weight = speaker == Left || speaker == Right ? 1.0F : k3dB;
            left_.push_back(left ? weight : 0);
            right_.push_back(right ? weight : 0);
        }
        float leftSum = 0, rightSum = 0;
        for (std::size_t i = 0; i < left_.size(); ++i) {
            leftSum += left_[i];
            rightSum += right_[i];
        }
        const float loudest = std::max({leftSum, rightSum, 1.0F});
        for (auto* side : {&left_, &right_}) {
            for (float& weight : *side) weight /= loudest;
        }
    }
    std::size_t channels() const { return left_.size(); }

    // One sample of all channels to two of 16 bits.
    void mix(const float* in, std::int16_t* out) const {
        float left = 0, right = 0;
        for (std::size_t i = 0; i < left_.size(); ++i) {
            left += left_[i] * in[i];
            right += right_[i] * in[i];
        }
        out[0] = toSixteenBits(left);
        out[1] = toSixteenBits(right);
    }

private:
    std::vector<float> left_, right_;
};

} // namespace qv::codec
