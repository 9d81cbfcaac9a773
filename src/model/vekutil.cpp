// vekutil: turns rows and matrices of the fit into records of the utility files and back.
#include "model/vekutil.h"

#include <algorithm>
#include <cmath>

#include "frame/host_message.h"
#include "numeric/missing.h"
#include "numeric/packed.h"

namespace vek {

void vekutop(UtilityFile** file, FilePosition position, FilePosition* note) {
    if (*file == nullptr) {
        if (xcopen(file, "UTILITY") < 0) {
            xpmlog(172, 2);
            xexit(1020, 910);
        }
    } else if (position > 0) {
        xcpntd(*file, position);
    }
    if (note != nullptr) xcnoted(*file, note);
}

void put_record(UtilityFile* file, const RecordHeader& header, const double* values) {
    if (xcput(file, &header) != 0 || xcput(file, values, header.last - header.first) != 0) {
        xpmlog(172, 16);
        xexit(120, 911);
    }
}

void put_end_mark(UtilityFile* file, int row) {
    const RecordHeader mark{.row = row, .first = -1, .last = -1, .effect = -1, .type = 0};
    put_record(file, mark, nullptr);
}

bool get_header(UtilityFile* file, RecordHeader* header) {
    return xcget(file, header) == 0 && header->first >= 0;
}

void vekugma(UtilityFile* file, FilePosition position, double* const* rows, std::int16_t* active, int n) {
    if (active != nullptr) std::fill_n(active, n, std::int16_t{0});
    xcpntd(file, position);
    RecordHeader header;
    while (get_header(file, &header) && header.row < n) {
        xcget(file, rows[header.row] + header.first, header.last - header.first);
        if (active != nullptr) active[header.row] = 1;
    }
}

void get_inverse_rows(const FitState& F, double* const* rows) { vekugma(F.ufile2, F.pos2g, rows, nullptr, F.rank); }

void get_solutions(const FitState& F, const ModelBlock& zgm, double* b) {
    xcpntd(F.ufile2, F.pos2b);
    RecordHeader header;
    while (get_header(F.ufile2, &header) && header.row < zgm.nyp) {
        xcget(F.ufile2, b + static_cast<std::ptrdiff_t>(header.row) * F.rank, F.rank);
    }
}

void get_generating_rows(const FitState& F, const ModelBlock& zgm, double* const* rows, std::int16_t* active) {
    vekugma(F.ufile2, F.pos2h, rows, active, zgm.ncol);
}

FilePosition matrix_position(const FitState& F, const ModelBlock& zgm, int type, int effect) {
    // Matrices stand in the order of the effects; without an intercept the first is that of effect 1.
    return F.pos4type[type] + (effect - zgm.noint) * F.trinyb;
}

namespace {

void get_matrix_at(const FitState& F, FilePosition position, double* target) {
    xcpntd(F.ufile4, position);
    xcget(F.ufile4, target, F.triny);
}

}  // namespace

void get_matrix(const FitState& F, const ModelBlock& zgm, int type, int effect, double* target) {
    get_matrix_at(F, matrix_position(F, zgm, type, effect), target);
}

void get_error_matrix(const FitState& F, double* target) { get_matrix_at(F, F.pos4type[matrix_error], target); }

void get_contrast_matrix(const FitState& F, int contrast, double* target) {
    get_matrix_at(F, F.pos4type[matrix_contrast] + (contrast - 1) * F.trinyb, target);
}

double error_ss(const FitState& F, int k) {
    get_error_matrix(F, F.yypack);
    return std::max(0.0, F.yypack[zisub(k, k)]);
}

double error_ms(const FitState& F, double sse) {
    return F.dferror < 1 ? missing : sse / static_cast<double>(F.dferror);
}

bool veksubv(const double* x, int n, int* first, int* last, double zeta) {
    int a = 0;
    while (a < n && std::fabs(x[a]) < zeta) ++a;
    if (a == n) return false;
    int b = n - 1;
    while (std::fabs(x[b]) < zeta) --b;
    *first = a;
    *last = b;
    return true;
}

void vekuput(FitState& F, const ModelBlock& zgm, int type, int number, const double* rows, int count) {
    xcpntd(F.ufile3, F.pos3app);
    for (int i = 0; i < count; ++i) {
        const double* row = rows + static_cast<std::ptrdiff_t>(i) * zgm.ncol;
        int first = 0, last = 0;
        if (!veksubv(row, zgm.ncol, &first, &last, F.zeta)) continue;
        put_record(F.ufile3, {.row = i, .first = first, .last = last + 1, .effect = number, .type = type},
                   row + first);
    }
    xcnoted(F.ufile3, &F.pos3app);
    put_end_mark(F.ufile3, -1);
}

}  // namespace vek
