// Runs an action in a child process in which folders of the test appear at fixed paths such as
// /qx/template. The machine is not changed.
#ifndef TESTS_SUPPORT_PRIVATE_ROOT_H
#define TESTS_SUPPORT_PRIVATE_ROOT_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace qx_test {

class PrivateRoot {
public:
    // Shows a file or directory of the test at an absolute path. Where the path does not exist, its
    // nearest existing parent directory (other than "/") appears with nothing else in it.
    PrivateRoot& show(std::string source, std::string path);

    // Moves the calling process, which may have one thread only, into the private view; the working
    // directory stays. Throws std::exception where neither root nor user namespaces are to be had.
    // The mount point is a directory of the test, empty, and stays so for everybody else.
    void enter(const std::string& mount_point) const;

    struct Result {
        bool ran;          // false: this machine gives neither root nor user namespaces
        std::string text;  // the action's result; if it did not run, the reason
    };
    // Runs the action in the private view, in the same working directory, and returns its text.
    Result run(const std::function<std::string()>& action) const;

private:
    std::vector<std::pair<std::string, std::string>> shown_;
};

// Runs the action while a full file system is mounted at a directory of the test.
PrivateRoot::Result with_full_disk(const std::string& at,
                                   const std::function<std::string()>& action);

}  // namespace qx_test

#endif
