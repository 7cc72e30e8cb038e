// How the embedded host works out an item's motion through its plug-ins: the
// evaluations under way (for the cycle rule), the question count that guards
// against stacked simulations, and the memory of answers kept while an
// evaluation pass is open. One per host; only the host's own files see it.
#pragma once

#include <array>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/motion_memory.h"

class EmbeddedHost;

// One plug-in of an item being evaluated at a time.
struct Evaluation {
    const Item *item;
    size_t plugin;     // index of the plug-in being evaluated
    double time;
    double before[9];  // the motion before it, at `time`
    double values[9];  // what it has set so far
    struct KeyedTimeline *keys = nullptr;  // the item's, when the plug-in is its first and a pass is open
    bool keyedOnly = false;                // a handler of version 1 or 2: it reads the keys alone
    uint32_t context = kNoContext;         // the evaluations under way, this one innermost, by number
    bool itemRead = false;                 // its plug-in has read its item's keys once
    static constexpr uint32_t kNoContext = ~0u;  // not numbered yet
};

// What an evaluation under way has read.
struct Reading {
    size_t stackDepth;           // evaluations on the stack when it began
    bool leanedOutside = false;  // met an item evaluated further out
    ItemsRead uses;
    // The one evaluation further out it may lean on: an item placed while one
    // of its own plug-ins runs, kept under that plug-in (none: past the stack).
    size_t mayLeanOn = ~size_t{0};
    uint64_t leanedOn = 0;  // the evaluations under way it met, bit k the k-th from the outside
};

// An item's keyed motion at the times simulations step through, in rising
// time. Simulations from time 0 step along the same times at every
// evaluation, so the next answer usually lies just after the last one. The
// channels are kept in threes (position, rotation, scale): a chase reads one
// three at every step, and reads only its bytes.
struct KeyedTimeline {
    const Item *item = nullptr;
    std::vector<double> times;
    std::vector<std::array<double, 3>> threes[3];
    size_t cursor = 0;
    // The index of the time, or -1.
    long Find(double time) {
        size_t n = times.size();
        if (cursor + 1 < n && times[cursor + 1] == time) return static_cast<long>(++cursor);  // the next step
        return TimeIndex(times, &cursor, time);
    }
    // The three channels from `first` (kPosX, kHeading or kScaleX) kept at an index.
    const double *Three(size_t at, int first) const { return threes[first / 3][at].data(); }
    void Motion(size_t at, double out[9]) const {
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c) out[3 * k + c] = threes[k][at][c];
    }
};

struct MotionEvaluation {
    explicit MotionEvaluation(EmbeddedHost &h) : host(h) {}
    EmbeddedHost &host;
    // The frame being rendered while its blur passes are evaluated; otherwise
    // a plug-in is handed the frame nearest its time.
    static constexpr int kNoPass = -2147483647;  // EmbeddedHost::kNoPassFrame, checked there
    int passFrame = kNoPass;

    std::vector<Evaluation *> evaluating;
    // Every distinct chain of evaluations under way met in a pass, numbered:
    // by the chain outside one and the item and plug-in evaluated innermost.
    struct ContextStep {
        uint32_t outer;
        const Item *item;
        size_t plugin;
        bool operator==(const ContextStep &) const = default;
    };
    struct ContextHash {
        size_t operator()(const ContextStep &s) const {
            return std::hash<const void *>()(s.item) * 31 + s.outer * 7 + s.plugin;
        }
    };
    std::unordered_map<ContextStep, uint32_t, ContextHash> contexts;
    std::vector<Reading> readings;
    int passDepth = 0;
    MotionMemory memory;
    std::deque<KeyedTimeline> timelines;  // while a pass is open; never shrinks within it
    size_t timelineSamples = 0;            // in all of them
    KeyedTimeline *lastTimeline = nullptr;
    // Keyed samples the timelines hold at most: about 80 MB.
    static constexpr size_t kMostTimelineSamples = size_t{1} << 20;
    void ForgetAll() {
        memory.Forget();
        if (evaluating.empty()) contexts.clear();
        timelines.clear();
        timelineSamples = 0;
        lastTimeline = nullptr;
    }

    long questionsThisQuestion = 0;
    const Item *askedFromOutside = nullptr;  // the question they all came from
    double askedAt = 0;
    bool overrun = false;
    std::string overrunWhat;
};
