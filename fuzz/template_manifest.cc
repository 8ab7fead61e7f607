// Manifests of templates: any text is read or refused, and what is read keeps the rules that others
// rely on.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "node/agent/tem/manifest.h"
#include "node/support/failure.h"
#include "node/template/version_order.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QXA::tem;
    try {
        const Manifest manifest =
            parseManifest({reinterpret_cast<const char*>(data), size}, "manifest");
        const bool sound =
            isValidName(manifest.config.name) && isValidVersion(manifest.config.version) &&
            std::is_sorted(manifest.config.technologies.begin(),
                           manifest.config.technologies.end()) &&
            std::all_of(manifest.conflicts.begin(), manifest.conflicts.end(),
                        [](const QXA::QXATemplate& key) { return isValidName(key.name); });
        if (!sound) {
            std::abort();
        }
    } catch (const qxnode::Failure&) {
        return 0;
    }
    return 0;
}
