// The in-memory model of an index: entries, distinct link strings, buckets, and their memory.
#include "src/dirindex_model.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/name_table.h"
#include "src/dirindex_chains.h"
#include "src/dirindex_slab.h"
#include "src/index/format.h"

dent* dlist;
dent* dlist_end;
poolstr* pool;
unsigned tot;
unsigned dtot;
unsigned emitted;
unsigned prime;
bucket* ht;
uint32_t* ht_emit;
char current_path[4096];

namespace {

using namespace dirindex;

// The entry's numbers lie in memory as in a record's head.
static_assert(offsetof(dent, flags) - offsetof(dent, type) == kFlagsInRecord);
static_assert(offsetof(dent, namelen) - offsetof(dent, type) == kNamelenInRecord);
static_assert(offsetof(dent, reclen) - offsetof(dent, type) == kReclenInRecord);
static_assert(offsetof(dent, ino) - offsetof(dent, type) == kInoInRecord);
static_assert(offsetof(dent, link) - offsetof(dent, type) == kLinkInRecord);
static_assert(offsetof(dent, link) + sizeof(uint32_t) - offsetof(dent, type) == kRecordHeadSize);

// Finds pool strings by their text in constant time. The list itself is the truth and may be
// changed by whoever links the library, so the index remembers the head that it describes.
class PoolIndex {
public:
    poolstr* find(const char* text, uint32_t hash) {
        if (head_ != pool) {
            rebuild();
        }
        return strings_.find(
            hash, [text](const poolstr* string) { return strcmp(string->text, text) == 0; });
    }

    void add(poolstr* string, uint32_t hash) {
        strings_.add(hash, string);
        head_ = string;
    }

    // The next search describes the list anew.
    void forget() {
        strings_.clear();
        head_ = nullptr;
    }

private:
    void rebuild() {
        strings_.clear();
        for (poolstr* string = pool; string != nullptr; string = string->next) {
            strings_.add(base::seededHash(string->text), string);
        }
        head_ = pool;
    }

    base::HashTable<poolstr*> strings_;
    const poolstr* head_ = nullptr;
};

PoolIndex& pool_index() {
    // Never destroyed: an exit handler of the host may still call into the checker.
    static auto* index = new PoolIndex;
    return *index;
}

void free_chain(dent* entry) {
    while (entry != nullptr) {
        dent* next = entry->next;
        free_dent(entry);
        entry = next;
    }
}

// The bucket count may have changed since the table was made, so the table's own is kept.
unsigned table_size;

void free_hash_table() {
    for (unsigned i = 0; ht != nullptr && i < table_size; i += dirindex::kMaxChains) {
        dirindex::follow_in_step(ht + i, std::min(dirindex::kMaxChains, table_size - i),
                                 [](unsigned, dent* entry) { free_dent(entry); });
    }
    std::free(ht);
    std::free(ht_emit);
    ht = nullptr;
    ht_emit = nullptr;
    table_size = 0;
}

void append(dent*& head, dent*& tail, dent* entry) {
    entry->next = nullptr;
    (head == nullptr ? head : tail->next) = entry;
    tail = entry;
}

}  // namespace

// Pool strings made here lie in one piece with their text, right behind the structure, so the text
// shares a cache line with its owner. A text that a caller allocated never begins at that address.
// The name of an entry is a block of its own, which a caller may free and replace.

poolstr* pool_add(const char* text) {
    PoolIndex& index = pool_index();
    const size_t length = strlen(text);
    const uint32_t hash = base::seededHash(std::string_view(text, length));
    poolstr* string = index.find(text, hash);
    if (string == nullptr) {
        string = static_cast<poolstr*>(dirindex::slab_allocate(sizeof *string + length + 1));
        auto* copy = reinterpret_cast<char*>(string + 1);
        std::memcpy(copy, text, length + 1);
        *string = {pool, copy, 0};
        pool = string;
        index.add(string, hash);
    }
    return string;
}

void free_dent(dent* entry) {
    if (entry != nullptr) {
        std::free(entry->name);
        dirindex::slab_release(entry);
    }
}

void free_poolstr(poolstr* string) {
    if (string != nullptr) {
        pool_index().forget();
        if (string->text != reinterpret_cast<char*>(string + 1)) {
            std::free(string->text);
        }
        dirindex::slab_release(string);
    }
}

void clean_memory(void) {
    free_chain(dlist);
    dlist = nullptr;
    dlist_end = nullptr;
    free_hash_table();
    while (pool != nullptr) {
        poolstr* next = pool->next;
        free_poolstr(pool);
        pool = next;
    }
}

void select_prime(void) {
    prime = dirindex::bucketsFor(tot);
}

void create_hash_table(void) {
    free_hash_table();
    ht = static_cast<bucket*>(std::calloc(prime, sizeof *ht));
    ht_emit = static_cast<uint32_t*>(std::calloc(prime, sizeof *ht_emit));
    table_size = prime;
    while (dlist != nullptr) {
        dent* entry = dlist;
        dlist = entry->next;
        bucket& target = ht[dirindex::name_hash(entry->name, entry->namelen) % prime];
        append(target.head, target.tail, entry);
        ++target.count;
    }
    dlist_end = nullptr;
}

const char* type_str(unsigned code) {
    static const char* const texts[] = {"0", "p", "c", "3",  "d", "5",  "b", "7",
                                        "-", "9", "l", "11", "s", "13", "w"};
    return code < std::size(texts) ? texts[code] : "?";
}

namespace dirindex {

void begin_operation() {
    emitted = 0;
    tot = 0;
    dtot = 0;
    clean_memory();
    remember_current_path();
}

void remember_current_path() {
    if (getcwd(current_path, sizeof current_path) == nullptr) {
        current_path[0] = '\0';
    }
}

dent* new_dent(uint8_t type, const char* name, size_t name_length, uint32_t ino, poolstr* link) {
    auto* entry = static_cast<dent*>(slab_allocate(sizeof(dent)));
    auto* copy = static_cast<char*>(xmalloc(name_length + 1));
    std::memcpy(copy, name, name_length);
    copy[name_length] = '\0';
    *entry = {nullptr, type, 0, static_cast<uint16_t>(name_length), 0, ino, 0, copy, link};
    return entry;
}

void append_dent(dent* entry) {
    append(dlist, dlist_end, entry);
    ++tot;
}

}  // namespace dirindex
