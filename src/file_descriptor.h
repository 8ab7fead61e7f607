// Owner of a file descriptor, and how the checker opens what it is going to write.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

namespace qxfs {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~FileDescriptor() { close(); }

    bool valid() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

    /// Closes now, so that a late write error is not lost: 0 or -1.
    int close() {
        const int fd = release();
        return fd < 0 ? 0 : ::close(fd);
    }

private:
    int fd_;
};

/// Creates or empties a file of an area for writing. Areas belong to containers: a symbolic link
/// planted as the last component is refused, and a planted pipe does not block.
inline FileDescriptor open_for_writing(const char* path, int access, mode_t mode = 0666) {
    return FileDescriptor(
        open(path, access | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
}

/// Opens a file of an area for reading, under the same suspicion.
inline FileDescriptor open_for_reading(const char* path) {
    return FileDescriptor(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

/// Writes all of it: false with errno when that fails.
inline bool write_all(int fd, const char* bytes, size_t length) {
    while (length > 0) {
        const ssize_t n = write(fd, bytes, length);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return false;
        }
        bytes += n;
        length -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace qxfs
