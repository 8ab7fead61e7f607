// What the checker itself needs of name lists, beside the public functions.
#pragma once

#include "src/qxfsutil.h"

namespace qxfs {

/// Takes the first name off a list that is not empty, and frees it.
void namelist_drop_first(struct namelist** list);

/// A list that cleans itself.
class NameList {
public:
    NameList() = default;
    NameList(const NameList&) = delete;
    NameList& operator=(const NameList&) = delete;
    ~NameList() { namelist_clean(&list_); }

    void add(const char* name) { namelist_add(&list_, name); }
    bool contains(const char* name) const { return namelist_search(list_, name) == 0; }

private:
    struct namelist* list_ = nullptr;
};

}  // namespace qxfs
