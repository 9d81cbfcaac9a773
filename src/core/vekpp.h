// The common vocabulary of analysis-of-variance tables: a row of source, degrees of freedom, sum of squares, mean
// square, F and p; how its columns are defined and how it is completed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/mainblock.h"
#include "frame/table.h"

namespace vek {

/// A row of an analysis-of-variance table. The table's columns are bound to these fields.
struct AnovaRow {
    std::string_view label;
    std::int32_t df = 0;     ///< 0 means no test
    std::int32_t other = 0;  ///< 1 marks a Type IV row whose function is not unique
    double ss = 0;
    double ms = 0;
    double f = 0;
    double p = 0;
};

/// Defines the columns of a table over `row`, in their order, and binds the template. `sourcewidth` not above 0 takes
/// `efnamew`, the width of the longest effect name; the column is at least 20 wide. `pgg` and `phf` are adjusted
/// p-values with columns of their own, or null.
void vekdaov(Table& table, const AnovaRow& row, int ssdecimals, std::string_view path, bool hasother, const double* pgg,
             const double* phf, int sourcewidth, int efnamew);

/// Completes a row from its df and ss against the error term: ms, f, p. Sums of squares below 0 become 0; with df 0
/// nothing is tested; against an error of exactly 0 F is infinite (.I) with p 0.
void vekfaov(AnovaRow& row, const AnovaRow& error);

/// Name of a hypothesis type, 1 to 6; "Unknown" for others. 0 is the label of the Error row.
std::string_view type_name(const OptionState& F, int type);
/// Tells that the type which a statement's ETYPE= or HTYPE= asks for was not computed, and which one it takes.
void report_other_type(const OptionState& F, std::string_view option, int asked, int taken);
/// Header key "sstype": the name of type t.
void veksshd(Table& table, const OptionState& F, int type);
/// Header key "ehead": what error term the tests of this table use. `prefix` goes in front of the effect's name.
void vekerhd(Table& table, const OptionState& F, const Effect& effect, int type, std::string_view prefix = {});

/// Decimals of a column whose largest value is `value`: what fits into `width`, at most `limit`.
int vekpfmt(double value, int width, int limit);
/// Characters that the integer takes when printed.
int vekidig(std::int64_t i);

}  // namespace vek
