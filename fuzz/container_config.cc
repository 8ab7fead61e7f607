// A container's configuration: whatever is taken reads back the same after it is written, and a
// parameter that is set is what is read, with every other line left alone.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "layout/container_config.h"

namespace {

using qxnode::ContainerConfig;

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

ContainerConfig parsedAgain(const ContainerConfig& config) {
    std::string error;
    auto again = ContainerConfig::parse(config.text(), "again", error);
    require(again.has_value());
    return std::move(*again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string error;
    auto config = ContainerConfig::parse(text, "input", error);
    if (!config) {
        require(error.starts_with("input:") && error.find('\n') == std::string::npos);
        return 0;
    }
    require(parsedAgain(*config).text() == config->text());
    (void)config->privateArea(7);

    const auto other = config->get("VE_PRIVATE");
    const auto templates = config->templates();
    require(config->setTemplates(templates));
    require(config->set("EID", "x y"));
    // A line may have been added to a configuration that had as many as are taken.
    if (config->lineOf("EID") > ContainerConfig::kMaxLines ||
        config->text().size() > ContainerConfig::kMaxBytes) {
        return 0;
    }
    const ContainerConfig again = parsedAgain(*config);
    require(again.get("EID") == "x y");
    require(again.templates() == templates);
    require(again.get("VE_PRIVATE") == other);
    config->remove("EID");
    require(!config->get("EID"));
    return 0;
}
