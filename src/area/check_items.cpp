// Checks the items of a directory: links against their template files, and left-over files.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/content.h"
#include "src/area/check_context.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

bool attributesAgree(const DirectoryItem& item, const struct stat& templateInfo) {
    // A symbolic link has all permissions, and so has a shortcut made from one: they say nothing
    // about the template file.
    constexpr mode_t kPermissions = 0777;
    if (item.isSymlink() || (item.info.st_mode & kPermissions) == kPermissions) {
        return item.info.st_uid == templateInfo.st_uid && item.info.st_gid == templateInfo.st_gid;
    }
    return compare_stat(&item.info, &templateInfo) == 0;
}

bool haveSameTime(const struct stat& a, const struct stat& b) {
    return a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

class ItemChecker {
public:
    explicit ItemChecker(CheckContext& context) : m_context(context) {}

    void checkItem(const DirectoryItem& item) {
        if (item.failure != 0 || item.linkUnreadable) {
            m_context.add(FindingCode::shortcutUnreadable, item.name, {},
                          item.failure != 0 ? std::strerror(item.failure) : "");
            return;
        }
        const bool isIndex = item.name == dirindex::kIndexName;
        if (item.isDirectory() && !isIndex) {
            m_context.check.subdirectories.push_back(joined(m_context.check.path, item.name));
        }
        if ((isIndex && S_ISREG(item.info.st_mode)) || isCopyOfLink(item)) {
            return;
        }
        if (item.isLink()) {
            if (m_context.area.looksAtTemplates()) {
                checkLink(item);
            }
        } else if (!isDamagedLink(item) && isIndex && !m_context.isMounted(item)) {
            m_context.add(FindingCode::indexWrongType, item.name);
        }
    }

private:
    void checkLink(const DirectoryItem& item) {
        const auto file = m_context.area.templateFile(item.link);
        const auto state = lookUpTemplate(m_context.area, item.link);
        // The directory's own link leads to a directory, all others to files.
        const bool wantsDirectory = item.name == dirindex::kIndexName;
        if (isOneBitOff(item, item.link, state)) {
            return;
        }
        if (leadsOut(item.link)) {
            m_context.add(FindingCode::shortcutOutside, item.name, file);
        } else if (state.failure != 0) {
            m_context.add(FindingCode::templateUnreadable, item.name, file,
                          std::strerror(state.failure));
        } else if (!state.exists) {
            if (const auto missing = m_context.templates.missingTemplate(item.link)) {
                m_context.addMissing(*missing, &item);
            } else {
                m_context.add(FindingCode::shortcutLost, item.name, file);
            }
        } else if (wantsDirectory ? !S_ISDIR(state.info.st_mode)
                                  : !S_ISREG(state.info.st_mode) && !S_ISLNK(state.info.st_mode)) {
            m_context.add(FindingCode::shortcutTypeChanged, item.name, file);
        } else if (!wantsDirectory && !attributesAgree(item, state.info)) {
            m_context.add(FindingCode::attributesDiffer, item.name, file);
        }
    }

    /// A sticky file or symbolic link that is not a magic link because of one changed bit.
    bool isDamagedLink(const DirectoryItem& item) {
        return m_context.area.looksAtTemplates() && item.text.size() > kMagicPrefix.size() &&
               oneBitApart(item.text.substr(0, kMagicPrefix.size()), kMagicPrefix) &&
               isOneBitOff(item, item.text, {});
    }

    /// A text that does not name the template file of its own path, but differs from one that does
    /// in a single bit. The container may have given the link that name itself: then the link has
    /// the time of the file that it leads to.
    bool isOneBitOff(const DirectoryItem& item, const std::string& text,
                     const TemplateState& state) {
        const auto ownPath = item.name == dirindex::kIndexName
                                 ? m_context.place
                                 : joined(m_context.check.path, item.name);
        if (state.exists && text.ends_with(ownPath)) {
            return false;
        }
        const auto links = m_context.templates.intended(text, ownPath);
        if (links.empty()) {
            return false;
        }
        const auto meant = lookUpTemplate(m_context.area, links.front());
        if (state.exists &&
            (isSameFile(meant.info, state.info) ||
             (haveSameTime(item.info, state.info) && !haveSameTime(item.info, meant.info)))) {
            return false;
        }
        m_context
            .add(FindingCode::shortcutDamaged, item.name,
                 m_context.area.templateFile(links.front()))
            .link = links.front();
        return true;
    }

    /// NAME-XXXXXX, which becomes the link NAME when it is finished.
    bool isCopyOfLink(const DirectoryItem& item) {
        constexpr std::size_t kSuffix = 7;
        const auto base = item.name.size() - std::min(item.name.size(), kSuffix);
        if (base == 0 || item.name[base] != '-' || !S_ISREG(item.info.st_mode) ||
            !std::all_of(item.name.begin() + static_cast<std::ptrdiff_t>(base) + 1, item.name.end(),
                         [](unsigned char c) { return std::isalnum(c) != 0; })) {
            return false;
        }
        const auto* original = m_context.check.listing.find(item.name.substr(0, base));
        if (original == nullptr || !original->isLink()) {
            return false;
        }
        auto text = item.link;
        constexpr mode_t kFreshMode = S_IRUSR | S_IWUSR;
        if (!item.isLink()) {
            const auto content =
                (item.info.st_mode & kPermissionMask) == kFreshMode
                    ? base::readSuspect(m_context.directory, item.name, kLinkTextMax)
                    : std::nullopt;
            if (!content.has_value() || !original->link.starts_with(*content)) {
                return false;
            }
            text = *content;
        } else if (text != original->link) {
            return false;
        }
        m_context.add(
            text == original->link ? FindingCode::temporaryLeft : FindingCode::temporaryPartial,
            item.name);
        return true;
    }

    CheckContext& m_context;
};

}  // namespace

void checkItems(CheckContext& context) {
    ItemChecker checker(context);
    for (const auto& item : context.check.listing.items) {
        checker.checkItem(item);
    }
}

}  // namespace qxfs
