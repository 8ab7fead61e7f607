// Owners of results of the template tools library.
#pragma once

#include <cstdlib>

#include "qxtt/qxtt.h"

namespace QXA {

/// Owns the result of one query. It releases the result only if the query succeeded: after a
/// failure there is nothing to release, whatever the variable holds.
template <typename Value, void (*Release)(Value*)>
class QxttResult {
public:
    QxttResult() = default;
    QxttResult(const QxttResult&) = delete;
    QxttResult& operator=(const QxttResult&) = delete;
    ~QxttResult() {
        if (m_held) {
            Release(&m_value);
        }
    }

    /// Calls the query with the address of the value; call it only once. @return the query's code.
    template <typename Query>
    int fill(const Query& query) {
        const int code = query(&m_value);
        m_held = code == 0;
        return code;
    }

    /// Valid only after a query that succeeded.
    [[nodiscard]] const Value& value() const { return m_value; }

private:
    Value m_value{};
    bool m_held = false;
};

/// Releases a result that is one block of memory.
template <typename Pointer>
void freeQxttBlock(Pointer* block) {
    std::free(*block);
}

using QxttPackageInfos = QxttResult<pkg_info**, qxtt_clean_pkg_info>;
using QxttTemplateInfo = QxttResult<tmpl_info, qxtt_clean_tmpl_info>;
using QxttTemplateEntries = QxttResult<templateListEntry**, qxtt_clean_templates_list>;
using QxttPackageEntries = QxttResult<packageListEntry**, freeQxttBlock<packageListEntry**>>;
using QxttNames = QxttResult<char**, freeQxttBlock<char**>>;
using QxttText = QxttResult<char*, freeQxttBlock<char*>>;

}  // namespace QXA
