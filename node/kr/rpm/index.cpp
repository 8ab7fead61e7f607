// Elements of packages, parsed one by one; see index.h.
#include "node/kr/rpm/index.h"

#include <pugixml.hpp>

#include "node/kr/text.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {

namespace {

constexpr std::string_view kRoot = "<metadata";
constexpr std::string_view kBegin = "<package";
constexpr std::string_view kEnd = "</package>";

Failure malformed(const std::string& reason) {
    return {QXTT_E_BAD_REPOSITORY, "no metadata of a repository: " + reason};
}

std::string versionOf(const pugi::xml_node& version) {
    const std::string epoch = version.attribute("epoch").value();
    return (epoch.empty() || epoch == "0" ? "" : epoch + ":") + version.attribute("ver").value() +
           "-" + version.attribute("rel").value();
}

}  // namespace

void RpmIndex::add(std::string_view block) {
    m_text += block;
    takeElements();
    if (m_text.size() > kMaxElement) {
        throw malformed("an element is longer than " + std::to_string(kMaxElement) + " bytes");
    }
}

void RpmIndex::finish() {
    if (!m_rootSeen || m_text.find("</metadata>") == std::string::npos) {
        throw malformed("it has no end");
    }
}

void RpmIndex::takeElements() {
    std::size_t done = 0;
    if (!m_rootSeen) {
        const std::size_t root = m_text.find(kRoot);
        if (root == std::string::npos) {
            return;
        }
        m_rootSeen = true;
        done = root + kRoot.size();
    }
    const std::string_view text = m_text;
    for (;;) {
        const std::size_t begin = text.find(kBegin, done);
        const std::size_t end = begin == std::string_view::npos ? begin : text.find(kEnd, begin);
        if (end == std::string_view::npos) {
            // Keep only the element that is not complete yet.
            done = begin == std::string_view::npos ? done : begin;
            break;
        }
        takeElement(text.substr(begin, end + kEnd.size() - begin));
        done = end + kEnd.size();
    }
    m_text.erase(0, done);
}

void RpmIndex::takeElement(std::string_view element) {
    pugi::xml_document document;
    // Name prefixes are declared in the root element, which is not here; they are part of names.
    const auto result = document.load_buffer(element.data(), element.size());
    if (!result) {
        throw malformed(result.description());
    }
    const pugi::xml_node node = document.child("package");
    Package package;
    package.name = node.child_value("name");
    if (package.name.empty()) {
        throw malformed("a package has no name");
    }
    package.architecture = node.child_value("arch");
    package.version = versionOf(node.child("version"));
    package.summary = oneLine(node.child_value("summary"));
    package.description = linesOf(node.child_value("description"));
    m_onPackage(std::move(package));
}

std::string primaryLocation(std::string_view repomd) {
    pugi::xml_document document;
    const auto result = document.load_buffer(repomd.data(), repomd.size());
    if (!result) {
        throw malformed(result.description());
    }
    const auto data = document.child("repomd").find_child_by_attribute("data", "type", "primary");
    const std::string location = data.child("location").attribute("href").value();
    if (location.empty()) {
        throw malformed("it names no primary metadata");
    }
    if (location.starts_with('/') || ("/" + location + "/").find("/../") != std::string::npos) {
        throw malformed("'" + location + "' is outside the repository");
    }
    return location;
}

}  // namespace qxnode
