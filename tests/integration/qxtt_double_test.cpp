// The built plug-in with another template tools library, which the loader puts in place of the
// node's own: the C interface is all that ties them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLError.h"
#include "QXL/QXLPackageManagerOptions.h"
#include "tests/support/test_node.h"

namespace {

using Texts = std::vector<std::string>;

/// The loaded plug-in's package manager, and the library that it got.
class LoadedManager {
public:
    LoadedManager() : m_plugin(dlopen(QX_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        if (m_plugin == nullptr) {
            ADD_FAILURE() << dlerror();
            return;
        }
        reinterpret_cast<int (*)()>(dlsym(m_plugin, "initQXAPkgMLocal"))();
        m_manager = QXL::QXLFunctionality<QXA::QXALibFunctionality>::kit()
                        .getQXAPkgMMultiplexer()
                        .findLocalFactory("meridane")
                        ->createNew(nullptr);
    }
    ~LoadedManager() {
        m_manager.reset();
        if (m_plugin != nullptr) {
            reinterpret_cast<int (*)()>(dlsym(m_plugin, "finiQXAPkgMLocal"))();
            dlclose(m_plugin);
        }
    }
    LoadedManager(const LoadedManager&) = delete;
    LoadedManager& operator=(const LoadedManager&) = delete;

    QXA::QXAPkgM* operator->() const { return m_manager.get(); }

    /// Results of the double that did not come back.
    static int held() {
        void* library = dlopen(QX_DOUBLE_NAME, RTLD_NOW | RTLD_NOLOAD);
        const int* count = library == nullptr
                               ? nullptr
                               : static_cast<const int*>(dlsym(library, "qxtt_double_held"));
        if (count == nullptr) {
            ADD_FAILURE() << "the double is not what was loaded; LD_LIBRARY_PATH names its folder";
        }
        const int number = count == nullptr ? -1 : *count;
        if (library != nullptr) {
            dlclose(library);
        }
        return number;
    }

private:
    void* m_plugin;
    std::shared_ptr<QXA::QXAPkgM> m_manager;
};

std::shared_ptr<QXA::QXAPackageQXTemplate> osTemplate(const std::string& name) {
    auto record = std::make_shared<QXA::QXAPackageQXTemplate>();
    record->name = name;
    record->isOsTemplate = true;
    return record;
}

TEST(QxttDouble, isListedThroughTheLoadedPlugin) {
    QX_SKIP_WITHOUT_TEST_NODE();
    const qx_test::TestNode node;
    node.run([] {
        const LoadedManager manager;
        QXL::QXLPackageList out;
        const QXL::QXLPackageManagerListOptions options(0);
        EXPECT_EQ(0, manager->list(QXL::QXLEID::EID_LOCAL, {}, &out, options))
            << QXL::getErrorMessage();
        Texts names;
        for (const auto& record : out) {
            names.push_back(record->name + " of '" + record->os.osName.value_or("") + "'");
        }
        EXPECT_EQ((Texts{".double of ''", ".application of '.double'"}), names);
        EXPECT_EQ(0, LoadedManager::held());
    });
}

TEST(QxttDouble, describesItsTemplatesThroughTheLoadedPlugin) {
    QX_SKIP_WITHOUT_TEST_NODE();
    const qx_test::TestNode node;
    node.run([] {
        const LoadedManager manager;
        QXL::QXLPackageList out;
        EXPECT_EQ(0, manager->getInfo(QXL::QXLEID::EID_LOCAL, {osTemplate(".double")}, &out))
            << QXL::getErrorMessage();
        ASSERT_EQ(1U, out.size());
        EXPECT_EQ("of the double", out[0]->summary);
        EXPECT_EQ(0, LoadedManager::held());
    });
}

TEST(QxttDouble, getsBackTheAnswerOfAPackageThatItDoesNotKnow) {
    QX_SKIP_WITHOUT_TEST_NODE();
    const qx_test::TestNode node;
    node.run([] {
        const LoadedManager manager;
        auto package = std::make_shared<QXL::QXLPackageRpm>();
        package->name = "shell";
        package->os.osName = ".double";
        QXL::QXLPackageList out;
        EXPECT_EQ(-1, manager->getInfo(QXL::QXLEID::EID_LOCAL, {package}, &out));
        EXPECT_STREQ("Package 'shell' was not found", QXL::getErrorMessage());
        EXPECT_EQ(0, LoadedManager::held());
    });
}

}  // namespace
