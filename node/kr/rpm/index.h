// RpmIndex: the list of packages of an rpm repository, its "primary" metadata.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "node/kr/package.h"

namespace qxnode {

/// Takes the document piece by piece and gives the packages that it describes. Each package's
/// element is parsed separately, because the list of a large distribution would need a gigabyte as
/// one tree.
class RpmIndex {
public:
    static constexpr std::size_t kMaxElement = 4U << 20;

    explicit RpmIndex(OnPackage onPackage) : m_onPackage(std::move(onPackage)) {}

    /// @throws Failure QXTT_E_BAD_REPOSITORY if the text is not such a document.
    void add(std::string_view block);
    void finish();

private:
    void takeElements();
    void takeElement(std::string_view element);

    OnPackage m_onPackage;
    std::string m_text;
    bool m_rootSeen = false;
};

/// Path of the "primary" metadata in the repository, from the text of its repomd.xml.
/// @throws Failure QXTT_E_BAD_REPOSITORY if there is none, or it is outside the repository.
std::string primaryLocation(std::string_view repomd);

}  // namespace qxnode
