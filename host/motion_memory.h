// The host's memory of the motions it has worked out, for the length of a
// command: an item's motion through its first plug-ins (all of them: its final
// motion), or its placement in the world, at a time, in the frame a plug-in is
// handed, with the items that answer read. Plug-ins that integrate from time 0 ask about the same earlier
// times at every frame; this answers them once for the whole shot.
//
// Memory is bounded: answers are kept in two generations of a fixed number of
// entries each. A full young generation becomes the old one and the old one is
// dropped; an answer found in the old generation moves back to the young one,
// so the times a shot keeps asking about stay while one-off questions go.
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

struct MotionKey {
    const Item *item;
    uint32_t upTo;  // plug-ins applied; kFinal for all of them, kPlacement for the world placement
    int frame;      // the frame context a plug-in is handed
    double time;
    static constexpr uint32_t kFinal = 0xffffffffu, kPlacement = 0xfffffffeu;
};

class MotionMemory {
public:
    // Answers one generation holds: 2^18, about 30 MB a generation.
    static constexpr size_t kGenerationEntries = size_t{1} << 18;
    explicit MotionMemory(size_t generationEntries = kGenerationEntries);

    static constexpr int kMostValues = 12;  // a placement's; a motion has nine
    // The values kept for the key, or null; `uses` is
    // set to what it read. A find may move the answer between generations, so
    // the pointers hold only until the next Find or Keep.
    const double *Find(const MotionKey &key, const ItemsRead **uses);
    // Keeps an answer (replacing one kept for the same key).
    void Keep(const MotionKey &key, const double *values, int count, const ItemsRead &uses);
    // Forgets every answer: the scene or a plug-in's settings changed.
    void Forget();

    size_t Entries() const { return young_.keys.size() + old_.keys.size(); }
    size_t Bytes() const;  // what the answers and their indexes hold now
    long rotations = 0;    // times the young generation filled up

private:
    struct Answer {
        uint32_t uses;  // into usesSets_
        double values[kMostValues];
    };
    // Answers in blocks that never move: growing copies nothing, and a block
    // emptied by a turn of the generations is filled again, not given back.
    struct AnswerBlocks {
        static constexpr size_t kBlock = 4096;
        std::vector<std::unique_ptr<Answer[]>> blocks;
        size_t size = 0;
        Answer &operator[](size_t i) { return blocks[i / kBlock][i % kBlock]; }
        void push_back(const Answer &a) {
            if (size == blocks.size() * kBlock) blocks.push_back(std::make_unique<Answer[]>(kBlock));
            (*this)[size++] = a;
        }
        void clear() { size = 0; }
        size_t capacity() const { return blocks.size() * kBlock; }
    };
    // Keys apart from their answers, so that probing and scanning read 24
    // bytes a key.
    struct Generation {
        std::vector<MotionKey> keys;  // in the order kept
        AnswerBlocks answers;         // likewise
        std::vector<uint32_t> slots;  // open addressing: index + 1, 0 free
        long Find(const MotionKey &key, size_t hash) const;  // index, or -1
        void Put(const MotionKey &key, const Answer &answer, size_t hash);  // the key must not be there
        void Clear();
    };
    static size_t Hash(const MotionKey &key);
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
    // a sweep were kept in order, so the next is usually a few keys further:
    // looked for there before the hash, it is read in the order memory lies.
    static constexpr int kStreams = 64, kLookAhead = 16;
    uint32_t streamAt_[kStreams] = {};
    // The latest time kept in each stream (streams sharing a slot share it):
    // a shot worked through forwards asks mostly past it, and such a time is
    // known not to be kept without a look at the index.
    double streamLatest_[kStreams];
    static size_t Stream(const MotionKey &key);
};
