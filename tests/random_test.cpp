// The shared random numbers and the unit walk: name keys, the walk's block
// chaining, draw budget and statistics, both interpolations through the
// lattice values, and plans that serve many keys.
#include <gtest/gtest.h>

#include <cmath>

#include "helpers/random.h"

namespace {

// The hash family's own check values are held at compile time; these are the
// name keys and seed words built on it.
TEST(VeskRandom, NameKeysAndSeedWords) {
    // "Null" is one word of 4 bytes, "Debris.003" two words of 10.
    EXPECT_EQ(VeskNameKey("Null"), VeskHash(0x4E756C6C00000000ull, 4));
    EXPECT_EQ(VeskNameKey("Null"), 0xB47081EF8E158C12ull);
    EXPECT_EQ(VeskNameKey("Debris.003"), 0x11AFD8F6DBB4DC6Aull);
    EXPECT_EQ(VeskStep(VeskNameKey("Null"), 1), 0x05F3DD84236EC0E2ull);
    EXPECT_EQ(VeskStep(VeskNameKey("Debris.003"), 1), 0xECCC42C1198E7C77ull);
    EXPECT_EQ(VeskHash(kDiffuserDomain, 0xECCC42C1198E7C77ull, 0), 0x34A99240C425E490ull);
    EXPECT_EQ(VeskSeedWord(1.49), 1u);
    EXPECT_EQ(VeskSeedWord(9998.5), 9999u);
}

// The walk's value at a step below 2^20, straight from its definition: the
// first block's end drawn from step 0, then the interval halved down to the
// step, each midpoint drawn between its ends (pull 0: Brownian motion).
double ReferenceStep(uint64_t key, double pull, double h, int64_t k) {
    const int64_t blockSteps = int64_t{1} << 20;
    auto survives = [&](double n) { return std::exp(-pull * n * h); };
    auto variance = [&](double n) { return pull == 0 ? n * h : -std::expm1(-2 * pull * n * h) / (2 * pull); };
    if (k <= 0) return 0;
    double x = 0, y = std::sqrt(variance(blockSteps)) * VeskNormal(VeskStep(key, 0));
    for (int64_t low = 0, n = blockSteps / 2;; n /= 2) {
        const int64_t mid = low + n;
        const double q = survives(n);
        const double u = q * (x + y) / (1 + q * q) + std::sqrt(variance(n) / (1 + q * q)) * VeskNormal(VeskStep(key, mid));
        if (k == mid) return u;
        if (k < mid) y = u;
        else low = mid, x = u;
    }
}

TEST(VeskRandom, WalkAgainstItsDefinition) {
    const uint64_t key = VeskHash(kDiffuserDomain, 1, 0);
    ASSERT_EQ(key, 0x39564EC89DE9B61Cull);
    const double h = 4 / 30.0;
    for (double pull : {0.0, 0.5}) {
        VeskWalk walk;
        VeskWalkSetUp(&walk, pull, h);
        for (int64_t k : {1, 2, 3, 7, 1000, 524288, 1048575}) {
            double want = ReferenceStep(key, pull, h, k);
            EXPECT_NEAR(VeskWalkStep(walk, key, k), want, 1e-12 * std::fabs(want)) << pull << " " << k;
        }
    }
    // Between steps: a straight line, or the Catmull-Rom curve through the
    // steps around (mirrored at the start, so the drift leaves at rest).
    VeskWalk walk;
    VeskWalkSetUp(&walk, 0, h);
    auto U = [&](int k) { return ReferenceStep(key, 0, h, k); };
    auto curve = [](double p0, double p1, double p2, double p3, double f) {
        double c1 = 0.5 * (p2 - p0), c2 = p0 - 2.5 * p1 + 2 * p2 - 0.5 * p3, c3 = 1.5 * (p1 - p2) + 0.5 * (p3 - p0);
        return p1 + f * (c1 + f * (c2 + f * c3));
    };
    EXPECT_NEAR(VeskWalkAt(walk, key, 1.5, false), (U(1) + U(2)) / 2, 1e-12);
    EXPECT_NEAR(VeskWalkAt(walk, key, 1.5, true), curve(U(0), U(1), U(2), U(3), 0.5), 1e-12);
    EXPECT_NEAR(VeskWalkAt(walk, key, 2.25, true), curve(U(1), U(2), U(3), U(4), 0.25), 1e-12);
    // Leaving step 0 at rest: f^2 (3 U1 - U2 / 2) + f^3 (U2 / 2 - 2 U1).
    EXPECT_NEAR(VeskWalkAt(walk, key, 0.5, true), 0.25 * (3 * U(1) - U(2) / 2) + 0.125 * (U(2) / 2 - 2 * U(1)), 1e-12);
    EXPECT_EQ(VeskWalkAt(walk, key, 0, true), 0.0);
    EXPECT_EQ(VeskWalkAt(walk, key, -3, false), 0.0);
}

TEST(VeskRandom, WalkBlocksChainAndStayWithinTheirDraws) {
    const uint64_t key = 0x1234;
    for (int levels : {4, kWalkLevels}) {
        VeskWalk walk;
        VeskWalkSetUp(&walk, 0.3, 0.1, levels);
        const int64_t n = int64_t{1} << levels;
        // The end of block 0, drawn by the bridge's first variate, is the value
        // that block 1 starts from.
        double endOfBlock = walk.blockKeep * 0 + walk.blockSpread * VeskNormal(VeskStep(key, 0));
        EXPECT_EQ(VeskWalkStep(walk, key, n), endOfBlock);
        double continued = walk.blockKeep * endOfBlock + walk.blockSpread * VeskNormal(VeskStep(key, n));
        EXPECT_EQ(VeskWalkStep(walk, key, 2 * n), continued);
        int most = 0;
        for (int64_t k = 1; k < n; k += (levels == 4 ? 1 : 997)) {
            int draws = 0;
            VeskWalkStep(walk, key, k, &draws);
            most = std::max(most, draws);
        }
        EXPECT_LE(most, levels + 1);
        int draws = 0;
        VeskWalkStep(walk, key, 3 * n + 5, &draws);
        EXPECT_LE(draws, levels + 1 + 3) << "each further block adds one draw";
    }
}

TEST(VeskRandom, InterpolationsPassThroughTheLattice) {
    VeskWalk walk;
    VeskWalkSetUp(&walk, 0, 1 / 30.0);
    for (int k : {1, 2, 17, 1000}) {
        double u = VeskWalkStep(walk, 77, k), next = VeskWalkStep(walk, 77, k + 1);
        EXPECT_EQ(VeskWalkAt(walk, 77, k, false), u);
        EXPECT_EQ(VeskWalkAt(walk, 77, k, true), u);
        EXPECT_NEAR(VeskWalkAt(walk, 77, k + 0.5, false), (u + next) / 2, 1e-12);
    }
    // STEP 4 at 30 fps: frames 492, 980 and 1960 are steps 123, 245 and 490;
    // the division alone lands a hair below at some of them.
    for (auto [frame, steps] :
         {std::pair{492.0, 123.0}, {980.0, 245.0}, {1960.0, 490.0}, {1960 / 30.0 * 30, 490.0}, {10.0, 2.5}})
        EXPECT_EQ(VeskLatticeSteps(frame, 0, 4), steps) << frame;
}

// Sample variance and covariance over seeds, against Brownian motion and the
// pulled process; with 16-step blocks as well, so block chaining is covered.
TEST(VeskRandom, WalkStatisticsOverSeeds) {
    const double h = 1 / 30.0;
    for (int levels : {kWalkLevels, 4}) {
        for (double pull : {0.0, 1.0}) {
            VeskWalk walk;
            VeskWalkSetUp(&walk, pull, h, levels);
            double s16 = 0, s37 = 0, s120 = 0, c = 0;
            const int seeds = 2000;
            for (int seed = 0; seed < seeds; ++seed) {
                uint64_t key = VeskHash(kDiffuserDomain, seed, 0);
                double a = VeskWalkStep(walk, key, 16), b = VeskWalkStep(walk, key, 37), e = VeskWalkStep(walk, key, 120);
                s16 += a * a, s37 += b * b, s120 += e * e, c += a * b;
            }
            auto variance = [&](double steps) {
                return pull == 0 ? steps * h : (1 - std::exp(-2 * pull * steps * h)) / (2 * pull);
            };
            std::string what = "levels " + std::to_string(levels) + " pull " + std::to_string(pull);
            EXPECT_NEAR(s16 / seeds, variance(16), 0.15 * variance(16)) << what;
            EXPECT_NEAR(s120 / seeds, variance(120), 0.15 * variance(120)) << what;
            double covariance = std::exp(-pull * 21 * h) * variance(16);
            EXPECT_NEAR(c / seeds, covariance, 0.2 * covariance) << what;
        }
    }
    // The pulled process goes over into Brownian motion as the pull goes to 0.
    VeskWalk free, slight;
    VeskWalkSetUp(&free, 0, 0.1);
    VeskWalkSetUp(&slight, 1e-12, 0.1);
    for (int k = 1; k < 1000; k += 37) EXPECT_NEAR(VeskWalkStep(free, 9, k), VeskWalkStep(slight, 9, k), 1e-6) << k;
}

// One plan serves every key, and gives what the walk computed alone gives.
TEST(VeskRandom, PlansEqualTheWalk) {
    for (int levels : {4, kWalkLevels}) {
        VeskWalk walk;
        VeskWalkSetUp(&walk, 0.7, 1 / 24.0, levels);
        for (double s : {0.0, 0.25, 1.0, 1.5, 14.75, 15.5, 16.0, 17.3, 1000.125}) {
            for (bool smooth : {false, true}) {
                VeskWalkPlan plan;
                VeskWalkPlanAt(walk, s, smooth, &plan);
                for (uint64_t key : {uint64_t{1}, uint64_t{0xABCDEF}, VeskHash(kDiffuseDomain, 3)}) {
                    double want = VeskWalkAt(walk, key, s, smooth);
                    EXPECT_NEAR(VeskWalkPlanValue(plan, key), want, 1e-12 * (1 + std::fabs(want)))
                        << levels << " " << s << " " << smooth;
                }
            }
        }
    }
}

}  // namespace
