// How long a random variable takes, one by one and in blocks, and the selection of an order statistic.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "numeric/random.h"
#include "numeric/select.h"

namespace {

using namespace vek;

void uniform(benchmark::State& state) {
    std::int32_t seed = 1;
    for (auto _ : state) benchmark::DoNotOptimize(zranuni(seed));
}
BENCHMARK(uniform);

void normal(benchmark::State& state) {
    std::int32_t seed = 1;
    for (auto _ : state) benchmark::DoNotOptimize(zrannor(seed));
}
BENCHMARK(normal);

// Blocks of the first argument; the time of one variable is the inverse of the rate.
void normal_block(benchmark::State& state) {
    const auto set = static_cast<InstructionSet>(state.range(1));
    state.SetLabel(instruction_set_name(set));
    if (!instruction_set_runs(set)) {
        state.SkipWithError("not on this machine");
        return;
    }
    std::vector<double> x(static_cast<std::size_t>(state.range(0)));
    std::int32_t seed = 1;
    for (auto _ : state) {
        zrannor_fill(seed, state.range(0), x.data(), set);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(normal_block)->ArgsProduct({{8, 60, 1000}, {0, 1, 2}});

// The shape is a hundredth of the argument.
void gamma_variable(benchmark::State& state) {
    std::int32_t seed = 1;
    GammaState gamma;
    const double shape = static_cast<double>(state.range(0)) / 100;
    for (auto _ : state) benchmark::DoNotOptimize(zrangam(seed, shape, gamma));
}
BENCHMARK(gamma_variable)->Arg(50)->Arg(100)->Arg(250)->Arg(33000);

void order_statistic(benchmark::State& state) {
    const std::ptrdiff_t n = state.range(0);
    std::vector<double> start(static_cast<std::size_t>(n)), x;
    std::int32_t seed = 1;
    for (double& value : start) value = zranuni(seed);
    const std::ptrdiff_t position = 95 * n / 100;
    double value = 0;
    for (auto _ : state) {
        state.PauseTiming();
        x = start;
        state.ResumeTiming();
        zqpsort(n, x.data(), 1, &position, &value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(order_statistic)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace
