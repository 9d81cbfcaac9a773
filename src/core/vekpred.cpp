// vekpred: the sparse design row against solution and inverse. A row has one element for each effect, so the quadratic
// form takes elements squared operations, however many columns there are.
#include "core/vekpred.h"

#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "numeric/packed.h"

namespace vek {

Prediction::Prediction(MainBlock& F, Pool* pool) : rank_(F.rank) {
    const ModelBlock& zgm = F.zgm;
    const std::int64_t r = rank_;
    grow_work_area(F, 8 * (triangle_size(r) + r * zgm.nyp));
    G_ = array<double*>(pool, r);
    double* next = F.abase;
    for (int i = 0; i < rank_; ++i) {
        G_[i] = next - i;
        next += rank_ - i;
    }
    b_ = next;
    get_inverse_rows(F, G_);
    get_solutions(F, zgm, b_);
    place_ = array<int>(pool, zgm.ncol);
    for (int c = 0, k = 0; c < zgm.ncol; ++c) place_[c] = F.colpivot[c] != 0 ? k++ : -1;
    used_ = array<int>(pool, zgm.neff + 1);
    value_ = array<double>(pool, zgm.neff + 1);
}

void Prediction::take_row(const ModelBlock& zgm) {
    // Which levels have no pivot column cannot be foreseen: they are written too, and the next element takes their
    // place.
    int used = 0;
    for (int i = zgm.noint; i <= zgm.neff; ++i) {
        const int p = place_[zgm.cols[i]];
        used_[used] = p;
        value_[used] = zgm.vals[i];
        used += p >= 0 ? 1 : 0;
    }
    nused_ = used;
}

double Prediction::predicted(int k) const {
    const double* b = b_ + static_cast<std::ptrdiff_t>(k) * rank_;
    double sum = 0;
    for (int i = 0; i < nused_; ++i) sum += value_[i] * b[used_[i]];
    return sum;
}

double Prediction::variance_factor() const {
    double sum = 0;
    for (int i = 0; i < nused_; ++i) {
        const double* row = G_[used_[i]];
        double later = 0;
        for (int j = i + 1; j < nused_; ++j) later += row[used_[j]] * value_[j];
        sum += (2 * later + row[used_[i]] * value_[i]) * value_[i];
    }
    return sum;
}

}  // namespace vek
