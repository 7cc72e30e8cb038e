#include "helpers/random.h"

#include <cmath>
#include <cstring>

#include "services/host_services.h"

// The family's check values, held by every compiler that builds the module
// (the first SplitMix64 outputs, and the conversions of one hash).
static_assert(VeskHash(0) == 0xE220A8397B1DCDAFull);
static_assert(VeskHash(1, 2, 3) == 0xD0734750FDE362B3ull);
static_assert(VeskHash(int64_t{-1}) == 0xE4D971771B652C20ull);
static_assert(VeskStep(VeskHash(1, 2), 3) == VeskHash(1, 2, 3));
static_assert(VeskUnit(VeskHash(1, 2, 3)) == 0.81425901152932811);
static_assert(VeskNormal(VeskHash(1, 2, 3)) == 0.81430385485846979);
static_assert(VeskUnit(0) == 1.1102230246251565e-16);
static_assert(VeskNormal(0) == -3.4640487571419181);

uint64_t VeskSeedWord(double seed) {
    // The seed controls hold 0 to 9999; a negative word would still be a word,
    // entered as its two's complement.
    return static_cast<uint64_t>(static_cast<int64_t>(std::floor(seed + 0.5)));
}

uint64_t VeskNameKey(const char *name) {
    size_t n = std::strlen(name);
    uint64_t h = 0;
    for (size_t i = 0; i < n; i += 8) {
        uint64_t word = 0;
        for (size_t b = 0; b < 8; ++b) word = (word << 8) | (i + b < n ? static_cast<unsigned char>(name[i + b]) : 0);
        h = VeskStep(h, word);
    }
    return VeskStep(h, n);
}

uint64_t VeskItemSeedWord(double seed, bool varyByItem, LWItemID item) {
    uint64_t sw = VeskSeedWord(seed);
    return varyByItem ? VeskStep(VeskNameKey(ItemName(item)), sw) : sw;
}

namespace {

// How much of an offset survives `span` seconds of pull, and the variance the
// walk adds over them; expm1 keeps small pulls accurate.
double Keep(double pull, double span) { return std::exp(-pull * span); }
double Variance(double pull, double span) { return pull == 0 ? span : -std::expm1(-2 * pull * span) / (2 * pull); }

}  // namespace

void VeskWalkSetUp(VeskWalk *walk, double pull, double stepSeconds, int levels) {
    if (levels < 1) levels = 1;
    if (levels > kWalkLevels) levels = kWalkLevels;
    walk->levels = levels;
    double block = std::ldexp(stepSeconds, levels);
    walk->blockKeep = Keep(pull, block);
    walk->blockSpread = std::sqrt(Variance(pull, block));
    for (int i = 0; i < levels; ++i) {
        double span = std::ldexp(stepSeconds, i);
        double q = Keep(pull, span), d = 1 + q * q;
        walk->bridgeKeep[i] = q / d;
        walk->bridgeSpread[i] = std::sqrt(Variance(pull, span) / d);
    }
}

namespace {

// The walk at whole step k with the variate of each step number given by
// `draw`; the value is linear in the variates.
template <typename Draw>
double WalkStepWith(const VeskWalk &walk, int64_t k, Draw draw) {
    if (k <= 0) return 0;
    const int64_t blockSteps = int64_t{1} << walk.levels;
    int64_t blocks = k >> walk.levels, j = k - (blocks << walk.levels);
    // The block ends, chained from step 0.
    double end = 0;
    for (int64_t b = 0; b < blocks; ++b) end = walk.blockKeep * end + walk.blockSpread * draw(static_cast<uint64_t>(b * blockSteps));
    if (j == 0) return end;
    // Halve the block towards j, each midpoint drawn from the bridge between
    // the interval's ends; the next block's end uses the draw that chaining
    // to it would, so the walk is continuous across block ends.
    int64_t base = blocks * blockSteps, low = 0;
    double x = end, y = walk.blockKeep * end + walk.blockSpread * draw(static_cast<uint64_t>(base));
    for (int level = walk.levels - 1;; --level) {
        int64_t middle = low + (int64_t{1} << level);
        double m = walk.bridgeKeep[level] * (x + y) + walk.bridgeSpread[level] * draw(static_cast<uint64_t>(base + middle));
        if (j == middle) return m;
        if (j < middle)
            y = m;
        else
            low = middle, x = m;
    }
}

}  // namespace

double VeskWalkStep(const VeskWalk &walk, uint64_t key, int64_t k, int *draws) {
    int used = 0;
    double value = WalkStepWith(walk, k, [&](uint64_t step) {
        ++used;
        return VeskNormal(VeskStep(key, step));
    });
    if (draws) *draws = used;
    return value;
}

namespace {

// Adds weight x U(k) to the plan: the step numbers U(k) draws, each with its
// coefficient, found by giving that one variate the value 1.
void AddLatticeValue(const VeskWalk &walk, int64_t k, double weight, VeskWalkPlan *plan) {
    if (k <= 0 || weight == 0) return;
    uint64_t steps[kWalkPlanTerms];
    int count = 0;
    WalkStepWith(walk, k, [&](uint64_t step) {
        if (count < kWalkPlanTerms) steps[count++] = step;
        return 0.0;
    });
    for (int i = 0; i < count; ++i) {
        double c = WalkStepWith(walk, k, [&](uint64_t step) { return step == steps[i] ? 1.0 : 0.0; });
        int t = 0;
        while (t < plan->count && plan->step[t] != steps[i]) ++t;
        if (t == plan->count) {
            if (t == kWalkPlanTerms) continue;
            plan->step[t] = steps[i];
            plan->weight[t] = 0;
            ++plan->count;
        }
        plan->weight[t] += weight * c;
    }
}

}  // namespace

void VeskWalkPlanAt(const VeskWalk &walk, double s, bool smooth, VeskWalkPlan *plan) {
    plan->count = 0;
    if (!(s > 0)) return;
    double whole = std::floor(s), f = s - whole;
    int64_t k = static_cast<int64_t>(whole);
    if (f == 0) return AddLatticeValue(walk, k, 1, plan);
    if (!smooth) {
        AddLatticeValue(walk, k, 1 - f, plan);
        AddLatticeValue(walk, k + 1, f, plan);
        return;
    }
    // The Catmull-Rom basis; at k = 0 the mirror P0 = P2 adds P0's weight to P2's.
    double w0 = f * (-0.5 + f * (1 - 0.5 * f)), w1 = 1 + f * f * (-2.5 + 1.5 * f);
    double w2 = f * (0.5 + f * (2 - 1.5 * f)), w3 = f * f * (-0.5 + 0.5 * f);
    if (k >= 1)
        AddLatticeValue(walk, k - 1, w0, plan);
    else
        w2 += w0;
    AddLatticeValue(walk, k, w1, plan);
    AddLatticeValue(walk, k + 1, w2, plan);
    AddLatticeValue(walk, k + 2, w3, plan);
}

double VeskWalkAt(const VeskWalk &walk, uint64_t key, double s, bool smooth) {
    if (!(s > 0)) return 0;
    double whole = std::floor(s), f = s - whole;
    int64_t k = static_cast<int64_t>(whole);
    double p1 = VeskWalkStep(walk, key, k);
    if (f == 0) return p1;
    double p2 = VeskWalkStep(walk, key, k + 1);
    if (!smooth) return p1 + f * (p2 - p1);
    double p3 = VeskWalkStep(walk, key, k + 2);
    // Mirrored at the start so that the drift leaves step 0 at rest.
    double p0 = k >= 1 ? VeskWalkStep(walk, key, k - 1) : p2;
    double c1 = 0.5 * (p2 - p0), c2 = p0 - 2.5 * p1 + 2 * p2 - 0.5 * p3, c3 = 1.5 * (p1 - p2) + 0.5 * (p3 - p0);
    return p1 + f * (c1 + f * (c2 + f * c3));
}

double VeskLatticeSteps(double frames, double start, double step) {
    double s = (frames - start) / step;
    double nearest = std::floor(s + 0.5);
    return std::fabs(s - nearest) < 1e-9 ? nearest : s;
}
