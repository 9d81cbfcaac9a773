// vekss: the matrix of sums of squares and crossproducts of each hypothesis, (Lb)'(L G L')^-1 (Lb), where only the
// independent rows of L count. G and b lie in the work area; rows of L are held by their nonzero coefficients on the
// pivot columns.
#include "core/vekss.h"

#include <algorithm>
#include <cmath>

#include "frame/host_message.h"
#include "frame/mainblock.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"
#include "numeric/kernels.h"
#include "numeric/packed.h"

namespace vek {

namespace {

/// Smallest magnitude of a coefficient that counts as present on the pivot columns.
constexpr double negligible = 1e-30;

/// One row of L over the pivot columns: `count` elements at `index`, or, when index is null, all from `low` on.
struct HypothesisRow {
    int low = 0, count = 0;
    const int* index = nullptr;
    const double* value = nullptr;
};

double dot(const HypothesisRow& row, const double* v) {
    if (row.index == nullptr) return zinner(row.value, v + row.low, row.count);
    double sum = 0;
    for (int k = 0; k < row.count; ++k) sum += row.value[k] * v[row.index[k]];
    return sum;
}

/// G, b and one hypothesis at a time.
class SumsOfSquares {
  public:
    explicit SumsOfSquares(MainBlock& main, int most_rows) : F(main), zgm(main.zgm), rank(main.rank) {
        const std::int64_t r = rank, m = most_rows;
        job = xmpoolc(zgm.pool, "sums of squares");
        const std::int64_t width = m + zgm.nyp;
        const std::int64_t doubles = triangle_size(r) + r * zgm.nyp + triangle_size(width);
        grow_work_area(F, doubles * 8);
        std::fill_n(F.abase, doubles, 0.0);
        G = array<double*>(job, r);
        double* next = F.abase;
        for (int i = 0; i < rank; ++i) {
            G[i] = next - i;  // G[i][j] for j >= i
            next += rank - i;
        }
        b = next;
        T_base = b + r * zgm.nyp;
        get_inverse_rows(F, G);
        get_solutions(F, zgm, b);
        place = array<int>(job, zgm.ncol);
        for (int c = 0, k = 0; c < zgm.ncol; ++c) place[c] = F.colpivot[c] != 0 ? k++ : -1;
        L = array<HypothesisRow>(job, m);
        T = array<double*>(job, m);
        tolerance = array<double>(job, m);
        v = array<double>(job, r);
        full = array<double>(job, zgm.ncol);
        ss = array<double>(job, F.triny);
    }
    ~SumsOfSquares() { xmpoold(job); }
    SumsOfSquares(const SumsOfSquares&) = delete;
    SumsOfSquares& operator=(const SumsOfSquares&) = delete;

    /// Reads the m rows of a hypothesis from the records of file 3 that follow; records of others are skipped.
    void ReadInL(int id, int m, int type);
    /// Makes T = (L G L' | L b) and, but for estimates, the reduced matrix, written to file 4. Returns the rank.
    int ComputeLpGL(int m, bool estimate);

    void read_first_header() { have_header = get_header(F.ufile3, &header); }
    const double* first_row() const { return T[0]; }
    void write_zero_matrix() {
        std::fill_n(ss, F.triny, 0.0);
        write_matrix();
    }

  private:
    void store_row(HypothesisRow& row);
    void multiply_by_inverse(const HypothesisRow& row);
    void write_matrix() {
        zcmprss(ss, F.yypack, zgm.nyp);
        xcput(F.ufile4, F.yypack, F.triny);
    }

    MainBlock& F;
    ModelBlock& zgm;
    int rank;
    Pool* job = nullptr;
    Pool* rows_pool = nullptr;  // of the hypothesis in hand
    double** G = nullptr;
    double* b = nullptr;
    double* T_base = nullptr;
    double** T = nullptr;      // T[i][j] for j >= i; columns from m on are L b
    int* place = nullptr;      // of a column among the pivot columns, or -1
    HypothesisRow* L = nullptr;
    double *tolerance = nullptr, *v = nullptr, *full = nullptr, *ss = nullptr;
    int lo = 0, hi = 0;        // pivot columns that the hypothesis touches
    RecordHeader header;
    bool have_header = false;
};

/// Keeps the coefficients of `full` on the pivot columns; as a list when they are few, else as a stretch.
void SumsOfSquares::store_row(HypothesisRow& row) {
    int count = 0, first = rank, last = -1;
    for (int c = 0; c < zgm.ncol; ++c) {
        if (place[c] < 0 || full[c] == 0) continue;
        first = std::min(first, place[c]);
        last = place[c];
        ++count;
        if (std::fabs(full[c]) > negligible) {
            lo = std::min(lo, place[c]);
            hi = std::max(hi, place[c]);
        }
    }
    row = {};
    if (count == 0) return;
    const int stretch = last - first + 1;
    const bool list = 2 * count < stretch;
    double* value = array<double>(rows_pool, list ? count : stretch);
    int* index = list ? array<int>(rows_pool, count) : nullptr;
    int k = 0;
    for (int c = 0; c < zgm.ncol; ++c) {
        if (place[c] < 0 || full[c] == 0) continue;
        if (list) {
            index[k] = place[c];
            value[k++] = full[c];
        } else {
            value[place[c] - first] = full[c];
        }
    }
    row = {.low = first, .count = list ? count : stretch, .index = index, .value = value};
}

void SumsOfSquares::ReadInL(int id, int m, int type) {
    xmpoold(rows_pool);
    rows_pool = xmpoolc(job, "hypothesis rows");
    lo = rank;
    hi = -1;
    FilePosition here = 0;
    while (have_header && !(header.effect == id && header.type == type)) {
        xcnoted(F.ufile3, &here);
        xcpntd(F.ufile3, here + std::int64_t{8} * (header.last - header.first));
        have_header = get_header(F.ufile3, &header);
    }
    for (int k = 0; k < m; ++k) {
        L[k] = {};
        if (!have_header || header.effect != id || header.type != type) continue;
        // Several records of one row: the last stands.
        const int row = header.row;
        while (have_header && header.row == row && header.effect == id && header.type == type) {
            std::fill_n(full, zgm.ncol, 0.0);
            xcget(F.ufile3, full + header.first, header.last - header.first);
            have_header = get_header(F.ufile3, &header);
        }
        store_row(L[k]);
    }
    hi += 1;
}

/// v = row G over the columns lo to hi - 1; G is symmetric and stored as its upper triangle.
void SumsOfSquares::multiply_by_inverse(const HypothesisRow& row) {
    std::fill(v + lo, v + std::max(lo, hi), 0.0);
    const auto element = [&](int k) { return row.index != nullptr ? row.index[k] : row.low + k; };
    for (int k = 0; k < row.count; ++k) {
        const int i = element(k);
        if (row.value[k] == 0 || i < lo || i >= hi) continue;
        zvxay11(v + i, G[i] + i, hi - i, row.value[k]);
    }
    // What lies left of the diagonal: column i of the rows above it.
    if (row.index == nullptr) {
        const int end = row.low + row.count;
        for (int c = lo; c < hi && c < end - 1; ++c) {
            const int from = std::max(c + 1, row.low);
            v[c] += zinner(row.value + (from - row.low), G[c] + from, end - from);
        }
        return;
    }
    for (int k = 0; k < row.count; ++k) {
        const int i = row.index[k];
        for (int c = lo; c < std::min(i, hi); ++c) v[c] += row.value[k] * G[c][i];
    }
}

int SumsOfSquares::ComputeLpGL(int m, bool estimate) {
    const int width = m + zgm.nyp;
    double* next = T_base;
    for (int i = 0; i < m; ++i) {
        T[i] = next - i;
        next += width - i;
    }
    for (int i = 0; i < m; ++i) {
        multiply_by_inverse(L[i]);
        for (int j = i; j < m; ++j) T[i][j] = dot(L[j], v);
        for (int k = 0; k < zgm.nyp; ++k) T[i][m + k] = dot(L[i], b + static_cast<std::ptrdiff_t>(k) * rank);
    }
    if (estimate) return 0;
    std::fill_n(ss, F.triny, 0.0);
    for (int i = 0; i < m; ++i) tolerance[i] = T[i][i] * F.singular;
    int independent = 0;
    for (int i = 0; i < m; ++i) {
        const double d = T[i][i];
        if (!(d > tolerance[i])) continue;
        ++independent;
        double* element = ss;
        for (int a = 0; a < zgm.nyp; ++a) {
            for (int c = a; c < zgm.nyp; ++c) *element++ += T[i][m + a] * T[i][m + c] / d;
        }
        for (int j = i + 1; j < m; ++j) {
            if (T[i][j] != 0) zvxay11(T[j] + j, T[i] + j, width - j, -(T[i][j] / d));
        }
    }
    write_matrix();
    return independent;
}

int largest(const int* df, int n) { return *std::max_element(df, df + n); }

/// Rows of the largest hypothesis of the model.
int most_model_rows(const MainBlock& F) {
    int m = std::max(1, largest(F.df1, F.lny));
    const int* df[] = {nullptr, nullptr, F.df2, F.df3, F.df4};
    for (int t = 2; t <= 4; ++t) {
        if ((F.sstypes & sstype_bit(t)) != 0) m = std::max(m, largest(df[t], F.lny));
    }
    return m;
}

void model_matrices(MainBlock& F, SumsOfSquares& sums) {
    const ModelBlock& zgm = F.zgm;
    for (int type : {3, 4}) {
        xcnoted(F.ufile4, &F.pos4type[type]);
        if ((F.sstypes & sstype_bit(type)) == 0) continue;
        const int* df = type == 3 ? F.df3 : F.df4;
        xcpntd(F.ufile3, F.pos3t34);
        sums.read_first_header();
        for (int e = zgm.noint; e <= zgm.neff; ++e) {
            if (df[e] < 1) {
                sums.write_zero_matrix();
                continue;
            }
            sums.ReadInL(e, df[e], type);
            sums.ComputeLpGL(df[e], false);
        }
    }
    put_end_mark(F.ufile4, -1);
    xcnoted(F.ufile4, &F.pos4type[matrix_contrast]);
}

}  // namespace

void vekss(int mode, Statement* statement) {
    MainBlock& F = mainblock();
    constexpr int contrast_row_ends = 4;
    int m = 1;
    if (mode == vekss_model) m = most_model_rows(F);
    if (std::abs(mode) == vekss_contrast) m = statement->slot(contrast_row_ends).count;
    SumsOfSquares sums(F, m);
    if (mode < 0) return;
    if (mode == vekss_model) {
        xcpntd(F.ufile4, F.pos4type[3]);
        model_matrices(F, sums);
        return;
    }
    xcpntd(F.ufile3, F.pos3end);
    sums.read_first_header();
    if (mode == vekss_contrast) {
        sums.ReadInL(F.ncontrast, m, row_type_contrast);
        xcpntd(F.ufile4, F.pos4type[matrix_contrast] + (F.ncontrast - 1) * F.trinyb);
        statement->rank = sums.ComputeLpGL(m, false);
        return;
    }
    sums.ReadInL(F.nestimate, 1, row_type_estimate);
    sums.ComputeLpGL(1, true);
    statement->estimate = array<double>(F.zgm.pool, F.zgm.nyp + 1);
    std::copy_n(sums.first_row(), F.zgm.nyp + 1, statement->estimate);
}

}  // namespace vek
