// zmclimits: comparisons of means as intervals: confidence limits of single means, and of the differences of pairs or
// from a control.
#pragma once

#include "frame/statement.h"
#include "means/zmc.h"

namespace vek {

/// Limits of the means by every requested method that has them.
void zmcmean(const Statement& statement, const McBlock& mc, HostObject* out);

/// Limits of the differences by every requested method that has them. A Dunnett test whose control level is empty is
/// left out.
void zmcpair(const Statement& statement, const McBlock& mc, HostObject* out);

}  // namespace vek
