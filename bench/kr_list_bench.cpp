// Listing a container's packages through libqxtt beside the engine's own list command: processor
// time, wall clock and peak memory of both, from one run in which they take turns.
//
//   kr_list_bench NODE-DIR VEID deb|rpm [REPETITIONS]
//
// Prints one JSON object. Memory of the library is that of its process and of the largest program
// it ran, added; of the engine, that of the process that counts its lines and of the engine.
// bench/kr_list.sh makes the node directory and judges.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "base/subprocess.h"
#include "layout/node_dir.h"
#include "qxtt/qxtt.h"

namespace {

constexpr int kUsage = 2;
constexpr int kFailed = 1;
constexpr int kRepetitions = 15;

struct Figures {
    double processor = 0;  ///< milliseconds
    double wall = 0;       ///< milliseconds
    long kibibytes = 0;
    long packages = 0;
};

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

Figures measuredHere(const std::function<long()>& list) {
    // A sandbox's outer process does not wait for its inner one, whose figures are the engine's.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Figures figures;
    const auto begin = std::chrono::steady_clock::now();
    figures.packages = list();
    figures.wall =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    while (wait(nullptr) > 0) {
    }
    for (const auto whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(whose, &usage);
        figures.processor += milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
        figures.kibibytes += usage.ru_maxrss;
    }
    return figures;
}

// Each measurement has a process of its own, so that peaks of memory do not mix.
Figures measured(const std::function<long()>& list) {
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe");
        std::exit(kFailed);
    }
    const pid_t child = fork();
    if (child == 0) {
        const Figures figures = measuredHere(list);
        const bool sent = write(ends[1], &figures, sizeof(figures)) == sizeof(figures);
        _exit(sent ? 0 : kFailed);
    }
    close(ends[1]);
    Figures figures;
    const bool got = read(ends[0], &figures, sizeof(figures)) == sizeof(figures);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!got || status != 0 || figures.packages < 0) {
        std::fprintf(stderr, "kr_list_bench: a listing failed\n");
        std::exit(kFailed);
    }
    return figures;
}

long listWithLibrary(int veid) {
    qxtt_options options;
    qxtt_set_default_options(&options);
    options.words[QXTT_OPTION_MASK_OFFSET / sizeof(std::uint32_t)] = QXTT_MASK_LIST_SUMMARY;
    packageListEntry** entries = nullptr;
    if (qxtt_get_ve_pkgs(veid, &options, &entries) != 0) {
        return -1;
    }
    long count = 0;
    while (entries[count] != nullptr) {
        ++count;
    }
    std::free(entries);
    return count;
}

long listWithEngine(const std::vector<std::string>& command) {
    long count = 0;
    base::ProcessOptions options;
    options.onLine = [&](const std::string&) { ++count; };
    return base::runProcess(command, options).succeeded() ? count : -1;
}

std::vector<std::string> engineCommand(const std::string& kind, const std::string& root) {
    if (kind == "deb") {
        return {"dpkg-query", "--admindir=" + root + "/var/lib/dpkg", "-W", "-f",
                "${Package} ${Architecture} ${Version} ${binary:Summary}\\n"};
    }
    return {
        "rpm",          "--root", root,   "--dbpath",
        "/var/lib/rpm", "-qa",    "--qf", "%{NAME} %{ARCH} %{VERSION}-%{RELEASE} %{SUMMARY}\\n"};
}

/// The run of the median processor time, with the largest of the peaks.
Figures summary(std::vector<Figures> runs) {
    std::sort(runs.begin(), runs.end(),
              [](const Figures& a, const Figures& b) { return a.processor < b.processor; });
    Figures figures = runs[runs.size() / 2];
    for (const Figures& run : runs) {
        figures.kibibytes = std::max(figures.kibibytes, run.kibibytes);
    }
    return figures;
}

void print(const char* name, const Figures& figures, const char* end) {
    std::printf(
        "\"%s\": {\"processor\": %.2f, \"wall\": %.2f, \"kibibytes\": %ld, \"packages\": %ld}%s",
        name, figures.processor, figures.wall, figures.kibibytes, figures.packages, end);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: kr_list_bench NODE-DIR VEID deb|rpm [REPETITIONS]\n");
        return kUsage;
    }
    std::string error;
    if (qxnode::enterNodeDirectory(argv[1], error) != 0) {
        std::fprintf(stderr, "kr_list_bench: %s\n", error.c_str());
        return kUsage;
    }
    const int veid = std::atoi(argv[2]);
    const int repetitions = argc > 4 ? std::atoi(argv[4]) : kRepetitions;
    const auto command = engineCommand(argv[3], "/qx/private/" + std::to_string(veid) + "/root");

    // The first of each fills the system's caches and does not count.
    measured([&] { return listWithLibrary(veid); });
    measured([&] { return listWithEngine(command); });
    std::vector<Figures> library;
    std::vector<Figures> engine;
    for (int i = 0; i < repetitions; ++i) {
        library.push_back(measured([&] { return listWithLibrary(veid); }));
        engine.push_back(measured([&] { return listWithEngine(command); }));
    }
    std::printf("{");
    print("library", summary(library), ", ");
    print("engine", summary(engine), "}\n");
    return 0;
}
