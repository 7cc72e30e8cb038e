// The host's version-1 text scene files (LightWave 3.x to 5.x): objects, null
// objects, lights, the camera, bones, keyed motions and envelopes with their end
// behaviours, parents, targets, pivots, the scene's frame range, fps and frame
// size, and item-motion plug-in blocks, whose lines reach each instance through
// its load slot in line mode, as the host hands them over.
#pragma once

#include <string>

class EmbeddedHost;

// Reads a scene into the host's (empty) scene. False with "FILE:LINE: reason".
bool LoadSceneFile(EmbeddedHost &host, const std::string &path, std::string *error);
bool LoadSceneText(EmbeddedHost &host, const std::string &text, const std::string &name, std::string *error);

// Writes the scene back, each plug-in's lines from its save slot.
std::string SceneText(EmbeddedHost &host);
bool SaveSceneFile(EmbeddedHost &host, const std::string &path, std::string *error);
