// A set of names that are kept elsewhere, for one pass over a directory.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace qxfsutil {

/// One block of memory for all names: directories are many and mostly small, and a set with a node
/// for each name would spend its time on memory. The names must outlive the set.
class NameSet {
public:
    /// Makes room for so many names; it grows beyond that.
    void reserve(std::size_t names) {
        std::size_t size = 16;
        while (size < names * 2) {
            size *= 2;
        }
        if (size > m_slots.size()) {
            rebuild(size);
        }
    }

    /// @return false when the name was there already.
    bool insert(std::string_view name) {
        if ((m_count + 1) * 2 > m_slots.size()) {
            reserve((m_count + 1) * 2);
        }
        auto& slot = m_slots[find(name)];
        if (slot.data() != nullptr) {
            return false;
        }
        slot = name;
        ++m_count;
        return true;
    }

    [[nodiscard]] bool contains(std::string_view name) const {
        return !m_slots.empty() && m_slots[find(name)].data() != nullptr;
    }

private:
    /// The slot that holds the name, or the empty one where it belongs.
    [[nodiscard]] std::size_t find(std::string_view name) const {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t place = std::hash<std::string_view>{}(name)&mask;
        while (m_slots[place].data() != nullptr && m_slots[place] != name) {
            place = (place + 1) & mask;
        }
        return place;
    }

    void rebuild(std::size_t size) {
        std::vector<std::string_view> old(size);
        old.swap(m_slots);
        for (const auto& name : old) {
            if (name.data() != nullptr) {
                m_slots[find(name)] = name;
            }
        }
    }

    std::vector<std::string_view> m_slots;
    std::size_t m_count = 0;
};

}  // namespace qxfsutil
