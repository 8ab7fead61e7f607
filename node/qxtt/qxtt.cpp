// The C interface: checks arguments, builds results, and catches all exceptions. See qxtt.h.
#include "qxtt/qxtt.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "node/kr/manifest.h"
#include "node/qxtt/packages.h"
#include "node/qxtt/records.h"
#include "node/qxtt/templates.h"
#include "node/support/failure.h"

namespace {

using qxnode::Failure;

std::uint32_t wordOf(const qxtt_options& options, std::size_t offset) {
    return options.words[offset / sizeof(std::uint32_t)];
}

std::uint32_t maskOf(const qxtt_options& options) {
    return wordOf(options, QXTT_OPTION_MASK_OFFSET);
}

void tell(const qxtt_options* options, const char* reason) noexcept {
    if (options != nullptr && wordOf(*options, QXTT_OPTION_QUIET_OFFSET) != 0) {
        std::fprintf(stderr, "libqxtt: %s\n", reason);
    }
}

/// Runs a query; a null argument is a failure.
template <typename Query, typename... Pointers>
int answer(const Query& query, const qxtt_options* options, const Pointers*... pointers) noexcept {
    if (options == nullptr || (... || (pointers == nullptr))) {
        tell(options, "a null argument");
        return QXTT_E_ARGUMENT;
    }
    try {
        query();
        return 0;
    } catch (const Failure& failure) {
        tell(options, failure.what());
        return failure.code() > 0 ? failure.code() : QXTT_E_INTERNAL;
    } catch (const std::bad_alloc& failure) {
        tell(options, failure.what());
        return QXTT_E_MEMORY;
    } catch (const std::exception& failure) {
        tell(options, failure.what());
        return QXTT_E_INTERNAL;
    } catch (...) {
        return QXTT_E_INTERNAL;
    }
}

/// A text of digits only is a container's number.
bool isNumber(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string osOfContainer(std::string_view number) {
    int veid = 0;
    const auto [end, failure] = std::from_chars(number.data(), number.data() + number.size(), veid);
    if (failure != std::errc{}) {
        throw Failure(QXTT_E_NO_CONTAINER, "there is no container " + std::string(number));
    }
    return qxtt::containerOf(veid).osName;
}

}  // namespace

void qxtt_set_default_options(qxtt_options* options) {
    if (options != nullptr) {
        std::memset(options, 0, sizeof(*options));
        options->words[QXTT_OPTION_LOCAL_OFFSET / sizeof(std::uint32_t)] = 1;
        options->words[QXTT_OPTION_MASK_OFFSET / sizeof(std::uint32_t)] = QXTT_MASK_LIST;
    }
}

int qxtt_get_pkg_info(const char* os, const char* name, const qxtt_options* options,
                      pkg_info*** out) {
    return answer(
        [&] {
            if (!qxnode::isKrPackageName(name)) {
                throw Failure(QXTT_E_ARGUMENT,
                              "'" + std::string(name) + "' cannot be a package's name");
            }
            const auto packages = qxtt::findPackages(os, name);
            *out = static_cast<pkg_info**>(qxtt::packageRecords(packages, maskOf(*options)));
        },
        options, os, name, out);
}

void qxtt_clean_pkg_info(pkg_info*** out) {
    if (out != nullptr) {
        std::free(*out);
        *out = nullptr;
    }
}

int qxtt_get_os_tmpl_info(const char* name, const qxtt_options* options, tmpl_info* info) {
    return answer([&] { qxtt::fillTemplate(*info, qxtt::osTemplate(name), maskOf(*options)); },
                  options, name, info);
}

int qxtt_get_app_tmpl_info(const char* os_or_veid, const char* name, const qxtt_options* options,
                           tmpl_info* info) {
    return answer(
        [&] {
            const std::string os =
                isNumber(os_or_veid) ? osOfContainer(os_or_veid) : std::string(os_or_veid);
            qxtt::fillTemplate(*info, qxtt::applicationTemplate(os, name), maskOf(*options));
        },
        options, os_or_veid, name, info);
}

void qxtt_clean_tmpl_info(tmpl_info* info) {
    if (info != nullptr) {
        qxtt::releaseTemplate(*info);
    }
}

int qxtt_get_all_base(char*** names) {
    qxtt_options options;
    qxtt_set_default_options(&options);
    return answer([&] { *names = static_cast<char**>(qxtt::textArray(qxtt::osTemplateNames())); },
                  &options, names);
}

int qxtt_get_templates_list(const char* os, const qxtt_options* options, templateListEntry*** out) {
    return answer(
        [&] {
            const auto templates = qxtt::templatesOf(std::string_view(os));
            *out = static_cast<templateListEntry**>(
                qxtt::templateEntries(templates, maskOf(*options)));
        },
        options, os, out);
}

int qxtt_get_ve_templates_list(int veid, const qxtt_options* options, templateListEntry*** out) {
    return answer(
        [&] {
            const auto templates = qxtt::templatesOf(qxtt::containerOf(veid));
            *out = static_cast<templateListEntry**>(
                qxtt::templateEntries(templates, maskOf(*options)));
        },
        options, out);
}

void qxtt_clean_templates_list(templateListEntry*** out) {
    if (out != nullptr) {
        std::free(*out);
        *out = nullptr;
    }
}

int qxtt_get_template_pkgs(const char* os, const qxtt_options* options, packageListEntry*** out) {
    return answer(
        [&] {
            const auto packages = qxtt::packagesOfTemplate(os);
            // Callers that want the lists of templates use the same mask here, and take summaries.
            const std::uint32_t mask = maskOf(*options);
            const std::uint32_t lists = mask & QXTT_MASK_PACKAGE_LISTS;
            *out = static_cast<packageListEntry**>(
                qxtt::packageEntries(packages, lists != 0 ? mask | QXTT_MASK_SUMMARY_BIT : mask));
        },
        options, os, out);
}

int qxtt_get_ve_pkgs(int veid, const qxtt_options* options, packageListEntry*** out) {
    return answer(
        [&] {
            const auto packages = qxtt::packagesOfContainer(veid);
            *out =
                static_cast<packageListEntry**>(qxtt::packageEntries(packages, maskOf(*options)));
        },
        options, out);
}

int qxtt_get_ve_ostemplate(int veid, char** name, const qxtt_options* options) {
    return answer([&] { *name = qxtt::textAlone(qxtt::containerOf(veid).osName); }, options, name);
}

int qxtt_get_ve_status(int veid, const qxtt_options* options) {
    int status = 0;
    const int code =
        answer([&] { status = qxtt::hasPrivateArea(qxtt::containerOf(veid)) ? 1 : 0; }, options);
    return code == 0 ? status : -code;
}
