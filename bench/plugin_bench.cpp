// What the plug-in's work over long lists costs: ordering, selecting, finding compatible templates,
// and the agent's messages that carry them. None may grow faster than n log n.
//
// Argument of each benchmark: number of records. bench/plugin.sh runs all of them and judges the
// growth.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "QXL/QXLXmlMessage.h"
#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"
#include "qxa/plugins/QXAPkg/QXAStandardListing.h"

namespace {

using QXA::QXAStandardQXTemplateEx;
using QXA::StandardRecords;

constexpr unsigned kSeed = 20260101;

std::string osName(unsigned i) {
    return "os-" + std::to_string(i);
}

/// Every second record is an OS template; the application template after it is made for it, in any
/// version. The records come in no order.
StandardRecords makeRecords(unsigned count, const std::string& applicationPlatform = "linux") {
    StandardRecords records;
    records.reserve(count);
    for (unsigned i = 0; i < count; ++i) {
        const bool isOs = i % 2 == 0;
        QXA::QXATemplateConfigInfo info;
        info.name = isOs ? osName(i) : "app-" + std::to_string(i);
        info.version = "2026" + std::to_string(i % 7);
        info.summary = "A template of the benchmark";
        info.description = "Carries enough text to be like a real one, on one line.";
        info.architecture = "x86_64";
        info.platform = isOs ? "Linux" : applicationPlatform;
        info.technologies = {"nptl", "x86_64"};
        info.isOsTemplate = isOs;
        if (!isOs) {
            info.baseOsTemplates = {QXA::QXATemplate(osName(i - 1), "")};
        }
        records.emplace_back(info, info);
    }
    std::shuffle(records.begin(), records.end(), std::mt19937(kSeed));
    return records;
}

/// Asks for every tenth record.
QXL::QXLPackageList makeRequest(const StandardRecords& records) {
    QXL::QXLPackageList request;
    for (std::size_t i = 0; i < records.size(); i += 10) {
        request.push_back(std::make_shared<QXAStandardQXTemplateEx>(records[i]));
    }
    return request;
}

void require(bool holds, benchmark::State& state, const char* what) {
    if (!holds) {
        state.SkipWithError(what);
    }
}

void BM_Sort(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)));
    QXL::QXLPackageList shuffled;
    for (const auto& record : records) {
        shuffled.push_back(std::make_shared<QXAStandardQXTemplateEx>(record));
    }
    for (auto _ : state) {
        auto sorted = shuffled;
        std::sort(sorted.begin(), sorted.end(), QXA::PackageLess());
        benchmark::DoNotOptimize(sorted.data());
    }
    state.SetComplexityN(state.range(0));
}

void BM_SelectRequested(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)));
    const auto request = makeRequest(records);
    std::size_t selected = 0;
    for (auto _ : state) {
        selected = QXA::selectRequested(request, records).size();
    }
    require(selected == request.size(), state, "not every requested record was selected");
    state.SetComplexityN(state.range(0));
}

/// Every tenth record is selected, and goes with itself and with its partner.
void BM_SelectCompatible(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)));
    const auto selected = QXA::selectRequested(makeRequest(records), records);
    std::size_t compatible = 0;
    for (auto _ : state) {
        compatible = QXA::selectCompatible(selected, records).size();
    }
    require(compatible >= selected.size(), state, "a selected record does not go with itself");
    state.SetComplexityN(state.range(0));
}

/// OS templates are selected and no application template goes with one: each look-up runs to its
/// end.
void BM_SelectCompatibleInVain(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)), "other");
    QXA::StandardSelection selected;
    for (const auto& record : records) {
        if (record.isOsTemplate) {
            selected.push_back(&record);
        }
    }
    std::size_t compatible = 0;
    for (auto _ : state) {
        compatible = QXA::selectCompatible(selected, records).size();
    }
    require(compatible == selected.size(), state, "a template of another platform was found");
    state.SetComplexityN(state.range(0));
}

std::string writeMessage(const StandardRecords& records) {
    QXL::QXLXmlMessage message;
    for (const auto& record : records) {
        if (message.append(record) != 0) {
            return {};
        }
    }
    return message.text();
}

void BM_WriteMessage(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = writeMessage(records).size();
    }
    require(bytes > 0, state, "the message was not written");
    state.SetComplexityN(state.range(0));
}

void BM_ReadMessage(benchmark::State& state) {
    const auto records = makeRecords(static_cast<unsigned>(state.range(0)));
    const auto text = writeMessage(records);
    std::size_t read = 0;
    for (auto _ : state) {
        QXL::QXLPackageList list;
        const auto message = QXL::QXLXmlMessage::parse(text);
        if (message != nullptr && message->read(list) == 0) {
            read = list.size();
        }
    }
    require(read == records.size(), state, "the message did not come back whole");
    state.SetComplexityN(state.range(0));
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
    bench->Complexity(benchmark::oNLogN);
}

BENCHMARK(BM_Sort)->Apply(sizes);
BENCHMARK(BM_SelectRequested)->Apply(sizes);
BENCHMARK(BM_SelectCompatible)->Apply(sizes);
BENCHMARK(BM_SelectCompatibleInVain)->Apply(sizes);
BENCHMARK(BM_WriteMessage)->Apply(sizes);
BENCHMARK(BM_ReadMessage)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
