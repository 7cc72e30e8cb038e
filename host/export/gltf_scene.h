// The scene as glTF 2.0, for today's tools: every object as a mesh cut into
// triangles and smoothed as the renderer does, its surfaces as materials;
// the items as nodes under their parents, each at its pivot; the camera and
// the lights (KHR_lights_punctual); and one animation sampling every item's
// final motion, plug-ins applied, at each frame, with the objects that have
// displacement plug-ins changing shape through one morph target a frame.
// Space and sampling: host/export/gltf_space.h.
#pragma once

#include <string>

class EmbeddedHost;

struct GltfOptions {
    int first = 0, last = 0, step = 1;  // the frames sampled
    bool morphs = true;                 // displaced shapes as morph targets
    // The binary buffer's file name for a .gltf; empty: the buffer goes in
    // the .glb itself.
    std::string bufferUri;
};

struct GltfDocument {
    std::string json, buffer;
};

// The scene loaded in `host`, taken out; false, with the reason (a plug-in's
// error, the question limit, a value that is not a number).
bool BuildGltf(EmbeddedHost &host, const GltfOptions &options, GltfDocument *out, std::string *error);

// The binary container: header, the JSON chunk and the buffer's chunk.
std::string GlbBytes(const GltfDocument &document);
