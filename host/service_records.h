// The records of the host's global services that answer from the active
// host's scene: "Info Messages", "LW Item Info" (and 2), "LW Object Info",
// "LW Bone Info", "LW Light Info" (and 2), "LW Camera Info", "LW Image List"
// and "File Request". The scene info and the host display are the host's own.
#pragma once

// The record of a service by name, or null for any other.
void *ServiceRecord(const char *service);
