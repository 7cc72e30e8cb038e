#include "host/motion_memory.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

void ItemsRead::AddNew(const Item *item) {
    for (int i = 0; i < count; ++i)
        if (items[i] == item) return;
    if (count < kKept)
        items[count++] = item;
    else
        overflowed = true;
}

void ItemsRead::Add(const ItemsRead &more) {
    for (int i = 0; i < more.count; ++i) Add(more.items[i]);
    overflowed = overflowed || more.overflowed;
}

namespace {

bool SameKey(const MotionKey &a, const MotionKey &b) {
    return a.item == b.item && a.upTo == b.upTo && a.frame == b.frame && a.time == b.time;
}

bool SameSet(const ItemsRead &a, const ItemsRead &b) {
    return a.count == b.count && a.overflowed == b.overflowed &&
           std::equal(a.items, a.items + a.count, b.items);
}

// Every bit of the value stirred into every bit of the hash (the finaliser of
// splitmix64): times differ in their low mantissa bits, or only in the high
// ones when they are whole binary fractions, and linear probing needs both.
uint64_t Mix(uint64_t h, uint64_t v) {
    uint64_t z = h ^ (v + 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
}

// Distinct sets of items read a memory may name before it starts again.
constexpr size_t kMostUsesSets = size_t{1} << 16;

}  // namespace

MotionMemory::MotionMemory(size_t mostAnswers)
    : mostSweepAnswers_(mostAnswers / 2 < 16 ? 16 : mostAnswers / 2),
      capacity_(mostAnswers / 4 < Generation::kRun ? Generation::kRun : mostAnswers / 4) {
    std::fill(std::begin(streamLatest_), std::end(streamLatest_), -HUGE_VAL);
}

size_t MotionMemory::StreamHash::operator()(const StreamKey &key) const {
    return static_cast<size_t>(Mix(std::hash<const void *>()(key.item), (uint64_t{key.upTo} << 32) ^ static_cast<uint32_t>(key.frame)));
}

long TimeIndex(const std::vector<double> &times, size_t *cursor, double time) {
    size_t n = times.size();
    for (size_t i = *cursor, end = std::min(n, *cursor + 4); i < end; ++i)
        if (times[i] == time) return static_cast<long>(*cursor = i);
    if (!n || time > times.back() || time < times.front()) return -1;
    size_t i = static_cast<size_t>(std::lower_bound(times.begin(), times.end(), time) - times.begin());
    if (times[i] != time) return -1;
    return static_cast<long>(*cursor = i);
}

MotionMemory::Sweep *MotionMemory::SweepOf(const MotionKey &key, bool make) {
    StreamKey stream{key.item, key.upTo, key.frame};
    // A simulation asks about a stream or two in turn: the last two found
    // are looked at first.
    for (Sweep *last : lastSweeps_)
        if (last && last->stream == stream) return last;
    auto found = sweeps_.find(stream);
    if (found == sweeps_.end()) {
        if (!make) return nullptr;
        if (sweeps_.size() >= kMostSweeps) DropSweeps(Stale, StaleBefore());
        if (sweeps_.size() >= kMostSweeps) DropSweeps([](const Sweep &, long) { return true; }, 0);
        found = sweeps_.emplace(stream, std::make_unique<Sweep>()).first;
        found->second->stream = stream;
        found->second->stride = 0;
    }
    lastSweeps_[1] = lastSweeps_[0];
    return lastSweeps_[0] = found->second.get();
}

bool MotionMemory::Stale(const Sweep &sweep, long before) { return sweep.asked < before; }

long MotionMemory::StaleBefore() const { return sweepClock_ - static_cast<long>(mostSweepAnswers_); }

void MotionMemory::DropSweeps(bool (*drop)(const Sweep &, long), long since) {
    for (auto it = sweeps_.begin(); it != sweeps_.end();) {
        if (drop(*it->second, since)) {
            sweepAnswers_ -= it->second->times.size();
            it = sweeps_.erase(it);
        } else {
            ++it;
        }
    }
    std::fill(std::begin(lastSweeps_), std::end(lastSweeps_), nullptr);
}

// The lists are full: streams nobody asked about while the lists could fill
// once go, then the earlier half of the longest list, until a quarter is free.
void MotionMemory::TrimSweeps(Sweep *keeping) {
    ++overflows;
    keeping->asked = sweepClock_;
    DropSweeps(Stale, StaleBefore());
    while (sweepAnswers_ > mostSweepAnswers_ / 4 * 3) {
        Sweep *longest = nullptr;
        for (auto &[stream, sweep] : sweeps_)
            if (!longest || sweep->times.size() > longest->times.size()) longest = sweep.get();
        size_t gone = (longest->times.size() + 1) / 2;
        longest->times.erase(longest->times.begin(), longest->times.begin() + gone);
        longest->values.erase(longest->values.begin(), longest->values.begin() + gone * longest->stride);
        longest->uses.erase(longest->uses.begin(), longest->uses.begin() + gone);
        longest->cursor = 0;
        sweepAnswers_ -= gone;
    }
}

void MotionMemory::Reserve(Generation &g) const {
    // Room for a whole generation's keys, taken from the system page by page
    // as they are kept: growing by doubling would copy them, and touch twice
    // the memory, for every long shot. Taken at the first answer kept, so a
    // host that never remembers anything (a scene only read) holds nothing.
    if (g.keys.capacity() < capacity_) g.keys.reserve(capacity_);
}

size_t MotionMemory::Hash(const MotionKey &key) {
    uint64_t timeBits;
    double time = key.time == 0 ? 0.0 : key.time;  // -0 and +0 are one time
    std::memcpy(&timeBits, &time, sizeof timeBits);
    uint64_t h = Mix(std::hash<const void *>()(key.item), timeBits);
    h = Mix(h, (uint64_t{key.upTo} << 32) ^ static_cast<uint32_t>(key.frame));
    return static_cast<size_t>(h);
}

long MotionMemory::Generation::Find(const MotionKey &key, size_t hash) const {
    if (slots.empty()) return -1;
    size_t mask = slots.size() - 1;
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
        uint32_t s = slots[at];
        if (!s) return -1;
        if (SameKey(keys[s - 1], key)) return static_cast<long>(s - 1);
    }
}

size_t MotionMemory::Generation::Put(const MotionKey &key, const Answer &answer, size_t hash, size_t stream) {
    // The index stays at most half full; it grows (and the answers' room with
    // it) by doubling, so a short command holds little and a long one
    // allocates a few times, not once an answer.
    if (slots.size() < 2 * (kept + 1)) {
        std::vector<uint32_t> grown(slots.empty() ? 64 : slots.size() * 2, 0u);
        size_t mask = grown.size() - 1;
        for (size_t i = 0; i < keys.size(); ++i) {
            if (!keys[i].item) continue;
            size_t at = Hash(keys[i]) & mask;
            while (grown[at]) at = (at + 1) & mask;
            grown[at] = static_cast<uint32_t>(i + 1);
        }
        slots.swap(grown);
    }
    uint32_t &next = streamNext[stream];
    if (!next) {  // a new run, after the stream's last
        size_t run = keys.size() / kRun;
        keys.resize(keys.size() + kRun, MotionKey{});
        answers.Reserve(keys.size());
        nextRun.push_back(0);
        if (lastRun[stream]) nextRun[lastRun[stream] - 1] = static_cast<uint32_t>(run + 1);
        lastRun[stream] = static_cast<uint32_t>(run + 1);
        next = static_cast<uint32_t>(run * kRun + 1);
    }
    size_t at = next - 1;
    next = (at + 1) % kRun ? static_cast<uint32_t>(at + 2) : 0;  // a full run: the next answer starts another
    keys[at] = key;
    answers[at] = answer;
    ++kept;
    size_t mask = slots.size() - 1, slot = hash & mask;
    while (slots[slot]) slot = (slot + 1) & mask;
    slots[slot] = static_cast<uint32_t>(at + 1);
    return at;
}

void MotionMemory::Generation::Clear() {
    keys.clear();
    nextRun.clear();
    kept = 0;
    std::fill(std::begin(streamNext), std::end(streamNext), 0u);
    std::fill(std::begin(lastRun), std::end(lastRun), 0u);
    std::fill(slots.begin(), slots.end(), 0u);
}

void MotionMemory::Rotate() {
    std::swap(young_, old_);
    young_.Clear();
    std::fill(std::begin(streamAt_), std::end(streamAt_), 0u);
    ++overflows;
}

size_t MotionMemory::Stream(const MotionKey &key) {
    uint64_t h = Mix(std::hash<const void *>()(key.item), (uint64_t{key.upTo} << 32) ^ static_cast<uint32_t>(key.frame));
    return static_cast<size_t>(h % kStreams);
}

const double *MotionMemory::FindElsewhere(const MotionKey &key, const ItemsRead **uses, bool listsOnly) {
    if (Sweep *sweep = SweepOf(key, false)) {
        long at = sweep->At(key.time);
        if (at >= 0) {
            sweep->asked = sweepClock_;
            *uses = &usesSets_[sweep->uses[at]];
            return &sweep->values[at * sweep->stride];
        }
    }
    if (listsOnly || (!young_.kept && !old_.kept)) return nullptr;
    size_t stream = Stream(key);
    if (key.time > streamLatest_[stream]) return nullptr;
    long found = -1;
    // From the stream's last answer (asked again for another channel) on.
    size_t at = streamAt_[stream];
    for (int looked = 0; looked < kLookAhead && at < young_.keys.size(); ++looked, at = young_.After(at)) {
        const MotionKey &k = young_.keys[at];
        if (!k.item) break;  // past the stream's last
        if (SameKey(k, key)) {
            found = static_cast<long>(at);
            break;
        }
    }
    if (found < 0) {
        size_t hash = Hash(key);
        found = young_.Find(key, hash);
        if (found < 0) {
            long aged = old_.Find(key, hash);
            if (aged < 0) return nullptr;
            MotionKey movedKey = old_.keys[aged];  // still asked for: back into the young generation
            Answer moved = old_.answers[aged];
            if (!young_.HasRoom(stream, capacity_)) Rotate();
            Reserve(young_);
            found = static_cast<long>(young_.Put(movedKey, moved, hash, stream));
        }
    }
    streamAt_[stream] = static_cast<uint32_t>(found);
    // A sweep asks the stream's next answers soon, but with a plug-in's work
    // between: fetched now, they are in the cache by then, not waited for.
    size_t ahead = young_.After(static_cast<size_t>(found));
    if (ahead != Generation::kNone && ahead < young_.keys.size()) ahead = young_.After(ahead);
    if (ahead != Generation::kNone && ahead < young_.keys.size()) {
        __builtin_prefetch(&young_.keys[ahead]);
        const char *answer = reinterpret_cast<const char *>(&young_.answers[ahead]);
        __builtin_prefetch(answer);
        __builtin_prefetch(answer + sizeof(Answer) - 1);
    }
    const Answer &a = young_.answers[found];
    *uses = &usesSets_[a.uses];
    return a.values;
}

uint32_t MotionMemory::Intern(const ItemsRead &uses) {
    ItemsRead sorted = uses;  // one set whatever order its items were read in
    std::sort(sorted.items, sorted.items + sorted.count, std::less<const Item *>());
    for (uint32_t recent : recentUses_)
        if (recent < usesSets_.size() && SameSet(usesSets_[recent], sorted)) return recent;
    uint64_t h = sorted.overflowed;
    for (int i = 0; i < sorted.count; ++i) h = Mix(h, std::hash<const void *>()(sorted.items[i]));
    uint32_t found = 0xffffffffu;
    auto [first, last] = usesIndex_.equal_range(h);
    for (auto it = first; it != last && found == 0xffffffffu; ++it)
        if (SameSet(usesSets_[it->second], sorted)) found = it->second;
    if (found == 0xffffffffu) {
        usesSets_.push_back(sorted);
        found = static_cast<uint32_t>(usesSets_.size() - 1);
        usesIndex_.emplace(h, found);
    }
    std::copy_backward(recentUses_, recentUses_ + kRecentUses - 1, recentUses_ + kRecentUses);
    recentUses_[0] = found;
    return found;
}

void MotionMemory::Keep(const MotionKey &key, const double *values, int count, const ItemsRead &uses, bool listsOnly) {
    if (usesSets_.size() >= kMostUsesSets) Forget();  // a scene of endless combinations: start again
    count = std::min(count, kMostValues);
    uint32_t usesSet = Intern(uses);
    // In a stream's list when it comes after its last answer or among its
    // last few (a placement asked at a step and half a step before it).
    constexpr size_t kNearEnd = 8;
    const double time = key.time == 0 ? 0.0 : key.time;  // -0 and +0 are one time
    Sweep &sweep = *SweepOf(key, true);
    if (!sweep.stride) sweep.stride = count;
    size_t n = sweep.times.size();
    auto place = std::lower_bound(sweep.times.end() - std::min(n, kNearEnd), sweep.times.end(), time);
    bool inOrder = n < kNearEnd || place != sweep.times.end() - kNearEnd || *place == time;
    if (sweep.stride == count && time == time && inOrder) {
        size_t at = static_cast<size_t>(place - sweep.times.begin());
        if (at < n && sweep.times[at] == time) {  // kept again: replaced
            std::copy(values, values + count, sweep.values.begin() + at * count);
            sweep.uses[at] = usesSet;
            return;
        }
        if (sweepAnswers_ >= mostSweepAnswers_) {
            TrimSweeps(&sweep);
            Keep(key, values, count, uses, listsOnly);
            return;
        }
        sweep.times.insert(place, time);
        sweep.values.insert(sweep.values.begin() + at * count, values, values + count);
        sweep.uses.insert(sweep.uses.begin() + at, usesSet);
        sweep.cursor = at;
        sweep.asked = ++sweepClock_;
        ++sweepAnswers_;
        return;
    }
    if (listsOnly) return;
    Answer answer{usesSet, {}};
    double &latest = streamLatest_[Stream(key)];
    bool past = key.time > latest;  // then not kept yet: no look needed
    if (!(key.time <= latest)) latest = key.time;  // NaN too: no time is past it then
    std::memcpy(answer.values, values, sizeof(double) * count);
    size_t hash = Hash(key);
    long at = past ? -1 : young_.Find(key, hash);
    if (at >= 0) {
        young_.answers[at] = answer;
        return;
    }
    size_t stream = Stream(key);
    if (!young_.HasRoom(stream, capacity_)) Rotate();
    Reserve(young_);
    young_.Put(key, answer, hash, stream);
}

void MotionMemory::Forget() {
    sweeps_.clear();
    sweepAnswers_ = 0;
    std::fill(std::begin(lastSweeps_), std::end(lastSweeps_), nullptr);
    young_.Clear();
    old_.Clear();
    std::fill(std::begin(streamAt_), std::end(streamAt_), 0u);
    std::fill(std::begin(streamLatest_), std::end(streamLatest_), -HUGE_VAL);
    usesSets_.clear();
    usesIndex_.clear();
    std::fill(std::begin(recentUses_), std::end(recentUses_), 0xffffffffu);
}

size_t MotionMemory::Bytes() const {
    size_t bytes = usesSets_.capacity() * sizeof(ItemsRead) + usesIndex_.size() * 32;
    for (const auto &[stream, sweep] : sweeps_)
        bytes += sizeof(Sweep) + 32 + sweep->times.capacity() * sizeof(double) +
                 sweep->values.capacity() * sizeof(double) + sweep->uses.capacity() * sizeof(uint32_t);
    for (const Generation *g : {&young_, &old_})
        bytes += g->keys.capacity() * sizeof(MotionKey) + g->answers.capacity() * sizeof(Answer) +
                 g->slots.capacity() * sizeof(uint32_t) + g->nextRun.capacity() * sizeof(uint32_t);
    return bytes;
}
