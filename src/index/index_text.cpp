// Writes and reads the text form of a directory index.
#include "src/index/index_text.h"

#include <array>
#include <charconv>

#include "base/escape.h"

namespace dirindex {

namespace {

constexpr std::string_view kFirstLine = "qxdirindex 1";
constexpr std::string_view kHexDigits = "0123456789abcdef";

struct TypeLetter {
    std::uint8_t type;
    char letter;
};
constexpr std::array kTypeLetters{TypeLetter{1, 'p'},  TypeLetter{2, 'c'}, TypeLetter{4, 'd'},
                                  TypeLetter{6, 'b'},  TypeLetter{8, '-'}, TypeLetter{10, 'l'},
                                  TypeLetter{12, 's'}, TypeLetter{14, 'w'}};

std::string typeText(std::uint8_t type) {
    for (const auto& pair : kTypeLetters) {
        if (pair.type == type) {
            return {pair.letter};
        }
    }
    return std::to_string(type);
}

void appendHex(std::string& out, unsigned char byte) {
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 15];
}

/// Reads one line from the left; every step says whether it found what it wanted.
class LineReader {
public:
    explicit LineReader(std::string_view line) : m_rest(line) {}

    bool word(std::string_view& out) {
        skipBlanks();
        const auto end = std::min(m_rest.find(' '), m_rest.size());
        out = m_rest.substr(0, end);
        m_rest.remove_prefix(end);
        return !out.empty();
    }

    template <typename Number>
    bool number(Number& out) {
        std::string_view text;
        if (!word(text)) {
            return false;
        }
        const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), out);
        return failure == std::errc() && end == text.data() + text.size();
    }

    bool quotedText(std::string& out) {
        skipBlanks();
        if (!m_rest.starts_with('"')) {
            return false;
        }
        m_rest.remove_prefix(1);
        out.clear();
        while (!m_rest.empty() && m_rest.front() != '"') {
            if (m_rest.front() != '\\') {
                out += m_rest.front();
                m_rest.remove_prefix(1);
                continue;
            }
            unsigned value = 0;
            if (!m_rest.starts_with("\\x") || !hexByte(m_rest.substr(2), value)) {
                return false;
            }
            out += static_cast<char>(value);
            m_rest.remove_prefix(4);
        }
        if (m_rest.empty()) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    bool hexBytes(std::string& out) {
        std::string_view text;
        if (!word(text) || text.size() % 2 != 0) {
            return false;
        }
        out.clear();
        for (; !text.empty(); text.remove_prefix(2)) {
            unsigned value = 0;
            if (!hexByte(text, value)) {
                return false;
            }
            out += static_cast<char>(value);
        }
        return true;
    }

    bool literal(std::string_view text) {
        skipBlanks();
        if (!m_rest.starts_with(text)) {
            return false;
        }
        m_rest.remove_prefix(text.size());
        return true;
    }

    bool atEnd() {
        skipBlanks();
        return m_rest.empty();
    }

private:
    void skipBlanks() {
        while (m_rest.starts_with(' ')) {
            m_rest.remove_prefix(1);
        }
    }

    static bool hexByte(std::string_view text, unsigned& value) {
        if (text.size() < 2) {
            return false;
        }
        const auto [end, failure] = std::from_chars(text.data(), text.data() + 2, value, 16);
        return failure == std::errc() && end == text.data() + 2;
    }

    std::string_view m_rest;
};

bool readType(LineReader& line, std::uint8_t& type) {
    std::string_view text;
    if (!line.word(text)) {
        return false;
    }
    for (const auto& pair : kTypeLetters) {
        if (text.size() == 1 && text.front() == pair.letter) {
            type = pair.type;
            return true;
        }
    }
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), type);
    return failure == std::errc() && end == text.data() + text.size();
}

bool holdsNul(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

/// @return null when the entry was read, else what is wrong with the line.
const char* readEntry(LineReader& line, IndexText& index) {
    IndexEntry entry;
    if (!readType(line, entry.type)) {
        return "a type is a letter of pcdb-lsw or a number up to 255";
    }
    if (!line.number(entry.ino)) {
        return "an inode tag is a number of 32 bits";
    }
    if (!line.quotedText(entry.name) || holdsNul(entry.name)) {
        return "a name stands between double quotes and holds no NUL";
    }
    if (line.literal("->")) {
        std::string link;
        if (!line.quotedText(link) || holdsNul(link)) {
            return "a link stands between double quotes and holds no NUL";
        }
        entry.link = std::move(link);
    }
    if (!line.atEnd()) {
        return "something follows the entry";
    }
    index.entries.push_back(std::move(entry));
    return nullptr;
}

const char* readPatch(LineReader& line, IndexText& index) {
    IndexPatch patch;
    if (!line.number(patch.offset) || !line.hexBytes(patch.bytes) || !line.atEnd()) {
        return "bytes are an offset and an even number of hexadecimal digits";
    }
    if (patch.offset > kMaxBuiltSize || patch.bytes.size() > kMaxBuiltSize - patch.offset) {
        return "bytes lie beyond the largest file";
    }
    index.patches.push_back(std::move(patch));
    return nullptr;
}

const char* readLine(std::string_view text, IndexText& index) {
    LineReader line(text);
    std::string_view word;
    if (!line.word(word) || word.starts_with('#')) {
        return nullptr;
    }
    if (word == "entry") {
        return readEntry(line, index);
    }
    if (word == "bytes") {
        return readPatch(line, index);
    }
    if (word == "size") {
        std::uint64_t size = 0;
        if (!line.number(size) || !line.atEnd() || size > kMaxBuiltSize) {
            return "a size is a number up to 1 GiB";
        }
        index.size = size;
        return nullptr;
    }
    return "a line begins with entry, size or bytes";
}

}  // namespace

std::string escaped(std::string_view text) {
    return base::quoted(text);
}

std::string formatIndex(const IndexText& index) {
    std::string out(kFirstLine);
    out += '\n';
    for (const auto& entry : index.entries) {
        out += "entry " + typeText(entry.type) + ' ' + std::to_string(entry.ino) + ' ' +
               escaped(entry.name);
        if (entry.link.has_value()) {
            out += " -> " + escaped(*entry.link);
        }
        out += '\n';
    }
    if (index.size.has_value()) {
        out += "size " + std::to_string(*index.size) + '\n';
    }
    for (const auto& patch : index.patches) {
        out += "bytes " + std::to_string(patch.offset) + ' ';
        for (const char c : patch.bytes) {
            appendHex(out, static_cast<unsigned char>(c));
        }
        out += '\n';
    }
    return out;
}

bool parseIndex(std::string_view text, IndexText& index, std::string& error) {
    index = {};
    std::size_t number = 0;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++number;
        const char* fault = nullptr;
        if (number == 1) {
            fault = line == kFirstLine ? nullptr : "the first line is not \"qxdirindex 1\"";
        } else {
            fault = readLine(line, index);
        }
        if (fault != nullptr) {
            error = "line " + std::to_string(number) + ": " + fault;
            return false;
        }
    }
    if (number == 0) {
        error = "line 1: the first line is not \"qxdirindex 1\"";
        return false;
    }
    return true;
}

}  // namespace dirindex
