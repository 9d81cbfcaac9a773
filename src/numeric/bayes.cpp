// Turns an F ratio, its degrees of freedom and a k-ratio into the critical t of the Bayes k-ratio rule.
#include "numeric/bayes.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/beta.h"
#include "numeric/hardy.h"

namespace vek {

namespace {

constexpr double largest_df = 100000000.0;
constexpr double smallest_tail = 1.491668147e-154;
constexpr double agreement = 1e-05;
constexpr int steps = 30;

struct KRatio : HardyPairControl {
    double t = 0;
    double q = 0;
    double dfe = 0;
    double fratio = 0;
};

// At the variance ratio b, up to a common factor: the prior and likelihood times the expected loss of declaring (first)
// and of not declaring (second) a difference in the wrong direction.
void k_ratio_integrand(double b, HardyPairControl& control, double& first, double& second) {
    KRatio& own = static_cast<KRatio&>(control);
    const double n = own.q + own.dfe;
    const double explained = own.q * own.fratio;
    const double log_weight =
        -0.5 * (own.q + 3) * std::log(1 + b) - 0.5 * (n - 1) * std::log(own.dfe + explained / (1 + b));
    const double z = own.t * std::sqrt(b * n / (explained + (1 + b) * own.dfe));
    const double w = 1 / (1 + z * z / n);
    double p = 0;
    double d = 0;
    if (zibeta(w, n / 2, 0.5, p, d) != 0) {
        own.failed = true;
        return;
    }
    p = std::max(0.5 * p, smallest_tail);
    d = std::max(z / n * w * w * d, smallest_tail);
    const double loss = (z * z + n) / (n - 1) * d - z * p;
    own.scale = std::max(own.scale, std::trunc(log_weight));
    const double weight = std::sqrt(b) * std::exp(log_weight - own.scale);
    first = weight * (z + loss);
    second = weight * loss;
}

// A value of t with its k-ratio.
struct Point {
    double t;
    double k;
};

class Search {
  public:
    Search(double kratio, double fratio, double q, double dfe) : kratio_(kratio), fratio_(fratio), q_(q), dfe_(dfe) {}

    bool run(double& crit) {
        Point a{};
        Point b{};
        return bracket(a, b) && secant(a, b, crit);
    }

  private:
    bool evaluate(double t, Point& point) {
        point.t = t;
        return steps_++ < steps && calck(t, q_, dfe_, fratio_, point.k) == 0;
    }

    // a and b become the last two of t = 1, 2, 4 ... or 1, 1/2, 1/4 ..., with kratio between their k.
    bool bracket(Point& a, Point& b) {
        if (!evaluate(1, b)) return false;
        const bool rising = b.k <= kratio_;
        do {
            a = b;
            if (!evaluate(a.t * (rising ? 2 : 0.5), b)) return false;
        } while ((b.k <= kratio_) == rising);
        return true;
    }

    bool secant(Point a, Point b, double& crit) {
        for (;;) {
            if (a.k == b.k || b.k == 0) return false;
            const double share = std::log((kratio_ - 1) / (b.k - 1)) / std::log((a.k - 1) / (b.k - 1));
            const double t = b.t * std::exp(std::log(a.t / b.t) * share);
            a = b;
            if (!(std::fabs(t - a.t) <= agreement)) {
                if (!evaluate(t, b)) return false;
                if (!(std::fabs(b.k - kratio_) <= kratio_ * agreement)) continue;
            }
            crit = t;
            return true;
        }
    }

    double kratio_;
    double fratio_;
    double q_;
    double dfe_;
    int steps_ = 0;
};

}  // namespace

int calck(double t, double q, double dfe, double fratio, double& k) {
    if (!(t > 0) || !(q > 0) || !(dfe > 0) || !(fratio >= 0)) return 1;
    KRatio control;
    control.f = k_ratio_integrand;
    control.centre = 1;
    control.eps = 1.0e-06;
    control.halvings = 10;
    control.scale = std::numeric_limits<double>::lowest();
    control.t = t;
    control.q = q;
    control.dfe = dfe;
    control.fratio = fratio;
    HardyPair integrals;
    if (zhrdyv(control, integrals) != 0 || integrals.second == 0) return 1;
    k = integrals.first / integrals.second;
    return 0;
}

int zbayest(double kratio, double fratio, double q, double dfe, double& crit) {
    const bool capped = q > largest_df || dfe > largest_df;
    Search search(kratio, fratio, std::min(q, largest_df), std::min(dfe, largest_df));
    if (!search.run(crit)) return 1;
    return capped ? -1 : 0;
}

}  // namespace vek
