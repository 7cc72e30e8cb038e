// How squarely a shaded spot faces the viewer, for the shaders that colour by
// viewing angle: the cosine between the view direction and the spot's world
// normal, held to 0 to 1 (edge-on and back-facing spots give 0).
#pragma once

#include "hostapi/lwhost.h"

// Normalises the spot's world normal in place (the host keeps it), then
// returns the cosine.
double FacingCosine(ShaderAccess *spot);
