// Checks the paths and links in a template package.
#include "node/template/entry_path.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "QXA/QXATEMLocal.h"
#include "node/support/failure.h"
#include "node/template/links.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

std::vector<std::string_view> components(std::string_view path) {
    std::vector<std::string_view> out;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view component = path.substr(0, slash);
        if (!component.empty() && component != ".") {
            out.push_back(component);
        }
        path = slash == std::string_view::npos ? "" : path.substr(slash + 1);
    }
    return out;
}

[[noreturn]] void refuse(std::string_view name, const char* why) {
    throw Failure(kTemDamaged, "entry '" + std::string(name) + "' " + why);
}

}  // namespace

std::string checkedEntryPath(std::string_view name) {
    if (name.empty()) {
        refuse(name, "has no name");
    }
    if (name.front() == '/') {
        refuse(name, "is an absolute path");
    }
    std::string path;
    for (const std::string_view component : components(name)) {
        if (component == "..") {
            refuse(name, "leads out of the package by \"..\"");
        }
        if (component.size() > NAME_MAX) {
            refuse(name, "has a component that is too long");
        }
        path += path.empty() ? "" : "/";
        path += component;
    }
    // A link string of 4096 bytes must also have room for the template's own directory.
    if (path.size() > kMaxEntryPath) {
        refuse(name, "is too long");
    }
    return path;
}

void refuseReservedName(const std::string& path) {
    for (const std::string_view component : components(path)) {
        if (component == kIndexName || component == kReferenceName) {
            refuse(path, "has a name that the template area keeps for itself");
        }
    }
}

void refuseUnsafeLink(const std::string& path, const std::string& target) {
    if (target.empty() || target.size() >= PATH_MAX) {
        refuse(path, "is a symbolic link with an empty or too long target");
    }
    if (target.starts_with(kMagicPrefix)) {
        refuse(path, "is a symbolic link that reads as a reference into the template area");
    }
    // The place of the link matters only for a relative target.
    std::size_t depth = target.front() == '/' ? 0 : components(path).size() - 1;
    for (const std::string_view component : components(target)) {
        if (component != "..") {
            ++depth;
        } else if (depth-- == 0) {
            throw Failure(kTemDamaged, "entry '" + path + "' is a symbolic link that leads out: '" +
                                           target + "'");
        }
    }
}

void refuseSetId(const std::string& path, mode_t mode, const std::vector<std::string>& listed) {
    // A directory's set-user-id bit is the mark of an index in a container's area. Its set-group-id
    // bit is harmless and need not be in the manifest.
    const mode_t bits = S_ISDIR(mode) ? S_ISUID : S_ISUID | S_ISGID;
    if ((mode & bits) != 0 &&
        (S_ISDIR(mode) || !std::binary_search(listed.begin(), listed.end(), path))) {
        throw Failure(kTemDamaged, "entry '" + path + "' is set-id and not in the manifest's list");
    }
}

}  // namespace QXA::tem
