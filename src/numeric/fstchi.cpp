// Turns an integrand and degrees of freedom into a mean under the chi-square weight: adaptively for few degrees of
// freedom, by a Gauss rule of seven nodes for many.
#include "numeric/fstchi.h"

#include <cmath>

#include "numeric/hardy.h"

namespace vek {

namespace {

constexpr int nodes = 7;

// Row i fits node i over a, largest node first, by
//   (t0 + u(t1 + u(t2 + u(t3 + u t4)))) / (1 + u(t5 + u(t6 + u(t7 + u t8)))),  u = sqrt(1/a) up to sqrt(1/50).
// As u goes to 0 the nodes go to 1, so rows with t0 = 1 are exact there relative to u. Worst error over u: first row
// 6e-8 (it was fitted for a from 20 on), the others 1e-10.
constexpr double root1[nodes][9] = {
    {1.000000000035721, 2.2618736257693928, 8.558756050033258, 10.415620061013648, 11.395770096656262,
     -1.4885660796046452, 4.452932323015852, -4.2667322287304925, 2.15743434055138},
    {1.0, 1.2622098236309778, 8.454925890163976, 6.265498025413978, 14.647919152778053, -1.104549587015692,
     4.201945575457319, -3.365653900315116, 1.7124679750637184},
    {1.0, 1.071525699881226, 9.004561200041662, 5.65832728168921, 18.24663729445705, -0.08287969484454034,
     3.656020684112301, -1.5207359125364528, 0.7477089992026498},
    {1.0, 0.025657241547786647, 10.525689166472606, 0.13115541740299327, 27.098476723484325, 0.02565724155091976,
     5.525689163617373, 0.002869635921536002, 0.0033401041734386185},
    {1.0, -0.598309018109683, 8.103692512384978, -3.01223834480047, 14.377110026386777, 0.5560963766925463,
     3.301435840034502, 1.1812059326609166, 0.029766218391505617},
    {1.0, -1.0452095863144564, 7.880285577479551, -4.937967600956963, 12.665013624675062, 1.3215498245224875,
     4.140892595885523, 3.058531474330915, 0.9995115947233207},
    {1.0, -1.0869450944383547, 7.209161872671823, -4.8306207542052455, 9.856548040375367, 2.6634946233020975,
     7.509838532251307, 9.93318507620675, 6.8317312410031406},
};

double node(const double (&t)[9], double u) {
    const double numerator = t[0] + u * (t[1] + u * (t[2] + u * (t[3] + u * t[4])));
    const double denominator = 1 + u * (t[5] + u * (t[6] + u * (t[7] + u * t[8])));
    return numerator / denominator;
}

// The Christoffel number at x: one over the sum of squares of the orthonormal polynomials of degree 0 to 6.
double gauss_weight(double x, double a) {
    double before = 0;
    double p = 1;
    double off_diagonal = 0;
    double squares = 1;
    for (int k = 1; k < nodes; ++k) {
        const double ratio = k / a;
        const double next_off_diagonal = std::sqrt(ratio * ratio + ratio);
        const double diagonal = (2 * k - 1) / a + 1;
        const double next = (-off_diagonal * before - (diagonal - x) * p) / next_off_diagonal;
        before = p;
        p = next;
        off_diagonal = next_off_diagonal;
        squares += p * p;
    }
    return 1 / squares;
}

struct AdaptiveControl : HardyControl {
    AdaptiveControl(double (*mixed)(double x, ChiMixture& mixture), ChiMixture& shared)
        : integrand(mixed), mixture(shared) {}
    double (*integrand)(double x, ChiMixture& mixture);
    ChiMixture& mixture;
};

double adaptive_integrand(double x, HardyControl& control) {
    AdaptiveControl& own = static_cast<AdaptiveControl&>(control);
    const double value = own.integrand(x, own.mixture);
    own.failed = own.mixture.failed;
    return value;
}

}  // namespace

int zfstchi(double (*f)(double x, ChiMixture& mixture), double df, ChiMixture& mixture, double& r, double centre,
            int halvings) {
    r = 0;
    if (!(df >= 1)) return 1;
    if (df < 7 || mixture.state == -1) {
        mixture.state = 1;
        AdaptiveControl control(f, mixture);
        control.f = adaptive_integrand;
        control.centre = centre;
        control.eps = 1e-08;
        control.halvings = halvings;
        return zhrdys(control, r);
    }
    mixture.state = 2;
    const double a = df / 2 - 1;
    const double u = std::sqrt(1 / a);
    for (const auto& row : root1) {
        const double x = node(row, u);
        const double value = f(a * x, mixture);
        if (mixture.failed) return 1;
        r += gauss_weight(x, a) * value;
    }
    return 0;
}

}  // namespace vek
