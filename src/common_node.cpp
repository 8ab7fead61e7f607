// Queries of the node: mounted file systems, quota, identifiers.
#include <uuid/uuid.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string>

#include "src/common.h"

namespace {

constexpr char kQuotaCommand[] = "/usr/sbin/qxquota";

// Reads a line with usage, soft and hard limit; false if it does not have three numbers.
bool read_quota(FILE* pipe, long long& usage) {
    char line[4096];
    long long soft = 0;
    long long hard = 0;
    return fgets(line, sizeof line, pipe) != nullptr &&
           sscanf(line, "%14lli %14lli %14lli", &usage, &soft, &hard) == 3;
}

int read_inodes(FILE* pipe, int ctid) {
    long long usage = 0;
    if (!read_quota(pipe, usage)) {
        QXFS_DEBUG(common::kLevelDetails, "Error while reading block quota for VPS %d\n", ctid);
        return -1;
    }
    if (!read_quota(pipe, usage)) {
        QXFS_DEBUG(common::kLevelDetails, "Error while reading inode quota for VPS %d\n", ctid);
        return -2;
    }
    return static_cast<int>(std::clamp<long long>(usage, INT_MIN, INT_MAX));
}

}  // namespace

int check_mount_qxfs(const char* source) {
    const std::string command =
        std::string("grep \"qxfs\" /proc/mounts | grep -q \":") + source + " \"";
    return system(command.c_str()) == 0 ? 1 : 0;  // NOLINT(bugprone-command-processor,cert-env33-c)
}

int get_inodes_count(int ctid) {
    const std::string command =
        std::string(kQuotaCommand) + " -b stat " + std::to_string(ctid) + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "re");  // NOLINT(bugprone-command-processor,cert-env33-c)
    if (pipe == nullptr) {
        return -1;
    }
    const int count = read_inodes(pipe, ctid);
    pclose(pipe);
    return count;
}

char* generate_uuid(void) {
    uuid_t id;
    char text[UUID_STR_LEN];
    uuid_generate(id);
    uuid_unparse(id, text);
    return xstrdup(text);
}
