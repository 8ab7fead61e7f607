// Node directories, as the agent library offers them to commands.
#include "QXA/QXANodeDirectory.h"

#include "QXL/QXLError.h"
#include "layout/node_dir.h"

namespace QXA {

namespace {

int reported(int result, const std::string& error) {
    if (result != 0) {
        QXL::setErrorMessage("%s", error.c_str());
    }
    return result;
}

}  // namespace

int initNodeDirectory(const std::string& dir) {
    std::string error;
    return reported(qxnode::initNodeDirectory(dir, error), error);
}

int enterNodeDirectory(const std::string& dir) {
    std::string error;
    return reported(qxnode::enterNodeDirectory(dir, error), error);
}

}  // namespace QXA
