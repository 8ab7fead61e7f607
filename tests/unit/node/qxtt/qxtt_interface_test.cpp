// What holds for every call of the interface: null arguments, one-block results, no memory, what
// the library exports.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/support/capture.h"
#include "tests/support/real_packages.h"
#include "tests/unit/node/qxtt/failing_new.h"
#include "tests/unit/node/qxtt/qxtt_node.h"

namespace qxtt_test {
namespace {

using testing::HasSubstr;

const qxtt_options kOptions = with_mask(0xffffffffU);

TEST(QxttInterface, nullArgumentsAreErrors) {
    pkg_info** infos = nullptr;
    packageListEntry** packages = nullptr;
    templateListEntry** templates = nullptr;
    char* name = nullptr;
    tmpl_info info{};
    const qxtt_options* options = &kOptions;
    const int error = QXTT_E_ARGUMENT;
    EXPECT_EQ(qxtt_get_pkg_info(nullptr, "a", options, &infos), error);
    EXPECT_EQ(qxtt_get_pkg_info("a", nullptr, options, &infos), error);
    EXPECT_EQ(qxtt_get_pkg_info("a", "a", nullptr, &infos), error);
    EXPECT_EQ(qxtt_get_pkg_info("a", "a", options, nullptr), error);
    EXPECT_EQ(qxtt_get_os_tmpl_info(nullptr, options, &info), error);
    EXPECT_EQ(qxtt_get_os_tmpl_info("a", nullptr, &info), error);
    EXPECT_EQ(qxtt_get_os_tmpl_info("a", options, nullptr), error);
    EXPECT_EQ(qxtt_get_app_tmpl_info(nullptr, "a", options, &info), error);
    EXPECT_EQ(qxtt_get_app_tmpl_info("a", nullptr, options, &info), error);
    EXPECT_EQ(qxtt_get_app_tmpl_info("a", "a", nullptr, &info), error);
    EXPECT_EQ(qxtt_get_app_tmpl_info("a", "a", options, nullptr), error);
    EXPECT_EQ(qxtt_get_all_base(nullptr), error);
    EXPECT_EQ(qxtt_get_templates_list(nullptr, options, &templates), error);
    EXPECT_EQ(qxtt_get_templates_list("a", nullptr, &templates), error);
    EXPECT_EQ(qxtt_get_templates_list("a", options, nullptr), error);
    EXPECT_EQ(qxtt_get_ve_templates_list(1, nullptr, &templates), error);
    EXPECT_EQ(qxtt_get_ve_templates_list(1, options, nullptr), error);
    EXPECT_EQ(qxtt_get_template_pkgs(nullptr, options, &packages), error);
    EXPECT_EQ(qxtt_get_template_pkgs("a", nullptr, &packages), error);
    EXPECT_EQ(qxtt_get_template_pkgs("a", options, nullptr), error);
    EXPECT_EQ(qxtt_get_ve_pkgs(1, nullptr, &packages), error);
    EXPECT_EQ(qxtt_get_ve_pkgs(1, options, nullptr), error);
    EXPECT_EQ(qxtt_get_ve_ostemplate(1, nullptr, options), error);
    EXPECT_EQ(qxtt_get_ve_ostemplate(1, &name, nullptr), error);
    EXPECT_EQ(qxtt_get_ve_status(1, nullptr), -error);
    EXPECT_TRUE(infos == nullptr && packages == nullptr && templates == nullptr && name == nullptr);
}

TEST(QxttInterface, releasingNothingIsFine) {
    pkg_info** infos = nullptr;
    templateListEntry** templates = nullptr;
    tmpl_info info{};
    qxtt_clean_pkg_info(nullptr);
    qxtt_clean_pkg_info(&infos);
    qxtt_clean_tmpl_info(nullptr);
    qxtt_clean_tmpl_info(&info);
    qxtt_clean_templates_list(nullptr);
    qxtt_clean_templates_list(&templates);
    EXPECT_TRUE(infos == nullptr && templates == nullptr && info.name == nullptr);
}

TEST(QxttInterface, theDefaultsFillTheWholeRecord) {
    qxtt_options first;
    qxtt_options second;
    std::memset(&first, 0x55, sizeof(first));
    std::memset(&second, 0xaa, sizeof(second));
    qxtt_set_default_options(&first);
    qxtt_set_default_options(&second);
    qxtt_set_default_options(nullptr);
    EXPECT_EQ(std::memcmp(&first, &second, sizeof(first)), 0);
    EXPECT_EQ(sizeof(first), 120U);
    EXPECT_EQ(first.words[QXTT_OPTION_LOCAL_OFFSET / 4], 1U);
    EXPECT_EQ(first.words[QXTT_OPTION_QUIET_OFFSET / 4], 0U);
    EXPECT_EQ(first.words[QXTT_OPTION_MASK_OFFSET / 4], QXTT_MASK_LIST);
}

TEST(QxttInterface, theLibraryExportsItsInterfaceAndNothingElse) {
    const auto lines = qx_test::run_program({"nm", "-D", "--defined-only", QXTT});
    std::size_t functions = 0;
    for (const std::string& line : lines) {
        EXPECT_THAT(line, HasSubstr(" T qxtt_"));
        ++functions;
    }
    EXPECT_EQ(functions, 14U);
}

TEST(QxttInterface, theLibraryCanBeUnloaded) {
    void* library = dlopen(QXTT, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_NE(dlsym(library, "qxtt_get_ve_pkgs"), nullptr);
    EXPECT_EQ(dlclose(library), 0);
}

class QxttResults : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        QX_SKIP_WITHOUT_DEB();
        node_.os_template("debian", "deb",
                          "summary = \"s\"\ndescription = \"a\\nb\"\npackages = [\"x\"]\n"
                          "technologies = [\"t\"]\n[[repositories]]\n"
                          "url = \"copy:/qx/template/repo\"\nsuite = \"./\"\n");
        node_.application("debian", "mail");
        node_.container(101, ".debian", ".mail");
        const std::string package =
            "Package: one\nStatus: install ok installed\nMaintainer: a\nArchitecture: all\n"
            "Version: 1\nDescription: text\n more\n\n";
        node_.write(QxttNode::root_of(101) + "/var/lib/dpkg/status", package);
        node_.write("/qx/template/repo/Packages", package);
    }

    QxttNode node_;
};

// Whether a pointer and what it points to, as a text, lie in the block.
class Extent {
public:
    explicit Extent(void* block)
        : begin_(static_cast<const char*>(block)), end_(begin_ + malloc_usable_size(block)) {}

    bool holds(const void* pointer) const {
        return pointer >= begin_ && pointer < static_cast<const void*>(end_);
    }
    bool holds_text(const char* text) const { return holds(text) && holds(text + strlen(text)); }

private:
    const char* begin_;
    const char* end_;
};

TEST_F(QxttResults, listingsOfPackagesAreOneBlock) {
    node_.run([] {
        packageListEntry** entries = nullptr;
        ASSERT_EQ(qxtt_get_ve_pkgs(101, &kOptions, &entries), 0);
        const Extent block(entries);
        ASSERT_NE(entries[0], nullptr);
        EXPECT_TRUE(block.holds(entries[0]) && block.holds(&entries[1]));
        EXPECT_TRUE(block.holds_text(entries[0]->name) &&
                    block.holds_text(entries[0]->architecture) &&
                    block.holds_text(entries[0]->version) && block.holds_text(entries[0]->summary));
        EXPECT_EQ(entries[1], nullptr);
        std::free(entries);
    });
}

TEST_F(QxttResults, namesOfTemplatesAreOneBlock) {
    node_.run([] {
        char** names = nullptr;
        ASSERT_EQ(qxtt_get_all_base(&names), 0);
        const Extent block(names);
        EXPECT_TRUE(block.holds_text(names[0]) && block.holds(&names[1]));
        EXPECT_EQ(names[1], nullptr);
        std::free(names);
    });
}

TEST_F(QxttResults, aCleanedRecordIsZeroAndCanBeCleanedAgain) {
    node_.run([] {
        tmpl_info info{};
        ASSERT_EQ(qxtt_get_os_tmpl_info("debian", &kOptions, &info), 0);
        qxtt_clean_tmpl_info(&info);
        const tmpl_info zero{};
        EXPECT_EQ(std::memcmp(&info, &zero, sizeof(info)), 0);
        qxtt_clean_tmpl_info(&info);
    });
}

TEST_F(QxttResults, aReasonIsWrittenOnlyWhenTheOptionsSaySo) {
    node_.run([] {
        qxtt_options loud = kOptions;
        loud.words[QXTT_OPTION_QUIET_OFFSET / 4] = 1;
        char* name = nullptr;
        const auto quiet =
            qx_test::captured([&] { qxtt_get_ve_ostemplate(404, &name, &kOptions); });
        const auto told = qx_test::captured([&] { qxtt_get_ve_ostemplate(404, &name, &loud); });
        EXPECT_EQ(quiet.out + quiet.err, "");
        EXPECT_EQ(told.err, "libqxtt: there is no container 404\n");
    });
}

// Runs the query with the first, the second, ... allocation failing until none fails any more.
void expect_memory_error(const std::function<int()>& query) {
    int failures = 0;
    for (int allocations = 0;; ++allocations) {
        int code = 0;
        bool spared = false;
        {
            const FailingNew failing(allocations);
            code = query();
            spared = FailingNew::spared();
        }
        if (code == 0 && !spared) {
            break;
        }
        ASSERT_EQ(code, spared ? 0 : QXTT_E_MEMORY) << "allocation " << allocations;
        failures += spared ? 0 : 1;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(QxttResults, missingMemoryIsACodeWhereverItIsMissing) {
    node_.run([] {
        expect_memory_error([] {
            tmpl_info info{};
            const int code = qxtt_get_app_tmpl_info("101", "mail", &kOptions, &info);
            qxtt_clean_tmpl_info(&info);
            return code;
        });
        expect_memory_error([] {
            templateListEntry** entries = nullptr;
            const int code = qxtt_get_ve_templates_list(101, &kOptions, &entries);
            qxtt_clean_templates_list(&entries);
            return code;
        });
        expect_memory_error([] {
            char** names = nullptr;
            const int code = qxtt_get_all_base(&names);
            std::free(names);
            return code;
        });
        expect_memory_error([] {
            packageListEntry** entries = nullptr;
            const int code = qxtt_get_template_pkgs("debian", &kOptions, &entries);
            std::free(entries);
            return code;
        });
        expect_memory_error([] {
            packageListEntry** entries = nullptr;
            const int code = qxtt_get_ve_pkgs(101, &kOptions, &entries);
            std::free(entries);
            return code;
        });
    });
}

}  // namespace
}  // namespace qxtt_test
