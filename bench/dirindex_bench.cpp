// What checking and writing an index costs, against the least that any program must do with its
// bytes: MD5 over them, and writing them in one piece.
//
// Arguments of each benchmark: number of entries, number of distinct link strings.
// bench/dirindex.sh runs all of them and judges the ratios.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <md5.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "src/dirindex_model.h"
#include "src/qxfsutil.h"

namespace {

constexpr uint8_t kRegular = 8;

using Bytes = std::vector<uint8_t>;

// An anonymous file in memory, so that no disk is measured.
FILE* memory_file() {
    const int descriptor = memfd_create("bench", MFD_CLOEXEC);
    return descriptor >= 0 ? fdopen(descriptor, "w+") : nullptr;
}

// The entry list as a scan leaves it: names as libraries have them, links spread in runs as
// directories of one template are.
void fill_list(unsigned entries, unsigned links) {
    clean_memory();
    tot = dtot = emitted = 0;
    // What earlier rounds freed is tidied up now, not by the first large allocation that is timed.
    malloc_trim(0);
    char text[64];
    for (unsigned i = 0; i < entries; ++i) {
        snprintf(text, sizeof text, "////os/usr/lib/part%06u", i % links);
        poolstr* link = pool_add(text);
        const int length = snprintf(text, sizeof text, "lib%07u.so.6", i);
        dirindex::append_dent(
            dirindex::new_dent(kRegular, text, static_cast<size_t>(length), 2 * i + 1, link));
    }
}

Bytes content(FILE* stream) {
    fflush(stream);
    Bytes bytes(static_cast<size_t>(lseek(fileno(stream), 0, SEEK_END)));
    if (pread(fileno(stream), bytes.data(), bytes.size(), 0) !=
        static_cast<ssize_t>(bytes.size())) {
        std::abort();
    }
    return bytes;
}

Bytes make_index(unsigned entries, unsigned links) {
    fill_list(entries, links);
    select_prime();
    create_hash_table();
    FILE* stream = memory_file();
    if (stream == nullptr || emit_dirindex(stream) != 0) {
        std::abort();
    }
    Bytes bytes = content(stream);
    fclose(stream);
    clean_memory();
    // The allocator tidies up what was freed now, not in the first round that is timed.
    malloc_trim(0);
    return bytes;
}

void digest(const Bytes& bytes) {
    MD5_CTX context;
    uint8_t result[MD5_DIGEST_LENGTH];
    MD5Init(&context);
    MD5Update(&context, bytes.data(), bytes.size());
    MD5Final(result, &context);
    benchmark::DoNotOptimize(result);
}

unsigned entries_of(const benchmark::State& state) {
    return static_cast<unsigned>(state.range(0));
}

unsigned links_of(const benchmark::State& state) {
    return static_cast<unsigned>(state.range(1));
}

void count_entries(benchmark::State& state) {
    state.counters["per_entry"] = benchmark::Counter(
        static_cast<double>(state.range(0)),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Md5(benchmark::State& state) {
    const Bytes bytes = make_index(entries_of(state), links_of(state));
    for (auto _ : state) {
        digest(bytes);
    }
    count_entries(state);
}

void BM_Check(benchmark::State& state) {
    const Bytes bytes = make_index(entries_of(state), links_of(state));
    Bytes marked = bytes;
    for (auto _ : state) {
        // The check marks its copy; making a fresh one is not what is measured.
        state.PauseTiming();
        marked = bytes;
        state.ResumeTiming();
        if (fsck_in_core("bench", marked.data(), marked.size(), nullptr, nullptr) != 0) {
            state.SkipWithError("not sound");
        }
    }
    clean_memory();
    count_entries(state);
}

void BM_WriteInOnePiece(benchmark::State& state) {
    const Bytes bytes = make_index(entries_of(state), links_of(state));
    for (auto _ : state) {
        state.PauseTiming();
        FILE* stream = memory_file();
        state.ResumeTiming();
        if (fwrite(bytes.data(), 1, bytes.size(), stream) != bytes.size() || fflush(stream) != 0) {
            state.SkipWithError("not written");
        }
        digest(bytes);
        state.PauseTiming();
        fclose(stream);
        state.ResumeTiming();
    }
    count_entries(state);
}

void BM_Emit(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        fill_list(entries_of(state), links_of(state));
        select_prime();
        create_hash_table();
        FILE* stream = memory_file();
        state.ResumeTiming();
        if (emit_dirindex(stream) != 0) {
            state.SkipWithError("not written");
        }
        state.PauseTiming();
        fclose(stream);
        state.ResumeTiming();
    }
    clean_memory();
    count_entries(state);
}

size_t heap_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Heap that a checked index holds, per entry and without its names.
void BM_Memory(benchmark::State& state) {
    Bytes bytes = make_index(entries_of(state), links_of(state));
    malloc_trim(0);
    const size_t before = heap_in_use();
    size_t held = 0;
    size_t names = 0;
    for (auto _ : state) {
        if (fsck_in_core("bench", bytes.data(), bytes.size(), nullptr, nullptr) != 0) {
            state.SkipWithError("not sound");
        }
        held = heap_in_use() - before;
    }
    for (const dent* entry = dlist; entry != nullptr; entry = entry->next) {
        names += entry->namelen + 1U;
    }
    clean_memory();
    state.counters["bytes_per_entry"] =
        static_cast<double>(held - names) / static_cast<double>(state.range(0));
}

const std::vector<std::vector<int64_t>> kShapes = {
    {100, 1}, {10000, 1}, {1000000, 1}, {10000, 10000}, {100000, 100000}, {1000000, 100000}};

void shapes(benchmark::internal::Benchmark* bench) {
    for (const auto& shape : kShapes) {
        bench->Args(shape);
    }
}

BENCHMARK(BM_Md5)->Apply(shapes);
BENCHMARK(BM_Check)->Apply(shapes);
BENCHMARK(BM_WriteInOnePiece)->Apply(shapes);
BENCHMARK(BM_Emit)->Apply(shapes);
BENCHMARK(BM_Memory)->Apply(shapes)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
