// Loads the package-manager plug-in in the same way as an agent.
#pragma once

#include <memory>
#include <string>

#include "QXA/QXAPkgM.h"
#include "QXL/QXLAccessProvider.h"

namespace qxa {

/// Keeps the plug-in loaded and registered from load() until it is destroyed. Destroy the package
/// managers that it made first.
class Plugin {
public:
    Plugin() = default;
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin();

    /// Loads and initialises the library. @param path  empty: the installed library, or that of the
    /// build tree that this program is in. @return false with the reason in `error`.
    bool load(const std::string& path, std::string& error);

    /// A new package manager for one request; null if no factory is registered.
    [[nodiscard]] std::shared_ptr<QXA::QXAPkgM> createManager() const;

private:
    void* m_library = nullptr;
};

}  // namespace qxa
