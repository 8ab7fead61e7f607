// The package-manager plug-in, loaded as an agent loads it.
#pragma once

#include <memory>
#include <string>

#include "QXA/QXAPkgM.h"
#include "QXL/QXLAccessProvider.h"

namespace qxa {

/// Keeps the plug-in loaded and registered from load() to its destruction. Package managers made by
/// it must be gone before that.
class Plugin {
public:
    Plugin() = default;
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin();

    /// Loads and initialises the library. @param path empty: the installed one, or the one of the
    /// build tree that this program is part of. @return false with the reason in `error`.
    bool load(const std::string& path, std::string& error);

    /// A new package manager for one request. Null when the plug-in registered none.
    [[nodiscard]] std::shared_ptr<QXA::QXAPkgM> createManager() const;

private:
    void* m_library = nullptr;
};

}  // namespace qxa
