// What the tables of one dependent variable share.
#pragma once

#include <cstdint>

#include "core/vekpp.h"
#include "core/vektabl.h"
#include "frame/mainblock.h"

namespace vek {

/// One dependent variable of the pass while its tables are made.
struct DependentReport {
    const MainBlock& F;
    int k;               ///< its place among the dependent variables of the pass
    HostObject* out;     ///< null when nothing is printed
    double* matrix;      ///< [triny] scratch for a matrix of file 4
    AnovaRow error;      ///< df, ss and ms of the error term
    const char* name;

    /// Its diagonal element of the matrix of a type and effect.
    double effect_ss(int type, int effect) const;
    double contrast_ss(int contrast) const;
};

/// Degrees of freedom of an effect in type t, where 6 counts as 1; -9999 for any other type.
int effect_df(const FitState& F, int type, int effect);
/// First effect with a row of its own: the intercept only with the INTERCEPT option or in a model without effects.
int first_reported_effect(const MainBlock& F);
/// Ends the error term of a test from its df and ss: ms is missing without df, and never negative.
AnovaRow error_term(const DependentReport& report, const Effect& effect, int type);

void print_contrasts(const DependentReport& report, IndexRange range);
void print_alternate_tests(const DependentReport& report, IndexRange range);
void print_alternate_contrasts(const DependentReport& report, IndexRange range);
void print_estimates(const DependentReport& report, IndexRange range);

}  // namespace vek
