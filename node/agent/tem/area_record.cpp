// Reads and writes the records of templates in a container's area.
#include "node/agent/tem/area_record.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <cerrno>
#include <charconv>
#include <iterator>
#include <optional>
#include <sstream>

#include "base/content.h"
#include "base/tree.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/links.h"
#include "node/template/record_heading.h"
#include "node/template/version_order.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

constexpr const char* kHeading = "qxtem-record 1";

// Enough for a template of a million files with long paths; a larger file is not a record.
constexpr std::size_t kMaxRecordSize = std::size_t{1} << 30;

std::string escaped(const std::string& text) {
    // A single "-" means an empty text.
    if (text.empty()) {
        return "-";
    }
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= ' ' || byte > '~' || c == '%' || (c == '-' && text.size() == 1)) {
            out += '%';
            boost::algorithm::hex_lower(&byte, &byte + 1, std::back_inserter(out));
        } else {
            out += c;
        }
    }
    return out;
}

std::optional<std::string> unescaped(const std::string& text) {
    if (text == "-") {
        return "";
    }
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        unsigned byte = 0;
        const char* begin = text.data() + i + 1;
        if (text.size() - i < 3 || std::from_chars(begin, begin + 2, byte, 16).ptr != begin + 2 ||
            byte == 0) {
            return std::nullopt;
        }
        out += static_cast<char>(byte);
        i += 2;
    }
    return out;
}

bool isPlausible(const std::string& path, const AreaEntry& entry) {
    try {
        if (path.empty() || checkedEntryPath(path) != path) {
            return false;
        }
    } catch (const Failure&) {
        return false;
    }
    switch (entry.kind) {
        case AreaEntry::Kind::directory:
            return entry.text.empty();
        case AreaEntry::Kind::shortcut:
            return entry.text.starts_with(kMagicPrefix) && entry.text.size() <= kMaxShortcut;
        case AreaEntry::Kind::link:
            return !entry.text.empty();
    }
    return false;
}

// False if the line is not an entry.
bool parseEntry(const std::string& line, AreaRecord& record) {
    std::istringstream words(line);
    char kind = 0;
    AreaEntry entry;
    std::string path;
    std::string text;
    if (!(words >> kind >> std::oct >> entry.mode >> std::dec >> entry.uid >> entry.gid >>
          entry.mtime.tv_sec >> entry.mtime.tv_nsec >> entry.saved >> path >> text) ||
        !words.eof() || (kind != 'd' && kind != 'f' && kind != 'l')) {
        return false;
    }
    entry.kind = static_cast<AreaEntry::Kind>(kind);
    const std::optional<std::string> plainPath = unescaped(path);
    const std::optional<std::string> plainText = unescaped(text);
    if (!plainPath || !plainText) {
        return false;
    }
    entry.mode &= 07777;
    entry.text = *plainText;
    return isPlausible(*plainPath, entry) &&
           record.entries.emplace(*plainPath, std::move(entry)).second;
}

}  // namespace

struct stat AreaEntry::attributes() const {
    struct stat st {};
    st.st_mode = mode;
    st.st_uid = uid;
    st.st_gid = gid;
    st.st_mtim = mtime;
    st.st_atim = mtime;
    return st;
}

bool sameEntry(const AreaEntry& a, const AreaEntry& b) {
    return a.kind == b.kind && a.mode == b.mode && a.uid == b.uid && a.gid == b.gid &&
           a.mtime.tv_sec == b.mtime.tv_sec && a.mtime.tv_nsec == b.mtime.tv_nsec &&
           a.text == b.text;
}

std::string recordName(const QXATemplate& key) {
    return key.name + "@" + key.version;
}

std::string formatRecord(const AreaRecord& record) {
    std::ostringstream out;
    out << kHeading << "\ntemplate " << record.key.name << ' ' << record.key.version << ' '
        << (record.isOsTemplate ? "os" : "app") << '\n';
    for (const auto& [path, entry] : record.entries) {
        out << static_cast<char>(entry.kind) << ' ' << std::oct << entry.mode << std::dec << ' '
            << entry.uid << ' ' << entry.gid << ' ' << entry.mtime.tv_sec << ' '
            << entry.mtime.tv_nsec << ' ' << entry.saved << ' ' << escaped(path) << ' '
            << escaped(entry.text) << '\n';
    }
    return out.str();
}

AreaRecord parseRecord(std::string_view text, const std::string& source) {
    std::istringstream lines{std::string(text)};
    takeHeading(lines, kHeading, source);
    std::string line;
    std::size_t number = 2;
    const auto refuse = [&]() { throw Failure(source + ": bad line " + std::to_string(number)); };
    AreaRecord record;
    std::string word;
    std::string kind;
    if (!std::getline(lines, line) ||
        !(std::istringstream(line) >> word >> record.key.name >> record.key.version >> kind) ||
        word != "template" || (kind != "os" && kind != "app") || !isValidName(record.key.name) ||
        !isValidVersion(record.key.version)) {
        refuse();
    }
    record.isOsTemplate = kind == "os";
    while (std::getline(lines, line)) {
        ++number;
        if (!parseEntry(line, record)) {
            refuse();
        }
    }
    return record;
}

AreaRecord readRecord(int state, const std::string& name) {
    const std::string source = "template record '" + name + "'";
    const std::optional<std::string> text = base::readFileBelow(state, name, kMaxRecordSize);
    if (!text) {
        throw systemFailure("read template record", name);
    }
    AreaRecord record = parseRecord(*text, source);
    if (recordName(record.key) != name) {
        throw Failure(source + ": is the record of '" + record.key.toString() + "'");
    }
    return record;
}

std::vector<AreaRecord> readRecords(int state) {
    const std::optional<std::vector<std::string>> names = base::namesIn(state);
    if (!names) {
        throw systemFailure("read directory", kAreaStateName);
    }
    std::vector<AreaRecord> records;
    for (const std::string& name : *names) {
        if (name.find('@') != std::string::npos && name.front() != '.') {
            records.push_back(readRecord(state, name));
        }
    }
    return records;
}

}  // namespace QXA::tem
