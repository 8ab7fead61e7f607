// Loads the plug-in and finds its factory.
#include "tools/qxa/plugin.h"

#include <dlfcn.h>

#include "QXA/QXALibFunctionality.h"

namespace qxa {

namespace {

constexpr const char* kLibrary = "libQXAPackageManagerLocal.so";
constexpr const char* kInit = "initQXAPkgMLocal";
constexpr const char* kFini = "finiQXAPkgMLocal";

/// The request's access provider; it has no data.
class RequestAccess : public QXL::QXLAccessProviderPrototype {};

using EntryPoint = int (*)();

EntryPoint entryPoint(void* library, const char* name) {
    return reinterpret_cast<EntryPoint>(dlsym(library, name));
}

}  // namespace

Plugin::~Plugin() {
    if (m_library == nullptr) {
        return;
    }
    if (const auto fini = entryPoint(m_library, kFini)) {
        fini();
    }
    dlclose(m_library);
}

bool Plugin::load(const std::string& path, std::string& error) {
    m_library = dlopen(path.empty() ? kLibrary : path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_library == nullptr) {
        error = dlerror();
        return false;
    }
    const auto init = entryPoint(m_library, kInit);
    if (init == nullptr) {
        error = std::string(kLibrary) + " has no entry point " + kInit;
        return false;
    }
    const int result = init();
    if (result != 0) {
        error = std::string(kInit) + " failed with " + std::to_string(result);
        return false;
    }
    return true;
}

std::shared_ptr<QXA::QXAPkgM> Plugin::createManager() const {
    auto& kit = QXL::QXLFunctionality<QXA::QXALibFunctionality>::kit();
    const auto factory = kit.getQXAPkgMMultiplexer().findLocalFactory(QXA::kTechnologyName);
    return factory == nullptr ? nullptr : factory->createNew(new RequestAccess);
}

}  // namespace qxa
