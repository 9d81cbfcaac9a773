// The beta function's logarithm, the incomplete beta ratio and its inverse, on which the F and t distributions rest.
#pragma once

namespace vek {

double zlbeta(double a, double b);
int zibeta(double x, double a, double b, double& p, double& d);
int zprobin(double p, double a, double b, double& x);

}  // namespace vek
