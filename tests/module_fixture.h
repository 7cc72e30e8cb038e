// A freshly loaded module in front of an embedded host, for tests that drive it
// through its server table and handler records as the host does.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/scene_file.h"
#include "services/host_services.h"

extern "C" ModuleDescriptor _mod_descrip;

// A scratch file name of the running test's own: CTest runs the cases of one
// fixture as parallel processes, so a shared name would be written under a
// neighbour's feet.
inline std::string ScratchPath(const std::string &name) {
    const auto *test = ::testing::UnitTest::GetInstance()->current_test_info();
    return ::testing::TempDir() + test->test_suite_name() + "." + test->name() + "." + name;
}

// A whole file as it is on disk; empty when it cannot be read.
inline std::string FileText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The items a plug-in's items-used list names, up to its null end.
inline std::vector<LWItemID> ItemsUsed(const LWItemID *list) {
    std::vector<LWItemID> items;
    while (list && *list) items.push_back(*list++);
    return items;
}

// Loads a scene file into `host` (a bare name is one of the examples), or a
// scene's text named `path`; a refusal is the test's failure, with its reason.
inline ::testing::AssertionResult SceneLoads(EmbeddedHost &host, const std::string &path,
                                             const std::string *text = nullptr) {
    std::string error;
    const std::string file = path.find('/') == std::string::npos && !text ? VESK_SOURCE_DIR "/examples/" + path : path;
    if (text ? LoadSceneText(host, *text, path, &error) : LoadSceneFile(host, file, &error))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << error;
}

class ModuleTest : public ::testing::Test {
protected:
    EmbeddedHost host;
    LoadedModule module;

    void SetUp() override {
        ForgetHostServices();  // as just loaded
        std::string error;
        ASSERT_TRUE(AttachModule(&_mod_descrip, &module, &error)) << error;
    }
    void TearDown() override {
        UnloadModule(&module);
        ForgetHostServices();
    }

    // Activates a handler row at one version with a record of the version-3 size
    // whose slots start as `fill`; returns the code.
    int Activate(const char *className, const char *name, long version, std::vector<void *> *record,
                 void *fill = nullptr) {
        const ServerRecord *row = FindServer(module, className, name);
        EXPECT_NE(row, nullptr) << className << " " << name;
        if (!row) return -1;
        record->assign(HandlerSlotCount(className, 3), fill);
        return ActivateServer(module, *row, version, EmbeddedHost::Lookup(), record->data());
    }

    // Binds the module through an ordinary activation.
    void Bind() {
        std::vector<void *> record;
        ASSERT_EQ(Activate("ItemMotionHandler", "Track", 3, &record), 0);
    }
};

// A module whose host services are bound, as after its first activation.
class BoundModuleTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        Bind();
    }
};
