// The plain-key scene: the scene as it was read, for a host without this
// module. Every item that has item-motion plug-ins gets a key at each frame
// (linear, from frame 0, or the first frame when it is earlier, to the last)
// holding its final motion as the embedded host works it out, and its
// plug-in blocks go; every other line stays as it was, line ends included.
#pragma once

#include <string>

#include "host/scene_file.h"

class EmbeddedHost;

// `text` and `layout` are what LoadSceneFile read into `host`. False, with
// the reason, when an item with motion plug-ins has no keyed motion to replace.
bool PlainKeySceneText(EmbeddedHost &host, const std::string &text, const SceneLayout &layout, std::string *out,
                       std::string *error);
