// Tail probabilities and quantiles of the F, t and chi-square distributions.
#pragma once

namespace vek {

double zprbf(double f, double df1, double df2);
double zpgt2(double x, double df);
double zpgx2(double x, double df);
int zqt(double p, double df, double& t);
double zqunf(double p, double df1, double df2);
bool zqf(double p, double df1, double df2, double& f);

}  // namespace vek
