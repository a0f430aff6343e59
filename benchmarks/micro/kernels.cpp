// Measures the kernels with calls like those that minimap2 makes for noisy reads with the preset map-ont.

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "qel_minimap2/kernel/kernels.h"

namespace {

using Bases = std::vector<std::uint8_t>;
using qel_minimap2::kernel::AlignmentCall;

constexpr int kNoBand = -1;

// Returns null and skips the benchmark if minimap2's functions are chosen.
const qel_minimap2::kernel::Kernels* MeasuredKernels(benchmark::State& state) {
    const auto* const kernels = qel_minimap2::kernel::ChosenKernels();
    if (kernels == nullptr) {
        state.SkipWithError("minimap2's functions are chosen: there is no kernel to measure");
    }
    return kernels;
}

// A target and a query. The query has an error about every 12 bases and `inserted` more bases in the middle.
struct Pair {
    Pair(int length, int inserted) {
        const auto base = [this] { return static_cast<std::uint8_t>(random() % 4); };
        for (int i = 0; i < length; ++i) {
            target.push_back(base());
            const auto draw = random() % 36;
            if (draw != 0) {
                query.push_back(draw == 1 ? base() : target.back());
            }
            for (int left = draw == 2 ? 1 : i == length / 2 ? inserted : 0; left > 0; --left) {
                query.push_back(base());
            }
        }
    }

    std::mt19937 random{1};
    Bases target, query;
};

void Align(benchmark::State& state, const Pair& pair, int band, int z_drop, int flags) {
    const auto* const kernels = MeasuredKernels(state);
    if (kernels == nullptr) {
        return;
    }
    std::vector<std::int8_t> matrix(25, -1);
    for (std::size_t i = 0; i < 16; ++i) {
        matrix[i / 4 * 5 + i % 4] = static_cast<std::int8_t>(i / 4 == i % 4 ? 2 : -4);
    }
    const AlignmentCall call{nullptr,
                             static_cast<int>(pair.query.size()),
                             pair.query.data(),
                             static_cast<int>(pair.target.size()),
                             pair.target.data(),
                             5,
                             matrix.data(),
                             4,
                             2,
                             24,
                             1,
                             band,
                             z_drop,
                             -1,
                             flags};
    ksw_extz_t result{};
    for ([[maybe_unused]] auto _ : state) {
        kernels->align(call, result);
        benchmark::DoNotOptimize(result.score);
    }
    std::free(result.cigar);
}

void FillGap(benchmark::State& state) {
    const Pair pair(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    Align(state, pair, kNoBand, 400, KSW_EZ_APPROX_MAX);
}
// The first pair is too short for a strip. The narrowest strip is enough for the second and the third pair. The fourth
// and the fifth need wider strips. No strip is wide enough for the last pair.
BENCHMARK(FillGap)
    ->ArgNames({"bases", "inserted"})
    ->Args({16, 0})
    ->Args({100, 0})
    ->Args({400, 0})
    ->Args({1000, 40})
    ->Args({1000, 90})
    ->Args({1500, 400});

void ExtendFromChain(benchmark::State& state) {
    const Pair pair(static_cast<int>(state.range(0)), 0);
    Align(state, pair, static_cast<int>(state.range(1)), 400, KSW_EZ_EXTZ_ONLY);
}
BENCHMARK(ExtendFromChain)
    ->ArgNames({"bases", "band"})
    ->Args({22, 751})
    ->Args({150, 751})
    ->Args({1000, 751})
    ->Args({1000, 200});

void Sketch(benchmark::State& state) {
    const auto* const kernels = MeasuredKernels(state);
    if (kernels == nullptr) {
        return;
    }
    std::string bases;
    for (const auto base : Pair(static_cast<int>(state.range(0)), 0).target) {
        bases += "ACGT"[base];
    }
    mm128_v minimizers{};
    for ([[maybe_unused]] auto _ : state) {
        minimizers.n = 0;
        kernels->sketch({nullptr, bases.data(), static_cast<int>(bases.size()), 10, 15, 0, &minimizers});
        benchmark::DoNotOptimize(minimizers.n);
    }
    std::free(minimizers.a);
}
BENCHMARK(Sketch)->ArgName("bases")->Arg(5000);

}  // namespace
