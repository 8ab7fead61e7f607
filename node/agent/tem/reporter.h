// Messages of the template manager's parts to the caller of a change, in addition to its result.
#pragma once

#include <functional>
#include <string>

namespace QXA::tem {

/// Both may be empty.
struct Reporter {
    /// Called before a change waits for a lock, with its holder.
    std::function<void(const std::string& line)> waits;
    /// Called with remarks about a change that succeeded.
    std::function<void(const std::string& line)> remarks;

    void remark(const std::string& line) const {
        if (remarks) {
            remarks(line);
        }
    }
};

}  // namespace QXA::tem
