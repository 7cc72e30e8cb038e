// The server table, handler activation by host version, and the one-time binding
// of the host's services, driven through the table as the host drives it.
#include <cstring>

#include "activation_sweep.h"
#include "module_fixture.h"

namespace {

using Activation = ModuleTest;

TEST_F(Activation, EveryRowAtEveryVersionGivesTheCodeAndSlots) {
    // The slots each class's record has at versions 2 and 3, as the host's
    // interface lays them out; the sweep fills exactly these.
    const struct {
        const char *cls;
        size_t v2, v3;
    } slots[] = {{"ItemMotionHandler", 7, 9}, {"DisplacementHandler", 9, 11}, {"ShaderHandler", 11, 13},
                 {"PixelFilterHandler", 11, 13}, {"ImageFilterHandler", 8, 10}};
    for (const auto &c : slots) {
        EXPECT_EQ(HandlerSlotCount(c.cls, 2), c.v2) << c.cls;
        EXPECT_EQ(HandlerSlotCount(c.cls, 3), c.v3) << c.cls;
    }
    SweepActivations(module, host, [](bool ok, const std::string &what) { EXPECT_TRUE(ok) << what; });
    EXPECT_EQ(module.serverData, reinterpret_cast<void *>(4));
}

TEST_F(Activation, OldHostIsToldEachTimeAndNothingIsBound) {
    std::vector<void *> record;
    EXPECT_EQ(Activate("ShaderHandler", "Acid", 1, &record), 550);
    EXPECT_EQ(Activate("ShaderHandler", "Acid", 1, &record), 550);
    EXPECT_EQ(host.messages.size(), 2u);
    EXPECT_EQ(hostServices.global, nullptr);
    for (const ServiceLookup &l : host.lookups) EXPECT_EQ(l.service, LWSERVICE_MESSAGES);

    host.Withhold(LWSERVICE_MESSAGES);
    host.messages.clear();
    EXPECT_EQ(Activate("ShaderHandler", "Acid", 1, &record), 550);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(Activation, BindingLooksUpInOrderOnce) {
    Bind();
    const char *order[] = {"Info Messages", "LW Light Info 2", "LW Camera Info", "LW Image List",
                           "LW Bone Info",  "LW Item Info 2",  "LW Object Info", "File Request"};
    ASSERT_EQ(host.lookups.size(), 8u);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(host.lookups[i].service, order[i]);
        EXPECT_EQ(host.lookups[i].useCode, GFUSE_ACQUIRE);
    }
    std::vector<void *> record;
    EXPECT_EQ(Activate("ImageFilterHandler", "Lens", 2, &record), 0);
    EXPECT_EQ(host.lookups.size(), 8u) << "later activations reuse the binding";
}

TEST_F(Activation, MissingServicesNameThemselves) {
    struct Case {
        std::vector<const char *> withheld;
        int code;
    };
    const Case cases[] = {
        {{"LW Item Info 2", "LW Item Info"}, 10}, {{"LW Object Info"}, 11}, {{"LW Bone Info"}, 12},
        {{"LW Light Info 2", "LW Light Info"}, 13}, {{"LW Camera Info"}, 14}, {{"LW Image List"}, 15},
        {{"Info Messages"}, 17},
        {{"Info Messages", "LW Image List", "LW Object Info"}, 11},  // the first in checking order
        {{"LW Item Info 2"}, 0},                                    // the older service serves
        {{"LW Light Info 2"}, 0},
        {{"File Request"}, 0},  // only the file buttons need it
    };
    for (const Case &c : cases) {
        ForgetHostServices();
        for (const char *s : c.withheld) host.Withhold(s);
        std::vector<void *> record;
        EXPECT_EQ(Activate("DisplacementHandler", "Poke", 3, &record), c.code) << c.withheld[0];
        EXPECT_EQ(hostServices.global != nullptr, c.code == 0);
        for (const char *s : c.withheld) host.Offer(s);
    }
}

TEST_F(Activation, FallbacksUseTheOlderRecords) {
    host.Withhold(LWSERVICE_ITEM_INFO_2);
    host.Withhold(LWSERVICE_LIGHT_INFO_2);
    Bind();
    EXPECT_FALSE(hostServices.itemInfoHasTags);
    EXPECT_FALSE(hostServices.lightInfoHasRange);
    EXPECT_EQ(hostServices.itemInfo, host.Service(LWSERVICE_ITEM_INFO, 0));
    EXPECT_EQ(hostServices.lightInfo, host.Service(LWSERVICE_LIGHT_INFO, 0));
}

TEST_F(Activation, FailedBindingIsRetried) {
    std::vector<void *> record;
    host.Withhold(LWSERVICE_CAMERA_INFO);
    EXPECT_EQ(Activate("ItemMotionHandler", "Whip", 3, &record), 14);
    host.Offer(LWSERVICE_CAMERA_INFO);
    host.lookups.clear();
    EXPECT_EQ(Activate("ItemMotionHandler", "Whip", 3, &record), 0);
    EXPECT_EQ(host.lookups.size(), 8u) << "the whole binding runs again";

    const ServerRecord *row = FindServer(module, "ItemMotionHandler", "Whip");
    EXPECT_EQ(ActivateServer(module, *row, 3, nullptr, record.data()), 2) << "no lookup, even when bound";
}

TEST_F(Activation, InterfaceNeedsBindingAndAnInstance) {
    const ServerRecord *options = FindServer(module, "ShaderInterface", "HSVBoost");
    int instance = 0;
    EXPECT_EQ(ActivateServer(module, *options, 1, EmbeddedHost::Lookup(), &instance), 9237);
    Bind();
    EXPECT_EQ(ActivateServer(module, *options, 1, EmbeddedHost::Lookup(), nullptr), 3477);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].kind, MessageKind::Info);
    EXPECT_EQ(host.messages[0].line1, "No local data when starting up interface");
    EXPECT_EQ(host.messages[0].line2, "ARRRGGH");
}


// A stand-in server of the old kind: accepts only the versions it was built
// for, and notes each version offered and the room its record had.
struct OldServer {
    static inline const char *cls;
    static inline long accepts[2];
    static inline std::vector<long> offered;
    static inline std::vector<bool> roomEmpty;  // every slot null when offered
    static int Activate(long version, GlobalFunc *, void *local, void *) {
        offered.push_back(version);
        void **slots = static_cast<void **>(local);
        bool empty = true;
        for (size_t i = 0; i < HandlerSlotCount(cls, 3); ++i) empty = empty && !slots[i];
        roomEmpty.push_back(empty);
        if (version != accepts[0] && version != accepts[1]) return AFUNC_BADVERSION;
        for (size_t i = 0; i < HandlerSlotCount(cls, version); ++i) slots[i] = reinterpret_cast<void *>(0x100 + i);
        return AFUNC_OK;
    }
};

TEST(Negotiation, OffersThreeThenTwoThenOneAsLayoutDoes) {
    struct Case {
        const char *cls;
        long accepts[2];
        std::vector<long> offered;
        long settled;  // 0: refused every version
        size_t room;
    };
    const Case cases[] = {
        {"ShaderHandler", {2, 1}, {3, 2}, 2, 13}, {"ImageFilterHandler", {1, 1}, {3, 2, 1}, 1, 10},
        {"ItemMotionHandler", {3, 2}, {3}, 3, 9},
        {"PixelFilterHandler", {1, 1}, {3, 2}, 0, 13},  // the class never had a version 1: not offered
        {"DisplacementHandler", {0, 0}, {3, 2, 1}, 0, 11},
    };
    for (const Case &c : cases) {
        OldServer::cls = c.cls;
        OldServer::accepts[0] = c.accepts[0], OldServer::accepts[1] = c.accepts[1];
        OldServer::offered.clear(), OldServer::roomEmpty.clear();
        ServerRecord row{c.cls, "Old", OldServer::Activate};
        LoadedModule module;
        std::vector<void *> record;
        long version = -1;
        int code = NegotiateHandler(module, row, 3, nullptr, &record, &version);
        EXPECT_EQ(OldServer::offered, c.offered) << c.cls;
        EXPECT_EQ(code, c.settled ? AFUNC_OK : AFUNC_BADVERSION) << c.cls;
        if (c.settled) {
            EXPECT_EQ(version, c.settled) << c.cls;
        }
        ASSERT_EQ(record.size(), c.room) << c.cls;  // the newest record's room whatever was accepted
        for (bool empty : OldServer::roomEmpty) EXPECT_TRUE(empty) << c.cls << ": a record offered with slots already set";
        // What an older version lacks stays empty: no description slot at 1.
        if (c.settled == 1) {
            EXPECT_EQ(record[HandlerSlotCount(c.cls, 1)], nullptr) << c.cls;
        }
    }
}

TEST(Negotiation, TheStartUpFunctionIsOptional) {
    static ServerRecord none[] = {{nullptr, nullptr, nullptr}};
    struct Case {
        void *(*startup)();
        bool attached;
    } cases[] = {
        {nullptr, true},                                   // no start-up: no server data, and that is fine
        {[]() -> void * { return nullptr; }, false},       // a start-up that answers null has failed
        {[]() -> void * { return none; }, true},
    };
    for (const Case &c : cases) {
        ModuleDescriptor d{MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE_X86, c.startup, nullptr, none};
        LoadedModule module;
        std::string error;
        EXPECT_EQ(AttachModule(&d, &module, &error), c.attached) << error;
        if (c.attached) {
            EXPECT_EQ(module.serverData, c.startup ? c.startup() : nullptr);
        } else {
            EXPECT_EQ(error, "module startup failed");
        }
    }
}

}  // namespace
