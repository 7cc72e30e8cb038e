// The embedded host's motion evaluation: an item's keyed motion passed
// through its motion plug-ins, the cycle rule, the question limit, and the
// memory that answers repeated questions while a pass is open.
#include "host/motion_evaluation.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "helpers/units.h"
#include "host/embedded_host.h"

// How the host runs an item's motion plug-ins is not published; this is our rule.
// An item's motion at a time is its keyed motion passed through its plug-ins in
// their order. Each plug-in's access record reads the motion as it stands before
// that plug-in (at any time) and sets the result for the current time. While one
// of an item's plug-ins is being evaluated, every query about that same item
// (through the access record or the item-info service, for any time) answers with
// the motion as it stands before that plug-in, so nothing recurses. Queries about
// other items get their final motion; when such an item is itself in the middle
// of being evaluated further up (items that read each other), it answers the same
// way, with its motion before the plug-in that is running for it, which cuts the
// cycle.
//
// While a pass is open, answers are kept (MotionMemory). An answer is kept only
// when its evaluation did not lean on an item evaluated further out (a cut
// cycle whose other end lay outside it), so that it holds wherever it is asked
// again; it lists every item it read, and is not used while one of those is
// being evaluated, since the cycle rule would then have answered differently.

namespace {


MotionEvaluation &State() { return EmbeddedHost::Active().motionState(); }

// The question limit passed: noted, with what to tell the user.
bool Overrun(MotionEvaluation &m, const Item &item, double time) {
    m.overrun = true;
    const Scene &scene = m.host.scene;
    const Item &outside = m.askedFromOutside ? *m.askedFromOutside : item;
    double at = m.askedFromOutside ? m.askedAt : time;
    char where[64];
    std::snprintf(where, sizeof where, " at %g s (frame %g)", at, scene.FrameAt(at));
    m.overrunWhat = scene.ShownName(outside) + where + ": the motion plug-ins asked more than " +
                    std::to_string(m.host.motionQuestionLimit) +
                    " questions about motion to work it out; plug-ins that simulate from time 0, stacked on one item, "
                    "multiply each other's work: remove one or lower its quality";
    return false;
}

// Counts a question about an item's motion; false, with the overrun noted,
// once one outside question has led to more than the limit.
inline bool Ask(MotionEvaluation &m, const Item &item, double time) {
    if (m.overrun) return false;
    if (++m.questionsThisQuestion <= m.host.motionQuestionLimit) return true;
    return Overrun(m, item, time);
}

bool OnStack(const Item *item, const Item *except = nullptr) {
    for (const Evaluation *e : State().evaluating)
        if (e->item == item && item != except) return true;
    return false;
}

// A kept answer holds here unless an item it read is being evaluated now (or
// it read too many to tell, and something is). An earlier motion of an item
// is asked while that item is itself being evaluated, which it allows.
bool Holds(const ItemsRead &uses, const Item *except) {
    if (State().evaluating.empty()) return true;
    if (uses.overflowed) return false;
    for (int i = 0; i < uses.count; ++i)
        if (OnStack(uses.items[i], except)) return false;
    return true;
}

inline void Read(MotionEvaluation &m, const Item &item, const ItemsRead *more = nullptr) {
    if (m.readings.empty()) return;
    m.readings.back().uses.Add(&item);
    if (more) m.readings.back().uses.Add(*more);
}

// The cycle rule answered from the k-th evaluation under way (from the
// outside): what is being worked out inside it leans on it.
void Lean(MotionEvaluation &m, size_t k) {
    for (Reading &r : m.readings)
        if (k < r.stackDepth && k != r.mayLeanOn) {
            r.leanedOutside = true;
            if (k < 64) r.leanedOn |= uint64_t{1} << k;
        }
}

// The number of the chain of evaluations under way (0: none), numbering the
// chains not met before.
uint32_t Context(MotionEvaluation &m) {
    if (m.evaluating.empty()) return 0;
    if (m.evaluating.back()->context != Evaluation::kNoContext) return m.evaluating.back()->context;
    uint32_t outer = 0;
    for (Evaluation *e : m.evaluating) {
        if (e->context == Evaluation::kNoContext)
            e->context = m.contexts.try_emplace({outer, e->item, e->plugin}, static_cast<uint32_t>(m.contexts.size() + 1))
                             .first->second;
        outer = e->context;
    }
    return outer;
}

void EarlierMotion(const Item &item, double time, size_t upTo, double out[9]);

KeyedTimeline &TimelineOf(MotionEvaluation &m, const Item &item) {
    KeyedTimeline *line = m.lastTimeline;
    if (!line || line->item != &item) {
        line = nullptr;
        for (KeyedTimeline &l : m.timelines)
            if (l.item == &item) line = &l;
        if (!line) {
            m.timelines.push_back({&item, {}, {}, 0});
            line = &m.timelines.back();
        }
        m.lastTimeline = line;
    }
    return *line;
}

// The item's keyed motion at a time, from its timeline while a pass is open:
// the index kept in it, or -1 with the channels from `first` to `last` worked
// out into `out`. Times past the last one kept are added (while there is
// room); others are found by a short look ahead of the last answer, or a
// search, or else worked out without being kept.
long KeyedAt(MotionEvaluation &m, KeyedTimeline *line, const Item &item, double time, double out[9], int first = 0,
             int last = 9) {
    const Scene &scene = m.host.scene;
    if (m.passDepth == 0) {
        scene.KeyedMotion(item, time, out);
        return -1;
    }
    if (!line) line = &TimelineOf(m, item);
    long kept = line->Find(time);
    if (kept >= 0) return kept;
    size_t n = line->times.size();
    bool keep = (n == 0 || time > line->times.back()) && m.timelineSamples < MotionEvaluation::kMostTimelineSamples;
    if (!keep) {  // a time between kept ones: worked out, not kept
        double frame = scene.FrameAt(time);
        for (int c = first; c < last; ++c) out[c] = item.motion[c].ValueAt(frame);
        return -1;
    }
    double motion[9];
    scene.KeyedMotion(item, time, motion);
    line->times.push_back(time);
    for (int k = 0; k < 3; ++k) line->threes[k].push_back({motion[3 * k], motion[3 * k + 1], motion[3 * k + 2]});
    line->cursor = n;
    ++m.timelineSamples;
    return static_cast<long>(n);
}

// Three keyed channels from `first`, as EarlierMotion answers them before the
// first plug-in: counted as a question, and read. Simulations ask this at
// every step of their chase.
const double *Keys(MotionEvaluation &m, Evaluation &top, double time, int first, double out[9]) {
    const Item &item = *top.item;
    if (!Ask(m, item, time)) {  // past the limit: the keys all the same
        m.host.scene.KeyedMotion(item, time, out);
        return out + first;
    }
    Read(m, item);
    long kept = top.keys ? top.keys->Find(time) : -1;
    if (kept < 0) kept = KeyedAt(m, top.keys, item, time, out, first, first + 3);
    return kept >= 0 ? top.keys->Three(static_cast<size_t>(kept), first) : out + first;
}

// A motion parameter as the access record hands it: rotations in radians.
inline void Answer(LWItemParam param, const double *three, double v[3]) {
    if (param == LWIP_ROTATION) {
        constexpr double k = 1 / kDegreesPerRadian;
        v[0] = three[0] * k, v[1] = three[1] * k, v[2] = three[2] * k;
    } else {
        v[0] = three[0], v[1] = three[1], v[2] = three[2];
    }
}

// The access record's answer about the item being evaluated, at another time
// than its next step's: the keys (a handler of version 1 or 2), the motion
// before the plug-in where it stands now, the keys at another time (the
// first plug-in), or the motion before the plug-in then.
[[gnu::noinline]] void OtherParam(MotionEvaluation &m, Evaluation &top, LWItemParam param, double t, double v[3]) {
    const int first = param == LWIP_ROTATION ? kHeading : param == LWIP_SCALING ? kScaleX : kPosX;
    double worked[9];
    const double *motion = worked + first;
    if (top.keyedOnly) {
        m.host.scene.KeyedMotion(*top.item, t, worked);
    } else if (t == top.time) {
        motion = top.before + first;
    } else if (top.plugin == 0) {
        motion = Keys(m, top, t, first, worked);
    } else {
        EarlierMotion(*top.item, t, top.plugin, worked);
    }
    Answer(param, motion, v);
}

void MotionBefore(const Item &item, double time, size_t upTo, double out[9]) {
    MotionEvaluation &m = State();
    Scene &scene = EmbeddedHost::Active().scene;
    scene.KeyedMotion(item, time, out);
    for (size_t i = 0; i < upTo && i < item.motionPlugins.size(); ++i) {
        const MotionPluginUse &use = item.motionPlugins[i];
        if (!use.handler || !use.instance) continue;
        if (m.overrun) break;  // past the limit: the keys and what was done, quickly
        Evaluation e{&item, i, time, {}, {}, m.passDepth > 0 && i == 0 ? &TimelineOf(m, item) : nullptr, use.version < 3};
        std::memcpy(e.before, out, sizeof e.before);
        std::memcpy(e.values, out, sizeof e.values);
        m.evaluating.push_back(&e);
        // Simulations ask this at every step of their chase, so the usual
        // question (the first plug-in reading the keys at its next step) is
        // answered in a few moves, and the rest apart.
        auto getParam = [](LWItemParam param, LWTime t, double v[3]) {
            MotionEvaluation &m = State();
            Evaluation &top = *m.evaluating.back();
            KeyedTimeline *line = top.keys;
            if (line && t != top.time && !top.keyedOnly && !m.overrun &&
                m.questionsThisQuestion < m.host.motionQuestionLimit) {
                size_t next = line->cursor + 1;
                if (next < line->times.size() && line->times[next] == t) {
                    ++m.questionsThisQuestion;  // as Keys counts and reads it
                    if (!top.itemRead) {  // into the same reading at every question of the evaluation
                        Read(m, *top.item);
                        top.itemRead = true;
                    }
                    line->cursor = next;
                    const int first = param == LWIP_ROTATION ? kHeading : param == LWIP_SCALING ? kScaleX : kPosX;
                    Answer(param, line->Three(next, first), v);
                    return;
                }
            }
            OtherParam(m, top, param, t, v);
        };
        auto setParam = [](LWItemParam param, const double v[3]) {
            Evaluation &top = *State().evaluating.back();
            if (param != LWIP_POSITION && param != LWIP_ROTATION && param != LWIP_SCALING) return;
            int first = param == LWIP_ROTATION ? kHeading : param == LWIP_SCALING ? kScaleX : kPosX;
            double k = param == LWIP_ROTATION ? kDegreesPerRadian : 1;
            for (int c = 0; c < 3; ++c) top.values[first + c] = v[c] * k;
        };
        ItemMotionAccess access{IdOf(&item), m.host.PluginFrame(time), time, getParam, setParam};
        use.handler->evaluate(use.instance, &access);
        m.evaluating.pop_back();
        std::memcpy(out, e.values, sizeof e.values);
    }
}

// Works out the motion of the item through its first `upTo` plug-ins, kept
// in the pass's memory under `key` when nothing outside it was leant on.
void WorkOut(const Item &item, double time, size_t upTo, const MotionKey &key, double out[9]) {
    MotionEvaluation &m = State();
    if (m.passDepth == 0) {
        MotionBefore(item, time, upTo, out);
        return;
    }
    m.readings.push_back({m.evaluating.size(), false, {}});
    MotionBefore(item, time, upTo, out);
    Reading done = m.readings.back();
    m.readings.pop_back();
    if (!done.leanedOutside && !m.overrun) m.memory.Keep(key, out, 9, done.uses);
    Read(m, item, &done.uses);
}

// Whether any of the item's first `upTo` plug-ins is one that runs.
bool HasPlugins(const Item &item, size_t upTo = ~size_t{0}) {
    for (size_t i = 0; i < upTo && i < item.motionPlugins.size(); ++i)
        if (item.motionPlugins[i].handler && item.motionPlugins[i].instance) return true;
    return false;
}

// The innermost evaluation under way of the item itself, or none (~0).
size_t OwnEvaluation(const MotionEvaluation &m, const Item &item) {
    for (size_t k = m.evaluating.size(); k-- > 0;)
        if (m.evaluating[k]->item == &item) return k;
    return ~size_t{0};
}

// Whether the item is placed by keys alone: no plug-in runs for it (before
// the one running for it now, `own`) or for any of its parents. Such a
// placement is worked out faster than remembered.
bool PlacedByKeys(const MotionEvaluation &m, const Item &item, size_t own) {
    if (HasPlugins(item, own == ~size_t{0} ? ~size_t{0} : m.evaluating[own]->plugin)) return false;
    for (const Item *up = PlacementParent(item); up; up = PlacementParent(*up))
        if (HasPlugins(*up)) return false;
    return true;
}

// Answers from the pass's memory when it holds an answer that holds here.
bool Remembered(const MotionKey &key, const Item *except, double *out, int count = 9) {
    MotionEvaluation &m = State();
    if (m.passDepth == 0) return false;
    const ItemsRead *uses = nullptr;
    const double *kept = m.memory.Find(key, &uses);
    if (!kept || !Holds(*uses, except)) return false;
    if (count == Scene::kPlacementValues)  // sizes the compiler knows: copied in a few moves
        std::memcpy(out, kept, Scene::kPlacementValues * sizeof *out);
    else
        std::memcpy(out, kept, 9 * sizeof *out);
    Read(m, *key.item, uses);
    return true;
}

// A plug-in's question about its own item at another time: the motion before
// it. Plug-ins that integrate from time 0, stacked on one item, would
// otherwise redo every earlier one's integration at every step.
void EarlierMotion(const Item &item, double time, size_t upTo, double out[9]) {
    const Scene &scene = EmbeddedHost::Active().scene;
    // Past the limit, or with no plug-in before the one asking: the keys,
    // worked out faster than looked up.
    if (!Ask(State(), item, time)) {
        scene.KeyedMotion(item, time, out);
        return;
    }
    if (upTo == 0) {
        MotionEvaluation &m = State();
        long kept = KeyedAt(m, nullptr, item, time, out);
        if (kept >= 0) m.lastTimeline->Motion(static_cast<size_t>(kept), out);
        Read(m, item);
        return;
    }
    MotionKey key{&item, static_cast<uint32_t>(upTo), State().passFrame, time};
    if (Remembered(key, &item, out)) return;
    WorkOut(item, time, upTo, key, out);
}

}  // namespace

void EmbeddedHost::BeginPass() { ++motion_->passDepth; }

void EmbeddedHost::EndPass() {
    if (motion_->passDepth > 0 && --motion_->passDepth == 0) motion_->ForgetAll();
}

void EmbeddedHost::Forget() { motion_->ForgetAll(); }

bool EmbeddedHost::MotionOverrun(std::string *error) {
    if (!motion_->overrun) return false;
    *error = motion_->overrunWhat;
    motion_->overrun = false;
    return true;
}

void EmbeddedHost::FinalMotion(const Item &item, double time, double out[9]) {
    MotionEvaluation &m = *motion_;
    if (m.evaluating.empty()) {  // a new question from outside the plug-ins
        m.questionsThisQuestion = 0;
        m.askedFromOutside = &item;
        m.askedAt = time;
    }
    if (!Ask(State(), item, time)) {
        scene.KeyedMotion(item, time, out);
        return;
    }
    for (size_t k = m.evaluating.size(); k-- > 0;) {
        if (m.evaluating[k]->item == &item) {
            // The cycle rule: the motion before the plug-in running for it.
            Lean(m, k);
            Read(m, item);
            const Evaluation &running = *m.evaluating[k];
            if (time == running.time)  // where it stands now (a tracker asking where it is): at hand
                std::memcpy(out, running.before, sizeof running.before);
            else
                EarlierMotion(item, time, running.plugin, out);
            return;
        }
    }
    ++motionEvaluations;
    if (!HasPlugins(item)) {  // its keys: worked out faster than remembered
        scene.KeyedMotion(item, time, out);
        Read(m, item);
        return;
    }
    MotionKey key{&item, MotionKey::kFinal, m.passFrame, time};
    if (Remembered(key, nullptr, out)) {
        --motionEvaluations;
        return;
    }
    WorkOut(item, time, item.motionPlugins.size(), key, out);
}

// An item's placement in the world, kept as its final motion is: it is made
// of the final motions of the item and its parents, and holds where they do.
// An item placed while one of its own plug-ins runs (a wheel asking where it
// is) is placed by the cycle rule, by its motion before that plug-in; that is
// kept apart, for that plug-in, and holds wherever the plug-in runs for it
// again with its parents not being evaluated.
void EmbeddedHost::Placement(const Item &item, double time, double out[Scene::kPlacementValues]) {
    MotionEvaluation &m = *motion_;
    // Outside a pass nothing is kept; nor is the placement of an item placed
    // by keys alone (counting, for an item being evaluated, only the plug-ins
    // before the one running), worked out faster than remembered; nor one
    // whose parent is being evaluated (placed by the cycle rule further out).
    const size_t own = OwnEvaluation(m, item);
    bool parentEvaluated = false;
    for (const Item *up = PlacementParent(item); up && !parentEvaluated; up = PlacementParent(*up)) parentEvaluated = OnStack(up);
    const bool keyedAlone = PlacedByKeys(m, item, own);
    // A placement without parents asked from outside the plug-ins (a bake,
    // a render) is its final motion turned into rows, quickly worked out
    // again from the kept motion; such questions seldom come back, while
    // plug-ins sweeping time ask theirs again at every frame.
    bool outsideWithoutParents = m.evaluating.empty() && !PlacementParent(item);
    if (m.passDepth == 0 || parentEvaluated || keyedAlone || outsideWithoutParents) {
        scene.WorkOutPlacement(item, time, out);
        return;
    }
    uint32_t upTo = own == ~size_t{0} ? MotionKey::kPlacement
                                      : MotionKey::kPlacementBefore + static_cast<uint32_t>(m.evaluating[own]->plugin);
    MotionKey key{&item, upTo, m.passFrame, time};
    if (Remembered(key, &item, out, Scene::kPlacementValues)) {
        // Worked out, it would have met the item's own evaluation (the cycle
        // rule); what is being worked out inside that evaluation meets it still.
        if (own != ~size_t{0}) Lean(m, own);
        return;
    }
    m.readings.push_back({m.evaluating.size(), false, {}, own});
    scene.WorkOutPlacement(item, time, out);
    Reading done = m.readings.back();
    m.readings.pop_back();
    if (!done.leanedOutside && !m.overrun) m.memory.Keep(key, out, Scene::kPlacementValues, done.uses);
    Read(m, item, &done.uses);
}

// A parameter made from the placement, asked by a plug-in in a pass, is
// kept for the chain of evaluations under way: whatever the memory held or
// the cycle rule cut, the same chain gets the same answer, so it is kept
// whole, with what it read and which evaluations it met, and handed back
// with both. A wheel rolling from time 0 asks these at every step; kept,
// each is three values in time order, read without placing anything again.
// Only such sweeps are kept: a plug-in asking at times of its own at every
// frame (Whip's samples, spread over the shot so far) seldom asks one again;
// nor is an item placed by keys alone, worked out faster than remembered.
// The evaluations an answer met are bits of a value kept beside it: fewer
// than the 52 of a double's fraction, so the bits stay a number wherever the
// value is copied.
constexpr size_t kMostLeanBits = 48;

void EmbeddedHost::Param(const Item &item, int param, double time, double out[3]) {
    MotionEvaluation &m = *motion_;
    bool placed = param == LWIP_RIGHT || param == LWIP_UP || param == LWIP_FORWARD ||
                  (param >= LWIP_W_POSITION && param <= LWIP_W_FORWARD);
    uint32_t context = placed && m.passDepth > 0 && m.evaluating.size() <= kMostLeanBits ? Context(m) : 0;
    if (!context || context >= MotionKey::kMostContexts) {
        scene.Param(item, param, time, out);
        return;
    }
    MotionKey key{&item, MotionKey::kAsked + (context << 5) + static_cast<uint32_t>(param), m.passFrame, time};
    const ItemsRead *uses = nullptr;
    if (const double *kept = m.memory.Find(key, &uses, true)) {
        out[0] = kept[0], out[1] = kept[1], out[2] = kept[2];
        uint64_t leaned;
        std::memcpy(&leaned, kept + 3, sizeof leaned);
        for (; leaned; leaned &= leaned - 1) Lean(m, static_cast<size_t>(std::countr_zero(leaned)));
        Read(m, item, uses);
        return;
    }
    if (PlacedByKeys(m, item, OwnEvaluation(m, item))) {  // the same whichever chain asks
        scene.Param(item, param, time, out);
        return;
    }
    m.readings.push_back({m.evaluating.size(), false, {}});
    scene.Param(item, param, time, out);
    Reading done = m.readings.back();
    m.readings.pop_back();
    if (!m.overrun) {
        double kept[4] = {out[0], out[1], out[2]};
        std::memcpy(kept + 3, &done.leanedOn, sizeof done.leanedOn);  // the bits, carried as a value
        m.memory.Keep(key, kept, 4, done.uses, true);
    }
    Read(m, item, &done.uses);
}

const std::string *EmbeddedHost::RunningMotionPlugin() const {
    if (motion_->evaluating.empty()) return nullptr;
    const Evaluation &top = *motion_->evaluating.back();
    return &top.item->motionPlugins[top.plugin].server;
}

MotionMemoryUse EmbeddedHost::MemoryUse() const {
    return {motion_->memory.Entries(), motion_->memory.Bytes(), motion_->memory.overflows};
}

// How the 5.x host spreads its motion-blur passes is not published (taken as
// given here, unconfirmed): as many passes as the antialiasing level renders
// (low 5, medium 9, high 17; motion blur without antialiasing as low), evenly
// from f - B to f frames, B the camera's blur length at the frame.
std::vector<double> EmbeddedHost::BlurPassTimes(int frame) {
    double fps = scene.framesPerSecond, at = frame / fps;
    const Item *camera = scene.cameras.empty() ? nullptr : scene.cameras.front().get();
    if (!(scene.renderOptions & LWROPT_MOTIONBLUR) || !camera) return {at};
    double blur = camera->blurLength.ValueAt(frame);
    if (blur <= 0) return {at};
    const int count = scene.AntialiasingPasses(true);
    std::vector<double> times;
    for (int k = 0; k < count; ++k) times.push_back((frame - blur + blur * k / (count - 1)) / fps);
    return times;
}

void EmbeddedHost::MotionInPass(const Item &item, int frame, double time, double out[9]) {
    int outer = SetPassFrame(frame);
    FinalMotion(item, time, out);
    SetPassFrame(outer);
}

static_assert(MotionEvaluation::kNoPass == EmbeddedHost::kNoPassFrame);

int EmbeddedHost::SetPassFrame(int frame) {
    int outer = motion_->passFrame;
    motion_->passFrame = frame;
    return outer;
}

LWFrame EmbeddedHost::PluginFrame(double time) const {
    return motion_->passFrame != MotionEvaluation::kNoPass ? motion_->passFrame
                                                            : static_cast<LWFrame>(std::floor(scene.FrameAt(time) + 0.5));
}
