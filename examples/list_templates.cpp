// A host of the plug-in: loads it, has it make a package manager, and lists the node's templates.
#include <dlfcn.h>

#include <cstdio>
#include <memory>

#include <QXA/QXALibFunctionality.h>
#include <QXA/QXANodeDirectory.h>
#include <QXA/QXAPkgM.h>
#include <QXL/QXLError.h>

namespace {

/// Who asks. The plug-in gets it with every request and hands it on to the agent's libraries.
class Request : public QXL::QXLAccessProviderPrototype {};

int callEntry(void* library, const char* name) {
    const auto entry = reinterpret_cast<int (*)()>(dlsym(library, name));
    return entry == nullptr ? -1 : entry();
}

int listTemplates() {
    auto& kit = QXL::QXLFunctionality<QXA::QXALibFunctionality>::kit();
    const auto factory = kit.getQXAPkgMMultiplexer().findLocalFactory(QXA::kTechnologyName);
    const auto manager = factory->createNew(new Request);
    QXL::QXLPackageList found;
    const QXL::QXLPackageManagerListOptions options(QXL::kPkgListSummary);
    const int code = manager->list(QXL::QXLEID::EID_LOCAL, {}, &found, options);
    for (const auto& package : found) {
        std::printf("%s %s: %s\n", package->name.c_str(), package->version.c_str(),
                    package->summary.c_str());
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && QXA::enterNodeDirectory(argv[1]) != 0) {
        std::fprintf(stderr, "%s\n", QXL::getErrorMessage());
        return 1;
    }
    void* plugin = dlopen("libQXAPackageManagerLocal.so", RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr || callEntry(plugin, "initQXAPkgMLocal") != 0) {
        std::fprintf(stderr, "the plug-in cannot be loaded: %s\n",
                     plugin == nullptr ? dlerror() : "");
        return 1;
    }
    const int code = listTemplates();
    if (code != 0) {
        std::fprintf(stderr, "%s (code %d)\n", QXL::getErrorMessage(), code);
    }
    callEntry(plugin, "finiQXAPkgMLocal");
    dlclose(plugin);
    return code == 0 ? 0 : 1;
}
