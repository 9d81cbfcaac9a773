// Estimable functions of one effect out of the generating rows H = (X'X)^- X'X.
#pragma once

#include <cstdint>

#include "model/fitstate.h"
#include "model/zgm.h"

namespace vek {

/// The square of generating rows that a hypothesis is made from. Row i is function Li; outside of [low, high) its
/// coefficients are zero, so that row operations can leave them out.
struct HypothesisRows {
    int ncol = 0;
    double zeta = 1e-8;               ///< a coefficient is present when its absolute value is above this
    double** rows = nullptr;          ///< [ncol][ncol]
    std::int16_t* active = nullptr;   ///< [ncol] 1: the row belongs to the hypothesis
    int *low = nullptr, *high = nullptr;  ///< [ncol]
};

/// Empties all rows and makes them inactive.
void clear_rows(HypothesisRows& H);
/// Sets the range of a row after its elements from `first` to `last` - 1 were stored.
void set_range(HypothesisRows& H, int row, int first, int last);

/// Reduces the generating rows to functions of effect e and the effects that contain it. Returns the number of active
/// rows among e's columns: the degrees of freedom of e in Types III and IV.
int zss_initialize(HypothesisRows& H, const ModelBlock& zgm, int e);

/// Makes the rows of e orthogonal to those of the containing effects: the Type III functions. Only they stay active.
void zss_orthogonalize(HypothesisRows& H, const ModelBlock& zgm, int e);

/// Column of `tested` (0-based, its number of columns when there is none) that column c of `containing` belongs to: the
/// one with the same levels of tested's class variables. 0 when tested has none.
int SetLevel(const Effect& containing, int c, const Effect& tested);

/// What Type IV needs beside the rows.
struct Type4Work {
    int* level = nullptr;      ///< [ncol] column of the tested effect that a column belongs to, or -1
    int* saved = nullptr;      ///< [ncol] copy of level
    int* order = nullptr;      ///< [neff + 1] class variables of a containing effect, else 0
    int* effectrows = nullptr; ///< [ncol] active rows of the tested effect
};

/// Makes the Type IV functions of e from the rows that zss_initialize left, by equal shares over the cells of the
/// containing effects. `keep` saves and restores the rows (it is called with save true once, by the caller, before);
/// `emit` is called for each finished row. Returns false when the functions depend on a choice among empty cells.
class RowKeeper {
  public:
    virtual void restore(HypothesisRows& H) = 0;
    virtual void emit(const HypothesisRows& H, int row) = 0;

  protected:
    ~RowKeeper() = default;
};
bool type4(HypothesisRows& H, const ModelBlock& zgm, int e, Type4Work& work, RowKeeper& keeper);

}  // namespace vek
