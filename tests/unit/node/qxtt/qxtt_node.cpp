// Metadata files and copies of results; see qxtt_node.h.
#include "tests/unit/node/qxtt/qxtt_node.h"

#include <gtest/gtest.h>

#include <cstdlib>

// Of the sanitizer, where one is linked.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

namespace qxtt_test {

namespace {

Text text(const char* value) {
    return value == nullptr ? std::nullopt : Text(value);
}

Texts texts(char** values) {
    if (values == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> list;
    for (; *values != nullptr; ++values) {
        list.emplace_back(*values);
    }
    return list;
}

Template template_of(const tmpl_info& info) {
    Template copy;
    copy.name = text(info.name);
    copy.os_name = text(info.os_name);
    copy.packaging = text(info.packaging);
    copy.architecture = text(info.architecture);
    copy.config_path = text(info.config_path);
    copy.summary = text(info.summary);
    copy.description = texts(info.description);
    copy.base_packages = texts(info.base_packages);
    copy.late_base_packages = texts(info.late_base_packages);
    copy.packages = texts(info.packages);
    copy.technologies = texts(info.technologies);
    copy.cached = text(info.cached);
    return copy;
}

std::vector<Entry> entries_of(packageListEntry** entries) {
    std::vector<Entry> copies;
    for (auto** entry = entries; *entry != nullptr; ++entry) {
        copies.push_back({text((*entry)->name), text((*entry)->architecture),
                          text((*entry)->version), text((*entry)->summary)});
    }
    std::free(entries);
    return copies;
}

std::vector<Template> templates_of(templateListEntry** entries) {
    std::vector<Template> copies;
    for (auto** entry = entries; *entry != nullptr; ++entry) {
        copies.push_back(template_of(*(*entry)->info));
        copies.back().is_os = (*entry)->is_os != 0;
    }
    qxtt_clean_templates_list(&entries);
    EXPECT_EQ(entries, nullptr);
    return copies;
}

void leave_nothing() {
    if (__lsan_do_recoverable_leak_check != nullptr) {
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
    }
}

}  // namespace

qxtt_options with_mask(std::uint32_t mask) {
    qxtt_options options{};
    options.words[QXTT_OPTION_LOCAL_OFFSET / 4] = 1;
    options.words[QXTT_OPTION_MASK_OFFSET / 4] = mask;
    return options;
}

Answer<std::vector<Entry>> ve_pkgs(int veid, std::uint32_t mask) {
    auto options = with_mask(mask);
    options.words[QXTT_OPTION_VE_PACKAGES_OFFSET / 4] = 1;
    packageListEntry** entries = nullptr;
    const int code = qxtt_get_ve_pkgs(veid, &options, &entries);
    EXPECT_EQ(entries == nullptr, code != 0);
    return {code, code == 0 ? entries_of(entries) : std::vector<Entry>()};
}

Answer<std::vector<Entry>> template_pkgs(const char* os, std::uint32_t mask) {
    const auto options = with_mask(mask);
    packageListEntry** entries = nullptr;
    const int code = qxtt_get_template_pkgs(os, &options, &entries);
    EXPECT_EQ(entries == nullptr, code != 0);
    return {code, code == 0 ? entries_of(entries) : std::vector<Entry>()};
}

Answer<std::vector<Info>> pkg_info_of(const char* os, const char* name, std::uint32_t mask) {
    const auto options = with_mask(mask);
    pkg_info** records = nullptr;
    Answer<std::vector<Info>> answer;
    answer.code = qxtt_get_pkg_info(os, name, &options, &records);
    EXPECT_EQ(records == nullptr, answer.code != 0);
    for (auto** record = records; answer.code == 0 && *record != nullptr; ++record) {
        const pkg_info& info = **record;
        answer.value.push_back({text(info.name), text(info.version), text(info.repository),
                                text(info.architecture), text(info.summary),
                                texts(info.description)});
    }
    qxtt_clean_pkg_info(&records);
    EXPECT_EQ(records, nullptr);
    return answer;
}

Answer<Template> os_info(const char* os, std::uint32_t mask) {
    const auto options = with_mask(mask);
    tmpl_info info{};
    Answer<Template> answer;
    answer.code = qxtt_get_os_tmpl_info(os, &options, &info);
    answer.value = template_of(info);
    qxtt_clean_tmpl_info(&info);
    return answer;
}

Answer<Template> app_info(const char* os_or_veid, const char* name, std::uint32_t mask) {
    const auto options = with_mask(mask);
    tmpl_info info{};
    Answer<Template> answer;
    answer.code = qxtt_get_app_tmpl_info(os_or_veid, name, &options, &info);
    answer.value = template_of(info);
    qxtt_clean_tmpl_info(&info);
    return answer;
}

Answer<std::vector<std::string>> all_base() {
    char** names = nullptr;
    Answer<std::vector<std::string>> answer;
    answer.code = qxtt_get_all_base(&names);
    if (answer.code == 0) {
        answer.value = *texts(names);
    }
    std::free(names);
    return answer;
}

Answer<std::vector<Template>> templates_list(const char* os, std::uint32_t mask) {
    const auto options = with_mask(mask);
    templateListEntry** entries = nullptr;
    const int code = qxtt_get_templates_list(os, &options, &entries);
    return {code, code == 0 ? templates_of(entries) : std::vector<Template>()};
}

Answer<std::vector<Template>> ve_templates(int veid, std::uint32_t mask) {
    auto options = with_mask(mask);
    options.words[QXTT_OPTION_VE_TEMPLATES_OFFSET / 4] = 1;
    templateListEntry** entries = nullptr;
    const int code = qxtt_get_ve_templates_list(veid, &options, &entries);
    return {code, code == 0 ? templates_of(entries) : std::vector<Template>()};
}

Answer<Text> ve_ostemplate(int veid) {
    const auto options = with_mask(QXTT_MASK_LIST);
    char* name = nullptr;
    Answer<Text> answer;
    answer.code = qxtt_get_ve_ostemplate(veid, &name, &options);
    answer.value = text(name);
    std::free(name);
    return answer;
}

int ve_status(int veid) {
    const auto options = with_mask(QXTT_MASK_LIST);
    return qxtt_get_ve_status(veid, &options);
}

std::vector<std::string> names_of(const std::vector<Entry>& entries) {
    std::vector<std::string> names;
    for (const Entry& entry : entries) {
        names.push_back(entry.name.value_or("?"));
    }
    return names;
}

std::vector<std::string> names_of(const std::vector<Template>& templates) {
    std::vector<std::string> names;
    for (const Template& one : templates) {
        names.push_back(one.name.value_or("?"));
    }
    return names;
}

void QxttNode::os_template(const std::string& name, const std::string& packaging,
                           const std::string& rest) const {
    write("/qx/template/kr/" + name + "/template.toml",
          "technology = \"kr\"\nkind = \"os\"\nname = \"" + name + "\"\npackaging = \"" +
              packaging + "\"\n" + rest);
}

void QxttNode::application(const std::string& os, const std::string& name,
                           const std::string& rest) const {
    write("/qx/template/kr/" + os + "/app/" + name + ".toml",
          "technology = \"kr\"\nkind = \"app\"\nos = \"" + os + "\"\nname = \"" + name + "\"\n" +
              rest);
}

void QxttNode::cache(const std::string& os) const {
    write("/qx/template/kr/" + os + "/cache.toml",
          "uuid = \"0a1b2c3d-0000-4000-8000-00000000000c\"\n");
}

void QxttNode::container(int veid, const std::string& os, const std::string& templates) const {
    node_.writeContainer(veid, "OSTEMPLATE=\"" + os + "\"\nTEMPLATES=\"" + templates + "\"\n");
}

std::string QxttNode::root_of(int veid) {
    return "/qx/private/" + std::to_string(veid) + "/root";
}

void QxttNode::run(const std::function<void()>& body) const {
    node_.run([&] {
        body();
        leave_nothing();
    });
}

void QxttNode::run_as(unsigned uid, const std::function<void()>& body) const {
    node_.runAs(uid, body);
}

}  // namespace qxtt_test
