// zmc: what all comparisons of raw means share: the block of means, cell sizes and error term, and the critical value
// of each method that compares all means with one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_table.h"

namespace vek {

enum class McMethod : int {
    duncan = 2,
    waller = 3,
    snk = 4,
    t = 5,
    smm = 6,
    scheffe = 7,
    tukey = 8,
    bon = 9,
    sidak = 10,
    regwf = 11,
    regwq = 12,
    gabriel = 15,
    dunnett = 16,
    dunnettu = 17,
    dunnettl = 18,
};

/// What a critical value is for: it decides how many comparisons there are.
enum class McDisplay : int { differences = 0, means = 1, lines = 2 };

/// A level of the effect; the comparisons sort these.
struct McLevel {
    std::int32_t nobs = 0;
    double wsum = 0;   ///< sum of weights: the cell size as the methods see it
    double mean = 0;   ///< empty_mean for an empty level
    std::string name;  ///< formatted value, without blanks on both sides
    int index = 0;     ///< its place in the order of the levels
};

constexpr double empty_mean = -1.7976931348623157e+308;

/// Quantiles that have been found: one search for each distribution, level and pattern of cell sizes, whatever method,
/// display or dependent variable asks for it.
class QuantileCache {
  public:
    enum class Kind : std::uint8_t {
        range,              ///< studentised range of counts[0] means
        modulus,            ///< studentised maximum modulus of counts[0] means
        dunnett,            ///< of counts[i] means each with lambda[i], from a control
        dunnett_one_sided,  ///< the same, one-sided
        f,                  ///< F with counts[0] degrees of freedom above; `level` is its upper tail
        waller,             ///< Bayes t of counts[0] degrees of freedom and F ratio lambda[0]; `level` is the k-ratio
    };
    /// Quantile at `level` with `df` error degrees of freedom; missing on failure.
    double find(Kind kind, double level, double df, const std::vector<double>& counts,
                const std::vector<double>& lambda = {});
    int searches() const { return static_cast<int>(entries_.size()); }

  private:
    struct Entry {
        Kind kind;
        double level, df;
        std::vector<double> counts, lambda;
        double value;
    };
    static double search(Kind kind, double level, double df, const std::vector<double>& counts,
                         const std::vector<double>& lambda);

    std::vector<Entry> entries_;
};

/// Comparisons of the means of one dependent variable over one effect.
struct McBlock {
    double alpha = 0.05;
    std::vector<McLevel> level;  ///< shared by all displays; sorted in place
    int nact = 0;                ///< levels with a cell size that is not 0
    int control[3] = {};         ///< place of the control level of each of Dunnett's tests
    bool balanced = true;        ///< all levels that are not empty have the size of the first
    double crit = 0;             ///< critical value as it is shown
    double scaledcrit = 0;       ///< multiplier of the standard error
    std::string clsname, depname;
    int levwidth = 4;  ///< longest level text, at least 4
    int dfe = 0;
    double mse = 0;
    double se = 0;                ///< standard error in use
    double msd = 0;               ///< smallest significant difference
    int width = 0, decimals = 0;  ///< of means, as they are shown
    double kratio = 100;
    double fratio = 0;
    double nharm = 0;  ///< harmonic mean of the cell sizes that are not 0
    double maxn = 0;
    std::vector<double> sizes;      ///< distinct cell sizes, descending
    std::vector<double> sizecount;  ///< levels of each size
    bool noint = false;
    bool fracw = false;  ///< n and sum of weights of some level differ
    QuantileCache* quantiles = nullptr;

    int nlev() const { return static_cast<int>(level.size()); }
};

/// Summarises the cell sizes and marks the empty levels; comes before everything else.
void zmceknt(McBlock& mc);

/// Sorts the levels by descending mean; the order of ties stays as it is when nothing has to be moved.
void zmcsort(McBlock& mc);

/// Critical value of a method, with msd for the standard error of the block. False when there is none; the block is
/// then as before, but for crit.
bool zmccrit(McBlock& mc, McDisplay kind, McMethod method);

/// Reports that zmccrit has failed: a note in the report and a line in the log.
void zmcrprt(const McBlock& mc, McDisplay kind, McMethod method, HostObject* out);

/// What kind of quantile could not be found.
enum class McQuantile { duncan, dunnett, f, modulus, range };
void zmcfail(McQuantile what, double p, double df1, double df2, HostObject* out);

/// A folder's name and the number (group 183) of its label.
struct McMethodText {
    std::string_view name;
    int label;
};
McMethodText method_text(McMethod method);

}  // namespace vek
