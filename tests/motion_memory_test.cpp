// The host's memory of worked-out motions: what is kept is found again under
// exactly its key, in whatever order it was kept; memory stays within its
// bound, and answers still asked for survive it filling up.
#include <gtest/gtest.h>

#include "host/motion_memory.h"

namespace {

// Stand-ins for items: the memory compares their addresses only.
const Item *const kA = reinterpret_cast<const Item *>(0x1000);
const Item *const kB = reinterpret_cast<const Item *>(0x2000);

const double *Found(MotionMemory &memory, const MotionKey &key) {
    const ItemsRead *uses = nullptr;
    return memory.Find(key, &uses);
}

TEST(MotionMemory, FindsWhatWasKeptUnderItsWholeKey) {
    MotionMemory memory;
    ItemsRead uses;
    uses.Add(kA);
    const double motion[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const MotionKey kept{kA, MotionKey::kFinal, -5, 0.25};
    memory.Keep(kept, motion, 9, uses);
    struct Case {
        MotionKey key;
        bool found;
    } cases[] = {
        {kept, true}, {{kA, MotionKey::kFinal, -5, -0.0 + 0.25}, true},
        {{kB, MotionKey::kFinal, -5, 0.25}, false},            // another item
        {{kA, 1, -5, 0.25}, false},                            // through fewer plug-ins
        {{kA, MotionKey::kPlacement, -5, 0.25}, false},        // its placement
        {{kA, MotionKey::kFinal, 3, 0.25}, false},             // in another frame
        {{kA, MotionKey::kFinal, -5, 0.25000000000000006}, false},  // a time one step of the last bit on
    };
    for (const Case &c : cases) {
        const double *answer = Found(memory, c.key);
        ASSERT_EQ(answer != nullptr, c.found) << c.key.upTo << " " << c.key.frame << " " << c.key.time;
        if (answer) {
            for (int i = 0; i < 9; ++i) EXPECT_EQ(answer[i], motion[i]);
        }
    }
    // Time 0 is one time whatever its sign; a second keep replaces the first.
    memory.Keep({kB, 0, 0, 0.0}, motion, 9, uses);
    const double other[9] = {9, 8, 7, 6, 5, 4, 3, 2, 1};
    memory.Keep({kB, 0, 0, -0.0}, other, 9, uses);
    const double *answer = Found(memory, {kB, 0, 0, 0.0});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer[0], 9);
    EXPECT_EQ(memory.Entries(), 2u);
}

TEST(MotionMemory, StaysWithinItsBoundAndKeepsWhatIsStillAskedFor) {
    const size_t most = 128;
    MotionMemory memory(most);
    ItemsRead uses;
    uses.Add(kA);
    uses.Add(kB);
    double motion[9] = {};
    // A simulation's steps (asked at every frame) among one-off questions,
    // some in rising time (kept in their stream's list), some falling (kept
    // in the generations).
    for (int frame = 0; frame < 50; ++frame) {
        for (int step = 0; step < 20; ++step) {
            MotionKey key{kA, MotionKey::kFinal, -1, step * 0.0125};
            if (!Found(memory, key)) memory.Keep(key, motion, 9, uses);
        }
        for (int once = 0; once < 30; ++once) {
            motion[0] = frame * 100 + once;
            memory.Keep({kB, 1, -1, frame + once / 30.0}, motion, 9, uses);
        }
        for (int once = 0; once < 10; ++once) {
            motion[0] = -(frame * 100 + once);
            memory.Keep({kB, 2, -1, -(frame + once / 10.0)}, motion, 9, uses);
        }
        ASSERT_LE(memory.Entries(), most);
    }
    EXPECT_GT(memory.overflows, 10);
    for (int step = 0; step < 20; ++step) EXPECT_TRUE(Found(memory, {kA, MotionKey::kFinal, -1, step * 0.0125})) << step;
    EXPECT_FALSE(Found(memory, {kB, 1, -1, 0.0}));  // the first frame's one-offs are long gone
    EXPECT_FALSE(Found(memory, {kB, 2, -1, -0.5}));
    const double *last = Found(memory, {kB, 1, -1, 49 + 29 / 30.0});
    ASSERT_TRUE(last);
    EXPECT_EQ(last[0], 4929);
    last = Found(memory, {kB, 2, -1, -(49 + 9 / 10.0)});
    ASSERT_TRUE(last);
    EXPECT_EQ(last[0], -4909);
    memory.Forget();
    EXPECT_EQ(memory.Entries(), 0u);
    EXPECT_FALSE(Found(memory, {kA, MotionKey::kFinal, -1, 0.0}));
}

TEST(MotionMemory, InterleavedSweepsAreFoundInEitherDirection) {
    // Two streams kept turn about over several runs each, as a wheel's and
    // its car's placements are; each is then read forwards (the look after
    // the last answer) and backwards (the index), and a placement kept while
    // a plug-in ran is not the placement kept with none running.
    MotionMemory memory;
    ItemsRead uses;
    uses.Add(kA);
    double values[12] = {};
    const int steps = 100;
    for (int i = 0; i < steps; ++i) {
        values[0] = i;
        memory.Keep({kA, MotionKey::kPlacementBefore + 1, -1, i * 0.0125}, values, 12, uses);
        values[0] = -i;
        memory.Keep({kB, MotionKey::kPlacement, -1, i * 0.0125 - 0.00625}, values, 12, uses);
    }
    EXPECT_EQ(memory.Entries(), 2u * steps);
    for (int i = 0; i < steps; ++i) {
        const double *a = Found(memory, {kA, MotionKey::kPlacementBefore + 1, -1, i * 0.0125});
        ASSERT_TRUE(a) << i;
        EXPECT_EQ(a[0], i);
        EXPECT_FALSE(Found(memory, {kA, MotionKey::kPlacement, -1, i * 0.0125})) << i;
        EXPECT_FALSE(Found(memory, {kA, MotionKey::kPlacementBefore, -1, i * 0.0125})) << i;
    }
    for (int i = steps; i-- > 0;) {
        const double *b = Found(memory, {kB, MotionKey::kPlacement, -1, i * 0.0125 - 0.00625});
        ASSERT_TRUE(b) << i;
        EXPECT_EQ(b[0], -i);
    }
}

TEST(MotionMemory, AnswersOutOfTimeOrderAreKeptApartOrNotAtAll) {
    // Ten rising times make a stream's list; a time before its last eight
    // goes to the generations, or, for streams kept as sweeps only, nowhere.
    MotionMemory memory;
    ItemsRead uses;
    uses.Add(kA);
    double values[4] = {};
    for (const bool listsOnly : {false, true}) {
        const MotionKey first{kA, listsOnly ? 2u : 1u, -1, 0.0};
        for (int i = 1; i <= 10; ++i) {
            values[0] = i;
            MotionKey key = first;
            key.time = i * 0.1;
            memory.Keep(key, values, 4, uses, listsOnly);
        }
        MotionKey early = first, late = first;
        early.time = 0.15, late.time = 0.95;  // before the last eight, among them
        values[0] = -1;
        memory.Keep(early, values, 4, uses, listsOnly);
        values[0] = -2;
        memory.Keep(late, values, 4, uses, listsOnly);
        const ItemsRead *read = nullptr;
        const double *e = memory.Find(early, &read), *l = memory.Find(late, &read, true);
        ASSERT_TRUE(l) << listsOnly;
        EXPECT_EQ(l[0], -2);
        EXPECT_EQ(e != nullptr, !listsOnly);
        if (e) {
            EXPECT_EQ(e[0], -1);
            EXPECT_FALSE(memory.Find(early, &read, true));  // not in a list
        }
        for (int i = 1; i <= 10; ++i) {  // the list is still in order around them
            MotionKey key = first;
            key.time = i * 0.1;
            const double *v = memory.Find(key, &read, true);
            ASSERT_TRUE(v) << i;
            EXPECT_EQ(v[0], i);
        }
    }
    EXPECT_EQ(memory.Entries(), 2u * 11 + 1);
}

TEST(MotionMemory, AnswersNameTheItemsTheyRead) {
    MotionMemory memory;
    ItemsRead ab, ba, a;
    ab.Add(kA), ab.Add(kB);
    ba.Add(kB), ba.Add(kA), ba.Add(kB);
    a.Add(kA);
    const double motion[9] = {};
    memory.Keep({kA, 0, 0, 1.0}, motion, 9, ab);
    memory.Keep({kA, 0, 0, 2.0}, motion, 9, ba);
    memory.Keep({kA, 0, 0, 3.0}, motion, 9, a);
    for (double time : {1.0, 2.0, 3.0}) {
        const ItemsRead *uses = nullptr;
        ASSERT_TRUE(memory.Find({kA, 0, 0, time}, &uses));
        EXPECT_EQ(uses->count, time < 3 ? 2 : 1) << time;
        EXPECT_FALSE(uses->overflowed);
    }
}

}  // namespace
