// Records of what templates put into containers, and the template area's journal: what is read is
// written back to the same meaning.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "node/agent/tem/area_record.h"
#include "node/support/failure.h"
#include "node/template/template_journal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QXA::tem;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const std::string written = formatRecord(parseRecord(text, "record"));
        if (formatRecord(parseRecord(written, "written")) != written) {
            std::abort();
        }
    } catch (const qxnode::Failure&) {
        // No record; perhaps a journal.
    }
    try {
        const TemplateJournal journal = parseJournal(text);
        if (!(parseJournal(formatJournal(journal)) == journal)) {
            std::abort();
        }
    } catch (const qxnode::Failure&) {
        return 0;
    }
    return 0;
}
