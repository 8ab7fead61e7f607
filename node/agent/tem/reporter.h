// What the template manager's parts tell whoever asked for a change, beside its result.
#pragma once

#include <functional>
#include <string>

namespace QXA::tem {

/// Both may be empty.
struct Reporter {
    /// Hears for whom a change is about to wait.
    std::function<void(const std::string& line)> waits;
    /// Hears what is worth knowing of a change that went well.
    std::function<void(const std::string& line)> remarks;

    void remark(const std::string& line) const {
        if (remarks) {
            remarks(line);
        }
    }
};

}  // namespace QXA::tem
