// Keyed channels against values worked out by hand from the host's key routine,
// and their end behaviours.
#include <gtest/gtest.h>

#include "host/channel.h"

namespace {

Channel Keys(std::initializer_list<ChannelKey> keys, EndBehavior end = EndBehavior::Stop) {
    Channel c;
    c.keys = keys;
    c.end = end;
    return c;
}

ChannelKey K(double frame, double value, double tension = 0, bool linear = false) {
    ChannelKey k;
    k.frame = frame;
    k.value = value;
    k.tension = tension;
    k.linear = linear;
    return k;
}

TEST(Channel, MatchesWorkedValues) {
    struct Case {
        const char *what;
        Channel channel;
        double frame, value;
    };
    Channel hill = Keys({K(0, 0), K(10, 10), K(30, 0)});
    Channel eased = Keys({K(0, 0, 1), K(10, 10, 1)});
    Channel corner = Keys({K(0, 0), K(10, 10, 0, true), K(20, 0)});
    // Keys 0:0, 10:10 are a straight line, so the ends are easy to check by hand.
    auto line = [](EndBehavior end) { return Keys({K(0, 0), K(10, 10)}, end); };
    const Case cases[] = {
        {"hill, first segment", hill, 2.5, 2.96875}, {"hill, first segment", hill, 5, 6.25},
        {"hill, first segment", hill, 7.5, 8.90625}, {"hill, second segment", hill, 15, 8.90625},
        {"hill, second segment", hill, 20, 6.25}, {"hill, second segment", hill, 25, 2.96875},
        {"on a key", hill, 10, 10}, {"two plain keys are a line", Keys({K(0, 0), K(10, 10)}), 2.5, 2.5},
        {"tension 1 eases", eased, 2.5, 1.5625}, {"tension 1 eases", eased, 5, 5},
        {"tension 1 eases", eased, 7.5, 8.4375}, {"linear end key straightens its segment", corner, 5, 5},
        {"the next segment keeps its spline tangent", corner, 15, 6.25},
        {"one key is constant", Keys({K(0, 7)}), 99, 7}, {"before the first key", Keys({K(5, 3), K(10, 4)}), 0, 3},
        {"stop holds the last key", line(EndBehavior::Stop), 25, 10}, {"reset: the first key", line(EndBehavior::Reset), 25, 0},
        {"repeat", line(EndBehavior::Repeat), 13, 3}, {"repeat", line(EndBehavior::Repeat), 27.5, 7.5},
        {"each cycle starts at the first key", line(EndBehavior::Repeat), 20, 0},
        {"repeat from a later first key", Keys({K(5, 1), K(15, 11)}, EndBehavior::Repeat), 17, 3},
    };
    for (const Case &c : cases) EXPECT_NEAR(c.channel.ValueAt(c.frame), c.value, 1e-12) << c.what << " at " << c.frame;
}

}  // namespace
