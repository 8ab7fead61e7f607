// Tables of names and numbers that others choose. Both are spread by a number drawn anew in each
// process, so nobody can prepare ones that collide and make a look-up cost as much as a walk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace base {

/// A hash that is another one in every process.
std::uint32_t seededHash(std::string_view text);
/// The same one to one: different numbers have different hashes.
std::uint32_t seededHash(std::uint32_t number);

/// An open-addressing table from hashes to small values that are kept, or point to what is kept,
/// elsewhere. `Value{}` marks an empty place and cannot be stored. Several may have one hash.
template <typename Value>
class HashTable {
public:
    /// The first value of that hash that `matches` accepts; Value{} without one.
    template <typename Matches>
    Value find(std::uint32_t hash, Matches matches) const {
        for (std::size_t i = hash & m_mask; !m_slots.empty(); i = (i + 1) & m_mask) {
            const Slot& slot = m_slots[i];
            if (slot.value == Value{} || (slot.hash == hash && matches(slot.value))) {
                return slot.value;
            }
        }
        return Value{};
    }

    void add(std::uint32_t hash, Value value) {
        if (2 * (m_used + 1) > m_slots.size()) {
            resize(std::max<std::size_t>(16, 4 * m_slots.size()));
        }
        put({hash, value});
        ++m_used;
    }

    /// Makes room for so many values; it grows beyond that.
    void reserve(std::size_t values) {
        std::size_t size = 16;
        while (size < 2 * values) {
            size *= 2;
        }
        if (size > m_slots.size()) {
            resize(size);
        }
    }

    /// Frees the places, too.
    void clear() { *this = {}; }

    /// How many places the most expensive look-up of a value that is there goes through.
    [[nodiscard]] std::size_t longestSearch() const {
        std::size_t longest = 0;
        for (std::size_t i = 0; i < m_slots.size(); ++i) {
            if (m_slots[i].value != Value{}) {
                longest = std::max(longest, ((i - m_slots[i].hash) & m_mask) + 1);
            }
        }
        return longest;
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        Value value{};
    };

    void put(const Slot& slot) {
        std::size_t i = slot.hash & m_mask;
        while (m_slots[i].value != Value{}) {
            i = (i + 1) & m_mask;
        }
        m_slots[i] = slot;
    }

    void resize(std::size_t size) {
        std::vector<Slot> old(size);
        old.swap(m_slots);
        m_mask = size - 1;
        for (const Slot& slot : old) {
            if (slot.value != Value{}) {
                put(slot);
            }
        }
    }

    std::vector<Slot> m_slots;
    std::size_t m_mask = 0;
    std::size_t m_used = 0;
};

/// Numbers names from 0 in the order in which they come. Two blocks of memory for all names:
/// directories are many and mostly small, and a table with a node for each name would spend its
/// time on memory. The names must outlive the table.
class NameTable {
public:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    /// Makes room for so many names; it grows beyond that.
    void reserve(std::size_t names) {
        m_table.reserve(names);
        m_names.reserve(names);
    }

    /// @return false when the name was there already.
    bool insert(std::string_view name) {
        const auto hash = seededHash(name);
        if (placeOf(name, hash) != 0) {
            return false;
        }
        m_names.push_back(name);
        m_table.add(hash, static_cast<std::uint32_t>(m_names.size()));
        return true;
    }

    /// The name's number, or kNone.
    [[nodiscard]] std::uint32_t find(std::string_view name) const {
        return placeOf(name, seededHash(name)) - 1;
    }

    /// As HashTable::longestSearch().
    [[nodiscard]] std::size_t longestSearch() const { return m_table.longestSearch(); }

private:
    /// The name's number and 1, or 0.
    [[nodiscard]] std::uint32_t placeOf(std::string_view name, std::uint32_t hash) const {
        return m_table.find(hash, [&](std::uint32_t place) { return m_names[place - 1] == name; });
    }

    HashTable<std::uint32_t> m_table;
    std::vector<std::string_view> m_names;
};

}  // namespace base
