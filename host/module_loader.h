// How the host takes up a module: check its descriptor, start it, walk its
// server table, and activate a server as the host does (offer the highest
// version, then lower ones while the module answers "bad version").
#pragma once

#include <string>
#include <vector>

#include "hostapi/lwhost.h"

struct LoadedModule {
    const ModuleDescriptor *descriptor = nullptr;
    void *serverData = nullptr;  // what startup returned
    void *library = nullptr;     // the DLL, when loaded from a file
};

// A module linked into this program. False, with the reason, when its
// descriptor is not one this host takes or startup fails.
bool AttachModule(const ModuleDescriptor *descriptor, LoadedModule *out, std::string *error);

// A module file: LoadLibrary and the "_mod_descrip" export on Windows, dlopen elsewhere.
bool LoadModuleFile(const std::string &path, LoadedModule *out, std::string *error);

// Runs shutdown and frees the library.
void UnloadModule(LoadedModule *module);

// The server table's rows up to the row without a class.
std::vector<const ServerRecord *> ServerRows(const LoadedModule &module);
const ServerRecord *FindServer(const LoadedModule &module, const char *className, const char *name);

// Handler slots the host allocates for a class at a version; 0 for a class it
// does not know or a version the class never had.
size_t HandlerSlotCount(const char *className, long version);

// One activation at a fixed version, with the record the host made for it.
int ActivateServer(const LoadedModule &module, const ServerRecord &server, long version, GlobalFunc *global,
                   void *local);

// The host's negotiation, as Layout does it: offers highestVersion, then each
// lower one the class had, down to 1, while the answer is "bad version". The
// record (one pointer slot per entry) has room for highestVersion's slots,
// null where the accepted version has none; *version tells which version
// succeeded or was last offered (0: none was).
int NegotiateHandler(const LoadedModule &module, const ServerRecord &server, long highestVersion, GlobalFunc *global,
                     std::vector<void *> *record, long *version);

// An interface (options) server activated on the instance it edits, offered
// versions as a handler is; *version as for NegotiateHandler.
int NegotiateInterface(const LoadedModule &module, const ServerRecord &server, GlobalFunc *global, LWInstance instance,
                       long *version);
