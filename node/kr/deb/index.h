// DebIndex: the list of packages of a deb repository, its file "Packages".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "node/kr/package.h"

namespace qxnode {

/// Takes the file's text piece by piece and gives the packages that it describes.
class DebIndex {
public:
    static constexpr std::size_t kMaxLine = 1U << 20;
    static constexpr std::size_t kMaxDescription = 1U << 20;

    explicit DebIndex(OnPackage onPackage) : m_onPackage(std::move(onPackage)) {}

    /// @throws Failure QXTT_E_BAD_REPOSITORY if the text is not such a file.
    void add(std::string_view block);
    void finish();

private:
    void takeLine(std::string_view line);
    void takeField(std::string_view name, std::string_view value);
    void takeStanza();

    OnPackage m_onPackage;
    std::string m_line;
    Package m_package;
    std::string m_description;
    bool m_inDescription = false;
    bool m_inStanza = false;
};

}  // namespace qxnode
