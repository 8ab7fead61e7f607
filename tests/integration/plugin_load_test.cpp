// The built plug-in in a process that loads and unloads it as the agent does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLXmlMessage.h"

namespace {

using Factory = QXL::QXLFunctionalFactoryLocal<std::shared_ptr<QXA::QXAPkgM>>;

auto& multiplexer() {
    return QXL::QXLFunctionality<QXA::QXALibFunctionality>::kit().getQXAPkgMMultiplexer();
}

std::shared_ptr<Factory> registeredFactory() {
    return multiplexer().findLocalFactory("meridane");
}

/// A factory of another plug-in.
class ForeignFactory : public Factory {
public:
    std::shared_ptr<QXA::QXAPkgM> createNew(QXL::QXLAccess /*access*/) override { return nullptr; }
};

/// The plug-in, loaded for the life of the object. Nothing of it stays behind in the kit.
class Plugin {
public:
    Plugin() : m_handle(dlopen(QX_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        if (m_handle == nullptr) {
            ADD_FAILURE() << dlerror();
        }
    }
    ~Plugin() {
        multiplexer().unregisterLocalFactory("meridane");
        if (m_handle != nullptr) {
            EXPECT_EQ(0, dlclose(m_handle));
        }
    }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    int init() { return call("initQXAPkgMLocal"); }
    int fini() { return call("finiQXAPkgMLocal"); }

private:
    int call(const char* name) {
        const auto entry =
            m_handle == nullptr ? nullptr : reinterpret_cast<int (*)()>(dlsym(m_handle, name));
        if (entry == nullptr) {
            ADD_FAILURE() << "no " << name;
            return -1;
        }
        return entry();
    }

    void* m_handle;
};

/// True while the process maps the plug-in's file.
bool isMapped() {
    const std::string path = QX_PLUGIN;
    const auto name = path.substr(path.rfind('/') + 1);
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        if (line.find(name) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/// The names between "global:" and "local:" of the list that the library is linked with.
std::set<std::string> listedExports() {
    std::ifstream file(QX_EXPORTS);
    std::set<std::string> names;
    std::string word;
    while (file >> word && word != "global:") {
    }
    while (file >> word && word != "local:") {
        names.insert(word.substr(0, word.find(';')));
    }
    return names;
}

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    char chunk[4096];
    for (std::size_t got = 0;
         pipe != nullptr && (got = fread(chunk, 1, sizeof chunk, pipe.get())) > 0;) {
        text.append(chunk, got);
    }
    return text;
}

/// The names that the built library defines for others.
std::set<std::string> builtExports() {
    std::istringstream lines(outputOf("'" QX_NM "' -D --defined-only '" QX_PLUGIN "'"));
    std::set<std::string> names;
    std::string address;
    std::string kind;
    std::string name;
    while (lines >> address >> kind >> name) {
        names.insert(name);
    }
    return names;
}

TEST(LoadedPlugin, registersItsFactoryAndWithdrawsIt) {
    Plugin plugin;
    ASSERT_EQ(nullptr, registeredFactory());

    EXPECT_EQ(0, plugin.init());
    EXPECT_NE(nullptr, registeredFactory());

    EXPECT_EQ(0, plugin.fini());
    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, givesANewPackageManagerForEachRequest) {
    Plugin plugin;
    plugin.init();
    const auto factory = registeredFactory();

    const auto first = factory->createNew(nullptr);
    const auto second = factory->createNew(nullptr);

    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(-1, first->migrate(QXL::QXLEID::EID_LOCAL, {}, {}));
}

TEST(LoadedPlugin, letsGoOfThePackageManagersThatItMade) {
    Plugin plugin;
    plugin.init();

    const std::weak_ptr<QXA::QXAPkgM> manager = registeredFactory()->createNew(nullptr);

    EXPECT_TRUE(manager.expired());
}

TEST(LoadedPlugin, registersOnceAndAnswersTheSecondTimeWithoutTheKit) {
    Plugin plugin;
    plugin.init();
    multiplexer().unregisterLocalFactory("meridane");

    EXPECT_EQ(0, plugin.init());

    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, staysWithdrawnWhenAskedToRegisterAgain) {
    Plugin plugin;
    plugin.init();
    plugin.fini();

    EXPECT_EQ(0, plugin.init());

    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, isWithdrawnWithoutEverBeingRegistered) {
    Plugin plugin;

    EXPECT_EQ(0, plugin.fini());

    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, leavesAFactoryThatHoldsTheKeyAndCountsAsRegistered) {
    const auto foreign = std::make_shared<ForeignFactory>();
    multiplexer().registerLocalFactory(foreign, "meridane");
    Plugin plugin;

    EXPECT_EQ(0, plugin.init());
    EXPECT_EQ(foreign, registeredFactory());

    multiplexer().unregisterLocalFactory("meridane");
    EXPECT_EQ(0, plugin.init());
    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, withdrawsWhateverLiesUnderTheKey) {
    multiplexer().registerLocalFactory(std::make_shared<ForeignFactory>(), "meridane");
    Plugin plugin;

    EXPECT_EQ(0, plugin.fini());

    EXPECT_EQ(nullptr, registeredFactory());
}

TEST(LoadedPlugin, readsItsRecordsInMessagesOnlyWhileItIsLoaded) {
    const auto family = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    const auto* standardRecord = "N3QXA23QXAStandardQXTemplateExE";
    const auto* previousDefault = family->defaultFactory;
    ASSERT_FALSE(family->factories.contains(standardRecord));
    {
        const Plugin plugin;
        EXPECT_TRUE(family->factories.contains(standardRecord));
        EXPECT_EQ(previousDefault, family->defaultFactory);
    }
    EXPECT_FALSE(family->factories.contains(standardRecord));
}

TEST(LoadedPlugin, writesItsRecordsAsStandardOnesAndReadsThemBackAsItsOwn) {
    const auto family = QXL::QXLParserFactoryData<QXL::QXLPackage>::instance();
    const auto* standardRecord = "N3QXA23QXAStandardQXTemplateExE";
    const Plugin plugin;
    auto& factory = *family->factories.at(standardRecord);
    const auto record = factory.createObject();
    record->name = "web";
    record->os.osName = "base";

    QXL::QXLXmlMessage message;
    ASSERT_EQ(0, message.append(*record));
    const auto received = QXL::QXLXmlMessage::parse(message.text());
    ASSERT_NE(nullptr, received);
    QXL::QXLPackage* own = nullptr;
    ASSERT_EQ(0, factory.read(*received->record(0), own));
    const std::unique_ptr<QXL::QXLPackage> owned(own);
    QXL::QXLPackageList others;
    ASSERT_EQ(0, received->read(others));

    EXPECT_NE(std::string::npos, message.text().find("type=\"package_std_qxtemplateType\""));
    EXPECT_STREQ(standardRecord, typeid(*own).name());
    EXPECT_EQ("web", own->name);
    EXPECT_EQ("base", own->os.osName);
    EXPECT_NE(nullptr, dynamic_cast<const QXA::QXAPackageQXTemplateStd*>(others.at(0).get()));
}

TEST(LoadedPlugin, isUnmappedWhenItIsUnloaded) {
    {
        Plugin plugin;
        plugin.init();
        registeredFactory()->createNew(nullptr);
        ASSERT_TRUE(isMapped());
        plugin.fini();
    }
    EXPECT_FALSE(isMapped());
}

TEST(LoadedPlugin, startsUnregisteredInEachOfAHundredLoads) {
    for (int load = 0; load < 100; ++load) {
        Plugin plugin;
        ASSERT_EQ(0, plugin.init());
        ASSERT_NE(nullptr, registeredFactory()) << "load " << load;
        ASSERT_NE(nullptr, registeredFactory()->createNew(nullptr));
        ASSERT_EQ(0, plugin.fini());
    }
    EXPECT_FALSE(isMapped());
}

TEST(PluginExports, areThoseOfTheListAndNoOthers) {
    const auto built = builtExports();
    if (built.empty()) {
        GTEST_SKIP() << "no " << QX_NM << " to read the library with";
    }

    EXPECT_EQ(listedExports(), built);
}

TEST(PluginExports, areCalledByTheLibraryItselfWithoutAskingTheProcess) {
    // Some of them are names of the C library, too: "error".
    const auto relocations = outputOf("'" QX_READELF "' -W --relocs '" QX_PLUGIN "'");
    if (relocations.empty()) {
        GTEST_SKIP() << "no " << QX_READELF << " to read the library with";
    }
    const auto exports = listedExports();
    std::istringstream lines(relocations);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("JUMP_SLO") == std::string::npos) {
            continue;
        }
        // offset, info, type, value, name
        std::istringstream fields(line);
        std::string name;
        for (int field = 0; field < 5; ++field) {
            fields >> name;
        }
        EXPECT_FALSE(exports.contains(name)) << name << " can be taken over by the process";
    }
}

}  // namespace
