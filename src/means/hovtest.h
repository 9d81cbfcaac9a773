// hovtest: tests whether the levels of an effect have equal variances, and Welch's analysis of variance for levels
// whose variances differ; for one dependent variable of a one-way model without weights.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/mainblock.h"
#include "means/vekmean.h"

namespace vek {

enum class HovTest : int { levene = 1, obrien = 2, bf = 3, bartlett = 4, mbf = 5 };

/// Settings and result of a test.
struct HovResult {
    HovTest test = HovTest::levene;
    int levtype = 2;          ///< Levene: 1 absolute deviations, 2 squared ones
    bool bfscaled = false;    ///< Brown and Forsythe's: scaled by the level's size
    bool otscaled = false;    ///< O'Brien's with robust centres: likewise
    double w = 0.5;           ///< O'Brien's weight of the kurtosis
    double ss1 = 0, ss2 = 0;  ///< of model and error; for Bartlett's test chi-square and 9999
    std::int32_t df1 = 0, df2 = 0;
    double f = 0, p = 0;
};

struct WelchResult {
    double df1 = 0, df2 = 0, f = 0, p = 0;
};

/// Does the test for dependent variable `yindex` of the pass over the levels of `effect`. The tests with a transformed
/// response read the observations; those around a median read them once more for each block of levels.
void HoVTest(MainBlock& F, HovResult& result, int yindex, const Effect& effect, const LevelRecords& records);

WelchResult Welch(const MainBlock& F, int yindex, const Effect& effect, const LevelRecords& records);

/// The element at place n p (cut) of the sorted values; with n even and p = 0.5 the mean of it and the one before. The
/// values are partly sorted in place. Missing for n = 0.
double Quantile(double* values, std::int64_t n, double p);
/// Sorts ascending, with the frequencies in step; `freqs` may be null.
void ShellSort(double* values, std::int64_t n, double* freqs);
/// The element at place i of the sample in which values[j] occurs freqs[j] times; missing beyond its end.
double Fidx(std::int64_t i, const double* values, std::int64_t n, const double* freqs);

}  // namespace vek
