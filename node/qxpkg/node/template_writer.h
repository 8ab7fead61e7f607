// Exclusive access to the node's KR templates.
#pragma once

#include "base/fd.h"
#include "layout/lock.h"
#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"
#include "node/template/template_journal.h"

namespace qxpkg {

/// Holds the templates' lock, which both technologies share, and the opened template area. The
/// constructor finishes or removes what a killed writer left.
class TemplateWriter {
public:
    /// @throws Failure kLockNotHad. While it waits, `output` says who holds the lock.
    TemplateWriter(const qxnode::LockWait& wait, const Output& output);

    [[nodiscard]] int area() const { return m_area.get(); }

private:
    qxnode::FileLock m_lock;
    base::Fd m_area;
};

/// Writes a file of a change into staging and makes its missing folders.
/// @param path  relative to the template area.
void writeStaged(int area, const std::string& path, const std::string& content);

/// Makes a folder of a change in staging.
void makeStagedFolder(int area, const std::string& path);

/// The path of an OS template's folder, and of a cache, relative to the template area.
std::string osTarget(const std::string& os);
std::string cacheTarget(const std::string& uuid);

}  // namespace qxpkg
