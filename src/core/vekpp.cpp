// vekpp: columns, rows and formats that all analysis-of-variance tables share.
#include "core/vekpp.h"

#include <algorithm>

#include "frame/host_message.h"
#include "numeric/fdist.h"
#include "numeric/missing.h"

namespace vek {

void vekdaov(Table& table, const AnovaRow& row, int ssdecimals, std::string_view path, bool hasother, const double* pgg,
             const double* phf, int sourcewidth, int efnamew) {
    constexpr int least_source_width = 20, ss_width = 12;
    table.text("Source", std::max(least_source_width, sourcewidth > 0 ? sourcewidth : efnamew), row.label);
    table.degrees("DF", row.df);
    if (hasother) table.integer("Other", row.other);
    table.number("SS", row.ss, ss_width, ssdecimals).number("MS", row.ms, ss_width, ssdecimals);
    table.number("FValue", row.f).number("ProbF", row.p);
    if (pgg != nullptr) table.number("ProbFGG", *pgg);
    if (phf != nullptr) table.number("ProbFHF", *phf);
    table.bind(path);
}

void vekfaov(AnovaRow& row, const AnovaRow& error) {
    constexpr double rounding = 1.110223024625157e-16;  // 2 to the -53
    row.ms = row.f = row.p = missing;
    if (row.df == 0) {
        row.ss = 0;
        return;
    }
    row.ss = std::max(row.ss, 0.0);
    const bool exact_fit = !wzmis(error.ms) && error.ms == 0;
    if (exact_fit && row.ss < rounding) row.ss = 0;
    row.ms = row.ss / row.df;
    if (error.df <= 0 || wzmis(error.ms)) return;
    if (error.ms != 0) {
        row.f = row.ms / error.ms;
        row.p = zprbf(row.f, row.df, error.df);
    } else if (row.ms != 0) {
        row.f = vzmissing('I');
        row.p = 0;
    }
}

std::string_view type_name(const OptionState& F, int type) {
    return type >= 0 && type <= 6 ? std::string_view(F.typenames[type]) : "Unknown";
}

void report_other_type(const OptionState& F, std::string_view option, int asked, int taken) {
    xpmlog(172, 994, option, asked, type_name(F, taken));
}

void veksshd(Table& table, const OptionState& F, int type) { table.attribute("sstype", type_name(F, type)); }

void vekerhd(Table& table, const OptionState& F, const Effect& effect, int type, std::string_view prefix) {
    table.attribute("ehead", rdvmsg(172, 173, type_name(F, type), std::string(prefix).append(effect.text())));
}

int vekpfmt(double value, int width, int limit) {
    const int decimals = zpfmt(value, width);
    return decimals < width && decimals > limit ? limit : decimals;
}

int vekidig(std::int64_t i) {
    int digits = i < 0 ? 2 : 1;
    for (; i >= 10 || i <= -10; i /= 10) ++digits;
    return digits;
}

}  // namespace vek
