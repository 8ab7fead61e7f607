// Name lists: singly linked in the order of adding, with hash sets beside them for look-ups.
//
// Each list owns one ListIndex, which its first node carries. The sets are filled by the first
// search that needs them, so a list that is only walked (rl_info) pays nothing for them.
#include "src/namelist.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/name_table.h"

namespace {

struct ListIndex;

// The public node comes first: a pointer to it is a pointer to this. The name follows the node in
// the same block.
struct Node {
    struct namelist entry;
    ListIndex* index;  // set in the first node of a list only
    bool has_inodes;
};

struct InodePair {
    ino_t inode;
    ino_t template_inode;
};

uint32_t hash_of(const InodePair& pair) {
    return base::seededHash({reinterpret_cast<const char*>(&pair), sizeof pair});
}

struct ListIndex {
    struct namelist* tail = nullptr;
    struct namelist* names_upto = nullptr;   // last node that `names` knows
    struct namelist* inodes_upto = nullptr;  // last node that `inodes` knows
    base::HashTable<const struct namelist*> names;
    base::HashTable<const struct namelist*> inodes;
};

Node* node_of(struct namelist* entry) {
    return reinterpret_cast<Node*>(entry);
}

struct namelist* new_entry(const char* name) {
    const size_t size = strlen(name) + 1;
    auto* node = static_cast<Node*>(xmalloc(sizeof(Node) + size));
    node->entry.name = reinterpret_cast<char*>(node + 1);
    memcpy(node->entry.name, name, size);
    return &node->entry;
}

void append(struct namelist** list, struct namelist* entry) {
    if (*list == nullptr) {
        node_of(entry)->index = new ListIndex;
        *list = entry;
    } else {
        node_of(*list)->index->tail->next = entry;
    }
    node_of(*list)->index->tail = entry;
}

// Feeds the nodes that were added since the last search to one of the sets.
template <class Insert>
void catch_up(struct namelist* list, struct namelist*& upto, Insert insert) {
    struct namelist* entry = upto == nullptr ? list : upto->next;
    for (; entry != nullptr; entry = entry->next) {
        insert(entry);
        upto = entry;
    }
}

}  // namespace

void namelist_add(struct namelist** list, const char* name) {
    append(list, new_entry(name));
}

void namelist_add_inode(struct namelist** list, const char* name, ino_t inode,
                        ino_t template_inode) {
    struct namelist* entry = new_entry(name);
    entry->inode = inode;
    entry->template_inode = template_inode;
    node_of(entry)->has_inodes = true;
    append(list, entry);
}

int namelist_search(struct namelist* list, const char* name) {
    if (list == nullptr) {
        return 1;
    }
    ListIndex& index = *node_of(list)->index;
    const auto find = [&](const char* wanted, uint32_t hash) {
        return index.names.find(hash, [wanted](const struct namelist* entry) {
            return strcmp(entry->name, wanted) == 0;
        });
    };
    catch_up(list, index.names_upto, [&](struct namelist* entry) {
        const uint32_t hash = base::seededHash(std::string_view(entry->name));
        if (find(entry->name, hash) == nullptr) {
            index.names.add(hash, entry);
        }
    });
    return find(name, base::seededHash(std::string_view(name))) != nullptr ? 0 : 1;
}

int namelist_search_inode(struct namelist* list, ino_t inode, ino_t template_inode) {
    if (list == nullptr) {
        return 1;
    }
    ListIndex& index = *node_of(list)->index;
    const auto find = [&](const InodePair& wanted, uint32_t hash) {
        return index.inodes.find(hash, [&](const struct namelist* entry) {
            return entry->inode == wanted.inode && entry->template_inode == wanted.template_inode;
        });
    };
    catch_up(list, index.inodes_upto, [&](struct namelist* entry) {
        const InodePair pair{entry->inode, entry->template_inode};
        if (node_of(entry)->has_inodes && find(pair, hash_of(pair)) == nullptr) {
            index.inodes.add(hash_of(pair), entry);
        }
    });
    const InodePair wanted{inode, template_inode};
    return find(wanted, hash_of(wanted)) != nullptr ? 0 : 1;
}

void namelist_clean(struct namelist** list) {
    if (*list == nullptr) {
        return;
    }
    delete node_of(*list)->index;
    while (*list != nullptr) {
        struct namelist* next = (*list)->next;
        free(*list);
        *list = next;
    }
}

void qxfs::namelist_drop_first(struct namelist** list) {
    struct namelist* first = *list;
    ListIndex* index = node_of(first)->index;
    *list = first->next;
    if (*list == nullptr) {
        delete index;
    } else {
        // The sets may point to the node that goes: the next search fills them anew.
        index->names = {};
        index->inodes = {};
        index->names_upto = nullptr;
        index->inodes_upto = nullptr;
        node_of(*list)->index = index;
    }
    free(first);
}
