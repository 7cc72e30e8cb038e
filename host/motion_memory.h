// The host's memory of the motions it has worked out, for the length of a
// command: an item's motion through its first plug-ins (all of them: its final
// motion), or its placement in the world, at a time, in the frame a plug-in is
// handed, with the items that answer read. Plug-ins that integrate from time 0 ask about the same earlier
// times at every frame; this answers them once for the whole shot.
//
// Answers come mostly in sweeps, a stream's times in rising order (a stream
// being an item's motion through so many plug-ins, or its placement, in one
// frame context): each stream keeps such answers in one list in time order,
// read one after another as the simulation asks them again. Answers kept out
// of order go to two generations of a fixed number of entries each: a full
// young generation becomes the old one and the old one is dropped; an answer
// found in the old generation moves back to the young one, so the times a
// shot keeps asking about stay while one-off questions go.
//
// Memory is bounded: the lists hold half the answers the memory may hold,
// the generations a quarter each. Full lists drop the streams nobody asked
// about while they could fill once, then the earliest half of the longest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

struct Item;

// The items an answer read (itself, its parents, what its plug-ins looked at).
// An answer is not used while one of them is being evaluated, since the cycle
// rule would then have answered differently.
struct ItemsRead {
    static constexpr int kKept = 12;  // items a record can list
    const Item *items[kKept];
    int count = 0;
    bool overflowed = false;  // read more than it can list
    void Add(const Item *item) {
        if (count && items[count - 1] == item) return;  // the same item read again: the usual case
        AddNew(item);
    }
    void Add(const ItemsRead &more);

private:
    void AddNew(const Item *item);
};

// The index of `time` among rising `times`, or -1: looked for from the
// cursor on (a sweep asks its times again in order, now and then with one
// or two between), else searched for; once found, it is the cursor.
long TimeIndex(const std::vector<double> &times, size_t *cursor, double time);

struct MotionKey {
    const Item *item;
    // Plug-ins applied; kFinal for all of them, kPlacement for the world
    // placement, kPlacementBefore + k for the placement while its plug-in k
    // runs; kAsked + (context << 5) + parameter for an item-info parameter as
    // the plug-ins evaluated in that context asked it.
    uint32_t upTo;
    int frame;      // the frame context a plug-in is handed
    double time;
    static constexpr uint32_t kFinal = 0xffffffffu, kPlacement = 0xfffffffeu, kPlacementBefore = 0x80000000u,
                              kAsked = 0x40000000u, kMostContexts = 1u << 25;
};

class MotionMemory {
public:
    // Answers the memory holds at most: 2^19, at most about 60 MB.
    static constexpr size_t kMostAnswers = size_t{1} << 19;
    explicit MotionMemory(size_t mostAnswers = kMostAnswers);

    static constexpr int kMostValues = 12;  // a placement's; a motion has nine
    // The values kept for the key, or null; `uses` is
    // set to what it read. A find may move the answer between generations, so
    // the pointers hold only until the next Find or Keep.
    // With `listsOnly`, only answers kept in time order are looked at.
    const double *Find(const MotionKey &key, const ItemsRead **uses, bool listsOnly = false) {
        if (const double *next = NextInSweep(key, uses)) return next;
        return FindElsewhere(key, uses, listsOnly);
    }
    // Keeps an answer (replacing one kept for the same key).
    // With `listsOnly`, an answer out of its stream's time order is not kept:
    // for streams that are worth keeping only as sweeps.
    void Keep(const MotionKey &key, const double *values, int count, const ItemsRead &uses, bool listsOnly = false);
    // Forgets every answer: the scene or a plug-in's settings changed.
    void Forget();

    size_t Entries() const { return sweepAnswers_ + young_.kept + old_.kept; }
    size_t Bytes() const;  // what the answers and their indexes hold now
    long overflows = 0;    // times the lists or the young generation filled up

private:
    struct StreamKey {
        const Item *item;
        uint32_t upTo;
        int frame;
        bool operator==(const StreamKey &) const = default;
    };
    struct StreamHash {
        size_t operator()(const StreamKey &key) const;
    };
    // One stream's answers in rising time.
    struct Sweep {
        StreamKey stream;
        int stride;                  // values an answer holds
        std::vector<double> times;   // rising
        std::vector<double> values;  // `stride` an answer
        std::vector<uint32_t> uses;  // into usesSets_
        size_t cursor = 0;           // the answer last found or kept
        long asked = 0;              // `sweepClock_` when it was last asked or kept into
        long At(double time) { return TimeIndex(times, &cursor, time); }  // the answer kept for the time, or -1
    };
    Sweep *SweepOf(const MotionKey &key, bool make);
    // The usual find, of a sweep's next answer in one of the streams found
    // last, in a few moves; or null.
    const double *NextInSweep(const MotionKey &key, const ItemsRead **uses) {
        for (Sweep *s : lastSweeps_)
            if (s && s->stream.item == key.item && s->stream.upTo == key.upTo && s->stream.frame == key.frame) {
                size_t next = s->cursor + 1;
                if (next >= s->times.size() || s->times[next] != key.time) return nullptr;
                s->cursor = next;
                s->asked = sweepClock_;
                *uses = &usesSets_[s->uses[next]];
                return &s->values[next * s->stride];
            }
        return nullptr;
    }
    const double *FindElsewhere(const MotionKey &key, const ItemsRead **uses, bool listsOnly);
    void TrimSweeps(Sweep *keeping);
    void DropSweeps(bool (*drop)(const Sweep &, long), long since);
    static bool Stale(const Sweep &sweep, long before);
    long StaleBefore() const;  // streams last asked before this went unasked while the lists could fill
    size_t mostSweepAnswers_;
    size_t sweepAnswers_ = 0;
    long sweepClock_ = 0;  // answers added to the lists so far
    std::unordered_map<StreamKey, std::unique_ptr<Sweep>, StreamHash> sweeps_;
    Sweep *lastSweeps_[2] = {};  // the streams found last, the latest first
    static constexpr size_t kMostSweeps = 4096;  // streams: one a frame and item in a blurred render

    struct Answer {
        uint32_t uses;  // into usesSets_
        double values[kMostValues];
    };
    // Answers in blocks that never move: growing copies nothing, and a block
    // emptied by a turn of the generations is filled again, not given back.
    struct AnswerBlocks {
        static constexpr size_t kBlock = 4096;
        std::vector<std::unique_ptr<Answer[]>> blocks;
        Answer &operator[](size_t i) { return blocks[i / kBlock][i % kBlock]; }
        const Answer &operator[](size_t i) const { return blocks[i / kBlock][i % kBlock]; }
        void Reserve(size_t n) {
            // Left unset: an answer is written whole before it is read.
            while (blocks.size() * kBlock < n) blocks.push_back(std::make_unique_for_overwrite<Answer[]>(kBlock));
        }
        size_t capacity() const { return blocks.size() * kBlock; }
    };
    static constexpr int kStreams = 64;
    // Keys apart from their answers, so that probing and scanning read 24
    // bytes a key. Both lie in runs, each run one stream's answers in the
    // order kept: a simulation sweeping its times in order reads its answers
    // one after another in memory, not scattered among other streams'.
    struct Generation {
        static constexpr uint32_t kRun = 32;
        static constexpr size_t kNone = ~size_t{0};
        std::vector<MotionKey> keys;     // by run; places not yet filled have no item
        AnswerBlocks answers;            // likewise
        std::vector<uint32_t> nextRun;   // each run's stream's next run, + 1; 0 none
        std::vector<uint32_t> slots;     // open addressing: index + 1, 0 free
        uint32_t streamNext[kStreams] = {};  // where each stream's next answer goes, + 1; 0 a new run
        uint32_t lastRun[kStreams] = {};     // each stream's latest run, + 1; 0 none
        size_t kept = 0;
        long Find(const MotionKey &key, size_t hash) const;  // index, or -1
        // The place after `at` in its stream's order, or kNone.
        size_t After(size_t at) const {
            if ((at + 1) % kRun) return at + 1;
            uint32_t run = nextRun[at / kRun];
            return run ? size_t{run - 1} * kRun : kNone;
        }
        // Room for one more answer of the stream without a new run past `capacity`.
        bool HasRoom(size_t stream, size_t capacity) const {
            return streamNext[stream] || keys.size() + kRun <= capacity;
        }
        // Keeps it (the key must not be there); its index.
        size_t Put(const MotionKey &key, const Answer &answer, size_t hash, size_t stream);
        void Clear();
    };
    static size_t Hash(const MotionKey &key);
    void Reserve(Generation &g) const;
    uint32_t Intern(const ItemsRead &uses);
    void Rotate();

    size_t capacity_;
    Generation young_, old_;
    // Distinct sets of items read: few (the same items read the same others),
    // so each answer names its set by number.
    std::vector<ItemsRead> usesSets_;
    std::unordered_multimap<uint64_t, uint32_t> usesIndex_;
    // The sets interned last, the likeliest next (an item's motion and its
    // placement read the same items, and answers come in such turns).
    static constexpr int kRecentUses = 4;
    uint32_t recentUses_[kRecentUses] = {0xffffffffu, 0xffffffffu, 0xffffffffu, 0xffffffffu};
    // Where the last answer of a stream (an item's motion through so many
    // plug-ins, or its placement, in one frame context) was found in the young
    // generation. Simulations sweep their times in order, and the answers of
    // a sweep were kept in order, so the next is usually the next of its
    // stream: looked for there before the hash.
    static constexpr int kLookAhead = 16;
    static_assert(kStreams == 64, "Stream() takes the top six bits");
    uint32_t streamAt_[kStreams] = {};
    // The latest time kept in each stream (streams sharing a slot share it):
    // a shot worked through forwards asks mostly past it, and such a time is
    // known not to be kept without a look at the index.
    double streamLatest_[kStreams];
    static size_t Stream(const MotionKey &key);
};
