// Every row of a module's server table against the collection, and every
// handler activated at host versions 1 to 4 with a record whose slots start
// untouched: the code, the message shown and the slots filled, as the host
// expects them. Shared by the unit tests (the module built in) and the
// Windows and 32-bit checks (the built vesk.p); `Check(ok, what)` reports.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "collection.h"
#include "host/embedded_host.h"
#include "host/module_loader.h"

template <typename CheckFn>
void SweepActivations(const LoadedModule &module, EmbeddedHost &host, CheckFn Check) {
    void *const kUntouched = reinterpret_cast<void *>(static_cast<uintptr_t>(0x5A5A5A5A));
    auto rows = ServerRows(module);
    Check(rows.size() == 66, "66 server rows, found " + std::to_string(rows.size()));
    ActivateFunc *interfaceActivation = nullptr;
    for (size_t i = 0; i < rows.size() && i < 66; ++i) {
        const ServerRecord &row = *rows[i];
        int plugin = static_cast<int>(i / 2);
        std::string cls = std::string(CollectionClassStem(plugin)) + (i % 2 ? "Interface" : "Handler");
        std::string where = "row " + std::to_string(i + 1) + " " + row.className + " " + row.name;
        Check(cls == row.className && std::strcmp(row.name, kCollection[plugin]) == 0,
              where + ": expected " + cls + " " + kCollection[plugin]);
        if (i % 2) {
            if (!interfaceActivation) interfaceActivation = row.activate;
            Check(row.activate == interfaceActivation, where + ": interface rows share one activation");
            continue;
        }
        if (i > 0) Check(row.activate != rows[i - 2]->activate, where + ": one activation per plug-in");
        size_t v2 = HandlerSlotCount(row.className, 2), v3 = HandlerSlotCount(row.className, 3);
        for (long version = 1; version <= 4; ++version) {
            std::vector<void *> record(v3, kUntouched);
            host.messages.clear();
            int code = ActivateServer(module, row, version, EmbeddedHost::Lookup(), record.data());
            std::string at = where + " version " + std::to_string(version);
            size_t filled = version == 2 ? v2 : version == 3 ? v3 : 0;
            int expected = version > 3 ? 1 : version < 2 ? 550 : 0;
            Check(code == expected, at + ": code " + std::to_string(code) + ", expected " + std::to_string(expected));
            for (size_t s = 0; s < v3; ++s)
                Check((record[s] != kUntouched && record[s] != nullptr) == (s < filled),
                      at + ": slot " + std::to_string(s) + (s < filled ? " not filled" : " written"));
            bool toldTooOld = host.messages.size() == 1 && host.messages[0].kind == MessageKind::Error &&
                              host.messages[0].line1 == "This plugin requires LW version 5.0 or later" &&
                              host.messages[0].line2.empty();
            Check(version == 1 ? toldTooOld : host.messages.empty(), at + ": message shown");
        }
    }
    if (interfaceActivation) {
        host.messages.clear();
        int code = interfaceActivation(3, EmbeddedHost::Lookup(), nullptr, nullptr);
        Check(code == 3477 && host.messages.size() == 1 && host.messages[0].line2 == "ARRRGGH",
              "interface without an instance: 3477 and the message");
    }
}
