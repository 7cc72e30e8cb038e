// Creating a plug-in of any class through the embedded host and giving it
// settings through its load slot, as the host does with a scene's lines.
#pragma once

#include <string>
#include <type_traits>

#include "module_fixture.h"
#include "text_store.h"

class PluginTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host.UseModule(&module);
    }
    template <typename Handler>
    const Handler *HandlerOf(const char *className, const char *server) {
        std::string error;
        auto *h = static_cast<const Handler *>(host.Handler(className, server, &error));
        EXPECT_NE(h, nullptr) << error;
        return h;
    }
    // Loads blocks into an instance through its handler's load slot.
    template <typename Handler>
    void Settings(const Handler *h, LWInstance instance, const char *shortName, const std::string &blocks) {
        TextStore text = TextStore::Text(std::string("BEGIN MARVEN_LABS_PLUGIN ") + shortName + "\nVERSION 1\n" + blocks +
                                         "END MARVEN_LABS_PLUGIN " + shortName + "\n");
        LWLoadState state = text.LoadState();
        h->load(instance, &state);
        ASSERT_TRUE(host.messages.empty()) << host.messages[0].line1 << " / " << host.messages[0].line2;
    }
    // A fresh instance in place of `instance` (destroyed when there is one),
    // with the blocks loaded.
    template <typename Handler>
    void Renew(const Handler *h, LWInstance *instance, const char *shortName, const std::string &blocks) {
        if (*instance) h->destroy(*instance);
        LWError err = nullptr;
        *instance = h->create(&err);
        ASSERT_NE(*instance, nullptr) << (err ? err : "");
        Settings(h, *instance, shortName, blocks);
    }
    static std::string Number(const char *key, double v) {
        char text[64];
        std::snprintf(text, sizeof text, " VALUE %.17g\n", v);
        return std::string(" BEGIN NUM ") + key + "\n" + text + " END\n";
    }
    static std::string Radio(const char *key, int selection) {
        return std::string(" BEGIN RADIO ") + key + "\n  SELECTION " + std::to_string(selection) + "\n END RADIO " + key +
               "\n";
    }
    static std::string Toggle(const char *key, bool on) {
        return std::string(" BEGIN BUTTON ") + key + "\n  CHECKED " + (on ? "YES" : "NO") + "\n  HIGHLIGHTED " +
               (on ? "YES" : "NO") + "\n END\n";
    }
};

// One instance of a shader or filter, made by its handler's create before each
// test and destroyed after it; Renew gives a fresh one with new settings.
template <typename Handler>
class InstanceTest : public PluginTest {
protected:
    const Handler *h = nullptr;
    LWInstance instance = nullptr;
    const char *server;
    explicit InstanceTest(const char *name) : server(name) {}
    void SetUp() override {
        PluginTest::SetUp();
        h = HandlerOf<Handler>(ClassName(), server);
        Recreate();
    }
    void TearDown() override {
        h->destroy(instance);
        PluginTest::TearDown();
    }
    void Renew(const std::string &blocks) { PluginTest::Renew(h, &instance, server, blocks); }
    // A new instance at its defaults, for a table of cases that each set only
    // what they change.
    void Recreate() {
        if (instance) h->destroy(instance);
        LWError err = nullptr;
        instance = h->create(&err);
        ASSERT_NE(instance, nullptr);
    }
    static constexpr const char *ClassName() {
        if constexpr (std::is_same_v<Handler, ShaderHandler>) return "ShaderHandler";
        else if constexpr (std::is_same_v<Handler, PixelFilterHandler>) return "PixelFilterHandler";
        else return "ImageFilterHandler";
    }
};
