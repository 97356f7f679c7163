#include "asset_maker/sounds.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace nq::assets {

namespace {

struct Note {
    double startS;
    double freqHz;
    double peak;                  // of full scale
    double attackS;               // linear rise, long enough to avoid a click
    double decayPerS;             // exponential fall after the attack
    double overtone;              // level of the octave above, which makes it sound struck rather than beeped
    double overtoneRatio = 2;     // of the fundamental; 4 sounds like a wooden bar
    double overtoneFadePerS = 0;  // extra fall of the overtone, so that the strike softens quickly
};

// The last 30 ms fade to silence so that a sound never ends on a step; then 16-bit samples.
std::vector<int16_t> finish(std::vector<double> mix) {
    const size_t count = mix.size();
    const auto fade = size_t(0.03 * kSoundRateHz);
    for (size_t k = 0; k < fade && k < count; ++k) mix[count - 1 - k] *= double(k) / fade;
    std::vector<int16_t> out(count);
    std::transform(mix.begin(), mix.end(), out.begin(),
                   [](double v) { return int16_t(std::lround(std::clamp(v, -1.0, 1.0) * 32767)); });
    return out;
}

std::vector<int16_t> render(std::initializer_list<Note> notes, double lengthS) {
    const auto count = size_t(lengthS * kSoundRateHz);
    std::vector<double> mix(count, 0.0);
    for (const Note& n : notes) {
        for (size_t i = size_t(n.startS * kSoundRateHz); i < count; ++i) {
            const double t = double(i) / kSoundRateHz - n.startS;
            const double env = t < n.attackS ? t / n.attackS : std::exp(-(t - n.attackS) * n.decayPerS);
            const double phase = 2 * std::numbers::pi * n.freqHz * t;
            const double over = n.overtone * std::exp(-t * n.overtoneFadePerS);
            mix[i] += n.peak * env * (std::sin(phase) + over * std::sin(n.overtoneRatio * phase)) /
                      (1 + n.overtone);
        }
    }
    return finish(std::move(mix));
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

std::vector<int16_t> messageTone() {
    // D6 then A5, a falling fourth on a wooden-bar sound: the chime's interval turned round,
    // in another colour, so that the two are told apart without looking.
    return render(
        {{0.00, 1174.66, 0.40, 0.003, 14, 0.35, 4, 40}, {0.09, 880.00, 0.40, 0.003, 11, 0.35, 4, 40}}, 0.38);
}

std::vector<int16_t> groupShiftSound() {
    const auto count = size_t(0.15 * kSoundRateHz);
    std::vector<double> mix(count, 0.0);
    // A soft tick: a sine gliding down from 1500 to 700 Hz in the first 60 ms, dying fast.
    double phase = 0;
    for (size_t i = 0; i < count; ++i) {
        const double t = double(i) / kSoundRateHz;
        const double freq = 700 + 800 * std::exp(-t / 0.02);
        phase += 2 * std::numbers::pi * freq / kSoundRateHz;
        const double env = std::min(t / 0.003, 1.0) * std::exp(-t * 45);
        mix[i] += 0.22 * env * std::sin(phase);
    }
    // Under it a breath of noise, softened by two low-pass stages, swelling and fading over 120 ms.
    // The generator is our own so that the bytes do not depend on the standard library's.
    uint32_t seed = 0x2545f491;
    double lp1 = 0, lp2 = 0;
    const double a = 1 - std::exp(-2 * std::numbers::pi * 1800.0 / kSoundRateHz);
    for (size_t i = 0; i < count; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const double white = double(seed >> 8) / double(1u << 23) - 1;
        lp1 += a * (white - lp1);
        lp2 += a * (lp1 - lp2);
        const double t = double(i) / kSoundRateHz;
        const double swell = t < 0.12 ? std::sin(std::numbers::pi * t / 0.12) : 0;
        mix[i] += 0.16 * swell * swell * lp2;
    }
    return finish(std::move(mix));
}

}  // namespace nq::assets
