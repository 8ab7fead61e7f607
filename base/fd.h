// Fd: owns a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace base {

class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd() { close(); }
    Fd(Fd&& other) noexcept : m_fd(other.release()) {}
    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) {
            close();
            m_fd = other.release();
        }
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }

    /// Closes it now and reports a late write error: 0, or -1 with errno. 0 if it is empty.
    int close() {
        const int fd = release();
        return fd < 0 ? 0 : ::close(fd);
    }

private:
    int m_fd = -1;
};

}  // namespace base
