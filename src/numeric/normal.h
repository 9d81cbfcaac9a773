// The error functions, the standard normal distribution function in a full and a tabled form, and its quantile.
#pragma once

namespace vek {

void calerf(double x, double& r, int flag);
double zferf(double x);
double zferfc(double x);
double zprbnrm(double x);
double znrm(double x);
double zprobit(double p);
double szprobit(double p);

}  // namespace vek
