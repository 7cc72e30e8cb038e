// The host's version-1 text scene files and motion files (LightWave 3.x to 5.x): objects, null
// objects, lights, the camera, bones, keyed motions and envelopes with their end
// behaviours, parents, targets, pivots, the scene's frame range, fps and frame
// size, and plug-in blocks. The reader fills the scene and collects the blocks;
// once the whole file is read the host applies them (EmbeddedHost::
// ApplyPluginBlock), each block's lines reaching its instance through the load
// slot in line mode, as the host hands them over.
#pragma once

#include <string>
#include <vector>

#include "host/channel.h"
#include "hostapi/lwhost.h"

class EmbeddedHost;

// Where a scene file keeps what a plain-key export rewrites, by line (from 1):
// each item's keyed motion, from the line after its "...Motion" keyword to
// its last key, and each item-motion plug-in block, "Plugin" to "EndPlugin".
struct SceneLayout {
    struct Span {
        const struct Item *item;
        int first, last;
    };
    std::vector<Span> motions, motionPlugins;
};

// Reads a scene into the host's (empty) scene, then makes its plug-ins. False
// with "FILE:LINE: reason"; a scene refused while it is read makes no plug-in.
// With `layout`, also where its motions and motion plug-ins stand, and with
// `text` the file as read.
bool LoadSceneFile(EmbeddedHost &host, const std::string &path, std::string *error, SceneLayout *layout = nullptr,
                   std::string *text = nullptr);
// Hands a plug-in instance its settings lines through its handler's load slot,
// one line per read, as the host does from a scene.
void LoadInstanceLines(LWError (*load)(LWInstance, const LWLoadState *), LWInstance instance,
                       const std::vector<std::string> &lines);
// Hands an instance its settings in the object (binary) mode, as the host
// does from a surface's shader data: each read takes the next bytes, fewer
// at the end. The load slot's own error, if any.
LWError LoadInstanceBytes(LWError (*load)(LWInstance, const LWLoadState *), LWInstance instance,
                          const std::vector<unsigned char> &bytes);
bool LoadSceneText(EmbeddedHost &host, const std::string &text, const std::string &name, std::string *error,
                   SceneLayout *layout = nullptr);

// A motion file (LWMO version 1) into its nine channels X Y Z H P B SX SY SZ.
// False with "FILE:LINE: reason"; the channels are untouched then.
bool ReadMotionText(const std::string &text, const std::string &name, std::vector<Channel> *nine, std::string *error);
bool ReadMotionFile(const std::string &path, std::vector<Channel> *nine, std::string *error);

// Writes the scene back, each plug-in's lines from its save slot.
std::string SceneText(EmbeddedHost &host);
