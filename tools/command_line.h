// What the vesk command's subcommands share: the module taken up in front of
// an embedded host, plug-in instances made by name, scenes loaded with their
// errors, one argument reader, one progress bar on the terminal and the frame
// numbering of sequences. Files are written whole or not at all by
// tools/image_files.h.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/embedded_host.h"
#include "host/module_loader.h"

struct Command {
    const char *name;
    const char *summary;  // one line in the command list
    const char *usage;
    int (*run)(const std::vector<std::string> &args);
};

// Prints "vesk: MESSAGE" on the error stream and gives the failure status.
int FailCommand(const std::string &message);

// `vesk --module FILE COMMAND ...`: the module file every session takes up
// instead of the module built into the program (the 32-bit build runs the
// shipped vesk.p itself); empty for the built-in one.
extern std::string sessionModuleFile;

// Binds the module built into this program to the active host's services, so
// that its own code (the motion export) runs beside a module file's plug-ins.
bool BindBuiltInModule(std::string *error);

// The module as the host takes it up, in front of an embedded host.
struct Session {
    LoadedModule module;
    // A module file is stopped after the host has destroyed its instances.
    struct Unload {
        LoadedModule *module;
        ~Unload() {
            if (module->library) UnloadModule(module);
        }
    } unload{&module};
    EmbeddedHost host;
    // Nothing a command does after loading changes the scene or a plug-in's
    // settings, so the host remembers every motion and placement it works out
    // for the whole command (loading a scene or settings forgets them).
    EvaluationPass wholeCommand{host};
    std::string error;
    bool ready;
    Session();
    // Prints every message the plug-ins showed, and forgets them.
    void PrintMessages();
};

// Options of the form --name VALUE and -o VALUE, in the order of `names`
// (empty when not given); the rest are positional. Names also listed in
// `flags` take no value and come back as "1".
bool Options(const std::vector<std::string> &args, const std::vector<std::string> &names,
             std::vector<std::string> *positional, std::vector<std::string> *values, std::string *error,
             const std::vector<std::string> &flags = {});
// The longest stretch the commands will bake, move or filter: a million
// frames is over nine hours at 30 frames a second, and a motion file of that
// many keys is some 100 MB; anything longer is a typing slip.
constexpr long kMostFrames = 1000000;

// A whole number within [low, high], all of the text.
bool WholeNumber(const std::string &text, long low, long high, long *out);
// A frame number, 0 to kMostFrames.
bool FrameNumber(const std::string &text, int *frame);

// --png-level's value: empty gives the default; otherwise a whole number 0 to 9.
bool PngLevel(const std::string &text, int *level);
// FIRST-LAST, as 1-120, with FIRST <= LAST, neither beyond kMostFrames.
bool FrameRange(const std::string &text, int *first, int *last);

// The handler record of a plug-in by name, whatever its class; the class in *className.
const void *FindHandler(Session &s, const std::string &name, std::string *className, std::string *error);

// An instance of a plug-in by name, created as the host creates it (item
// motion and displacement for no item), with FILE loaded as its panel's load
// button does; false with the reason.
struct NewInstance {
    const void *handler = nullptr;
    std::string className;
    LWInstance instance = nullptr;
};
bool CreateInstance(Session &s, const std::string &name, const std::string &settingsFile, NewInstance *out,
                    std::string *error);
void Destroy(const NewInstance &n);

bool LoadScene(Session &s, const std::string &path, int *status);
void EachItem(Scene &scene, const std::function<void(Item &)> &visit);
// An item by the name the host shows (with its number) or its own.
Item *NamedItem(Scene &scene, const std::string &name);
// The scene loaded and its item found; null, with the failure said and its
// status in *status, when either fails.
Item *LoadSceneItem(Session &s, const std::string &scenePath, const std::string &name, int *status);

// A bar on the terminal's error stream, redrawn as work is done; nothing when
// the stream is not a terminal.
void DrawProgress(int done, int total);
// The export's progress callback: the bar for bakes of 500 keys or more.
bool ShowProgress(void *data, int done, int total);

// The subcommands, each in its own file.
extern const Command listCommand, settingsCommand, describeCommand, bakeCommand, filterCommand, blurCommand,
    displaceCommand, shadeCommand, renderCommand, describePluginCommand, genericCommand, exportCommand;
