// vekxpx_tables: the crossproduct triangle and the tolerances as tables.
#include "model/vekxpx_tables.h"

#include <algorithm>
#include <vector>

#include "frame/host_message.h"
#include "frame/table.h"

namespace vek {

namespace {

/// Element (i, j) of the raw crossproducts: those with y were taken about the origin, which is undone here.
double crossproduct_element(const void* context, int i, int j) {
    const MainBlock& F = *static_cast<const MainBlock*>(context);
    const ModelBlock& zgm = F.zgm;
    const int a = std::min(i, j), b = std::max(i, j);
    const double element = zgm.xpxrows[a][b];
    const int p = zgm.ncol;
    if (F.yorigin == nullptr || zgm.nabsorb > 0 || b < p) return element;
    const double ob = F.yorigin[b - p];
    if (a < p) return element + F.colsum[a] * ob;
    const double oa = F.yorigin[a - p];
    return element + F.colsum[a] * ob + F.colsum[b] * oa + zgm.sumw * oa * ob;
}

double inverse_element(const void* context, int i, int j) {
    const MainBlock& F = *static_cast<const MainBlock*>(context);
    const int a = std::min(i, j), b = std::max(i, j);
    return F.zgm.xpxrows[a][b] * F.colpivot[b];
}

void matout(const MainBlock& F, std::string_view name, const std::string& label, int title, MatrixElement element) {
    if (F.out == nullptr) return;
    const ModelBlock& zgm = F.zgm;
    std::vector<std::string_view> names;
    names.reserve(static_cast<std::size_t>(zgm.ncoly));
    for (int c = 0; c < zgm.ncol; ++c) {
        std::string_view cell(F.parmnames[c], sizeof F.parmnames[c]);
        names.push_back(cell.substr(0, cell.find_last_not_of(' ') + 1));
    }
    for (int k = 0; k < zgm.nyp; ++k) names.emplace_back(F.ynames[zgm.ylist[k]]);
    matrix_table(F.out, name, label, "Drim.VEK.XPX",
                 {.rownames = names, .columnnames = names, .element = element, .context = &F, .format = "ff", .width = 12},
                 {.title = rdvmsg(172, title), .width = 12});
}

}  // namespace

std::string dependents_heading(const MainBlock& F) {
    const ModelBlock& zgm = F.zgm;
    if (zgm.nyp == 1) return rdvmsg(172, 135, F.ynames[zgm.ylist[0]]);
    std::string text = rdvmsg(172, 247);
    for (int k = 0; k < zgm.nyp; ++k) text.append(" ").append(F.ynames[zgm.ylist[k]]);
    return text;
}

void print_crossproducts(const MainBlock& F) {
    matout(F, "XPX", rdvmsg(172, 379), F.zgm.nwgt > 0 ? 123 : 122, crossproduct_element);
}

void print_inverse(const MainBlock& F) {
    const int title = (F.rank == F.zgm.ncol ? 125 : 127) - (F.zgm.nwgt > 0 ? 1 : 0);
    matout(F, "InvXPX", rdvmsg(172, 380), title, inverse_element);
}

void print_tolerances(const MainBlock& F, const double* diagonal) {
    if (F.out == nullptr) return;
    const ModelBlock& zgm = F.zgm;
    std::string_view name;
    double type1 = 0, type2 = 0;
    Table t(F.out, "Tolerances", rdvmsg(172, 378));
    t.attribute("hdep", dependents_heading(F));
    t.text("Variable", 13, name).number("TypeITolerance", type1).number("TypeIITolerance", type2);
    t.bind("DRIM.VEK.Tolerances");
    for (int c = 0; c < zgm.ncol; ++c) {
        name = std::string_view(F.parmnames[c], sizeof F.parmnames[c]);
        name = name.substr(0, name.find_last_not_of(' ') + 1);
        const double swept = zgm.xpxrows[c][c];
        type1 = diagonal[c];
        type2 = swept == 0 ? 0 : 1 / swept;
        if (F.colss[c] > 0) {
            type1 /= F.colss[c];
            type2 /= F.colss[c];
        }
        t.row();
    }
    t.end();
}

}  // namespace vek
