// The collection's random numbers: counter-based draws addressed by a domain
// word, a seed word, a stream and an index (no generator state, so a draw never
// depends on which others were made); the unit walk, whose value at any
// lattice step is computed directly from its key; and "Vary by Item", which
// makes items with equal settings differ by their names. Pure functions.
#pragma once

#include <cstdint>

#include "hostapi/lwhost.h"

// Domain words: the plug-in's short name in ASCII, left-aligned, zero-padded.
constexpr uint64_t kBlinkDomain = 0x426C696E6B000000ull;
constexpr uint64_t kDiffuserDomain = 0x4469666675736572ull;
constexpr uint64_t kDiffuseDomain = 0x4469666675736500ull;
constexpr uint64_t kAcidDomain = 0x4163696400000000ull;
constexpr uint64_t kPolyPopDomain = 0x506F6C79506F7000ull;

// The SplitMix64 finaliser: a one-to-one map of 64-bit words.
constexpr uint64_t VeskMix64(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}
constexpr uint64_t VeskStep(uint64_t h, uint64_t w) { return VeskMix64((h ^ w) + 0x9E3779B97F4A7C15ull); }

// VeskHash(w1, ..., wm): the words folded in order from 0.
template <typename... Words>
constexpr uint64_t VeskHash(Words... words) {
    uint64_t h = 0;
    ((h = VeskStep(h, static_cast<uint64_t>(words))), ...);
    return h;
}

// Strictly between 0 and 1, exact on every build.
constexpr double VeskUnit(uint64_t h) { return (static_cast<double>(h >> 12) + 0.5) * 2.220446049250313e-16; }
// Sum of four 16-bit uniforms, centred and scaled: mean 0, variance 1 - 2^-32.
// Exact up to the final multiplication, which is one rounding.
constexpr double VeskNormal(uint64_t h) {
    uint64_t sum = (h & 0xFFFF) + ((h >> 16) & 0xFFFF) + ((h >> 32) & 0xFFFF) + (h >> 48) + 2;
    return (static_cast<double>(sum) * (1.0 / 65536.0) - 2.0) * 1.7320508075688772;
}

// The seed word of a SEED setting: floor(value + 0.5).
uint64_t VeskSeedWord(double seed);
// The name key of an item name: its bytes packed big-endian into 8-byte words,
// the last zero-padded, then the length.
uint64_t VeskNameKey(const char *name);
// The seed word a plug-in uses: with "Vary by Item" on, mixed with the name key
// of the item as the plug-ins name it.
uint64_t VeskItemSeedWord(double seed, bool varyByItem, LWItemID item);

// The unit walk of one pull and lattice spacing: Brownian without a pull, the
// Ornstein-Uhlenbeck process with one, exact at the lattice steps. Blocks are
// 2^levels steps long (20 in the product; tests shorten them).
constexpr int kWalkLevels = 20;
struct VeskWalk {
    int levels;
    double blockKeep, blockSpread;  // rho(N) and sqrt(v(N)), N = 2^levels
    // Per halving level i (interval half-width n = 2^i): the bridge's mean
    // factor rho(n) / (1 + rho(n)^2) and its spread sqrt(v(n) / (1 + rho(n)^2)).
    double bridgeKeep[kWalkLevels], bridgeSpread[kWalkLevels];
};

// pull: lambda per second, at least 0; stepSeconds: the lattice spacing h.
void VeskWalkSetUp(VeskWalk *walk, double pull, double stepSeconds, int levels = kWalkLevels);
// The walk's value at whole step k (0 at and before step 0). `draws`, when
// given, counts the variates drawn.
double VeskWalkStep(const VeskWalk &walk, uint64_t key, int64_t k, int *draws = nullptr);
// At s lattice steps since the start: straight segments between the lattice
// values, or with `smooth` a Catmull-Rom curve through them that starts at rest.
double VeskWalkAt(const VeskWalk &walk, uint64_t key, double s, bool smooth);
// A walk's value at one s, for every key at once: the weighted sum of the
// draws it is made of (their step numbers and weights depend only on s), so
// that many keys at one time cost one hash and one multiply-add per draw.
// Holds the values of walks held below 2^20 - 2 steps.
constexpr int kWalkPlanTerms = 128;
struct VeskWalkPlan {
    int count;
    uint64_t step[kWalkPlanTerms];
    double weight[kWalkPlanTerms];
};
void VeskWalkPlanAt(const VeskWalk &walk, double s, bool smooth, VeskWalkPlan *plan);
// Equals VeskWalkAt(walk, key, s, smooth) to rounding.
inline double VeskWalkPlanValue(const VeskWalkPlan &plan, uint64_t key) {
    double sum = 0;
    for (int i = 0; i < plan.count; ++i) sum += plan.weight[i] * VeskNormal(VeskStep(key, plan.step[i]));
    return sum;
}

// Lattice steps since `start` (frames) for a time in frames, snapped to the
// whole step when within 1e-9 of one, so whole frames land on their steps.
double VeskLatticeSteps(double frames, double start, double step);
