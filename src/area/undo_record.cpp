// Writes and reads undo records.
#include "src/area/undo_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/hex.hpp>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"

namespace qxfs {

namespace {

using Json = nlohmann::json;

constexpr std::array kStateNames{"absent", "regular", "symlink", "other"};

/// The version of the form. This program cannot understand newer versions.
constexpr std::uint64_t kVersion = 1;

std::string hexOf(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    boost::algorithm::hex_lower(bytes, std::back_inserter(text));
    return text;
}

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    bytes.reserve(hex.size() / 2);
    try {
        boost::algorithm::unhex(hex, std::back_inserter(bytes));
    } catch (const boost::algorithm::hex_decode_error&) {
        throw std::invalid_argument("something else than pairs of hexadecimal digits");
    }
    return bytes;
}

Json timeJson(const timespec& time) {
    return {time.tv_sec, time.tv_nsec};
}

/// A number that fits into its field; the library would cut off a larger one.
template <typename Number>
Number numberOf(const Json& json) {
    const bool holds =
        json.is_number_unsigned()
            ? std::in_range<Number>(json.get<std::uint64_t>())
            : json.is_number_integer() && std::in_range<Number>(json.get<std::int64_t>());
    if (!holds) {
        throw std::invalid_argument("something else than a number of the field's range");
    }
    return json.get<Number>();
}

timespec timeOf(const Json& json) {
    return {numberOf<time_t>(json.at(0)), numberOf<long>(json.at(1))};
}

/// All but the content, which may be large and is written separately.
Json stateJson(const PathState& state) {
    return {{"kind", kStateNames[static_cast<std::size_t>(state.kind)]},
            {"mode", state.mode},
            {"uid", state.uid},
            {"gid", state.gid},
            {"atime", timeJson(state.accessed)},
            {"mtime", timeJson(state.modified)}};
}

PathState stateOf(const Json& json) {
    PathState state;
    const auto kind = json.at("kind").get<std::string>();
    const auto* found = std::find(kStateNames.begin(), kStateNames.end(), kind);
    if (found == kStateNames.end()) {
        throw std::invalid_argument("unknown kind '" + kind + "'");
    }
    state.kind = static_cast<PathState::Kind>(found - kStateNames.begin());
    state.mode = numberOf<std::uint32_t>(json.at("mode"));
    state.uid = numberOf<std::uint32_t>(json.at("uid"));
    state.gid = numberOf<std::uint32_t>(json.at("gid"));
    state.accessed = timeOf(json.at("atime"));
    state.modified = timeOf(json.at("mtime"));
    state.content = bytesOf(json.at("content"));
    return state;
}

// Paths may have any bytes, so they are also written as hexadecimal digits.
Json stepJson(const UndoStep& step) {
    auto made = Json::array();
    for (const auto& directory : step.madeDirectories) {
        made.push_back(hexOf(directory));
    }
    auto parent = stateJson(step.parent);
    parent["content"] = "";
    return {{"step", step.kind == UndoStep::Kind::move ? "move" : "restore"},
            {"path", hexOf(step.path)},
            {"to", hexOf(step.movedTo)},
            {"made", std::move(made)},
            {"parent", std::move(parent)}};
}

bool writeHex(int descriptor, std::string_view bytes) {
    constexpr std::size_t kPiece = std::size_t{1} << 16;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kPiece))) {
        if (!base::writeContent(descriptor, hexOf(bytes.substr(0, kPiece)))) {
            return false;
        }
    }
    return true;
}

/// Writes a step as one line. A file's content is written piece by piece, so that there is no
/// second copy in memory.
bool writeStep(int descriptor, const UndoStep& step) {
    const auto state = stateJson(step.state).dump();
    const auto others = stepJson(step).dump();
    return base::writeContent(descriptor, R"({"state":{"content":")") &&
           writeHex(descriptor, step.state.content) &&
           base::writeContent(descriptor, "\"," + state.substr(1) + "," + others.substr(1) + "\n");
}

UndoStep stepOf(const Json& json) {
    UndoStep step;
    step.kind = json.at("step") == "move" ? UndoStep::Kind::move : UndoStep::Kind::restore;
    step.path = bytesOf(json.at("path"));
    step.movedTo = bytesOf(json.at("to"));
    for (const auto& directory : json.at("made")) {
        step.madeDirectories.push_back(bytesOf(directory));
    }
    step.state = stateOf(json.at("state"));
    step.parent = stateOf(json.at("parent"));
    return step;
}

bool readTarget(int directory, const std::string& name, std::string& target) {
    target.resize(PATH_MAX);
    const auto length = readlinkat(directory, name.c_str(), target.data(), target.size());
    target.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return length >= 0;
}

/// Reads a line with its line end; without one the line is incomplete.
bool readLine(std::streambuf& from, std::string& line) {
    // The longest that is written: a whole file, two digits a byte, and what stands around it.
    constexpr std::size_t kMaxLine = 2 * kMaxRecordedContent + (std::size_t{1} << 16);
    line.clear();
    for (int c = from.sbumpc(); c != EOF; c = from.sbumpc()) {
        if (c == '\n') {
            return true;
        }
        if (line.size() == kMaxLine) {
            throw std::length_error("it is too long");
        }
        line += static_cast<char>(c);
    }
    return false;
}

bool failed(const std::string& what, const std::string& path, std::string& error) {
    error = "can't " + what + " '" + path + "': " + std::strerror(errno);
    return false;
}

}  // namespace

bool readState(int directory, const std::string& name, bool withContent, PathState& state) {
    state = {};
    struct stat info {};
    if (fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT;
    }
    state.mode = info.st_mode;
    state.uid = info.st_uid;
    state.gid = info.st_gid;
    state.accessed = info.st_atim;
    state.modified = info.st_mtim;
    state.kind = PathState::Kind::other;
    if (withContent && S_ISLNK(info.st_mode)) {
        state.kind = PathState::Kind::symlink;
        return readTarget(directory, name, state.content);
    }
    if (!withContent || !S_ISREG(info.st_mode)) {
        return true;
    }
    state.kind = PathState::Kind::regular;
    auto content = base::readSuspect(directory, name, kMaxRecordedContent);
    if (content) {
        state.content = std::move(*content);
    }
    return content.has_value();
}

bool writeTimes(int directory, const std::string& name, const PathState& state) {
    const timespec times[2] = {state.accessed, state.modified};
    return utimensat(directory, name.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

// Through the opened path, since a change by name could meet something else.
bool writeAttributes(int directory, const std::string& name, const PathState& state) {
    const base::Fd path(openat(directory, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!path || fstat(path.get(), &info) != 0) {
        return false;
    }
    if ((info.st_mode & S_IFMT) != (state.mode & S_IFMT)) {
        errno = S_ISLNK(info.st_mode) ? ELOOP : EINVAL;
        return false;
    }
    // The mode after the owner: a change of owner takes set-id bits away.
    const auto itself = "/proc/self/fd/" + std::to_string(path.get());
    return fchownat(path.get(), "", state.uid, state.gid, AT_EMPTY_PATH) == 0 &&
           (S_ISLNK(state.mode) || chmod(itself.c_str(), state.mode & 07777) == 0) &&
           writeTimes(directory, name, state);
}

bool UndoRecord::open(const std::string& file, const std::string& area, std::string& error) {
    m_descriptor = base::Fd(::open(
        file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600));
    m_file = file;
    if (!m_descriptor) {
        return failed("create the undo record", file, error);
    }
    const auto head = Json{{"area", hexOf(area)}, {"version", kVersion}}.dump() + "\n";
    m_head = m_whole = m_flushed = static_cast<off_t>(head.size());
    if (base::writeContent(m_descriptor.get(), head) && fsync(m_descriptor.get()) == 0) {
        return base::flushDirectory(base::folderOf(file), error);
    }
    failed("write the undo record", file, error);
    unlink(file.c_str());
    return false;
}

bool UndoRecord::cutBackTo(off_t size) {
    const int reason = errno;
    m_broken = ftruncate(m_descriptor.get(), size) == 0 ? 0 : errno;
    m_whole = size;
    errno = reason;
    return false;
}

bool UndoRecord::add(const UndoStep& step) {
    if (!m_descriptor) {
        return true;
    }
    struct stat info {};
    errno = m_broken;
    if (m_broken != 0 || !writeStep(m_descriptor.get(), step) ||
        fstat(m_descriptor.get(), &info) != 0) {
        return cutBackTo(m_whole);
    }
    m_whole = info.st_size;
    return true;
}

bool UndoRecord::flush() {
    if (m_flushed == m_whole) {
        return true;
    }
    if (fdatasync(m_descriptor.get()) != 0) {
        return cutBackTo(m_flushed);
    }
    m_flushed = m_whole;
    return true;
}

bool readRecord(const std::string& file, RecordedChanges& changes, std::string& error) {
    changes = {};
    struct stat info {};
    if (stat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        error = file + ": is no regular file";
        return false;
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return failed("open the undo record", file, error);
    }
    std::size_t number = 0;
    bool newer = false;
    try {
        for (std::string line; ++number, !newer && readLine(*stream.rdbuf(), line);) {
            const auto json = Json::parse(line);
            if (number == 1) {
                changes.area = bytesOf(json.at("area"));
                newer = json.contains("version") &&
                        numberOf<std::uint64_t>(json.at("version")) > kVersion;
            } else {
                changes.steps.push_back(stepOf(json));
            }
        }
    } catch (const std::exception& fault) {
        error =
            file + ":" + std::to_string(number) + ": is no line of an undo record: " + fault.what();
        return false;
    }
    if (newer) {
        error = file + ": is of a newer version of this program";
        return false;
    }
    if (!changes.area.starts_with('/')) {
        error = file + ": is no undo record, or was made before it named its area";
        return false;
    }
    return true;
}

}  // namespace qxfs
