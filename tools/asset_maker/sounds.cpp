#include "asset_maker/sounds.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace nq::assets {

namespace {

struct Note {
    double startS;
    double freqHz;
    double peak;       // of full scale
    double attackS;    // linear rise, long enough to avoid a click
    double decayPerS;  // exponential fall after the attack
    double overtone;   // level of the octave above, which makes it sound struck rather than beeped
};

std::vector<int16_t> render(std::initializer_list<Note> notes, double lengthS) {
    const auto count = size_t(lengthS * kSoundRateHz);
    std::vector<double> mix(count, 0.0);
    for (const Note& n : notes) {
        for (size_t i = size_t(n.startS * kSoundRateHz); i < count; ++i) {
            const double t = double(i) / kSoundRateHz - n.startS;
            const double env = t < n.attackS ? t / n.attackS : std::exp(-(t - n.attackS) * n.decayPerS);
            const double phase = 2 * std::numbers::pi * n.freqHz * t;
            mix[i] += n.peak * env * (std::sin(phase) + n.overtone * std::sin(2 * phase)) / (1 + n.overtone);
        }
    }
    // The last 30 ms fade to silence so that the sound never ends on a step.
    const auto fade = size_t(0.03 * kSoundRateHz);
    for (size_t k = 0; k < fade && k < count; ++k) mix[count - 1 - k] *= double(k) / fade;
    std::vector<int16_t> out(count);
    std::transform(mix.begin(), mix.end(), out.begin(),
                   [](double v) { return int16_t(std::lround(std::clamp(v, -1.0, 1.0) * 32767)); });
    return out;
}

}  // namespace

std::vector<int16_t> onlineChime() {
    // G5 then C6, a rising fourth.
    return render({{0.00, 783.99, 0.45, 0.005, 9, 0.25}, {0.12, 1046.50, 0.45, 0.005, 7, 0.25}}, 0.5);
}

std::vector<int16_t> systemMessageTone() {
    // E5, slower attack and quieter than the chime, no overtone.
    return render({{0.00, 659.25, 0.35, 0.02, 8, 0.0}}, 0.4);
}

}  // namespace nq::assets
