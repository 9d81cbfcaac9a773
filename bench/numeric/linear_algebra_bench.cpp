// How long dense linear algebra takes: vector kernels, sweeps by columns and in panels, crossproducts, eigenproblems.
// Each is run in every version of its loops that the machine has (the second argument: 0 portable, 1 AVX2, 2 AVX-512).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "numeric/crossproduct.h"
#include "numeric/eigen.h"
#include "numeric/kernels.h"
#include "numeric/packed.h"
#include "numeric/sweep.h"

namespace {

using namespace vek;

std::vector<double> uniform_vector(std::ptrdiff_t n) {
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<double> x(static_cast<std::size_t>(n));
    for (double& value : x) value = uniform(generator);
    return x;
}

// The version that the second argument names; the benchmark is skipped where it does not run.
bool choose(benchmark::State& state, InstructionSet& set) {
    set = static_cast<InstructionSet>(state.range(1));
    state.SetLabel(instruction_set_name(set));
    if (instruction_set_runs(set)) return true;
    state.SkipWithError("not on this machine");
    return false;
}

void count_flops(benchmark::State& state, double flops) {
    state.counters["flops"] =
        benchmark::Counter(flops, benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1000);
}

void inner_product(benchmark::State& state) {
    InstructionSet set;
    if (!choose(state, set)) return;
    const VectorLoops& loops = *vector_loops(set);
    const std::ptrdiff_t n = state.range(0);
    const std::vector<double> x = uniform_vector(n), y = uniform_vector(n);
    for (auto _ : state) benchmark::DoNotOptimize(loops.inner(x.data(), y.data(), n));
    count_flops(state, 2 * static_cast<double>(n));
}
BENCHMARK(inner_product)->ArgsProduct({{5, 30, 300, 3000}, {0, 1, 2}});

void add_multiple(benchmark::State& state) {
    InstructionSet set;
    if (!choose(state, set)) return;
    const VectorLoops& loops = *vector_loops(set);
    const std::ptrdiff_t n = state.range(0);
    const std::vector<double> x = uniform_vector(n);
    std::vector<double> y = x;
    for (auto _ : state) {
        loops.axpy(y.data(), y.data(), x.data(), n, 1e-9);
        benchmark::ClobberMemory();
    }
    count_flops(state, 2 * static_cast<double>(n));
}
BENCHMARK(add_multiple)->ArgsProduct({{5, 30, 300, 3000}, {0, 1, 2}});

// A well-conditioned upper triangle of order n with its row pointers; reset() restores it.
struct Triangle {
    int order;
    std::vector<double> start, elements;
    std::vector<double*> rows;
    explicit Triangle(int n)
        : order(n), start(uniform_vector(triangle_size(n))), elements(start), rows(static_cast<std::size_t>(n)) {
        double* base = elements.data();
        for (int i = 0; i < n; ++i) {
            start[static_cast<std::size_t>(base - elements.data())] = n;
            rows[static_cast<std::size_t>(i)] = base - i;
            base += n - i;
        }
    }
    void reset() { elements = start; }
};

void sweep_by_columns(benchmark::State& state) {
    Triangle a(static_cast<int>(state.range(0)));
    std::vector<double> scaled(a.rows.size()), column(scaled);
    for (auto _ : state) {
        state.PauseTiming();
        a.reset();
        state.ResumeTiming();
        for (int c = 0; c + 1 < a.order; ++c)
            sweep_column(a.rows.data(), a.order, c, a.rows[static_cast<std::size_t>(c)][c], nullptr, scaled.data(),
                         column.data());
    }
    const double n = a.order;
    count_flops(state, n * n * n);
}
BENCHMARK(sweep_by_columns)->Arg(10)->Arg(50)->Arg(200)->Arg(400)->Arg(1300)->Unit(benchmark::kMicrosecond);

void sweep_by_panels(benchmark::State& state) {
    InstructionSet set;
    if (!choose(state, set)) return;
    Triangle a(static_cast<int>(state.range(0)));
    std::vector<double> work(static_cast<std::size_t>(PanelSweep::work_doubles(a.order)));
    for (auto _ : state) {
        state.PauseTiming();
        a.reset();
        state.ResumeTiming();
        PanelSweep sweep(a.rows.data(), a.order, a.order - 1, work.data(), set);
        for (int c = 0; c + 1 < a.order; ++c) sweep.sweep(c, sweep.pivot(c));
        sweep.settle();
    }
    const double n = a.order;
    count_flops(state, n * n * n);
}
BENCHMARK(sweep_by_panels)->ArgsProduct({{200, 400, 1300}, {0, 1, 2}})->Unit(benchmark::kMicrosecond);

void packed_sweep(benchmark::State& state) {
    const std::ptrdiff_t n = state.range(0);
    std::vector<double> start = uniform_vector(triangle_size(n)), work(static_cast<std::size_t>(n));
    for (std::ptrdiff_t i = 0; i < n; ++i) start[static_cast<std::size_t>(zisub(i, i))] = static_cast<double>(n);
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<double> a = start;
        std::string swept(static_cast<std::size_t>(n), '0');
        state.ResumeTiming();
        for (std::ptrdiff_t k = 0; k < n; ++k) zsweep(a.data(), k, n, swept.data(), work.data(), 1e-9);
        benchmark::DoNotOptimize(a.data());
    }
}
BENCHMARK(packed_sweep)->Arg(5)->Arg(30)->Arg(200)->Unit(benchmark::kMicrosecond);

// One row of k elements a time; the time is that of a row.
void crossproduct(benchmark::State& state) {
    InstructionSet set;
    if (!choose(state, set)) return;
    constexpr int rows = 960;
    const int k = static_cast<int>(state.range(0));
    const std::vector<double> x = uniform_vector(static_cast<std::ptrdiff_t>(rows) * k);
    Triangle a(k);
    std::vector<double> work(static_cast<std::size_t>(Crossproduct::work_doubles(k)));
    for (auto _ : state) {
        Crossproduct product(k, nullptr, a.rows.data(), work.data(), set);
        product.add_rows(x.data(), k, rows);
        product.flush();
    }
    count_flops(state, static_cast<double>(rows) * k * (k + 1));
}
BENCHMARK(crossproduct)->ArgsProduct({{16, 40, 100}, {0, 1, 2}})->Unit(benchmark::kMicrosecond);
BENCHMARK(crossproduct)->ArgsProduct({{400, 800}, {1, 2}})->Unit(benchmark::kMicrosecond);

// Values alone, or with all vectors.
void eigenproblem(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const int m = state.range(1) != 0 ? n : 0;
    const std::vector<double> start = uniform_vector(triangle_size(n));
    std::vector<double> values(static_cast<std::size_t>(n)), vectors(static_cast<std::size_t>(n) * values.size());
    std::vector<double> work(8 * static_cast<std::size_t>(n)), a = start;
    for (auto _ : state) {
        a = start;
        benchmark::DoNotOptimize(zeigen2(n, a.data(), values.data(), m, vectors.data(), work.data()));
    }
}
BENCHMARK(eigenproblem)->ArgsProduct({{2, 5, 24, 100, 300}, {0, 1}})->Unit(benchmark::kMicrosecond);

}  // namespace
