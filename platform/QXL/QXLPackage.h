// QXLPackage: one package record of the agent's common library, and its Linux kinds.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QXL/Export.h"

namespace QXL {

/// The operating system that a package belongs to. An unset text is a state of its own in records
/// and messages; in comparisons and in output it counts as an empty text.
struct QXLOS {
    std::optional<std::string> platform;   ///< "Linux" for everything that this node serves
    std::optional<std::string> osName;     ///< name of the OS template; KR names begin with "."
    std::optional<std::string> osVersion;  ///< version of the OS template
    std::optional<std::string> extra;      ///< the agent's own; carried, never read here

    bool operator==(const QXLOS&) const = default;
};

/// A package record. The dynamic class tells the kind of package; the destructor is defined in the
/// agent library, so that every library sees one and the same type.
class QXL_API QXLPackage {
public:
    QXLPackage() = default;
    QXLPackage(const QXLPackage&) = default;
    QXLPackage& operator=(const QXLPackage&) = default;
    QXLPackage(QXLPackage&&) = default;
    QXLPackage& operator=(QXLPackage&&) = default;
    virtual ~QXLPackage();

    std::string name;
    std::string version;
    std::string summary;      ///< one line
    std::string description;  ///< any number of lines
    QXLOS os;
    std::string architecture;
};

/// A package of a Linux distribution, of unknown packaging.
class QXL_API QXLPackageLinux : public QXLPackage {
public:
    QXLPackageLinux() = default;
    QXLPackageLinux(const QXLPackageLinux&) = default;
    QXLPackageLinux& operator=(const QXLPackageLinux&) = default;
    QXLPackageLinux(QXLPackageLinux&&) = default;
    QXLPackageLinux& operator=(QXLPackageLinux&&) = default;
    ~QXLPackageLinux() override;
};

/// A package as rpm knows it.
class QXL_API QXLPackageRpm : public QXLPackageLinux {
public:
    QXLPackageRpm() = default;
    QXLPackageRpm(const QXLPackageRpm&) = default;
    QXLPackageRpm& operator=(const QXLPackageRpm&) = default;
    QXLPackageRpm(QXLPackageRpm&&) = default;
    QXLPackageRpm& operator=(QXLPackageRpm&&) = default;
    ~QXLPackageRpm() override;
};

/// A package as dpkg knows it.
class QXL_API QXLPackageDeb : public QXLPackageLinux {
public:
    QXLPackageDeb() = default;
    QXLPackageDeb(const QXLPackageDeb&) = default;
    QXLPackageDeb& operator=(const QXLPackageDeb&) = default;
    QXLPackageDeb(QXLPackageDeb&&) = default;
    QXLPackageDeb& operator=(QXLPackageDeb&&) = default;
    ~QXLPackageDeb() override;
};

using QXLPackageSP = std::shared_ptr<const QXLPackage>;

/// Records in request or result order. Result lists are the caller's; operations only append.
using QXLPackageList = std::vector<QXLPackageSP>;

}  // namespace QXL
