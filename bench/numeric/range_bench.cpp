// Times range-type probabilities and critical values, and the Bayes k-ratio search: nanoseconds a call, with arguments
// as comparisons of means ask for them.
#include <benchmark/benchmark.h>

#include <vector>

#include "numeric/bayes.h"
#include "numeric/range_probability.h"
#include "numeric/range_quantile.h"

namespace {

using namespace vek;

constexpr double infinite_df = 3e9;

// The classic form: one group of k means.
struct OneGroup {
    explicit OneGroup(const benchmark::State& state)
        : k(static_cast<double>(state.range(0))),
          df(state.range(1) == 0 ? infinite_df : static_cast<double>(state.range(1))) {}
    double k;
    double df;
    double one = 1;
    double work[3] = {};
};

void studentised_range(benchmark::State& state) {
    OneGroup group(state);
    double q = 4.5;
    for (auto _ : state) {
        benchmark::DoNotOptimize(q);
        benchmark::DoNotOptimize(zprbsrg(1, q, group.df, &group.one, &group.k, group.work));
    }
}
BENCHMARK(studentised_range)->Name("zprbsrg/means/df")->ArgsProduct({{3, 60, 200}, {1, 20, 660, 0}});

void range_quantile(benchmark::State& state) {
    OneGroup group(state);
    double p = 0.95;
    for (auto _ : state) {
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(zqunsrg(1, p, group.df, &group.one, &group.k, group.work));
    }
}
BENCHMARK(range_quantile)->Name("zqunsrg/means/df")->ArgsProduct({{3, 60, 200}, {1, 20, 660, 0}});

// As least-squares means ask: a group for each mean, one of its multiplicity.
void dunnett_quantile(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const auto size = static_cast<std::size_t>(n);
    const double df = static_cast<double>(state.range(1));
    std::vector<double> lambda(size), w(size, 1.0), work(3 * size);
    for (std::size_t i = 0; i < size; ++i) lambda[i] = 0.75 - 0.25 * static_cast<double>(i) / static_cast<double>(n);
    double p = 0.95;
    for (auto _ : state) {
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(zqunsdt(true, n, p, df, lambda.data(), w.data(), work.data()));
    }
}
BENCHMARK(dunnett_quantile)->Name("zqunsdt/means/df")->ArgsProduct({{2, 20, 59}, {20, 660}});

void modulus_quantile(benchmark::State& state) {
    OneGroup group(state);
    double p = 0.95;
    for (auto _ : state) {
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(zqunsmm(1, p, group.df, &group.one, &group.k, group.work));
    }
}
BENCHMARK(modulus_quantile)->Name("zqunsmm/means/df")->ArgsProduct({{45, 1770}, {20, 660}});

void bayes_search(benchmark::State& state) {
    const double dfe = static_cast<double>(state.range(0));
    double fratio = 3;
    double crit = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fratio);
        benchmark::DoNotOptimize(zbayest(100, fratio, 6, dfe, crit));
        benchmark::DoNotOptimize(crit);
    }
}
BENCHMARK(bayes_search)->Name("zbayest/dfe")->Arg(10)->Arg(660);

}  // namespace
