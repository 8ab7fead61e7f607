// Reads the node's templates, without a lock; it never sees half a change.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXATemplate.h"
#include "base/fd.h"
#include "node/agent/tem/manifest.h"
#include "node/template/template_journal.h"

namespace QXA::tem {

/// The template area at the time of construction. Methods throw Failure.
class TemplateArea {
public:
    /// @throws Failure if /qx/template cannot be opened.
    TemplateArea();

    [[nodiscard]] int root() const { return m_root.get(); }

    /// The names of templates, sorted, each with its versions.
    [[nodiscard]] std::vector<std::pair<std::string, std::vector<std::string>>> listing() const;

    /// Versions of a template, the newest last; empty for an unknown one.
    [[nodiscard]] std::vector<std::string> versions(const std::string& name) const;

    /// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; kNoCode if the manifest cannot be
    ///         read or has errors.
    [[nodiscard]] std::shared_ptr<const Manifest> manifest(const QXATemplate& key) const;

    /// The opened directory of the template's files ("root").
    [[nodiscard]] base::Fd openRoot(const QXATemplate& key) const;

    /// The key with a version: an empty one becomes the newest.
    /// @throws Failure kTemUnknownTemplate, kTemUnknownVersion.
    [[nodiscard]] QXATemplate resolve(const QXATemplate& key) const;

    /// All templates of the area whose manifests can be read.
    [[nodiscard]] std::vector<std::shared_ptr<const Manifest>> all() const;

    [[nodiscard]] std::uint64_t generation() const { return m_journal->generation; }

private:
    [[nodiscard]] base::Fd openVersion(const QXATemplate& key) const;

    base::Fd m_root;
    std::shared_ptr<const TemplateJournal> m_journal;
};

/// Runs a query of several templates and repeats it until no change came between its reads.
void readStable(const std::function<void(const TemplateArea&)>& query);

}  // namespace QXA::tem
