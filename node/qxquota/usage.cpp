// Measuring an area and reading limits; see usage.h.
#include "node/qxquota/usage.h"

#include <fts.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

namespace qxquota {
namespace {

constexpr std::uint64_t kStatBlock = 512;
constexpr std::uint64_t kQuotaBlock = 1024;

bool parseNumber(std::string_view text, std::uint64_t& number) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() &&
           number <= kMaxNumber;
}

bool parseLimits(const qxnode::ContainerConfig& config, const char* parameter, Quota& quota,
                 std::string& error) {
    const std::optional<std::string> value = config.get(parameter);
    if (!value) {
        return true;
    }
    const std::string_view text = *value;
    const std::size_t colon = text.find(':');
    const std::string_view hard = colon == text.npos ? text : text.substr(colon + 1);
    if (!parseNumber(text.substr(0, colon), quota.soft) || !parseNumber(hard, quota.hard)) {
        error = std::string(parameter) + ": \"" + *value + "\" is not \"soft:hard\"";
        return false;
    }
    return true;
}

// Adds up what one entry uses.
class Counter {
public:
    void add(const struct stat& st) {
        if (st.st_nlink > 1 && !S_ISDIR(st.st_mode) &&
            !m_linked.emplace(st.st_dev, st.st_ino).second) {
            return;
        }
        ++m_inodes;
        m_stat_blocks += static_cast<std::uint64_t>(st.st_blocks);
    }

    std::uint64_t inodes() const { return m_inodes; }
    std::uint64_t blocks() const {
        return (m_stat_blocks * kStatBlock + kQuotaBlock - 1) / kQuotaBlock;
    }

private:
    std::set<std::pair<dev_t, ino_t>> m_linked;
    std::uint64_t m_inodes = 0;
    std::uint64_t m_stat_blocks = 0;
};

}  // namespace

bool measure(const std::string& area, Quotas& quotas, std::string& error) {
    std::string top = area;
    char* const paths[] = {top.data(), nullptr};
    const std::unique_ptr<FTS, int (*)(FTS*)> walk(
        fts_open(paths, FTS_PHYSICAL | FTS_XDEV, nullptr), fts_close);
    Counter counter;
    errno = walk ? 0 : errno;
    for (FTSENT* entry = walk ? fts_read(walk.get()) : nullptr; entry != nullptr;
         errno = 0, entry = fts_read(walk.get())) {
        switch (entry->fts_info) {
            case FTS_DP:
                break;
            case FTS_DNR:
            case FTS_ERR:
            case FTS_NS:
                if (entry->fts_errno != ENOENT || entry->fts_level == FTS_ROOTLEVEL) {
                    error = std::string(entry->fts_path) + ": " + std::strerror(entry->fts_errno);
                    return false;
                }
                break;
            default:
                counter.add(*entry->fts_statp);
        }
    }
    if (errno != 0) {
        error = area + ": " + std::strerror(errno);
        return false;
    }
    quotas.inodes.used = counter.inodes();
    quotas.blocks.used = counter.blocks();
    return true;
}

bool readLimits(const qxnode::ContainerConfig& config, Quotas& quotas, std::string& error) {
    return parseLimits(config, kBlockLimits, quotas.blocks, error) &&
           parseLimits(config, kInodeLimits, quotas.inodes, error);
}

}  // namespace qxquota
