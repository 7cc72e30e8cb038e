#include "host/channel.h"

#include <cmath>

namespace {

// What "reset" means after the last key is not published for 5.x motions; we
// take the first key's value (the item goes back to where it started). Set this
// to true to read it as the value 0, as later hosts do.
constexpr bool kResetGoesToZero = false;

// The period of "repeat" is taken as first to last key; whether the host adds
// one frame is not published.
double RepeatFrame(const std::vector<ChannelKey> &keys, double frame) {
    double first = keys.front().frame, period = keys.back().frame - first;
    if (period <= 0) return first;
    return first + std::fmod(frame - first, period);
}

bool PlusZero(double v) { return v == 0 && !std::signbit(v); }
bool FiniteWeights(const ChannelKey &k) {
    return std::isfinite(k.tension) && std::isfinite(k.continuity) && std::isfinite(k.bias);
}

// A curved segment whose keys around it, in rising frames with finite
// weights, all hold +0 (an item's unused channels): every term of the Hermite
// sum is a signed zero and the sum +0, so it is answered without the sum.
bool FlatAtZero(const std::vector<ChannelKey> &keys, size_t k1, double t) {
    const ChannelKey &a = keys[k1 - 1], &b = keys[k1];
    if (!(t == t) || !PlusZero(a.value) || !PlusZero(b.value) || !FiniteWeights(a) || !FiniteWeights(b)) return false;
    if (k1 >= 2 && !(PlusZero(keys[k1 - 2].value) && keys[k1 - 2].frame < a.frame)) return false;
    if (k1 + 1 < keys.size() && !(PlusZero(keys[k1 + 1].value) && keys[k1 + 1].frame > b.frame)) return false;
    return true;
}

double SegmentValue(const std::vector<ChannelKey> &keys, size_t k1, double s) {
    const ChannelKey &a = keys[k1 - 1], &b = keys[k1];
    double span = b.frame - a.frame;
    double t = (s - a.frame) / span;
    double d = b.value - a.value;
    if (b.linear) return a.value + t * d;
    if (FlatAtZero(keys, k1, t)) return 0.0;

    double a0 = (1 - a.tension) * (1 + a.continuity) * (1 + a.bias);
    double b0 = (1 - a.tension) * (1 - a.continuity) * (1 - a.bias);
    double a1 = (1 - b.tension) * (1 - b.continuity) * (1 + b.bias);
    double b1 = (1 - b.tension) * (1 + b.continuity) * (1 - b.bias);

    // Tangents scaled to this segment; the end keys use their own weights times the chord.
    double outgoing, incoming;
    if (k1 - 1 == 0) {
        outgoing = 0.5 * (a0 + b0) * d;
    } else {
        const ChannelKey &prev = keys[k1 - 2];
        outgoing = span / (b.frame - prev.frame) * (a0 * (a.value - prev.value) + b0 * d);
    }
    if (k1 + 1 == keys.size()) {
        incoming = 0.5 * (a1 + b1) * d;
    } else {
        const ChannelKey &next = keys[k1 + 1];
        incoming = span / (next.frame - a.frame) * (a1 * d + b1 * (next.value - b.value));
    }

    double t2 = t * t, t3 = t2 * t;
    double h1 = 2 * t3 - 3 * t2 + 1, h2 = -2 * t3 + 3 * t2, h3 = t3 - 2 * t2 + t, h4 = t3 - t2;
    return h1 * a.value + h2 * b.value + h3 * outgoing + h4 * incoming;
}

}  // namespace

double Channel::ValueAt(double frame) const {
    if (keys.empty()) return 0;
    if (keys.size() == 1 || frame <= keys.front().frame) return keys.front().value;
    if (frame > keys.back().frame) {
        switch (end) {
        case EndBehavior::Stop: return keys.back().value;
        case EndBehavior::Reset: return kResetGoesToZero ? 0.0 : keys.front().value;
        case EndBehavior::Repeat:
            frame = RepeatFrame(keys, frame);
            if (frame <= keys.front().frame) return keys.front().value;
            break;
        }
    }
    // A frame exactly on a key ends the segment before it.
    size_t k1 = 1;
    while (keys[k1].frame < frame) ++k1;
    return SegmentValue(keys, k1, frame);
}

Channel ConstantChannel(double value) {
    Channel c;
    c.keys.push_back({0, value});
    return c;
}
