// The gamma function's logarithm and the incomplete gamma ratio, on which the chi-square distribution rests.
#pragma once

namespace vek {

double zln1px(double x);
double zlgbern(double x);
double zlgamma(double x);
int zigamma(double x, double a, double& P, double& Q, double& d);
double wilhil(double a, double x, double& Q);

}  // namespace vek
