// The message layer: parser factories that turn records into agent messages and back.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <typeinfo>

#include "QXL/Export.h"

// The C library's assertion report. <assert.h> declares it only if assertions are enabled, but the
// assertion below is active in every build. NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned line,
                              const char* function) noexcept __attribute__((noreturn));

namespace QXL {

/// Namespace URI of the types that agent messages carry.
inline constexpr const char* kTypesNamespace = "urn:qx:agent:types:1";

/// A place in a message, for reading or writing. Only the agent library knows what is behind it;
/// the readers and writers of fields are there, too.
class QXL_API QXLMessageIterator {
public:
    virtual ~QXLMessageIterator();
};

/// Reads and writes the records of one class of the family of `Base`.
template <typename Base>
class QXLParserFactory {
public:
    virtual ~QXLParserFactory() = default;

    /// Reads a record. @return 0 with a new record in `out`, which the caller deletes; -1 if the
    /// message holds no such record: `out` is then unchanged.
    virtual int read(QXLMessageIterator& message, Base*& out) = 0;

    /// Writes `object`. @return 0; -1 if it is null, of another class, or cannot be written.
    virtual int write(QXLMessageIterator& message, const Base* object) = 0;

    /// A new record with default values.
    virtual std::shared_ptr<Base> createObject() = 0;
};

/// The parser factories of one family, shared by all libraries of the process.
template <typename Base>
struct QXLParserFactoryData {
    std::map<std::string, QXLParserFactory<Base>*> factories;  ///< by typeid(...).name(); borrowed
    QXLParserFactory<Base>* defaultFactory = nullptr;          ///< for all other classes; borrowed

    /// The family's one object, defined in the agent library. Each factory keeps a reference to it.
    static std::shared_ptr<QXLParserFactoryData> instance();
};

/// The factory of `Data`, a class derived from `Base`. Define it as a global object: it registers
/// itself when its library is loaded and unregisters when the library is unloaded. If `Data` has a
/// factory already, that one stays. `Reader` and `Writer` are function objects that return 0 or -1.
template <typename Data, typename Base, typename Reader, typename Writer>
class QXLDerivedParserFactory : public QXLParserFactory<Base> {
public:
    /// @param isDefault  become the family's default; a second default ends the process.
    /// @param source     the file that defines the factory object, for the message about that.
    /// @param line       the line of that definition.
    QXLDerivedParserFactory(bool isDefault, const char* source, unsigned line)
        : m_factoryData(QXLParserFactoryData<Base>::instance()) {
        m_registered = m_factoryData->factories.try_emplace(typeid(Data).name(), this).second;
        if (!m_registered || !isDefault) {
            return;
        }
        if (m_factoryData->defaultFactory != nullptr) {
            __assert_fail("this->m_factoryData->defaultFactory == __null", source, line,
                          __PRETTY_FUNCTION__);
        }
        m_factoryData->defaultFactory = this;
    }
    QXLDerivedParserFactory(const QXLDerivedParserFactory&) = delete;
    QXLDerivedParserFactory& operator=(const QXLDerivedParserFactory&) = delete;

    ~QXLDerivedParserFactory() override {
        if (m_registered) {
            m_factoryData->factories.erase(typeid(Data).name());
        }
        if (m_factoryData->defaultFactory == this) {
            m_factoryData->defaultFactory = nullptr;
        }
    }

    int read(QXLMessageIterator& message, Base*& out) override {
        auto object = std::make_unique<Data>();
        if (Reader()(message, *object) != 0) {
            return -1;
        }
        out = object.release();
        return 0;
    }

    int write(QXLMessageIterator& message, const Base* object) override {
        const auto* data = dynamic_cast<const Data*>(object);
        return data == nullptr ? -1 : Writer()(message, *data);
    }

    std::shared_ptr<Base> createObject() override { return std::make_shared<Data>(); }

private:
    std::shared_ptr<QXLParserFactoryData<Base>> m_factoryData;
    bool m_registered = false;
};

}  // namespace QXL
