// FileLock: a lock on a file that lies with what it protects and names its holder.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "base/fd.h"

namespace qxnode {

/// How long to wait for a lock.
class LockWait {
public:
    static LockWait forever() { return LockWait(std::nullopt); }
    static LockWait atMost(std::chrono::milliseconds time) { return LockWait(time); }

    /// As QX_LOCK_WAIT says (see QXL/QXLLockPolicy.h): seconds, fractions allowed; without it, or
    /// when it holds no number, for ever.
    static LockWait fromEnvironment();

    [[nodiscard]] const std::optional<std::chrono::milliseconds>& limit() const { return m_limit; }

private:
    explicit LockWait(std::optional<std::chrono::milliseconds> limit) : m_limit(limit) {}

    std::optional<std::chrono::milliseconds> m_limit;
};

/// Held from acquire() to destruction; the system frees it when the process dies, so what a dead
/// holder left in the file means nothing. The file stays: removing it would let two processes lock
/// two files of one name.
class FileLock {
public:
    enum class Result { acquired, timeout, failed };

    /// Readers who need that nothing changes share a lock; whoever changes something has it alone.
    enum class Mode { exclusive, shared };

    /// Called once before waiting, with a line such as "waiting for 'FILE', held by pid 12 (qxa
    /// install x) since 2026-11-20T20:00:00+0000".
    using OnWait = std::function<void(const std::string& line)>;

    FileLock() = default;

    /// Takes the lock into this object, which must not hold one.
    /// @param path   the lock file; made (mode 0600) when missing. A link or special file in its
    ///               place is refused, never followed.
    /// @param error  on timeout: whom the lock was waited for; on failure: the reason.
    Result acquire(const std::string& path, const LockWait& wait, std::string& error,
                   const OnWait& onWait = {}, Mode mode = Mode::exclusive);

    [[nodiscard]] bool held() const { return static_cast<bool>(m_fd); }
    void release();

    FileLock(FileLock&&) = default;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock() { release(); }

private:
    base::Fd m_fd;
};

/// Who holds the lock, from the file: "pid 12 (qxa install x) since ..."; "another process" when
/// the file does not tell. Of several who share it, the one that came last is named.
std::string lockHolder(const std::string& path);

}  // namespace qxnode
