// Scans directories; see scan.h.
#include "src/index/scan.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "src/index/area_format.h"
#include "src/index/index_file.h"

namespace dirindex {

namespace {

using qxfs::kLinkTextMax;

/// Path of a template file: the root directly followed by a link text, in one buffer of fixed room.
class TemplatePath {
public:
    /// @param root  may be null where no link is met.
    explicit TemplatePath(const char* root)
        : m_rootLength(root != nullptr ? std::strlen(root) : 0) {
        if (root != nullptr && m_rootLength < kLinkTextMax) {
            std::memcpy(m_buffer, root, m_rootLength);
        } else if (root != nullptr) {
            m_rootLength = kLinkTextMax;  // no room is left for any text
        }
        text()[0] = '\0';
    }

    [[nodiscard]] const char* path() const { return m_buffer; }
    char* text() { return m_buffer + m_rootLength; }
    [[nodiscard]] std::size_t room() const { return kLinkTextMax - m_rootLength; }

    /// What a reader may fill: one byte more than there is room for, so that too long a text shows.
    [[nodiscard]] std::size_t readable() const { return room() + 1; }

    /// Ends a text of that many bytes read; false with ENAMETOOLONG when it does not fit. Only a
    /// magic link needs to fit: other content is nothing but cut short.
    bool finish(std::size_t length) {
        text()[std::min(length, room())] = '\0';
        if (length > room() && mayBeMagic()) {
            errno = ENAMETOOLONG;
            return false;
        }
        return true;
    }

    /// Puts a name in the place of what follows the last slash; false when it does not fit.
    bool replaceLast(const char* slash, std::string_view name) {
        const auto before = static_cast<std::size_t>(slash + 1 - text());
        if (name.size() > room() - before) {
            return false;
        }
        std::memcpy(text() + before, name.data(), name.size());
        text()[before + name.size()] = '\0';
        return true;
    }

private:
    /// A long root leaves less room than what a magic link begins with.
    bool mayBeMagic() {
        const std::size_t known = std::min(room(), qxfs::kMagicPrefix.size());
        return qxfs::kMagicPrefix.starts_with(std::string_view(text(), known));
    }

    std::size_t m_rootLength;
    char m_buffer[kLinkTextMax + 2];
};

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// Scans one name.
class NameScan {
public:
    NameScan(int directory, const char* name, const char* templateRoot, ScanListener& listener)
        : m_directory(directory), m_name(name), m_link(templateRoot), m_listener(listener) {}

    ScanAnswer run() {
        if (fstatat(m_directory, m_name, &m_info, AT_SYMLINK_NOFOLLOW) != 0) {
            return refused(ScanRemark::cannotLookAt, "", errno);
        }
        if (std::strlen(m_name) > qxfs::kNameMax) {
            return refused(ScanRemark::nameTooLong);
        }
        if (!S_ISDIR(m_info.st_mode) && m_info.st_nlink > 1) {
            say(ScanRemark::hardLinked);
            m_keep = true;
        }
        switch (m_info.st_mode & S_IFMT) {
            case S_IFDIR:
                return scanFolder();
            case S_IFLNK:
                return scanSymlink();
            case S_IFREG:
                return scanFile();
            default:
                return refused(ScanRemark::specialFile);
        }
    }

private:
    void say(ScanRemark remark, const char* text = "", int reason = 0) {
        m_listener.remark(remark, m_name, text, reason);
    }
    ScanAnswer refused(ScanRemark remark, const char* text = "", int reason = 0) {
        say(remark, text, reason);
        return ScanAnswer::notIndexable;
    }

    /// The arithmetic of both kinds of tag wraps at 32 bits.
    ScanAnswer plain() {
        m_listener.entry(qxfs::entry_type(m_info.st_mode), m_name,
                         static_cast<std::uint32_t>(m_info.st_ino) * 2, nullptr);
        return ScanAnswer::indexable;
    }

    ScanAnswer scanFolder() {
        m_listener.directory();
        if ((m_info.st_mode & qxfs::kIndexedBit) == 0 || isDots(m_name)) {
            say(ScanRemark::plainDirectory);
            return plain();
        }
        const std::string mark = std::string(m_name) + qxfs::kIndexSuffix;
        const ssize_t length =
            readlinkat(m_directory, mark.c_str(), m_link.text(), m_link.readable());
        if (length < 0 && errno == EINVAL) {
            say(ScanRemark::indexedDirectory);
            return plain();
        }
        if (length < 0 || !m_link.finish(static_cast<std::size_t>(length))) {
            return refused(ScanRemark::cannotReadMark, mark.c_str(), errno);
        }
        return resolve();
    }

    ScanAnswer scanSymlink() {
        const ssize_t length = readlinkat(m_directory, m_name, m_link.text(), m_link.readable());
        if (length < 0 || !m_link.finish(static_cast<std::size_t>(length))) {
            return refused(ScanRemark::cannotReadSymlink, "", errno);
        }
        if (!qxfs::is_magic_link(m_link.text())) {
            say(ScanRemark::plainSymlink, m_link.text());
            return plain();
        }
        return m_listener.magicSymlink(m_name, m_link.text(), m_info) ? resolve()
                                                                      : ScanAnswer::ended;
    }

    ScanAnswer scanFile() {
        if (!qxfs::is_shortcut_mode(m_info.st_mode)) {
            say(ScanRemark::plainFile);
            return plain();
        }
        const base::Fd file = base::openSuspect(m_directory, m_name, O_RDONLY);
        if (!file) {
            return refused(ScanRemark::cannotOpen, "", errno);
        }
        if (hasUserFlags(file.get())) {
            say(ScanRemark::ownFlags);
            m_keep = true;
        }
        const std::size_t readable = std::min(m_link.readable(), kLinkTextMax);
        const ssize_t length = read(file.get(), m_link.text(), readable);
        if (length < 0 || !m_link.finish(static_cast<std::size_t>(length))) {
            return refused(ScanRemark::cannotRead, "", errno);
        }
        return resolve();
    }

    /// A link whose last component is not the entry's name holds when the template file also has
    /// that name in the same directory, that is, as a hard link.
    bool renameInLink(const char* slash, const struct stat& info) {
        const bool fits = m_link.replaceLast(slash, m_name);
        say(ScanRemark::otherName, m_link.text());
        struct stat renamed {};
        if (!fits || lstat(m_link.path(), &renamed) != 0 || renamed.st_ino != info.st_ino) {
            say(ScanRemark::otherFile);
            return false;
        }
        m_keep = true;
        return true;
    }

    ScanAnswer resolve() {
        if (!qxfs::is_magic_link(m_link.text())) {
            return refused(ScanRemark::noMagicLink, m_link.text());
        }
        struct stat info {};
        if (lstat(m_link.path(), &info) != 0) {
            return refused(ScanRemark::noTemplateFile, m_link.path(), errno);
        }
        if (!S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode) &&
            !(S_ISDIR(info.st_mode) && S_ISDIR(m_info.st_mode))) {
            return refused(ScanRemark::wrongTemplateFile, m_link.text());
        }
        char* slash = std::strrchr(m_link.text(), '/');
        if (std::strcmp(slash + 1, m_name) != 0 && !renameInLink(slash, info)) {
            return ScanAnswer::notIndexable;
        }
        *slash = '\0';
        if (!sameAttributes(m_info, info)) {
            say(ScanRemark::otherAttributes);
            m_keep = true;
        }
        if (!m_keep && !S_ISDIR(m_info.st_mode)) {
            m_listener.superfluous(m_name, m_info);
        }
        m_listener.entry(qxfs::entry_type(info.st_mode), m_name,
                         static_cast<std::uint32_t>(info.st_ino) * 2 + 1, m_link.text());
        return ScanAnswer::indexable;
    }

    int m_directory;
    const char* m_name;
    struct stat m_info {};
    bool m_keep = false;  ///< its file stays although the index describes it
    TemplatePath m_link;
    ScanListener& m_listener;
};

/// What is said of a reason. Empty for a remark that is none.
std::string reasonText(ScanRemark remark, const std::string& name, const std::string& text,
                       int reason) {
    const auto failed = [&](const char* what, const std::string& subject) {
        return std::string("can't ") + what + " '" + subject + "': " + std::strerror(reason);
    };
    switch (remark) {
        case ScanRemark::cannotLookAt:
            return failed("look at", name);
        case ScanRemark::nameTooLong:
            return "the name '" + name + "' is too long for an index";
        case ScanRemark::specialFile:
            return "'" + name + "' is a device, a pipe or a socket";
        case ScanRemark::cannotReadMark:
            return failed("read the link", text);
        case ScanRemark::cannotReadSymlink:
            return failed("read the link", name);
        case ScanRemark::cannotOpen:
            return failed("open", name);
        case ScanRemark::cannotRead:
            return failed("read", name);
        case ScanRemark::noMagicLink:
            return "the shortcut '" + name + "' holds no link to a template file";
        case ScanRemark::noTemplateFile:
            return failed("find the template file", text);
        case ScanRemark::wrongTemplateFile:
            return "'" + name + "' refers to '" + text + "', which is no file";
        case ScanRemark::otherFile:
            return "'" + name + "' refers to a template file of another name";
        default:
            return {};
    }
}

class ScanCollector : public ScanListener {
public:
    explicit ScanCollector(Scan& scan) : m_scan(scan) {}

    void remark(ScanRemark remark, const char* name, const char* text, int reason) override {
        auto words = reasonText(remark, name, text, reason);
        if (!words.empty()) {
            m_scan.reasons.push_back(std::move(words));
        }
    }
    void superfluous(const char* name, const struct stat& info) override {
        m_scan.superfluous.push_back({name, info});
    }
    void entry(std::uint8_t type, const char* name, std::uint32_t tag, const char* link) override {
        IndexEntry& entry = m_scan.entries.emplace_back();
        entry.type = type;
        entry.ino = tag;
        entry.name = name;
        if (link != nullptr) {
            // Entries of one link string mostly follow each other.
            m_lastLink = m_lastLink.value_or("") == link ? m_lastLink : SharedText(link);
            entry.link = m_lastLink;
        }
    }

private:
    Scan& m_scan;
    SharedText m_lastLink;
};

}  // namespace

ScanAnswer scanName(int directory, const char* name, const char* templateRoot,
                    ScanListener& listener) {
    return NameScan(directory, name, templateRoot, listener).run();
}

std::optional<Scan> scanDirectory(int directory, const std::string& templateRoot) {
    auto names = base::namesIn(directory);
    if (!names) {
        return std::nullopt;
    }
    std::erase_if(*names, [](const std::string& name) {
        return name == kIndexName || name == kPackageRefName || name == kNewIndexName;
    });
    names->insert(names->begin(), {".", ".."});
    Scan scan;
    ScanCollector collector(scan);
    for (const auto& name : *names) {
        if (scanName(directory, name.c_str(), templateRoot.c_str(), collector) !=
            ScanAnswer::indexable) {
            scan.names.push_back(name);
        }
    }
    return scan;
}

bool removeSuperfluous(int directory, const SuperfluousLink& link) {
    struct stat now {};
    const bool same = fstatat(directory, link.name.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 &&
                      now.st_ino == link.info.st_ino && now.st_dev == link.info.st_dev &&
                      now.st_ctim.tv_sec == link.info.st_ctim.tv_sec &&
                      now.st_ctim.tv_nsec == link.info.st_ctim.tv_nsec;
    return !same || unlinkat(directory, link.name.c_str(), 0) == 0;
}

bool setIndexMark(int directory, bool marked) {
    struct stat info {};
    if (fstat(directory, &info) != 0) {
        return false;
    }
    const mode_t bits = info.st_mode & qxfs::kPermissionMask;
    const mode_t wanted = marked ? bits | qxfs::kIndexedBit : bits & ~qxfs::kIndexedBit;
    if (wanted == bits) {
        return true;
    }
    if (fchmod(directory, wanted) != 0 || fstat(directory, &info) != 0) {
        return false;
    }
    errno = EOPNOTSUPP;
    return (info.st_mode & qxfs::kPermissionMask) == wanted;
}

bool sameAttributes(const struct stat& a, const struct stat& b) {
    const auto bits = [](const struct stat& info) {
        return (info.st_mode & qxfs::kPermissionMask) | qxfs::kShortcutBit;
    };
    return a.st_uid == b.st_uid && a.st_gid == b.st_gid && bits(a) == bits(b);
}

unsigned userFlags(unsigned flags) {
    return flags & FS_FL_USER_MODIFIABLE;
}

bool hasUserFlags(int file) {
    // The kernel writes an int here, whatever the request's number says.
    int flags = 0;
    return ioctl(file, FS_IOC_GETFLAGS, &flags) == 0 &&
           userFlags(static_cast<unsigned>(flags)) != 0;
}

}  // namespace dirindex
