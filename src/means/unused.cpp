// unused: holds the methods of a MEANS statement against the displays that have a place for them, before anything of
// it is shown.
#include "means/unused.h"

#include <string>

#include "frame/host_message.h"
#include "means/options.h"

namespace vek {

namespace {

constexpr int in_limits = 1, in_pairs = 2, in_lines = 4;

struct DisplayOption {
    int option, display;
    const char* name;
};
constexpr DisplayOption displays[] = {
    {means::clm, in_limits, "CLM"}, {means::cldiff, in_pairs, "CLDIFF"}, {means::lines, in_lines, "LINES"}};

struct MethodDisplays {
    int option;
    const char* name;
    int displays;
};
constexpr MethodDisplays methods[] = {
    {means::duncan, "DUNCAN", in_lines},
    {means::waller, "WALLER", in_lines},
    {means::snk, "SNK", in_lines},
    {means::t, "T", in_limits | in_pairs | in_lines},
    {means::smm, "SMM", in_limits | in_pairs | in_lines},
    {means::scheffe, "SCHEFFE", in_limits | in_pairs | in_lines},
    {means::tukey, "TUKEY", in_pairs | in_lines},
    {means::bon, "BON", in_limits | in_pairs | in_lines},
    {means::sidak, "SIDAK", in_limits | in_pairs | in_lines},
    {means::regwf, "REGWF", in_lines},
    {means::regwq, "REGWQ", in_lines},
    {means::peritzf, "PERITZF", 0},
    {means::peritzq, "PERITZQ", 0},
    {means::gabriel, "GABRIEL", in_limits | in_pairs | in_lines},
    {means::dunnett, "DUNNETT", in_pairs},
    {means::dunnettu, "DUNNETTU", in_pairs},
    {means::dunnettl, "DUNNETTL", in_pairs},
};

/// The options of some displays, as "CLDIFF or LINES".
std::string names_of(int wanted, const char* conjunction) {
    std::string text;
    for (const DisplayOption& d : displays) {
        if ((d.display & wanted) == 0) continue;
        if (!text.empty()) text.append(" ").append(conjunction).append(" ");
        text.append(d.name);
    }
    return text;
}

/// The displays that the statement names. Without one the methods choose a display that shows them.
int named_displays(const Statement& s) {
    int named = 0;
    for (const DisplayOption& d : displays) {
        if (s.option(d.option)) named |= d.display;
    }
    return named;
}

void report_methods(const Statement& s) {
    const int named = named_displays(s);
    if (named != 0 && !means::OrSFO(s, means::duncan, means::dunnettl)) {
        xpmlog(172, 985, names_of(named, "and"));
    }
    for (const MethodDisplays& m : methods) {
        if (!s.option(m.option)) continue;
        if (m.displays == 0) {
            xpmlog(172, 986, m.name);
        } else if (named != 0 && (m.displays & named) == 0) {
            xpmlog(172, 987, m.name, names_of(named, "and"), names_of(m.displays, "or"));
        }
    }
}

}  // namespace

void report_unused(Statement& s, const std::vector<MeansEffect>& effects, bool comparisons) {
    if (s.told) return;
    s.told = true;
    const bool tested = means::OrSFO(s, means::hovtest, means::bartlett);
    if (s.slot(means::slot_hovout).handle != nullptr && !tested) xpmlog(172, 984);
    bool some = false;
    for (const MeansEffect& e : effects) some = some || e.effect->nclass() == 1;
    const bool asked = means::OrSFO(s, means::duncan, means::dunnettl);
    if (asked && !comparisons) return;  // the log says why
    if (some || !asked) report_methods(s);
    for (const MeansEffect& e : effects) {
        if (asked && e.effect->nclass() != 1) xpmlog(172, 988, e.effect->text());
    }
}

}  // namespace vek
