// Makes areas on disk.
#include "tests/support/area_builder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qx_test {

namespace fs = std::filesystem;

namespace {

void must(bool done, const std::string& what) {
    if (!done) {
        throw std::runtime_error("can't make " + what + ": " + std::strerror(errno));
    }
}

void write(const std::string& path, const std::string& content, unsigned mode) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    must(chmod(path.c_str(), mode) == 0, path);
}

std::string read(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class NameMaker {
public:
    NameMaker(std::mt19937_64& random, bool anyBytes) : m_random(random), m_anyBytes(anyBytes) {}

    std::string next() {
        const std::size_t length = pick(20) == 0 ? 200 + pick(40) : 1 + pick(12);
        std::string name;
        while (name.size() < length) {
            const char c = static_cast<char>(m_anyBytes ? 1 + pick(255) : 'a' + pick(26));
            if (c != '/') {
                name += c;
            }
        }
        // Unique, and never a name that the system uses.
        return "n" + std::to_string(m_count++) + name;
    }

private:
    std::uint64_t pick(std::uint64_t below) { return m_random() % below; }

    std::mt19937_64& m_random;
    bool m_anyBytes;
    unsigned m_count = 0;
};

}  // namespace

AreaBuilder::AreaBuilder(std::string folder) : m_folder(std::move(folder)) {
    fs::create_directories(templateFile(""));
    fs::create_directories(root());
}

std::string AreaBuilder::templateFile(const std::string& path) const {
    return templateRoot() + "/os/1/root/" + path;
}

void AreaBuilder::directory(const std::string& path) {
    fs::create_directories(root() + "/" + path);
    fs::create_directories(templateFile(path));
    for (fs::path part = path; !part.empty(); part = part.parent_path()) {
        m_expected["/" + part.string()] = "dir";
    }
}

void AreaBuilder::file(const std::string& path, const std::string& content) {
    directory(fs::path(path).parent_path());
    write(root() + "/" + path, content, 0644);
    m_expected["/" + path] = content;
}

void AreaBuilder::templateOnly(const std::string& path, const std::string& content, unsigned mode) {
    write(templateFile(path), content, mode);
}

void AreaBuilder::shortcut(const std::string& path, const std::string& content, unsigned mode) {
    directory(fs::path(path).parent_path());
    templateOnly(path, content, mode);
    write(root() + "/" + path, linkTo(path), mode | S_ISVTX);
    m_expected["/" + path] = content;
}

void AreaBuilder::magicSymlink(const std::string& path, const std::string& content) {
    directory(fs::path(path).parent_path());
    templateOnly(path, content);
    must(::symlink(linkTo(path).c_str(), (root() + "/" + path).c_str()) == 0, path);
    m_expected["/" + path] = content;
}

void AreaBuilder::symlink(const std::string& path, const std::string& target) {
    directory(fs::path(path).parent_path());
    must(::symlink(target.c_str(), (root() + "/" + path).c_str()) == 0, path);
    m_expected["/" + path] = "-> " + target;
}

void AreaBuilder::hardLink(const std::string& path, const std::string& existing) {
    directory(fs::path(path).parent_path());
    must(link((root() + "/" + existing).c_str(), (root() + "/" + path).c_str()) == 0, path);
    m_expected["/" + path] = m_expected.at("/" + existing);
}

void AreaBuilder::fifo(const std::string& path) {
    directory(fs::path(path).parent_path());
    must(mkfifo((root() + "/" + path).c_str(), 0644) == 0, path);
    m_expected["/" + path] = "fifo";
}

void AreaBuilder::fill(std::uint64_t seed, const Shape& shape) {
    std::mt19937_64 random(seed);
    NameMaker names(random, shape.anyBytes);
    const auto pick = [&](std::uint64_t below) { return random() % below; };
    std::vector<std::string> directories{""};
    for (unsigned i = 0; i < shape.directories; ++i) {
        const auto& parent = directories[pick(directories.size())];
        const auto path = parent.empty() ? names.next() : parent + "/" + names.next();
        directory(path);
        directories.push_back(path);
    }
    for (const auto& parent : directories) {
        std::string plain;
        const auto count = pick(shape.entries + 1);
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto path = parent.empty() ? names.next() : parent + "/" + names.next();
            const auto content = "content " + std::to_string(random());
            const auto kind = pick(100);
            if (kind < 50) {
                shortcut(path, content, pick(2) == 0 ? 0644 : 0755);
            } else if (kind < 60) {
                magicSymlink(path, content);
            } else if (kind < 85) {
                file(path, content);
                plain = path;
            } else if (kind < 93) {
                symlink(path, "target" + std::to_string(i));
            } else if (kind < 98 && shape.hardLinks && !plain.empty()) {
                hardLink(path, plain);
            } else if (shape.specialFiles && pick(4) == 0) {
                fifo(path);
            }
        }
    }
}

std::map<std::string, std::string> snapshot(const std::string& folder) {
    std::map<std::string, std::string> found;
    const auto describe = [&](const fs::path& path) {
        struct stat info {};
        must(lstat(path.c_str(), &info) == 0, path);
        std::ostringstream text;
        text << std::oct << info.st_mode << std::dec << ' ' << info.st_uid << ' ' << info.st_gid
             << ' ' << info.st_mtim.tv_sec << '.' << info.st_mtim.tv_nsec << ' ';
        if (S_ISREG(info.st_mode)) {
            text << read(path);
        } else if (S_ISLNK(info.st_mode)) {
            text << fs::read_symlink(path).string();
        }
        found[path.lexically_relative(folder).string()] = text.str();
    };
    describe(folder);
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        describe(entry.path());
    }
    return found;
}

}  // namespace qx_test
