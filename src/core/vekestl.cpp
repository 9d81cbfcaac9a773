// vekestl: for each effect, from the generating rows to the rows of Types III and IV, written as records of file 3.
#include "core/vekestl.h"

#include <algorithm>

#include "core/estimable_tables.h"
#include "core/zss.h"
#include "frame/host_message.h"
#include "frame/mainblock.h"
#include "model/vekutil.h"
#include "model/vekxpx.h"

namespace vek {

namespace {

constexpr int type3 = 3, type4_ = 4;

/// The rows of one hypothesis at a time, their work arrays, and the save area of file 2.
struct EstimableFunctions final : RowKeeper {
    MainBlock& F;
    HypothesisRows H;
    Type4Work work;
    int effect = 0;

    explicit EstimableFunctions(MainBlock& main) : F(main) {
        const int p = F.zgm.ncol;
        Pool* pool = F.zgm.pool;
        grow_work_area(F, std::int64_t{8} * p * p);
        std::fill_n(F.abase, static_cast<std::ptrdiff_t>(p) * p, 0.0);
        H.ncol = p;
        H.zeta = F.zeta;
        H.rows = array<double*>(pool, p);
        for (int i = 0; i < p; ++i) H.rows[i] = F.abase + static_cast<std::ptrdiff_t>(i) * p;
        H.active = array<std::int16_t>(pool, p);
        H.low = array<int>(pool, p);
        H.high = array<int>(pool, p);
        if ((F.sstypes & sstype_bit(type4_)) != 0) {
            work.level = array<int>(pool, p);
            work.saved = array<int>(pool, p);
            work.order = array<int>(pool, F.zgm.neff + 1);
            work.effectrows = array<int>(pool, p);
        }
    }

    bool wanted(int type) const { return (F.sstypes & sstype_bit(type)) != 0; }

    void read_generating_rows() {
        clear_rows(H);
        read_rows(F.pos2h);
    }

    /// Reads rows with their ranges; every row read is active.
    void read_rows(FilePosition position) {
        xcpntd(F.ufile2, position);
        RecordHeader header;
        while (get_header(F.ufile2, &header) && header.row < H.ncol) {
            xcget(F.ufile2, H.rows[header.row] + header.first, header.last - header.first);
            set_range(H, header.row, header.first, header.last);
            H.active[header.row] = 1;
        }
    }

    void SaveH() {
        xcpntd(F.ufile2, F.pos2end);
        for (int r = 0; r < H.ncol; ++r) {
            if (H.active[r] == 0) continue;
            put_record(F.ufile2, {.row = r, .first = H.low[r], .last = H.high[r]}, H.rows[r] + H.low[r]);
        }
        put_end_mark(F.ufile2, F.zgm.ncoly + 1);
    }
    void LoadH() {
        clear_rows(H);
        read_rows(F.pos2end);
    }
    void restore(HypothesisRows&) override { LoadH(); }

    void write_row(int row, int type) {
        int first = 0, last = 0;
        if (!veksubv(H.rows[row], H.ncol, &first, &last, H.zeta)) return;
        put_record(F.ufile3, {.row = row, .first = first, .last = last + 1, .effect = effect, .type = type},
                   H.rows[row] + first);
    }
    void emit(const HypothesisRows&, int row) override { write_row(row, type4_); }

    void writeh(int type) {
        for (int r = 0; r < H.ncol; ++r) {
            if (H.active[r] != 0) write_row(r, type);
        }
    }

    /// A column that is estimable by itself is its own function.
    void unit_function(int column) {
        clear_rows(H);
        H.active[column] = 1;
        H.rows[column][column] = 1;
        set_range(H, column, column, column + 1);
        F.t4unique[effect] = 1;
        for (int type : {type3, type4_}) {
            if (wanted(type)) writeh(type);
        }
        F.df3[effect] = F.df4[effect] = 1;
    }

    void make(int e) {
        effect = e;
        const EffectMod& mod = *F.zgm.modrecs[e];
        if (mod.ncols == 1 && F.biased[mod.firstcol] == 0) {
            unit_function(mod.firstcol);
            return;
        }
        read_generating_rows();
        const int df = zss_initialize(H, F.zgm, e);
        if (wanted(type4_)) SaveH();
        if (wanted(type3)) {
            zss_orthogonalize(H, F.zgm, e);
            writeh(type3);
            F.df3[e] = df;
        }
        if (wanted(type4_)) {
            if (wanted(type3)) LoadH();
            F.t4unique[e] = type4(H, F.zgm, e, work, *this) ? 1 : 0;
            F.df4[e] = df;
        }
    }
};

}  // namespace

void vekestl() {
    MainBlock& F = mainblock();
    const ModelBlock& zgm = F.zgm;
    constexpr int model_zeta = 3;
    F.zeta = F.modelstmt->slot(model_zeta).given() ? F.modelstmt->slot(model_zeta).value : 1e-8;
    F.pos3end = F.pos3t34;
    std::fill_n(F.t4unique, zgm.neff + 1, std::int16_t{1});
    EstimableFunctions functions(F);
    if (functions.wanted(type3) || functions.wanted(type4_)) {
        xcpntd(F.ufile3, F.pos3t34);
        for (int e = zgm.noint; e <= zgm.neff; ++e) functions.make(e);
    }
    put_end_mark(F.ufile3, zgm.ncoly + 1);
    xcnoted(F.ufile3, &F.pos3end);
    F.pos3app = F.pos3end;
    print_estimable_functions(F, functions.H);
}

}  // namespace vek
