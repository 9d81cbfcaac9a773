// Turns an integrand into its integral by trapezoid sums: one rule, written once over the kind of value that is summed
// (a double, or a pair of doubles with a common scale), behind the three integrators of the header.
#include "numeric/hardy.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vek {

namespace {

constexpr double largest = std::numeric_limits<double>::max();
// Stands for the total before the first, so that no first total can be near it.
constexpr double no_total_yet = 1.7976931348623155e+304;
constexpr long first_limit = 10000;

enum Outcome { done = 0, vanishes = 1, failed = 2, too_many_points = 3, too_many_halvings = 4 };

struct Rule {
    double centre;
    double eps;
    double tail;  // share of the total that three terms running may have where a side ends
    int halvings;
    bool rel;
    bool exponential;
    long last_limit;  // points a side
};

void add(double& total, double term) { total += term; }

bool negligible(double a, double b, double c, double share, double total) {
    return std::fabs(a) + std::fabs(b) + std::fabs(c) <= share * std::fabs(total);
}

bool settled(double before, double now, const Rule& rule) {
    const double change = std::fabs(before - now);
    return change < std::sqrt(rule.eps) * std::fabs(now) || (!rule.rel && change < rule.eps);
}

void refine(double& total, double step, double between) { total = (total + step * between) / 2; }

bool too_small(double value, double eps) { return std::fabs(value) <= (1 / eps) / largest; }

bool is_finite(double value) { return std::isfinite(value); }

double no_total_before(double) { return no_total_yet; }

double empty_sum(double) { return 0; }

HardyPair at_scale(const HardyPair& pair, double scale) {
    if (pair.scale == scale) return pair;
    const double factor = std::exp(pair.scale - scale);
    return {pair.first * factor, pair.second * factor, scale};
}

// The scale only rises, so a sum is at most as high as the term that comes to it.
void add(HardyPair& total, const HardyPair& term) {
    total = at_scale(total, term.scale);
    total.first += term.first;
    total.second += term.second;
}

bool negligible(const HardyPair& a, const HardyPair& b, const HardyPair& c, double share, const HardyPair& total) {
    const HardyPair x = at_scale(a, total.scale);
    const HardyPair y = at_scale(b, total.scale);
    return negligible(x.first, y.first, c.first, share, total.first) &&
           negligible(x.second, y.second, c.second, share, total.second);
}

bool settled(const HardyPair& before, const HardyPair& now, const Rule& rule) {
    const HardyPair then = at_scale(before, now.scale);
    return settled(then.first, now.first, rule) && settled(then.second, now.second, rule);
}

void refine(HardyPair& total, double step, const HardyPair& between) {
    total = at_scale(total, between.scale);
    refine(total.first, step, between.first);
    refine(total.second, step, between.second);
}

bool too_small(const HardyPair& value, double eps) {
    return too_small(value.first, eps) && too_small(value.second, eps);
}

bool is_finite(const HardyPair& value) { return std::isfinite(value.first) && std::isfinite(value.second); }

HardyPair no_total_before(const HardyPair& total) { return {no_total_yet, no_total_yet, total.scale}; }

HardyPair empty_sum(const HardyPair& total) { return {0, 0, total.scale}; }

// Equally spaced points on one side of the centre; on the exponential map they multiply.
class Walk {
  public:
    Walk(const Rule& rule, double offset, double step)
        : exponential_(rule.exponential),
          x_(exponential_ ? rule.centre * std::exp(offset) : rule.centre + offset),
          step_(exponential_ ? std::exp(step) : step) {}
    double x() const { return x_; }
    void next() { x_ = exponential_ ? x_ * step_ : x_ + step_; }

  private:
    bool exponential_;
    double x_;
    double step_;
};

// Adds f at steps of 1 on one side until its tail is negligible; limit becomes the number of terms reached.
template <class Value, class Term>
bool sum_side(const Rule& rule, const Term& term, double direction, Value& total, long& limit) {
    Value one_back{};
    Value two_back{};
    Walk walk(rule, direction, direction);
    for (long k = 1; k <= limit; ++k, walk.next()) {
        Value value{};
        if (!term(walk.x(), value)) return false;
        add(total, value);
        if (k >= 3 && negligible(two_back, one_back, value, rule.tail, total)) {
            limit = k;
            break;
        }
        two_back = one_back;
        one_back = value;
    }
    return true;
}

// Adds f at the mid-points of the last step on one side, to the limit.
template <class Value, class Term>
bool sum_between(const Rule& rule, const Term& term, double step, long limit, Value& total) {
    Walk walk(rule, step / 2, step);
    for (long k = 1; k <= limit; ++k, walk.next()) {
        Value value{};
        if (!term(walk.x(), value)) return false;
        add(total, value);
    }
    return true;
}

// term(x, value) gives the term at x, and is false when the integrand gives up.
template <class Value, class Term>
Outcome integrate(const Rule& rule, const Term& term, Value& total) {
    total = Value{};
    if (!term(rule.centre, total)) return failed;
    if (too_small(total, rule.eps)) {
        total = Value{};
        return vanishes;
    }
    long right = first_limit;
    long left = first_limit;
    if (!sum_side(rule, term, 1.0, total, right) || !sum_side(rule, term, -1.0, total, left)) return failed;

    Value before = no_total_before(total);
    double step = 1;
    for (int halved = 0; !settled(before, total, rule); ++halved) {
        // A total that is not finite never settles.
        if (halved == rule.halvings || !is_finite(total)) return too_many_halvings;
        if (right > rule.last_limit || left > rule.last_limit) return too_many_points;
        before = total;
        Value between = empty_sum(total);
        if (!sum_between(rule, term, step, right, between) || !sum_between(rule, term, -step, left, between)) {
            return failed;
        }
        refine(total, step, between);
        step /= 2;
        right *= 2;
        left *= 2;
    }
    return done;
}

}  // namespace

int zhardy(double (*f)(double x, void* context), double centre, void* context, double eps, double& r, int halvings,
           bool rel, bool exponential) {
    eps = std::max(eps, 1.110223024625157e-16);
    const Rule rule{centre, eps, 0.333 * eps, halvings, rel, exponential, std::numeric_limits<long>::max() / 4};
    const auto term = [f, context, exponential](double x, double& value) {
        value = f(x, context);
        if (exponential) value *= x;
        return true;
    };
    return integrate(rule, term, r) == done ? 0 : 1;
}

int zhrdys(HardyControl& control, double& r) {
    const Rule rule{control.centre, control.eps, 0.33333333333333 * control.eps, control.halvings, false, true, 32767};
    const auto term = [&control](double x, double& value) {
        value = control.f(x, control) * x;
        return !control.failed;
    };
    return integrate(rule, term, r) == done ? 0 : 1;
}

int zhrdyv(HardyPairControl& control, HardyPair& pair) {
    const Rule rule{control.centre, control.eps, 0.33333333333333 * control.eps, control.halvings, true, true, 32767};
    const auto term = [&control](double x, HardyPair& value) {
        double first = 0;
        double second = 0;
        control.f(x, control, first, second);
        value = {first * x, second * x, control.scale};
        return !control.failed;
    };
    return integrate(rule, term, pair);
}

}  // namespace vek
