// Writes and reads undo records.
#include "src/area/undo_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/content.h"
#include "base/fd.h"

namespace qxfs {

namespace {

using Json = nlohmann::json;

constexpr std::array kStateNames{"absent", "regular", "symlink", "other"};

std::string hexOf(const std::string& bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string bytesOf(const std::string& hex) {
    if (hex.size() % 2 != 0) {
        throw std::invalid_argument("an odd number of hexadecimal digits");
    }
    std::string bytes;
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        unsigned char byte = 0;
        const auto [end, failure] = std::from_chars(&hex[i], &hex[i] + 2, byte, 16);
        if (failure != std::errc() || end != &hex[i] + 2) {
            throw std::invalid_argument("something else than hexadecimal digits");
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

Json timeJson(const timespec& time) {
    return {time.tv_sec, time.tv_nsec};
}

timespec timeOf(const Json& json) {
    return {json.at(0).get<time_t>(), json.at(1).get<long>()};
}

Json stateJson(const PathState& state) {
    return {{"kind", kStateNames[static_cast<std::size_t>(state.kind)]},
            {"mode", state.mode},
            {"uid", state.uid},
            {"gid", state.gid},
            {"atime", timeJson(state.accessed)},
            {"mtime", timeJson(state.modified)},
            {"content", hexOf(state.content)}};
}

PathState stateOf(const Json& json) {
    PathState state;
    const auto kind = json.at("kind").get<std::string>();
    const auto* found = std::find(kStateNames.begin(), kStateNames.end(), kind);
    if (found == kStateNames.end()) {
        throw std::invalid_argument("unknown kind '" + kind + "'");
    }
    state.kind = static_cast<PathState::Kind>(found - kStateNames.begin());
    state.mode = json.at("mode");
    state.uid = json.at("uid");
    state.gid = json.at("gid");
    state.accessed = timeOf(json.at("atime"));
    state.modified = timeOf(json.at("mtime"));
    state.content = bytesOf(json.at("content"));
    return state;
}

// Paths are any bytes, so they travel as hexadecimal digits too.
Json stepJson(const UndoStep& step) {
    auto made = Json::array();
    for (const auto& directory : step.madeDirectories) {
        made.push_back(hexOf(directory));
    }
    return {{"step", step.kind == UndoStep::Kind::move ? "move" : "restore"},
            {"path", hexOf(step.path)},
            {"to", hexOf(step.movedTo)},
            {"made", std::move(made)},
            {"state", stateJson(step.state)},
            {"parent", stateJson(step.parent)}};
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

bool writeLine(int descriptor, const Json& json) {
    const auto line = json.dump() + '\n';
    return base::writeContent(descriptor, line);
}

bool readContent(int directory, const std::string& name, std::uint64_t size, std::string& content) {
    const base::Fd file(
        openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    content.resize(size);
    std::size_t done = 0;
    ssize_t got = file ? 1 : -1;
    while (done < content.size() && got > 0) {
        got = ::read(file.get(), content.data() + done, content.size() - done);
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    content.resize(done);
    return got >= 0;
}

bool readTarget(int directory, const std::string& name, std::string& target) {
    target.resize(PATH_MAX);
    const auto length = readlinkat(directory, name.c_str(), target.data(), target.size());
    target.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return length >= 0;
}

/// Reads a line that ends; one that does not was cut short.
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
    const auto size = static_cast<std::uint64_t>(info.st_size);
    if (size > kMaxRecordedContent) {
        errno = EFBIG;
        return false;
    }
    return readContent(directory, name, size, state.content);
}

bool UndoRecord::open(const std::string& file, const std::string& area, std::string& error) {
    m_descriptor =
        base::Fd(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    m_file = file;
    if (!m_descriptor) {
        return failed("create the undo record", file, error);
    }
    return writeLine(m_descriptor.get(), {{"area", hexOf(area)}}) ||
           failed("write the undo record", file, error);
}

bool UndoRecord::add(const UndoStep& step) {
    return !m_descriptor ||
           (writeLine(m_descriptor.get(), stepJson(step)) && fdatasync(m_descriptor.get()) == 0);
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
    try {
        for (std::string line; ++number, readLine(*stream.rdbuf(), line);) {
            const auto json = Json::parse(line);
            if (number == 1) {
                changes.area = bytesOf(json.at("area"));
            } else {
                changes.steps.push_back(stepOf(json));
            }
        }
    } catch (const std::exception& fault) {
        error =
            file + ":" + std::to_string(number) + ": is no line of an undo record: " + fault.what();
        return false;
    }
    if (!changes.area.starts_with('/')) {
        error = file + ": is no undo record, or was made before it named its area";
        return false;
    }
    return true;
}

}  // namespace qxfs
