// A keyed channel of the host: one scalar curve through keys, interpolated the
// way the 5.x host interpolates motions and envelopes (Hermite segments with
// tension, continuity and bias, per-key linear override) with its end behaviours.
#pragma once

#include <vector>

enum class EndBehavior { Reset = 0, Stop = 1, Repeat = 2 };

struct ChannelKey {
    double frame = 0;
    double value = 0;
    bool linear = false;  // the segment that ends at this key is a straight line
    double tension = 0, continuity = 0, bias = 0;
};

struct Channel {
    std::vector<ChannelKey> keys;  // rising frames
    EndBehavior end = EndBehavior::Stop;

    // Value at a frame (fractional frames allowed); 0 for a channel without keys.
    double ValueAt(double frame) const;
};

// A channel holding one value at frame 0.
Channel ConstantChannel(double value);
