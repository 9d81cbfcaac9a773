// The sums of a pass while its rows are added. A row of X is split in two: elements without class part have one column
// each and form a short dense vector; an element with class part adds that vector, times its own value, to the sums of
// its current column. fold_sums spreads the sums over the triangle of X'X. Every element of the triangle receives its
// rows one after the other, as in the loop over zgmacc and zgmscp, so the digits are the same.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "model/zgm.h"
#include "model/zgmbld.h"
#include "numeric/crossproduct.h"

namespace vek {

struct LevelPass;

constexpr int no_source = std::numeric_limits<int>::min();

/// An element with class part.
struct ClassElement {
    const Effect* effect;
    int levset;
    int source;        // of the continuous part, as RowSums::source; no_source for a pure class effect
    int before;        // fixed slots of earlier elements
    int capacity;      // places that `sums` has room for
    double* sums;      // [capacity][width] products with the fixed part; a place is a column, or a level number
    int* place;        // [batch] of the batch's rows
    double* value;     // [batch] 1 for a pure class effect
    double* weighted;  // [batch] value * weight
};

struct RowSums {
    Pool* pool = nullptr;
    bool by_level = false;  // places of class elements are level numbers: X is not laid out yet
    int ndependents = 0;
    const int* dependents = nullptr;  // [ndependents] indexes

    // The fixed part. Slot 0 is the constant 1, whether or not X has an intercept: sums with it are the column sums.
    // The last slots are the dependent variables.
    int nfixed = 0;
    int width = 0;          // nfixed rounded up to what the loops take at once; the slots beyond hold 0
    int* source = nullptr;  // [nfixed] index into the values of a record (dependents, regressors), or ~k for product k
    double** square = nullptr;            // [nfixed] row i, from element i on: sums of products within the fixed part
    double* largest = nullptr;            // [width] of |value|
    double* smallest = nullptr;           // [width]
    std::optional<Crossproduct> blocked;  // adds to `square` when the fixed part is long

    int nclass = 0;
    ClassElement* element = nullptr;
    int npairs = 0;
    struct Pair {
        int first, second;  // class elements whose products must be added row by row
    }* pair = nullptr;

    int nloose = 0;
    int* loose = nullptr;        // regressors and products whose sums are no column sums: all with a WEIGHT variable
    double* loosesum = nullptr;  // [nreg + nprod]
    double frequencies = 0;      // their sum

    bool shift = false;        // the first row's dependent values are taken off all rows
    bool first = true;         // no row has been added
    double* origin = nullptr;  // [ndependents]

    // the batch: some usable rows, taken apart
    int capacity = 0, count = 0;
    double* frequency = nullptr;  // [capacity]
    double* weight = nullptr;     // [capacity] frequency * weight
    double* product = nullptr;    // [capacity][nprod] products of regressors
    double* value = nullptr;      // [capacity][width] the fixed part
    double* scaled = nullptr;     // [capacity][width] value * weight; value itself for data without weights
};

/// Prepares sums that are all 0. `by_level` for rows that come before X is laid out.
void make_row_sums(RowSums& sums, const ModelBlock& zgm, Pool* pool, bool by_level, int ndependents,
                   const int* dependents, bool shift);
/// Sets all sums to 0 again, before the level lists of the last group are emptied.
void clear_row_sums(RowSums& sums, const ModelBlock& zgm);
/// Makes room for `levels` places of an element.
void reserve_places(RowSums& sums, ClassElement& element, int levels);
/// True when a class element has a continuous part, or products of class elements must be added row by row.
bool needs_layout(const RowSums& sums);

/// Adds the sums to zgm.xpxrows, zgm.colsum and zgm.sumw, and fills the statistics.
void fold_sums(RowSums& sums, ModelBlock& zgm, const ColumnStatistics& statistics);

/// Where value k, of the regressors and then the products, stands in a row: as RowSums::source.
inline int value_source(const ModelBlock& zgm, int k) { return k < zgm.nreg ? zgm.ny + k : ~(k - zgm.nreg); }

/// Adds the usable rows of the chunk that the level pass works on; X is not laid out yet.
void add_chunk(ModelBlock& zgm, const LevelPass& pass, RowSums& sums);

}  // namespace vek
