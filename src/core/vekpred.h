// Prediction from the fitted model: x'b and x'Gx of the current design row.
#pragma once

#include "frame/mainblock.h"

namespace vek {

/// The solution and the inverse as vekss leaves them in the work area, with the places of the columns among the pivots.
class Prediction {
  public:
    /// Reads G and b again; `pool` keeps the arrays.
    Prediction(MainBlock& F, Pool* pool);

    /// Builds x from the current row of the model (zgm.cols, zgm.vals), which must be complete.
    void take_row(const ModelBlock& zgm);
    /// x'b for dependent variable k of the pass.
    double predicted(int k) const;
    /// x'Gx, the variance factor of the predicted value.
    double variance_factor() const;

    double estimate(int k, int place) const { return b_[static_cast<std::ptrdiff_t>(k) * rank_ + place]; }
    double diagonal(int place) const { return G_[place][place]; }
    int place(int column) const { return place_[column]; }  ///< among the pivot columns, or -1
    int rank() const { return rank_; }

  private:
    int rank_;
    double** G_;    // G_[i][j] for j >= i
    double* b_;
    int* place_;
    int* used_;     // places of the row's elements, ascending
    double* value_;
    int nused_ = 0;
};

}  // namespace vek
