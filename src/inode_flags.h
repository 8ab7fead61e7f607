// What the scan needs of inode attribute flags, beside the public functions.
#pragma once

namespace qxfs {

/// The flags among `flags` that a user can set.
unsigned user_flags(unsigned flags);

/// Whether the open file has such a flag. Flags that cannot be read count as none.
bool has_user_flags(int fd);

}  // namespace qxfs
