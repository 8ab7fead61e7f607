// Owners of what the template tools library hands out.
#pragma once

#include <cstdlib>

#include "qxtt/qxtt.h"

namespace QXA {

/// The result of one query, released once on every way out. Only a query that succeeds leaves
/// something to release: after a failure the library has none, whatever the variable then holds.
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

    /// Runs a query on the address of the value. To be called once. @return the query's code.
    template <typename Query>
    int fill(const Query& query) {
        const int code = query(&m_value);
        m_held = code == 0;
        return code;
    }

    /// Meaningful after a query that succeeded.
    [[nodiscard]] const Value& value() const { return m_value; }

private:
    Value m_value{};
    bool m_held = false;
};

/// Releases a result that is one block.
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
