// Checking a directory of many names that collide for a hash that everybody knows, beside one of
// random names. Both are checked in turn in one process.
//
//   names_bench [FOLDER [ROUNDS]]          default: /dev/shm, 5 rounds
//
// Exit status: 0 at most twice as long, 1 longer, 2 the benchmark cannot be run.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "src/area/check_area.h"
#include "src/area/index_area.h"
#include "tests/support/colliding_names.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNames = 80000;
constexpr double kLimit = 2;

qxfs::Area made(const std::string& folder, bool colliding) {
    fs::create_directories(folder + "/root");
    for (const auto& name : qx_test::namesOfEightBytes(kNames, colliding)) {
        std::ofstream(folder + "/root/" + name).flush();
    }
    qxfs::Area area;
    std::string error;
    if (!qxfs::openArea(folder, folder, area, error)) {
        std::fprintf(stderr, "names_bench: %s\n", error.c_str());
        std::exit(2);
    }
    qxfs::indexArea(area, {}, [](const qxfs::IndexOutcome&) {});
    return area;
}

double secondsOfCheck(const qxfs::Area& area) {
    const auto start = std::chrono::steady_clock::now();
    qxfs::UndoRecord none;
    qxfs::checkArea(
        area, qxfs::RepairMode::report, none, [](const qxfs::Finding&) {},
        [](const qxfs::CheckSummary&) {});
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const auto folder =
        std::string(argc > 1 ? argv[1] : "/dev/shm") + "/names_bench-" + std::to_string(getpid());
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const auto colliding = made(folder + "/colliding", true);
    const auto random = made(folder + "/random", false);
    std::vector<double> ofColliding;
    std::vector<double> ofRandom;
    for (int round = 0; round < rounds; ++round) {
        ofColliding.push_back(secondsOfCheck(colliding));
        ofRandom.push_back(secondsOfCheck(random));
    }
    fs::remove_all(folder);
    const double times = median(ofColliding) / median(ofRandom);
    std::printf(
        "check of %zu colliding names %.3f s, of random ones %.3f s: %.2f times  limit %.2f\n",
        kNames, median(ofColliding), median(ofRandom), times, kLimit);
    return times > kLimit ? 1 : 0;
}
