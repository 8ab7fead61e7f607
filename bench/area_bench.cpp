// Indexing and checking whole areas, beside a plain loop that does only what the job cannot do
// without. Both sides run in turn in one process, on the same kind of area; the medians of several
// rounds are compared. On a tmpfs (default /dev/shm), so that the cost of a disk's unlink does not
// hide everything else.
//
//   area_bench [FOLDER [ROUNDS]]
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/child_pool.h"
#include "src/area/check_area.h"
#include "src/area/index_area.h"
#include "src/qxfsutil.h"
#include "tests/support/area_builder.h"

namespace {

namespace fs = std::filesystem;

struct Layout {
    const char* name;
    unsigned files;
    unsigned perDirectory;
    bool mixed = false;  ///< every other file is the container's own, and stays in place

    [[nodiscard]] bool isOwn(unsigned number) const { return mixed && number % 2 == 1; }
};

constexpr Layout kLayouts[] = {{"10000 files, 50 a directory", 10000, 50},
                               {"100000 files, 50 a directory", 100000, 50},
                               {"100000 files, 10000 a directory", 100000, 10000},
                               {"10000 files, flat", 10000, 10000},
                               {"100000 files, flat", 100000, 100000},
                               {"100000 files, flat, half of them own", 100000, 100000, true}};

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string fileName(const Layout& layout, unsigned number) {
    return "d" + std::to_string(number / layout.perDirectory) + "/file" + std::to_string(number);
}

/// Template files once; the area anew for each round, since indexing empties it.
void makeTemplates(const std::string& folder, const Layout& layout) {
    qx_test::AreaBuilder builder(folder);
    for (unsigned i = 0; i < layout.files; ++i) {
        if (!layout.isOwn(i)) {
            builder.templateOnly(fileName(layout, i), "");
        }
    }
}

void makeArea(const std::string& folder, const Layout& layout) {
    fs::remove_all(folder + "/area");
    for (unsigned i = 0; i < layout.files; ++i) {
        const auto name = fileName(layout, i);
        const auto path = folder + "/area/root/" + name;
        if (i % layout.perDirectory == 0) {
            fs::create_directories(fs::path(path).parent_path());
        }
        const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
        const auto text = qx_test::AreaBuilder::linkTo(name);
        const mode_t mode = layout.isOwn(i) ? 0644 : 01644;
        if (write(descriptor, text.data(), text.size()) < 0 || fchmod(descriptor, mode) != 0) {
            std::perror("area_bench");
            std::exit(1);
        }
        close(descriptor);
    }
}

/// The system calls that indexing cannot do without.
void plainIndex(const std::string& folder, const Layout& layout) {
    const auto root = folder + "/area/root";
    for (unsigned d = 0; d <= (layout.files - 1) / layout.perDirectory; ++d) {
        if (chdir((root + "/d" + std::to_string(d)).c_str()) != 0) {
            std::exit(1);
        }
        DIR* stream = opendir(".");
        std::vector<std::string> names;
        std::vector<char> buffer(8192);
        while (const auto* entry = readdir(stream)) {
            struct stat info {};
            lstat(entry->d_name, &info);
            if (!S_ISREG(info.st_mode) || (info.st_mode & S_ISVTX) == 0) {
                continue;
            }
            const int descriptor = open(entry->d_name, O_RDONLY);
            const auto prefix = folder + "/template/";
            std::memcpy(buffer.data(), prefix.data(), prefix.size());
            const auto got = read(descriptor, buffer.data() + prefix.size(), 4096);
            close(descriptor);
            buffer[prefix.size() + static_cast<std::size_t>(std::max<ssize_t>(got, 0))] = '\0';
            lstat(buffer.data(), &info);
            names.emplace_back(entry->d_name);
        }
        closedir(stream);
        for (const auto& name : names) {
            unlink(name.c_str());
        }
    }
}

/// What checking an indexed area cannot do without: its system calls, and the indexes' checksums.
void plainCheck(const std::string& folder, const Layout& layout, bool templates) {
    const auto root = folder + "/area/root";
    for (unsigned d = 0; d <= (layout.files - 1) / layout.perDirectory; ++d) {
        const auto directory = root + "/d" + std::to_string(d);
        DIR* stream = opendir(directory.c_str());
        while (const auto* entry = readdir(stream)) {
            struct stat info {};
            fstatat(dirfd(stream), entry->d_name, &info, AT_SYMLINK_NOFOLLOW);
        }
        const int index = openat(dirfd(stream), "._qxlnk_.", O_RDONLY);
        struct stat info {};
        fstat(index, &info);
        const auto size = static_cast<std::size_t>(info.st_size);
        void* base = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, index, 0);
        close(index);
        constexpr unsigned char kNoChecksum[4] = {};
        if (verify_checksum(base, size, kNoChecksum) == 0) {
            std::exit(1);
        }
        const unsigned first = d * layout.perDirectory;
        const unsigned last = std::min(first + layout.perDirectory, layout.files);
        const auto prefix = folder + "/template/os/1/root/";
        for (unsigned i = first; templates && i < last; ++i) {
            if (layout.isOwn(i)) {
                continue;
            }
            lstat((prefix + fileName(layout, i)).c_str(), &info);
        }
        munmap(base, size);
        closedir(stream);
    }
}

qxfs::Area openArea(const std::string& folder, bool templates) {
    qxfs::Area area;
    std::string error;
    if (!qxfs::openArea(folder + "/area", templates ? folder + "/template" : "", area, error)) {
        std::fprintf(stderr, "area_bench: %s\n", error.c_str());
        std::exit(1);
    }
    return area;
}

void index(const std::string& folder) {
    const auto area = openArea(folder, true);
    qxfs::indexArea(area, {}, [](const qxfs::IndexOutcome& outcome) {
        if (outcome.result == qxfs::IndexResult::failed) {
            std::exit(1);
        }
    });
}

std::uint64_t check(const std::string& folder, bool templates) {
    const auto area = openArea(folder, templates);
    qxfs::UndoRecord none;
    return qxfs::checkArea(
               area, qxfs::RepairMode::report, none, [](const qxfs::Finding&) {},
               [](const qxfs::CheckSummary&) {})
        .findings;
}

void row(const char* what, const Layout& layout, const std::vector<double>& ours,
         const std::vector<double>& plain, double bound) {
    const double per = median(ours) / layout.files * 1e9;
    std::printf("  %-24s %9.4f s %9.4f s   ratio %.2f (bound %.1f)   %6.0f ns an entry\n", what,
                median(ours), median(plain), median(ours) / median(plain), bound, per);
}

/// Peak memory of indexing, in a process of its own, above that of an empty one.
void reportMemory(const std::string& folder, const Layout& layout) {
    makeArea(folder, layout);
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        index(folder);
        _exit(0);
    }
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    const double bound = 64.0 * 1024 + 200.0 * layout.perDirectory / 1024;
    std::printf("  %-24s %9ld KiB (bound %.0f KiB)\n", "peak memory of index", usage.ru_maxrss,
                bound);
}

void measure(const std::string& folder, const Layout& layout, unsigned rounds) {
    std::printf("%s, medians of %u\n", layout.name, rounds);
    fs::remove_all(folder);
    makeTemplates(folder, layout);
    std::vector<double> ours;
    std::vector<double> plain;
    for (unsigned i = 0; i < rounds; ++i) {
        makeArea(folder, layout);
        plain.push_back(seconds([&] { plainIndex(folder, layout); }));
        makeArea(folder, layout);
        ours.push_back(seconds([&] { index(folder); }));
    }
    row("index", layout, ours, plain, 1.5);
    for (const bool templates : {true, false}) {
        ours.clear();
        plain.clear();
        for (unsigned i = 0; i < rounds; ++i) {
            plain.push_back(seconds([&] { plainCheck(folder, layout, templates); }));
            ours.push_back(seconds([&] {
                if (check(folder, templates) != 0) {
                    std::fprintf(stderr, "area_bench: the area is not clean\n");
                }
            }));
        }
        row(templates ? "check with templates" : "check without templates", layout, ours, plain,
            templates ? 1.4 : 1.3);
    }
    reportMemory(folder, layout);
}

/// Repairing a directory of which half of the template files are gone, beside its check.
void measureRepair(const std::string& folder, unsigned rounds) {
    constexpr Layout layout{"80000 files, flat, half of the template files gone", 80000, 80000};
    std::vector<double> checks;
    std::vector<double> repairs;
    for (unsigned round = 0; round < rounds; ++round) {
        fs::remove_all(folder);
        makeTemplates(folder, layout);
        makeArea(folder, layout);
        index(folder);
        for (unsigned i = 0; i < layout.files; i += 2) {
            unlink((folder + "/template/os/1/root/" + fileName(layout, i)).c_str());
        }
        checks.push_back(seconds([&] { check(folder, true); }));
        repairs.push_back(seconds([&] {
            const auto area = openArea(folder, true);
            qxfs::UndoRecord undo;
            std::string error;
            const bool repaired =
                undo.open(folder + "/undo", area.privateDir, error) &&
                qxfs::checkArea(
                    area, qxfs::RepairMode::yes, undo, [](const qxfs::Finding&) {},
                    [](const qxfs::CheckSummary&) {
                    }).errorsLeft == 0;
            if (!repaired) {
                std::fprintf(stderr, "area_bench: the area was not repaired\n");
            }
        }));
    }
    std::printf("%s, medians of %u\n  check %.4f s, repair %.4f s: ratio %.2f (bound 5.0)\n",
                layout.name, rounds, median(checks), median(repairs),
                median(repairs) / median(checks));
}

/// Ten areas by one process and by two.
void measureJobs(const std::string& folder, unsigned rounds) {
    constexpr Layout layout{"ten areas of 10000 files", 10000, 50};
    fs::remove_all(folder);
    for (int i = 0; i < 10; ++i) {
        const auto area = folder + "/" + std::to_string(i);
        makeTemplates(area, layout);
        makeArea(area, layout);
        index(area);
    }
    const auto all = [&](unsigned jobs) {
        return seconds([&] {
            base::runChildren(
                10, jobs,
                [&](std::size_t place, int) {
                    return check(folder + "/" + std::to_string(place), true) == 0 ? 0 : 1;
                },
                [](std::size_t, const base::ChildResult&) {});
        });
    };
    std::vector<double> one;
    std::vector<double> two;
    for (unsigned i = 0; i < rounds; ++i) {
        one.push_back(all(1));
        two.push_back(all(2));
    }
    std::printf("%s, check\n  one process %.4f s, two %.4f s: %.2f times the rate (bound 1.7)\n",
                layout.name, median(one), median(two), median(one) / median(two));
}

}  // namespace

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : "/dev/shm";
    const auto rounds = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 5U;
    const auto folder = base + "/area_bench-" + std::to_string(getpid());
    std::printf("                                ours         plain\n");
    for (const auto& layout : kLayouts) {
        measure(folder, layout, rounds);
    }
    measureRepair(folder, rounds);
    measureJobs(folder, rounds);
    if (chdir("/") == 0) {
        fs::remove_all(folder);
    }
    return 0;
}
