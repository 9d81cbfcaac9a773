// The critical value of the Bayes k-ratio comparison of means: the t at which the cost of declaring a difference equals
// the cost of not declaring it, given the F ratio among the means and the ratio of the seriousness of the two errors.
#pragma once

namespace vek {

// calck(t, q, dfe, fratio, k): k = the k-ratio at which a difference of t standard errors is just declared.
//   domain    t > 0, q >= 1 (degrees of freedom among means), dfe >= 1, fratio >= 0
//   result    0 done; 1 bad arguments, or an integral that failed or vanished
//   method    ratio of two integrals over the prior variance ratio b > 0, by zhrdyv with tolerance 1e-06 (Waller and
//             Duncan, JASA 64 (1969)). The integrand's common scale starts at the first value that the integrand takes,
//             so that no degrees of freedom make it vanish
//   accuracy  relative 2e-08 in k
//   cost      60 to 300 incomplete beta ratios; no allocation, no state
//   tests     tests/numeric/calck.tsv
int calck(double t, double q, double dfe, double fratio, double& k);

// zbayest(kratio, fratio, q, dfe, crit): crit = the t whose k-ratio is kratio.
//   domain    kratio > 1, fratio >= 0, q and dfe >= 1; both are capped at 1e8
//   result    0 found; -1 found, with q or dfe capped; 1 failure (crit untouched)
//   method    doubling or halving from t = 1, then a secant on the logarithms of t and k - 1; at most 30 calls of calck
//   accuracy  absolute 1e-05 in t
//   cost      4 to 10 calls of calck
//   tests     tests/numeric/zbayest.tsv
int zbayest(double kratio, double fratio, double q, double dfe, double& crit);

}  // namespace vek
