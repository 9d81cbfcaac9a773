// zmcmean: from means, cell sizes and critical values to confidence limits of single means.
#include <algorithm>
#include <cmath>
#include <string>

#include "frame/host_message.h"
#include "frame/table.h"
#include "means/options.h"
#include "means/zmclimits.h"
#include "numeric/significance.h"

namespace vek {

namespace {

constexpr int significant_digits = 4, widest = 10;

std::string title_of(McMethod method, const std::string& name) {
    switch (method) {
        case McMethod::t:
            return rdvmsg(183, 50, name);
        case McMethod::smm:
            return rdvmsg(183, 47, name);
        case McMethod::scheffe:
            return rdvmsg(183, 49, name);
        case McMethod::bon:
            return rdvmsg(183, 51, name);
        case McMethod::sidak:
            return rdvmsg(183, 52, name);
        default:
            return rdvmsg(183, 48, name);
    }
}

std::string critical_label(McMethod method) {
    switch (method) {
        case McMethod::smm:
        case McMethod::gabriel:
            return rdvmsg(183, 15);
        case McMethod::scheffe:
            return rdvmsg(183, 13);
        default:
            return rdvmsg(183, 11);
    }
}

/// Half width of a mean's interval for the standard error of the block. Gabriel's intervals are for comparison: two of
/// them overlap when the means do not differ, so each takes its share of the difference.
double half_width(const McBlock& mc, McMethod method) {
    const double h = mc.scaledcrit * mc.se;
    return method == McMethod::gabriel ? h / std::sqrt(2.0) : h;
}

void print_information(const McBlock& mc, McMethod method, HostObject* out) {
    Factoids info(out, "CLMeansInfo", rdvmsg(183, 130), "drim.VEK.SquashFact");
    info.item(rdvmsg(183, 12), mc.alpha, 8, best_decimals);
    info.item(rdvmsg(183, 117), static_cast<double>(mc.dfe), 8, best_decimals);
    info.item(rdvmsg(183, 9), mc.mse, 8, best_decimals);
    info.item(critical_label(method), method == McMethod::scheffe ? mc.crit * mc.crit : mc.crit, 8, 5);
    if (mc.balanced) {
        info.item(method == McMethod::gabriel ? rdvmsg(183, 45) : rdvmsg(183, 46), half_width(mc, method), 8,
                  best_decimals);
    }
    info.end();
}

void print_means(McBlock& mc, McMethod method, HostObject* out) {
    std::string level;
    std::int32_t n = 0;
    double lower = 0, mean = 0, upper = 0;
    Table t(out, "CLMeans", method == McMethod::gabriel ? rdvmsg(183, 138) : rdvmsg(183, 137));
    t.attribute("type", method == McMethod::gabriel ? rdvmsg(183, 66) : rdvmsg(183, 44));
    if (method != McMethod::t && method != McMethod::gabriel) t.attribute("simultaneous", rdvmsg(183, 56));
    t.attribute("hlevel", mc.clsname).attribute("confidence", (1 - mc.alpha) * 100);
    t.text("Level", mc.levwidth, level)
        .integer("N", n)
        .number("LowerCL", lower, mc.width, mc.decimals)
        .number("Mean", mean, mc.width, mc.decimals)
        .number("UpperCL", upper, mc.width, mc.decimals);
    t.bind("drim.VEK.MCMeans");
    for (const McLevel& l : mc.level) {
        if (!(l.wsum > 0)) continue;
        if (!mc.balanced) mc.se = std::sqrt(mc.mse / l.wsum);
        const double h = half_width(mc, method);
        level = l.name;
        n = l.nobs;
        mean = l.mean;
        lower = mean - h;
        upper = mean + h;
        t.row();
    }
    t.end();
}

void CLMProcess(McMethod method, McBlock& mc, HostObject* out) {
    const McMethodText text = method_text(method);
    Folder folder;
    folder.open(out, text.name, rdvmsg(183, text.label), {.key = "Method"});
    report_note(out, title_of(method, mc.depname));
    if (zmccrit(mc, McDisplay::means, method)) {
        print_information(mc, method, out);
        print_means(mc, method, out);
    } else {
        zmcrprt(mc, McDisplay::means, method, out);
    }
    folder.close();
}

}  // namespace

void zmcmean(const Statement& statement, const McBlock& mc, HostObject* out) {
    Folder folder;
    folder.open(out, "CLMeans", rdvmsg(183, 135));
    McBlock copy = mc;
    copy.se = std::sqrt(copy.mse / copy.maxn);
    double largest = 0;
    for (const McLevel& l : copy.level) {
        if (l.wsum != 0) largest = std::max(largest, std::fabs(l.mean));
    }
    const SignificantFormat f = zpsig2(largest, copy.se, significant_digits, widest);
    copy.width = std::min(f.width + 1, widest);
    copy.decimals = f.decimals;
    const bool gabriel = statement.option(means::gabriel);
    if (statement.option(means::t)) CLMProcess(McMethod::t, copy, out);
    if (gabriel) CLMProcess(McMethod::gabriel, copy, out);
    if (statement.option(means::smm) || (gabriel && copy.balanced)) CLMProcess(McMethod::smm, copy, out);
    if (statement.option(means::sidak)) CLMProcess(McMethod::sidak, copy, out);
    if (statement.option(means::bon)) CLMProcess(McMethod::bon, copy, out);
    if (statement.option(means::scheffe)) CLMProcess(McMethod::scheffe, copy, out);
    folder.close();
}

}  // namespace vek
