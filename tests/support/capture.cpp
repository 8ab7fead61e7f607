// Catching output; see capture.h.
#include "tests/support/capture.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>

namespace qx_test {
namespace {

// Sends a descriptor into a temporary file until it is asked for what came.
class Redirection {
public:
    explicit Redirection(int descriptor)
        : descriptor_(descriptor), saved_(dup(descriptor)), file_(std::tmpfile()) {
        if (saved_ < 0 || file_ == nullptr || dup2(fileno(file_), descriptor_) < 0) {
            throw std::runtime_error("cannot redirect output");
        }
    }

    ~Redirection() {
        restore();
        std::fclose(file_);
    }

    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

    std::string text() {
        restore();
        std::string result;
        std::rewind(file_);
        char piece[4096];
        size_t size = 0;
        while ((size = std::fread(piece, 1, sizeof piece, file_)) > 0) {
            result.append(piece, size);
        }
        return result;
    }

private:
    void restore() {
        if (saved_ >= 0) {
            dup2(saved_, descriptor_);
            close(saved_);
            saved_ = -1;
        }
    }

    int descriptor_;
    int saved_;
    FILE* file_;
};

void flush_all() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

}  // namespace

Output captured(const std::function<void()>& action) {
    flush_all();
    Redirection out(STDOUT_FILENO);
    Redirection err(STDERR_FILENO);
    action();
    flush_all();
    return {out.text(), err.text()};
}

}  // namespace qx_test
