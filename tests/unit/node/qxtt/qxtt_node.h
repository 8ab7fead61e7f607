// A node with KR templates and containers, and the library's results as values.
#ifndef TESTS_UNIT_NODE_QXTT_QXTT_NODE_H
#define TESTS_UNIT_NODE_QXTT_QXTT_NODE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qxtt/qxtt.h"
#include "tests/support/test_node.h"

namespace qxtt_test {

// Options with a mask, everything else 0.
qxtt_options with_mask(std::uint32_t mask);

// Texts that are not known come as nullopt.
using Text = std::optional<std::string>;
using Texts = std::optional<std::vector<std::string>>;

struct Entry {
    Text name;
    Text architecture;
    Text version;
    Text summary;

    bool operator==(const Entry&) const = default;
};

struct Info {
    Text name;
    Text version;
    Text repository;
    Text architecture;
    Text summary;
    Texts description;
};

struct Template {
    bool is_os = false;
    Text name;
    Text os_name;
    Text packaging;
    Text architecture;
    Text config_path;
    Text summary;
    Texts description;
    Texts base_packages;
    Texts late_base_packages;
    Texts packages;
    Texts technologies;
    Text cached;
};

// A query's answer, copied; what the library gave is released.
template <typename Value>
struct Answer {
    int code = 0;
    Value value{};
};

Answer<std::vector<Entry>> ve_pkgs(int veid, std::uint32_t mask = QXTT_MASK_LIST);
Answer<std::vector<Entry>> template_pkgs(const char* os, std::uint32_t mask = QXTT_MASK_LIST);
Answer<std::vector<Info>> pkg_info_of(const char* os, const char* name,
                                      std::uint32_t mask = QXTT_MASK_PACKAGE_INFO);
Answer<Template> os_info(const char* os, std::uint32_t mask = QXTT_MASK_TEMPLATE_INFO);
Answer<Template> app_info(const char* os_or_veid, const char* name,
                          std::uint32_t mask = QXTT_MASK_TEMPLATE_INFO);
Answer<std::vector<std::string>> all_base();
Answer<std::vector<Template>> templates_list(const char* os, std::uint32_t mask = QXTT_MASK_LIST);
Answer<std::vector<Template>> ve_templates(int veid, std::uint32_t mask = QXTT_MASK_LIST);
Answer<Text> ve_ostemplate(int veid);
int ve_status(int veid);

// Names only, for what a listing holds and in which order.
std::vector<std::string> names_of(const std::vector<Entry>& entries);
std::vector<std::string> names_of(const std::vector<Template>& templates);

class QxttNode {
public:
    // Metadata of templates; `rest` holds further lines.
    void os_template(const std::string& name, const std::string& packaging,
                     const std::string& rest = "") const;
    void application(const std::string& os, const std::string& name,
                     const std::string& rest = "") const;
    /// Records a cache whose tree is to lie at kCacheRoot.
    static constexpr const char* kCacheRoot =
        "/qx/template/vc/0a1b2c3d-0000-4000-8000-00000000000c/root";
    void cache(const std::string& os) const;
    void container(int veid, const std::string& os, const std::string& templates = "") const;

    static std::string root_of(int veid);

    void write(std::string_view path, std::string_view content) const {
        node_.write(path, content);
    }

    // Runs the body inside the node; memory that it leaves behind fails the test where a sanitizer
    // looks for it.
    void run(const std::function<void()>& body) const;
    void run_as(unsigned uid, const std::function<void()>& body) const;

private:
    qx_test::TestNode node_;
};

}  // namespace qxtt_test

#endif
