// Text form of a directory index: what `dump` prints and `build` reads.
//
//   qxdirindex 1                            first line: form and its version
//   entry d 2468 "bin"                      type, inode tag, name: an ordinary entry
//   entry - 1357 "libc.so" -> "////os/lib"  the same, backed by a template file
//   size 4120                               only if the file differs from a built one: its length
//   bytes 16 d41d8cd9                       only if the file differs: its bytes at an offset
//
// Entries are in the order of the file's records. `build` writes the file from them with the
// library; "size" and "bytes" then make the parts that another writer, or damage, made differently.
// Types are the letters of a listing or numbers. In texts, all but printable ASCII is written as
// \xHH, and so are the double quote and the backslash. Empty lines and lines that begin with "#"
// are ignored.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dirindex {

/// A text, or none, that many holders share: the entries of a directory mostly have one link
/// string. Is used as an optional string that cannot be changed in place.
class SharedText {
public:
    SharedText() = default;
    SharedText(std::nullopt_t /*none*/) {}
    SharedText(std::string text) : m_text(std::make_shared<const std::string>(std::move(text))) {}
    SharedText(const char* text) : SharedText(std::string(text)) {}

    [[nodiscard]] bool has_value() const { return m_text != nullptr; }
    const std::string& operator*() const { return *m_text; }
    const std::string* operator->() const { return m_text.get(); }
    [[nodiscard]] std::string value_or(std::string_view otherwise) const {
        return m_text != nullptr ? *m_text : std::string(otherwise);
    }

    bool operator==(const SharedText& other) const {
        return m_text == other.m_text ||
               (m_text != nullptr && other.m_text != nullptr && *m_text == *other.m_text);
    }

private:
    std::shared_ptr<const std::string> m_text;
};

struct IndexEntry {
    std::uint8_t type = 0;
    std::uint32_t ino = 0;  ///< the inode tag in the file
    std::string name;
    SharedText link;  ///< link string, "////" included

    bool operator==(const IndexEntry&) const = default;
};

/// Bytes that differ from those that the library writes for the entries.
struct IndexPatch {
    std::uint64_t offset = 0;
    std::string bytes;

    bool operator==(const IndexPatch&) const = default;
};

struct IndexText {
    std::vector<IndexEntry> entries;
    std::optional<std::uint64_t> size;
    std::vector<IndexPatch> patches;

    bool operator==(const IndexText&) const = default;
};

std::string formatIndex(const IndexText& index);

/// Reads the text form. @return false with the line and the reason in `error`.
bool parseIndex(std::string_view text, IndexText& index, std::string& error);

/// A text in the form above, without its double quotes.
std::string escaped(std::string_view text);

/// Largest file that a text may describe; larger than the index of a million long names.
inline constexpr std::uint64_t kMaxBuiltSize = 1ULL << 30;

}  // namespace dirindex
