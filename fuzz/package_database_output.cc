// What engines print when they list a package database: any output gives packages with names, or is
// refused, and the fields of a package hold none of the marks between fields and records.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "node/kr/list_output.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace {

using qxnode::Package;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool isOneField(const std::string& text) {
    return text.find(qxnode::kFieldMark) == std::string::npos;
}

void check(const Package& package) {
    require(!package.name.empty());
    require(isOneField(package.name) && isOneField(package.version) &&
            isOneField(package.architecture) && isOneField(package.summary));
    require(package.summary.find('\n') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    qxnode::ListOutput output([](Package&& package) { check(package); });
    try {
        while (!text.empty()) {
            const std::size_t end = text.find('\n');
            output.add(text.substr(0, end));
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
        output.finish();
    } catch (const qxnode::Failure& failure) {
        require(failure.code() == QXTT_E_BAD_DATABASE);
    }
    return 0;
}
