// zmcpair: from means, cell sizes and critical values to confidence limits of differences: of all pairs, or from a
// control level.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "frame/host_message.h"
#include "frame/table.h"
#include "means/options.h"
#include "means/zmclimits.h"
#include "numeric/missing.h"
#include "numeric/significance.h"

namespace vek {

namespace {

constexpr int significant_digits = 4, widest = 10;

bool is_dunnett(McMethod method) { return method >= McMethod::dunnett; }

struct PairTexts {
    std::string title, second, critical;
};

PairTexts pair_texts(McMethod method, const std::string& name) {
    switch (method) {
        case McMethod::t:
            return {rdvmsg(183, 35, name), rdvmsg(183, 36), rdvmsg(183, 11)};
        case McMethod::smm:
            return {rdvmsg(183, 37, name), rdvmsg(183, 54), rdvmsg(183, 15)};
        case McMethod::scheffe:
            return {rdvmsg(183, 29, name), rdvmsg(183, 54), rdvmsg(183, 13)};
        case McMethod::tukey:
            return {rdvmsg(183, 24, name), rdvmsg(183, 27), rdvmsg(183, 14)};
        case McMethod::bon:
            return {rdvmsg(183, 38, name), rdvmsg(183, 54), rdvmsg(183, 11)};
        case McMethod::sidak:
            return {rdvmsg(183, 39, name), rdvmsg(183, 54), rdvmsg(183, 11)};
        case McMethod::gabriel:
            return {rdvmsg(183, 55, name), rdvmsg(183, 54), rdvmsg(183, 15)};
        case McMethod::dunnett:
            return {rdvmsg(183, 84, name), rdvmsg(183, 85), rdvmsg(183, 83)};
        default:
            return {rdvmsg(183, 86, name), rdvmsg(183, 85), rdvmsg(183, 83)};
    }
}

void print_information(const McBlock& mc, McMethod method, const std::string& critical, HostObject* out) {
    Factoids info(out, "CLDiffsInfo", rdvmsg(183, 130), "drim.VEK.SquashFact");
    info.item(rdvmsg(183, 12), mc.alpha, 8, best_decimals);
    info.item(rdvmsg(183, 117), static_cast<double>(mc.dfe), 8, best_decimals);
    info.item(rdvmsg(183, 9), mc.mse, 8, best_decimals);
    info.item(critical, method == McMethod::scheffe ? mc.crit * mc.crit : mc.crit, 8, 5);
    if (mc.balanced) info.item(method == McMethod::t ? rdvmsg(183, 16) : rdvmsg(183, 17), mc.msd, 6, best_decimals);
    info.end();
}

/// A level text right-justified to the width of the widest.
void append_padded(std::string& text, const std::string& name, int width) {
    const auto w = static_cast<std::size_t>(width);
    if (name.size() < w) text.append(w - name.size(), ' ');
    text.append(name);
}

/// The columns of the table of differences and how a row is filled.
class DifferenceTable {
  public:
    DifferenceTable(McBlock& block, McMethod of, HostObject* out)
        : mc(block), method(of), t(out, "CLDiffs", rdvmsg(183, 142)) {
        t.attribute("hsig", rdvmsg(183, 53, mc.alpha)).attribute("cname", mc.clsname);
        t.attribute("confidence", (1 - mc.alpha) * 100);
        if (method != McMethod::t && method != McMethod::smm && method != McMethod::gabriel) {
            t.attribute("simultaneous", rdvmsg(183, 56));
        }
        t.text("Comparison", 2 * mc.levwidth + 3, comparison)
            .number("LowerCL", lower, method == McMethod::dunnettl ? 9 : mc.width, mc.decimals)
            .number("Difference", d, mc.width, mc.decimals)
            .number("UpperCL", upper, method == McMethod::dunnettu ? 8 : mc.width, mc.decimals)
            .integer("Significance", significance);
        t.bind("drim.VEK.MCPairs");
    }
    void row(const McLevel& first, const McLevel& second);
    void end() { t.end(); }

  private:
    double standard_error(double ni, double nj) const {
        if (method == McMethod::gabriel) return std::sqrt(mc.mse) * (1 / std::sqrt(2 * nj) + 1 / std::sqrt(2 * ni));
        return std::sqrt((1 / ni + 1 / nj) * mc.mse);
    }

    McBlock& mc;
    McMethod method;
    std::string comparison;
    double lower = 0, d = 0, upper = 0;
    std::int32_t significance = 0;
    Table t;
};

/// The row of first - second.
void DifferenceTable::row(const McLevel& first, const McLevel& second) {
    if (!mc.balanced) {
        mc.se = standard_error(first.wsum, second.wsum);
        mc.msd = mc.scaledcrit * mc.se;
    }
    comparison.clear();
    append_padded(comparison, first.name, mc.levwidth);
    comparison.append(" - ");
    append_padded(comparison, second.name, mc.levwidth);
    d = first.mean - second.mean;
    const bool above = d - mc.msd >= 0, below = d + mc.msd <= 0;
    significance = d != 0 && ((above && method != McMethod::dunnettl) || (below && method != McMethod::dunnettu));
    lower = method == McMethod::dunnettl ? vzmissing('M') : d - mc.msd;
    upper = method == McMethod::dunnettu ? vzmissing('I') : d + mc.msd;
    t.row();
}

void print_differences(McBlock& mc, McMethod method, HostObject* out) {
    DifferenceTable table(mc, method, out);
    const std::vector<McLevel>& level = mc.level;
    const auto present = [&](std::size_t i) { return level[i].wsum > 0; };
    if (is_dunnett(method)) {
        const auto c =
            static_cast<std::size_t>(mc.control[static_cast<int>(method) - static_cast<int>(McMethod::dunnett)]);
        for (std::size_t j = 0; j < level.size(); ++j) {
            if (j != c && present(j)) table.row(level[j], level[c]);
        }
    } else {
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (!present(i)) continue;
            for (std::size_t j = 0; j < level.size(); ++j) {
                if (j != i && present(j)) table.row(level[i], level[j]);
            }
        }
    }
    table.end();
}

void CLPProcess(McMethod method, McBlock& mc, HostObject* out) {
    const McMethodText text = method_text(method);
    const PairTexts texts = pair_texts(method, mc.depname);
    Folder folder;
    folder.open(out, text.name, rdvmsg(183, text.label), {.key = "Method"});
    report_note(out, texts.title);
    report_note(out, texts.second);
    if (zmccrit(mc, McDisplay::differences, method)) {
        print_information(mc, method, texts.critical, out);
        print_differences(mc, method, out);
    } else {
        zmcrprt(mc, McDisplay::differences, method, out);
    }
    folder.close();
}

}  // namespace

void zmcpair(const Statement& statement, const McBlock& mc, HostObject* out) {
    Folder folder;
    folder.open(out, "CLDiffs", rdvmsg(183, 139));
    McBlock copy = mc;
    copy.se = std::sqrt(2 * copy.mse / copy.maxn);
    double largest = empty_mean, smallest = -empty_mean;
    for (const McLevel& l : copy.level) {
        if (!(l.wsum > 0)) continue;
        largest = std::max(largest, l.mean);
        smallest = std::min(smallest, l.mean);
    }
    const SignificantFormat f = zpsig2(largest - smallest, copy.se, significant_digits, widest);
    copy.width = std::min(f.width + 1, widest);
    copy.decimals = f.decimals;
    const auto wanted = [&](int option) { return statement.option(option); };
    if (wanted(means::t)) CLPProcess(McMethod::t, copy, out);
    if (wanted(means::tukey)) CLPProcess(McMethod::tukey, copy, out);
    if (wanted(means::gabriel) && !copy.balanced) CLPProcess(McMethod::gabriel, copy, out);
    if (wanted(means::smm) || (wanted(means::gabriel) && copy.balanced)) CLPProcess(McMethod::smm, copy, out);
    if (wanted(means::sidak)) CLPProcess(McMethod::sidak, copy, out);
    if (wanted(means::bon)) CLPProcess(McMethod::bon, copy, out);
    if (wanted(means::scheffe)) CLPProcess(McMethod::scheffe, copy, out);
    for (int i = 0; i < 3; ++i) {
        if (!wanted(means::dunnett + i)) continue;
        const McLevel& control = copy.level[static_cast<std::size_t>(copy.control[i])];
        if (control.wsum == 0) {
            xpmlog(183, 87, control.name, copy.clsname);
            continue;
        }
        CLPProcess(static_cast<McMethod>(static_cast<int>(McMethod::dunnett) + i), copy, out);
    }
    folder.close();
}

}  // namespace vek
