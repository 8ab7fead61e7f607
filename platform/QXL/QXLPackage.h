// QXLPackage: one package record of the agent's common library, and its Linux kinds.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QXL/Export.h"

namespace QXL {

/// The operating system that a package belongs to. Records and messages distinguish an unset text
/// from an empty one; comparisons of packages and output treat both alike.
struct QXLOS {
    std::optional<std::string> platform;   ///< "Linux" for all packages of this node
    std::optional<std::string> osName;     ///< name of the OS template; KR names begin with "."
    std::optional<std::string> osVersion;  ///< version of the OS template
    std::optional<std::string> extra;      ///< for the agent; passed on, never read here

    bool operator==(const QXLOS&) const = default;
};

/// A package record. Its dynamic class is the kind of package. The agent library defines the
/// destructor, so that all libraries of the process share one type.
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

/// A package of a Linux distribution whose packaging (rpm or deb) is not known.
class QXL_API QXLPackageLinux : public QXLPackage {
public:
    QXLPackageLinux() = default;
    QXLPackageLinux(const QXLPackageLinux&) = default;
    QXLPackageLinux& operator=(const QXLPackageLinux&) = default;
    QXLPackageLinux(QXLPackageLinux&&) = default;
    QXLPackageLinux& operator=(QXLPackageLinux&&) = default;
    ~QXLPackageLinux() override;
};

/// An rpm package.
class QXL_API QXLPackageRpm : public QXLPackageLinux {
public:
    QXLPackageRpm() = default;
    QXLPackageRpm(const QXLPackageRpm&) = default;
    QXLPackageRpm& operator=(const QXLPackageRpm&) = default;
    QXLPackageRpm(QXLPackageRpm&&) = default;
    QXLPackageRpm& operator=(QXLPackageRpm&&) = default;
    ~QXLPackageRpm() override;
};

/// A deb package.
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

/// Records in the order of the request or result. A result list belongs to the caller; operations
/// only append to it.
using QXLPackageList = std::vector<QXLPackageSP>;

}  // namespace QXL
