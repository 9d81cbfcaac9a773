// zmcline: from sorted means and critical values to letters: the step-down search finds for each mean how far its line
// reaches, and lines become letters in the columns of a table.
#include "means/zmcline.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

#include "frame/host_message.h"
#include "frame/table.h"
#include "means/options.h"
#include "numeric/kernels.h"
#include "numeric/missing.h"
#include "numeric/significance.h"

namespace vek {

namespace {

constexpr int significant_digits = 4, mean_width = 10;
constexpr double half_root = 0.7071067811865476;

bool has_ranges(McMethod method) {
    return method == McMethod::duncan || method == McMethod::snk || method == McMethod::regwf ||
           method == McMethod::regwq;
}

/// Level of a span of p means that keeps the error rate of the whole family.
double regw_level(const McBlock& mc, int p) {
    const int k = mc.nact;
    return p >= k - 1 ? mc.alpha : 1 - std::pow(1 - mc.alpha, static_cast<double>(p) / k);
}

double range_difference(const McBlock& mc, double conf, int p) {
    const double q = mc.quantiles->find(QuantileCache::Kind::range, conf, mc.dfe, {static_cast<double>(p)});
    return wzmis(q) ? q : q * mc.se * half_root;
}

/// Duncan, SNK and REGWF: from the shortest span upward; the first failure ends the method.
bool ascending_ranges(McMethod method, const McBlock& mc, std::vector<double>& range, HostObject* out) {
    for (std::size_t s = 0; s < range.size(); ++s) {
        wtpoll();
        const int p = static_cast<int>(s) + 2;
        McQuantile what = McQuantile::range;
        switch (method) {
            case McMethod::duncan:
                range[s] = range_difference(mc, std::pow(1 - mc.alpha, p - 1), p);
                what = McQuantile::duncan;
                break;
            case McMethod::regwf:
                range[s] = mc.quantiles->find(QuantileCache::Kind::f, regw_level(mc, p), mc.dfe, {p - 1.0});
                what = McQuantile::f;
                break;
            default:
                range[s] = range_difference(mc, 1 - mc.alpha, p);
        }
        if (wzmis(range[s])) {
            zmcfail(what, mc.alpha, p, mc.dfe, out);
            return false;
        }
    }
    return true;
}

/// REGWQ: from the longest span downward. A span without quantile takes the value of the next longer one, also when
/// that was taken over itself: a zero there would declare every difference significant.
bool descending_ranges(const McBlock& mc, std::vector<double>& range, HostObject* out) {
    bool failed = false;
    for (std::size_t s = range.size(); s-- > 0;) {
        wtpoll();
        const int p = static_cast<int>(s) + 2;
        const double level = regw_level(mc, p);
        range[s] = range_difference(mc, 1 - level, p);
        if (!wzmis(range[s])) continue;
        zmcfail(McQuantile::range, level, p, mc.dfe, out);
        if (s + 1 == range.size()) return false;
        failed = true;
        range[s] = range[s + 1];
    }
    if (failed) {
        report_note(out, rdvmsg(183, 8));
        return true;
    }
    for (std::size_t s = 1; s < range.size(); ++s) range[s] = std::max(range[s], range[s - 1]);
    return true;
}

/// Corrected sum of squares.
double css(const double* x, std::ptrdiff_t n) {
    const double sum = zvsum(x, n);
    return zinner(x, x, n) - sum * sum / static_cast<double>(n);
}

struct LineTexts {
    std::string title, second, heading;
};

LineTexts line_texts(McMethod method, const std::string& name) {
    switch (method) {
        case McMethod::duncan:
            return {rdvmsg(183, 22, name), rdvmsg(183, 23), rdvmsg(183, 70)};
        case McMethod::waller:
            return {rdvmsg(183, 33, name), rdvmsg(183, 34), rdvmsg(183, 68)};
        case McMethod::snk:
            return {rdvmsg(183, 31, name), rdvmsg(183, 32), rdvmsg(183, 71)};
        case McMethod::t:
            return {rdvmsg(183, 35, name), rdvmsg(183, 36), rdvmsg(183, 69)};
        case McMethod::smm:
            return {rdvmsg(183, 37, name), rdvmsg(183, 25), rdvmsg(183, 75)};
        case McMethod::scheffe:
            return {rdvmsg(183, 29, name), rdvmsg(183, 27), rdvmsg(183, 78)};
        case McMethod::tukey:
            return {rdvmsg(183, 24, name), rdvmsg(183, 25), rdvmsg(183, 74)};
        case McMethod::bon:
            return {rdvmsg(183, 38, name), rdvmsg(183, 25), rdvmsg(183, 77)};
        case McMethod::sidak:
            return {rdvmsg(183, 39, name), rdvmsg(183, 25), rdvmsg(183, 76)};
        case McMethod::regwf:
            return {rdvmsg(183, 28, name), rdvmsg(183, 27), rdvmsg(183, 72)};
        case McMethod::regwq:
            return {rdvmsg(183, 26, name), rdvmsg(183, 27), rdvmsg(183, 73)};
        default:
            return {};
    }
}

std::string critical_label(McMethod method) {
    switch (method) {
        case McMethod::scheffe:
            return rdvmsg(183, 13);
        case McMethod::tukey:
            return rdvmsg(183, 14);
        case McMethod::smm:
            return rdvmsg(183, 15);
        default:
            return rdvmsg(183, 11);
    }
}

void print_information(McMethod method, const McBlock& mc, bool ranged, HostObject* out) {
    Factoids info(out, "MCLinesInfo", rdvmsg(183, 130), "drim.VEK.SquashFact");
    const double dfe = mc.dfe;
    if (method == McMethod::waller) {
        info.item(rdvmsg(183, 116), mc.kratio, 8, best_decimals);
        info.item(rdvmsg(183, 117), dfe, 8, best_decimals);
        info.item(rdvmsg(183, 9), mc.mse, 8, best_decimals);
        info.item(rdvmsg(183, 10), mc.fratio, 7, 2);
    } else {
        info.item(rdvmsg(183, 12), mc.alpha, 8, best_decimals);
        info.item(rdvmsg(183, 117), dfe, 8, best_decimals);
        info.item(rdvmsg(183, 9), mc.mse, 8, best_decimals);
    }
    if (!ranged) {
        info.item(critical_label(method), method == McMethod::scheffe ? mc.crit * mc.crit : mc.crit, 8, 5);
        info.item(method == McMethod::t ? rdvmsg(183, 16) : rdvmsg(183, 17), mc.msd, 6, best_decimals);
    }
    if (!mc.balanced) info.item(mc.fracw ? rdvmsg(183, 114) : rdvmsg(183, 19), mc.nharm, 8, best_decimals);
    info.end();
    if (!mc.balanced) report_note(out, mc.fracw ? rdvmsg(183, 113) : rdvmsg(183, 18));
}

void print_ranges(McMethod method, const std::vector<double>& range, int nact, HostObject* out) {
    int width = 9, decimals = best_decimals;
    if (method == McMethod::duncan) {
        const SignificantFormat f = zpsig(range.back(), significant_digits, 20);
        width = f.width;
        decimals = f.decimals;
        if (width == 1 && nact > 9) width = 2;  // the headings have two digits then
    }
    std::vector<std::string> headings;
    for (int p = 2; p <= nact; ++p) headings.push_back(std::to_string(p));
    const std::vector<std::string_view> columns(headings.begin(), headings.end());
    const std::string label = method == McMethod::regwf ? rdvmsg(183, 42) : rdvmsg(183, 43);
    const std::string_view row = label;
    matrix_table(out, "MCLinesRange", rdvmsg(183, 133), "drim.VEK.Range",
                 {.rownames = {&row, 1},
                  .columnnames = columns,
                  .values = range.data(),
                  .stride = static_cast<int>(range.size()),
                  .format = "rf",
                  .width = width,
                  .decimals = decimals},
                 {.title = rdvmsg(183, 41)});
}

/// Columns that hold a letter somewhere.
std::vector<std::size_t> used_columns(const std::vector<std::string>& rows) {
    std::vector<std::size_t> used;
    for (std::size_t c = 0; c < line_columns; ++c) {
        if (std::any_of(rows.begin(), rows.end(), [c](const std::string& r) { return r[c] != ' '; })) used.push_back(c);
    }
    return used;
}

/// True when one line covers both means.
bool joined(const std::vector<int>& lineend, std::size_t i, std::size_t j) {
    return lineend[std::min(i, j)] >= static_cast<int>(std::max(i, j));
}

void print_lines(const McBlock& mc, const std::vector<int>& lineend, const std::vector<std::string>& rows,
                 const std::string& heading, HostObject* out) {
    const std::vector<std::size_t> used = used_columns(rows);
    const std::size_t n = lineend.size();
    const double blank = vzmissing('_');
    std::string letters(used.size(), ' ');
    double mean = 0, count = 0;
    std::string level;
    std::vector<std::int32_t> equal(n);
    Table t(out, "MCLines", rdvmsg(183, 134));
    t.attribute("comp", heading).attribute("hlevel", mc.clsname);
    for (std::size_t c = 0; c < used.size(); ++c) {
        t.buffer("Line" + std::to_string(c + 1), 1, &letters[c], {.like = "LINE"});
        if (c == 0)
            t.column_attribute("spans", "Line1").column_attribute("spane", "Line" + std::to_string(used.size()));
    }
    t.number("Mean", mean, mean_width, mc.decimals).number("N", count, 6, best_decimals);
    t.text("Level", mc.levwidth, level);
    for (std::size_t j = 0; j < n; ++j) t.integer("Eq" + mc.level[j].name, equal[j], {.like = "Eq"});
    t.bind("drim.VEK.MCLines");
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const std::size_t i = r / 2;
        const bool spacer = r % 2 == 1;
        for (std::size_t c = 0; c < used.size(); ++c) letters[c] = rows[r][used[c]];
        mean = spacer ? blank : mc.level[i].mean;
        count = spacer ? blank : mc.level[i].nobs;
        level = spacer ? std::string() : mc.level[i].name;
        for (std::size_t j = 0; j < n; ++j) equal[j] = !spacer && joined(lineend, i, j) ? 1 : 0;
        t.row();
    }
    t.end();
}

/// One method inside of its folder; false when it failed.
bool print_method(McMethod method, McBlock& mc, HostObject* out) {
    const LineTexts texts = line_texts(method, mc.depname);
    report_note(out, texts.title);
    report_note(out, texts.second);
    const bool ranged = has_ranges(method);
    std::vector<double> range;
    if (ranged ? !zmcrang(method, mc, range, out) : !zmccrit(mc, McDisplay::lines, method)) {
        zmcrprt(mc, McDisplay::lines, method, out);
        return false;
    }
    const std::vector<int> lineend = stp(method, mc, range);
    print_information(method, mc, ranged, out);
    if (ranged) print_ranges(method, range, mc.nact, out);
    const std::vector<std::string> rows = line_letters(lineend);
    if (rows.empty()) {
        report_note(out, rdvmsg(183, 21));
        return false;
    }
    print_lines(mc, lineend, rows, texts.heading, out);
    return true;
}

bool LinePrint(McMethod method, McBlock& mc, HostObject* out) {
    const McMethodText text = method_text(method);
    Folder folder;
    folder.open(out, text.name, rdvmsg(183, text.label), {.key = "Method"});
    const bool printed = print_method(method, mc, out);
    folder.close();
    return printed;
}

}  // namespace

bool zmcrang(McMethod method, const McBlock& mc, std::vector<double>& range, HostObject* out) {
    range.assign(static_cast<std::size_t>(mc.nact - 1), 0.0);
    return method == McMethod::regwq ? descending_ranges(mc, range, out) : ascending_ranges(method, mc, range, out);
}

std::vector<int> stp(McMethod method, const McBlock& mc, const std::vector<double>& range) {
    std::vector<double> x;
    for (int i = 0; i < mc.nact; ++i) x.push_back(mc.level[static_cast<std::size_t>(i)].mean);
    const auto same = [&](int i, int j) {
        const int r = j - i;
        const double difference = x[static_cast<std::size_t>(i)] - x[static_cast<std::size_t>(j)];
        if (range.empty()) return difference <= mc.msd;
        const double limit = range[static_cast<std::size_t>(r - 1)];
        if (method == McMethod::regwf)
            return css(&x[static_cast<std::size_t>(i)], r + 1) * mc.nharm <= r * mc.mse * limit;
        return difference <= limit;
    };
    std::vector<int> lineend(static_cast<std::size_t>(mc.nact));
    int end = 0;
    for (int i = 0; i < mc.nact; ++i) {
        wtpoll();
        // A hit raises the end to j, which ends the search.
        for (int j = mc.nact - 1; j > std::max(i, end); --j) {
            if (same(i, j)) end = j;
        }
        lineend[static_cast<std::size_t>(i)] = end;
    }
    return lineend;
}

std::vector<std::string> line_letters(const std::vector<int>& lineend) {
    // The order in which columns are taken spreads a few lines over the width.
    constexpr int order[line_columns] = {15, 7,  19, 11, 3,  21, 17, 13, 9, 5, 1, 22,
                                         20, 18, 16, 14, 12, 10, 8,  6,  4, 2, 0, 23};
    constexpr std::string_view alphabet = "ZABCDEFGHIJKLMNOPQRSTUVWXY";
    std::vector<std::string> rows;
    std::string row(line_columns, ' ');
    int ends[line_columns];
    std::fill_n(ends, line_columns, -1);
    std::size_t letter = 0;
    for (std::size_t i = 0; i < lineend.size(); ++i) {
        bool open = true;
        for (std::size_t c = 0; c < line_columns; ++c) {
            if (ends[c] < static_cast<int>(i)) {
                row[c] = ' ';
            } else if (ends[c] >= lineend[i]) {
                open = false;
            }
        }
        if (i > 0) rows.push_back(row);
        if (open) {
            letter = (letter + 1) % alphabet.size();
            const int* place = std::find_if(order, order + line_columns,
                                            [&](int c) { return row[static_cast<std::size_t>(c)] == ' '; });
            if (place == order + line_columns) return {};
            ends[*place] = lineend[i];
            row[static_cast<std::size_t>(*place)] = alphabet[letter];
        }
        rows.push_back(row);
    }
    return rows;
}

void zmcline(const Statement& statement, McBlock& mc, HostObject* out) {
    struct Step {
        int option;
        McMethod method;
    };
    constexpr Step steps[] = {{means::waller, McMethod::waller},  {means::t, McMethod::t},
                              {means::duncan, McMethod::duncan},  {means::snk, McMethod::snk},
                              {means::regwf, McMethod::regwf},    {means::regwq, McMethod::regwq},
                              {means::tukey, McMethod::tukey},    {means::smm, McMethod::smm},
                              {means::sidak, McMethod::sidak},    {means::bon, McMethod::bon},
                              {means::scheffe, McMethod::scheffe}};
    Folder folder;
    folder.open(out, "MCLines", rdvmsg(183, 118));
    zmcsort(mc);
    McBlock copy = mc;
    copy.se = std::sqrt(2 * copy.mse / copy.nharm);
    const double first = copy.level[0].mean, last = copy.level[static_cast<std::size_t>(copy.nact - 1)].mean;
    copy.decimals =
        zpsig2(std::max(std::fabs(first), std::fabs(last)), copy.se, significant_digits, mean_width).decimals;
    for (const Step& step : steps) {
        // Gabriel's method has no lines of its own: with equal cells it is that of the studentised maximum modulus.
        const bool wanted =
            statement.option(step.option) || (step.method == McMethod::smm && statement.option(means::gabriel));
        if (wanted) LinePrint(step.method, copy, out);
    }
    folder.close();
}

}  // namespace vek
