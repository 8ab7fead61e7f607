// The program's operator new; see failing_new.h.
#include "tests/unit/node/qxtt/failing_new.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <new>
#include <string_view>

namespace {

constexpr int kNever = -1;
thread_local int allocations_left = kNever;
thread_local bool was_spared = false;

bool contains(const char* text, std::string_view part) {
    return text != nullptr && std::string_view(text).find(part) != std::string_view::npos;
}

bool is_of_libraries() {
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), frames.size());
    for (int i = 0; i < count; ++i) {
        Dl_info place{};
        if (dladdr(frames[static_cast<std::size_t>(i)], &place) == 0) {
            continue;
        }
        if (contains(place.dli_fname, "tomlplusplus") ||
            contains(place.dli_sname, "directory_iterator")) {
            return true;
        }
    }
    return false;
}

bool is_to_fail() {
    if (allocations_left == kNever || allocations_left-- > 0) {
        return false;
    }
    was_spared = is_of_libraries();
    return !was_spared;
}

}  // namespace

void* operator new(std::size_t size) {
    if (is_to_fail()) {
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return is_to_fail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace qxtt_test {

FailingNew::FailingNew(int allocations) {
    allocations_left = allocations;
    was_spared = false;
}

bool FailingNew::spared() {
    return was_spared;
}

FailingNew::~FailingNew() {
    allocations_left = kNever;
}

}  // namespace qxtt_test
