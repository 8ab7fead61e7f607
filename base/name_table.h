// A table of names that are kept elsewhere, for one pass over a directory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace base {

/// Numbers names from 0 in the order in which they come. Two blocks of memory for all names:
/// directories are many and mostly small, and a table with a node for each name would spend its
/// time on memory. The names must outlive the table.
class NameTable {
public:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    /// Makes room for so many names; it grows beyond that.
    void reserve(std::size_t names) {
        std::size_t size = 16;
        while (size < names * 2) {
            size *= 2;
        }
        if (size > m_slots.size()) {
            m_names.reserve(size / 2);
            rebuild(size);
        }
    }

    /// @return false when the name was there already.
    bool insert(std::string_view name) {
        if ((m_names.size() + 1) * 2 > m_slots.size()) {
            reserve((m_names.size() + 1) * 2);
        }
        const auto hash = hashOf(name);
        auto& slot = m_slots[place(name, hash)];
        if (slot.number != kNone) {
            return false;
        }
        slot = {hash, static_cast<std::uint32_t>(m_names.size())};
        m_names.push_back(name);
        return true;
    }

    /// The name's number, or kNone.
    [[nodiscard]] std::uint32_t find(std::string_view name) const {
        return m_slots.empty() ? kNone : m_slots[place(name, hashOf(name))].number;
    }

private:
    /// Names are looked at only where their hash agrees: most questions are answered by a slot, and
    /// slots are small enough for a processor's cache.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = kNone;
    };

    static std::uint32_t hashOf(std::string_view name) {
        return static_cast<std::uint32_t>(std::hash<std::string_view>{}(name));
    }

    /// The slot that holds the name, or the empty one where it belongs.
    [[nodiscard]] std::size_t place(std::string_view name, std::uint32_t hash) const {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t place = hash & mask;
        while (m_slots[place].number != kNone &&
               (m_slots[place].hash != hash || m_names[m_slots[place].number] != name)) {
            place = (place + 1) & mask;
        }
        return place;
    }

    void rebuild(std::size_t size) {
        std::vector<Slot> old(size);
        old.swap(m_slots);
        for (const auto& slot : old) {
            if (slot.number != kNone) {
                m_slots[place(m_names[slot.number], slot.hash)] = slot;
            }
        }
    }

    std::vector<Slot> m_slots;
    std::vector<std::string_view> m_names;
};

}  // namespace base
