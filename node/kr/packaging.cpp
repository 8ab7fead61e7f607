// The table of packagings; see packaging.h.
#include "node/kr/packaging.h"

#include <algorithm>

#include "node/kr/deb/packaging.h"
#include "node/kr/rpm/packaging.h"

namespace qxnode {

std::vector<const Packaging*>& packagings() {
    static std::vector<const Packaging*> all{
        &kDebPackaging,
        &kRpmPackaging,
    };
    return all;
}

const Packaging* findPackaging(std::string_view name) {
    const auto& all = packagings();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Packaging* packaging) {
        return packaging->name == name;
    });
    return found == all.end() ? nullptr : *found;
}

}  // namespace qxnode
