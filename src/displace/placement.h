// An item's placement at one time: the map from its own coordinates to the
// world (the world right, up and forward vectors as matrix columns, scale
// included, and the world position), with its inverse, and the relative
// placement that takes one item's coordinates into another's.
#pragma once

#include "hostapi/lwhost.h"

struct Placement {
    double m[3][3];  // m[row][column]; the columns are right, up, forward
    double t[3];
    double inverse[3][3], inverseT[3];
    int inverseValid;
};

// From the host's item information at a time; no item is the identity.
void PlaceItem(LWItemID item, double time, Placement *out);
// p's own coordinates into the world: M p + T.
void PlaceForward(const Placement &placement, const double p[3], double out[3]);
// Makes the inverse ready (an item scaled to nothing maps everything to 0).
void PrepareInverse(Placement *placement);
// World into own coordinates, M^-1 p - M^-1 T; the inverse must be prepared.
void PlaceInverse(const Placement &placement, const double p[3], double out[3]);
// The object's coordinates into the other item's: the object's placement,
// then the inverse of the other's (which this prepares).
void RelativePlacement(const Placement &object, Placement *other, Placement *out);
