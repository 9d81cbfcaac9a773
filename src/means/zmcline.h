// zmcline: comparisons of means as lines: sorted means beside columns of letters, where means that share a letter do
// not differ significantly.
#pragma once

#include <string>
#include <vector>

#include "frame/statement.h"
#include "means/zmc.h"

namespace vek {

/// The lines of every requested method, one folder each. The means have been summarised (zmceknt); they are sorted
/// here.
void zmcline(const Statement& statement, McBlock& mc, HostObject* out);

/// Critical values of the methods whose value depends on how many means a span covers: entry s is for spans of s + 2
/// means, the smallest significant difference, or for REGWF an F value. False after a failure, which has been reported.
bool zmcrang(McMethod method, const McBlock& mc, std::vector<double>& range, HostObject* out);

/// For each mean, in sorted order, the last one that it cannot be told from (it may stand before the mean itself when
/// nothing new is joined). `range` is empty for methods with one critical value.
std::vector<int> stp(McMethod method, const McBlock& mc, const std::vector<double>& range);

/// The rows of letters: those of the means in order with a spacer between neighbours, each of `line_columns`
/// characters. Empty when more lines than columns run side by side.
constexpr int line_columns = 24;
std::vector<std::string> line_letters(const std::vector<int>& lineend);

}  // namespace vek
