// One template manager call in a process of its own, for tests that end it or make it fail midway.
#include <cstdio>
#include <string>
#include <vector>

#include "QXA/QXAEnvMLocal.h"
#include "QXA/QXATEMLocal.h"
#include "QXL/QXLError.h"
#include "layout/node_dir.h"
#include "node/agent/tem/container.h"

namespace {

int call(const std::string& operation, const QXL::QXLEID& eid,
         const std::vector<std::string>& words) {
    std::vector<QXA::QXATemplate> keys;
    for (const std::string& word : words) {
        keys.push_back(QXA::tem::parseKey(word));
    }
    QXA::QXATEMLocal manager(nullptr);
    std::vector<QXA::QXAPackageInfo> infos;
    if (operation == "set") {
        return manager.set(words, true, infos);
    }
    if (operation == "unset") {
        return manager.unset(keys);
    }
    if (operation == "cache") {
        return manager.cache(keys);
    }
    if (operation == "add") {
        return manager.add(eid, keys, true, false);
    }
    if (operation == "rm") {
        return manager.rm(eid, keys, true, true);
    }
    if (operation == "create") {
        QXA::QXAEnvSpec spec;
        spec.veid = 101;
        spec.eid = eid;
        spec.osTemplate = words.empty() ? "" : words.front();
        return QXA::QXAEnvMLocal(nullptr).create(spec, nullptr);
    }
    if (operation == "destroy") {
        return QXA::QXAEnvMLocal(nullptr).destroy(101);
    }
    return operation == "enter" ? 0 : 1;
}

}  // namespace

// tem_driver NODE OPERATION EID [WORD]...: exit code 0 when the call gave 0, 1 otherwise.
int main(int argc, char** argv) {
    std::string error;
    if (argc < 4 || qxnode::enterNodeDirectory(argv[1], error) != 0) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    const int code = call(argv[2], QXL::QXLEID::fromString(argv[3]),
                          std::vector<std::string>(argv + 4, argv + argc));
    if (code != 0) {
        std::fprintf(stderr, "%d: %s\n", code, QXL::getErrorMessage());
    }
    return code == 0 ? 0 : 1;
}
