// FileLock: a lock file, beside the data that it protects, with the holder's name in it.
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

    /// The wait that QX_LOCK_WAIT sets (see QXL/QXLLockPolicy.h): seconds, fractions allowed; if it
    /// is not set or not a number, no limit.
    static LockWait fromEnvironment();

    [[nodiscard]] const std::optional<std::chrono::milliseconds>& limit() const { return m_limit; }

private:
    explicit LockWait(std::optional<std::chrono::milliseconds> limit) : m_limit(limit) {}

    std::optional<std::chrono::milliseconds> m_limit;
};

/// Held from acquire() to destruction. The system frees it when the process dies, so the name of a
/// dead holder in the file does not matter. The file stays: if it were removed, two processes could
/// hold locks on two different files of the same name.
class FileLock {
public:
    enum class Result { acquired, timeout, failed };

    /// Shared: several readers, no writer. Exclusive: one writer alone.
    enum class Mode { exclusive, shared };

    /// Called once before waiting, with a line such as "waiting for 'FILE', held by pid 12 (qxa
    /// install x) since 2026-11-20T20:00:00+0000".
    using OnWait = std::function<void(const std::string& line)>;

    FileLock() = default;

    /// Takes the lock into this object, which must not hold one.
    /// @param path   the lock file; made (mode 0600) if missing. A link or special file is refused.
    /// @param error  after a timeout: who holds the lock; after a failure: the reason.
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

/// The holder's name in the file: "pid 12 (qxa install x) since ..."; "another process" if there is
/// none. If several processes share the lock, it is the last one that came.
std::string lockHolder(const std::string& path);

}  // namespace qxnode
