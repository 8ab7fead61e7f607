// Entry point of packing.
#include "QXA/QXATemplatePackage.h"

#include "node/agent/tem/guarded.h"
#include "node/agent/tem/package_writer.h"

namespace QXA {

int packTemplate(const std::string& folder, const std::string& file) {
    return tem::guarded([&] { tem::packFolder(folder, file); }) == 0 ? 0 : -1;
}

}  // namespace QXA
