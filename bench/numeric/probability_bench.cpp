// Times of the probability functions, nanoseconds a call, over arguments as tables and integrals ask for them.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>

#include "numeric/beta.h"
#include "numeric/fdist.h"
#include "numeric/gamma.h"
#include "numeric/normal.h"

namespace {

constexpr int count = 64;  // arguments a round, so that no branch predictor learns one of them

// The fractions 1/129, 3/129 ... in a scrambled order.
std::array<double, count> fractions() {
    std::array<double, count> values{};
    for (int i = 0; i < count; ++i) values[static_cast<unsigned>(i)] = (2 * (i * 37 % count) + 1) / 129.0;
    return values;
}

template <class Function>
void run(benchmark::State& state, Function function) {
    const auto values = fractions();
    for (auto _ : state) {
        double sum = 0;
        for (const double value : values) sum += function(value);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.counters["ns/call"] = benchmark::Counter(static_cast<double>(state.iterations()) * count * 1e-9,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

double ratio(double x, double a, double b) {
    double p = 0, d = 0;
    vek::zibeta(x, a, b, p, d);
    return p + d;
}

double gamma_ratio(double x, double a) {
    double P = 0, Q = 0, d = 0;
    vek::zigamma(x, a, P, Q, d);
    return P + d;
}

void znrm(benchmark::State& state) {
    run(state, [](double u) { return vek::znrm(12 * u - 6); });
}
void zprbnrm(benchmark::State& state) {
    run(state, [](double u) { return vek::zprbnrm(12 * u - 6); });
}
void zprobit(benchmark::State& state) {
    run(state, [](double u) { return vek::zprobit(u); });
}
void zlgamma(benchmark::State& state) {
    run(state, [](double u) { return vek::zlgamma(40 * u); });
}

// zibeta over the middle of the distribution: shapes 2a and 2b as degrees of freedom.
void zibeta(benchmark::State& state) {
    const double a = 0.5 * static_cast<double>(state.range(0)), b = 0.5 * static_cast<double>(state.range(1));
    const double mean = a / (a + b), deviation = std::sqrt(mean * (1 - mean) / (a + b + 1));
    run(state, [=](double u) {
        const double x = mean + 4 * (u - 0.5) * deviation;
        return ratio(x > 0 && x < 1 ? x : u, a, b);
    });
}
void zigamma(benchmark::State& state) {
    const double a = 0.5 * static_cast<double>(state.range(0));
    run(state, [=](double u) { return gamma_ratio(a * (0.5 + u), a); });
}
void zprbf(benchmark::State& state) {
    run(state, [](double u) { return vek::zprbf(4 * u, 3, 60); });
}
void zqt(benchmark::State& state) {
    run(state, [](double u) {
        double t = 0;
        vek::zqt(u, 60, t);
        return t;
    });
}
void zqunf(benchmark::State& state) {
    run(state, [](double u) { return vek::zqunf(u, 3, 60); });
}

BENCHMARK(znrm);
BENCHMARK(zprbnrm);
BENCHMARK(zprobit);
BENCHMARK(zlgamma);
BENCHMARK(zibeta)->Args({60, 1})->Args({60, 3})->Args({1000000, 4})->Args({200, 100})->Args({100000, 40000});
BENCHMARK(zigamma)->Arg(1)->Arg(10)->Arg(200)->Arg(10000)->Arg(100000);
BENCHMARK(zprbf);
BENCHMARK(zqt);
BENCHMARK(zqunf);

}  // namespace
