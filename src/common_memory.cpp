// Allocation that ends the process on failure, and joining of texts.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "src/common.h"

namespace {

[[noreturn]] void out_of_memory(size_t size) {
    common::fatal(errno, "not enough memory for %d bytes", static_cast<int>(size));
}

}  // namespace

void* xmalloc(size_t size) {
    void* memory = calloc(1, size);
    if (memory == nullptr) {
        out_of_memory(size);
    }
    return memory;
}

char* xstrdup(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr) {
        out_of_memory(strlen(text) + 1);
    }
    return copy;
}

char* xstring2(char separator, const char* a, const char* b) {
    const size_t size = strlen(a) + 1 + strlen(b) + 1;
    char* joined = static_cast<char*>(xmalloc(size));
    snprintf(joined, size, "%s%c%s", a, separator, b);
    return joined;
}

char* xstring3(char separator, const char* a, const char* b, const char* c) {
    const size_t size = strlen(a) + 1 + strlen(b) + 1 + strlen(c) + 1;
    char* joined = static_cast<char*>(xmalloc(size));
    snprintf(joined, size, "%s%c%s%c%s", a, separator, b, separator, c);
    return joined;
}
