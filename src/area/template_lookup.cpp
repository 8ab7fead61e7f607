// Looks template files up; see template_lookup.h.
#include "src/area/template_lookup.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <set>

#include "base/tree.h"
#include "src/index/area_format.h"
#include "src/index/index_file.h"

namespace qxfs {

namespace {

const std::string kRoot = "/root";

/// The parts of a link string.
struct Cut {
    std::string name;   ///< of the template: "os/1"
    std::string place;  ///< the path in it, from "/"
    bool throughRoot;   ///< the template's files lie in "root", which the place leaves out
};

Cut cut(const std::string& link) {
    const auto begin = std::min(
        link.find_first_not_of('/', std::min(kMagicPrefix.size(), link.size())), link.size());
    const auto version = std::min(link.find('/', begin), link.size() - 1) + 1;
    const auto end = std::min(link.find('/', version), link.size());
    auto place = link.substr(end);
    const bool throughRoot = (place + "/").starts_with(kRoot + "/");
    if (throughRoot) {
        place.erase(0, kRoot.size());
    }
    return {link.substr(begin, end - begin), std::move(place), throughRoot};
}

/// True for errors that mean that a name does not exist; after any other error it is unknown.
bool isAbsence(int failure) {
    return failure == ENOENT || failure == ENOTDIR || failure == ELOOP || failure == ENAMETOOLONG;
}

int bitsApart(std::string_view a, std::string_view b) {
    int bits = 0;
    for (std::size_t i = 0; i < a.size() && bits < 2; ++i) {
        bits += std::popcount(static_cast<unsigned char>(a[i] ^ b[i]));
    }
    return bits;
}

/// Counts the references to templates in one directory: its links and the link strings of its
/// index.
void countNames(const Area& area, const std::string& path, std::map<std::string, int>& counts,
                std::vector<std::string>& pending) {
    const auto directory = openDirectory(area, path);
    DirectoryListing listing;
    if (!directory || readDirectory(directory.get(), listing) != 0) {
        return;
    }
    std::set<std::string> strings;
    for (const auto& item : listing.items) {
        if (item.isLink()) {
            ++counts[cut(item.link).name];
        } else if (item.isDirectory()) {
            pending.push_back(joined(path, item.name));
        } else if (item.name == kIndexName && S_ISREG(item.info.st_mode)) {
            for (const auto& entry : dirindex::readIndexFile(directory.get(), item.name).entries) {
                if (entry.link.has_value() && strings.insert(*entry.link).second) {
                    ++counts[cut(*entry.link).name];
                }
            }
        }
    }
}

}  // namespace

TemplateState lookUpTemplate(const Area& area, const std::string& link) {
    TemplateState state;
    // A path ends at a zero byte, so a text with one is not a path.
    if (link.find('\0') != std::string::npos) {
        return state;
    }
    state.exists = lstat(area.templateFile(link).c_str(), &state.info) == 0;
    state.failure = state.exists || isAbsence(errno) ? 0 : errno;
    return state;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool oneBitApart(std::string_view a, std::string_view b) {
    return a.size() == b.size() && bitsApart(a, b) == 1;
}

std::string placeInTemplate(const std::string& link) {
    return cut(link).place;
}

bool leadsOut(const std::string& link) {
    return (link + "/").find("/../") != std::string::npos;
}

TemplateState TemplateLookup::find(const std::string& link, const std::string& name) {
    if (!m_directory.has_value() || link != m_link) {
        m_link = link;
        m_directory.emplace(
            open(m_area.templateFile(link).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        m_failure = *m_directory || isAbsence(errno) ? 0 : errno;
    }
    TemplateState state;
    state.failure = m_failure;
    if (*m_directory) {
        state.exists =
            fstatat(m_directory->get(), name.c_str(), &state.info, AT_SYMLINK_NOFOLLOW) == 0;
        state.failure = state.exists || isAbsence(errno) ? 0 : errno;
    }
    return state;
}

bool TemplateLookup::isMissing(const std::string& name) {
    const auto [place, fresh] = m_missing.try_emplace(name);
    if (fresh) {
        const base::Fd directory(
            open((m_area.templateRoot + "/" + name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const auto names = directory ? base::namesIn(directory.get()) : std::nullopt;
        place->second = names.has_value() ? names->empty() : isAbsence(errno);
    }
    return place->second;
}

std::optional<std::string> TemplateLookup::missingTemplate(const std::string& link) {
    if (m_missingIsLost) {
        return std::nullopt;
    }
    const auto parts = cut(link);
    if (isMissing(parts.name) || (parts.throughRoot && isMissing(parts.name + kRoot))) {
        return parts.name;
    }
    return std::nullopt;
}

const std::vector<std::string>& TemplateLookup::present() {
    if (!m_present.has_value()) {
        m_present.emplace();
        const base::Fd root(open(m_area.templateRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        for (const auto& name : base::namesIn(root.get()).value_or(std::vector<std::string>())) {
            const base::Fd versions(
                openat(root.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            for (const auto& version :
                 base::namesIn(versions.get()).value_or(std::vector<std::string>())) {
                m_present->push_back(name + "/" + version);
            }
        }
    }
    return *m_present;
}

bool TemplateLookup::isNamedOnce(const std::string& name) {
    if (!m_counts.has_value()) {
        m_counts.emplace();
        std::vector<std::string> pending{"/"};
        while (!pending.empty()) {
            const auto path = std::move(pending.back());
            pending.pop_back();
            countNames(m_area, path, *m_counts, pending);
        }
    }
    return (*m_counts)[name] < 2;
}

std::vector<std::string> TemplateLookup::intended(const std::string& text,
                                                  const std::string& ownPath) {
    const std::string prefix(kMagicPrefix);
    const auto own = cut(text).name;
    std::vector<std::string> found;
    const auto take = [&](const std::string& name, const std::string& candidate) {
        if (oneBitApart(candidate, text) && lookUpTemplate(m_area, candidate).exists &&
            std::find(found.begin(), found.end(), candidate) == found.end() &&
            (name == own || isNamedOnce(own))) {
            found.push_back(candidate);
        }
    };
    const bool known = std::find(present().begin(), present().end(), own) != present().end();
    for (const auto& name : present()) {
        const auto head = prefix + name;
        // If the template of the text exists, no other one is meant.
        if ((known && name != own) || text.size() < head.size() || bitsApart(head, text) > 1) {
            continue;
        }
        take(name, head + ownPath);
        take(name, head + kRoot + ownPath);
        if (text.size() > head.size()) {
            take(name, head + "/" + text.substr(head.size() + 1));
        }
    }
    return found;
}

}  // namespace qxfs
