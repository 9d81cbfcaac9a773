// zmc: from cell sizes, degrees of freedom and alpha to the critical value of a comparison method.
#include "means/zmc.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "frame/host_message.h"
#include "frame/table.h"
#include "numeric/bayes.h"
#include "numeric/fdist.h"
#include "numeric/missing.h"
#include "numeric/range_quantile.h"

namespace vek {

namespace {

constexpr double weight_tolerance = 1e-08;

double pairs_of(double k) { return k * (k - 1) / 2; }

double comparisons(const McBlock& mc, McDisplay kind) { return kind == McDisplay::means ? mc.nact : pairs_of(mc.nact); }

double sidak_level(const McBlock& mc, McDisplay kind) { return 1 - std::pow(1 - mc.alpha, 1 / comparisons(mc, kind)); }

int scheffe_df(const McBlock& mc, McDisplay kind) { return kind == McDisplay::means ? mc.nact : mc.nact - 1; }

int waller_df(const McBlock& mc) { return mc.noint ? mc.nact : mc.nact - 1; }

/// Root of the F quantile with upper tail p; missing when there is none.
double root_f(const McBlock& mc, double p, double df1) {
    if (!(p > 0 && p < 1)) return missing;
    const double f = mc.quantiles->find(QuantileCache::Kind::f, p, mc.dfe, {df1});
    return wzmis(f) ? missing : std::sqrt(f);
}

double dunnett_quantile(const McBlock& mc, McMethod method) {
    const int which = static_cast<int>(method) - static_cast<int>(McMethod::dunnett);
    const double control = mc.level[static_cast<std::size_t>(mc.control[which])].wsum;
    std::vector<double> lambda, counts = mc.sizecount;
    for (std::size_t i = 0; i < mc.sizes.size(); ++i) {
        lambda.push_back(std::sqrt(mc.sizes[i] / (mc.sizes[i] + control)));
        // The control is not compared with itself.
        if (mc.sizes[i] == control) counts[i] -= 1;
    }
    const auto kind =
        method == McMethod::dunnett ? QuantileCache::Kind::dunnett : QuantileCache::Kind::dunnett_one_sided;
    return mc.quantiles->find(kind, 1 - mc.alpha, mc.dfe, counts, lambda);
}

double waller_value(const McBlock& mc) {
    if (mc.nact <= 2) return missing;
    return mc.quantiles->find(QuantileCache::Kind::waller, mc.kratio, mc.dfe, {static_cast<double>(waller_df(mc))},
                              {mc.fratio});
}

double critical_value(const McBlock& mc, McDisplay kind, McMethod method) {
    using Kind = QuantileCache::Kind;
    const double dfe = mc.dfe, conf = 1 - mc.alpha;
    switch (method) {
        case McMethod::waller:
            return waller_value(mc);
        case McMethod::t:
            return root_f(mc, mc.alpha, 1);
        case McMethod::smm:
            return mc.quantiles->find(Kind::modulus, conf, dfe, {comparisons(mc, kind)});
        case McMethod::scheffe:
            return root_f(mc, mc.alpha, scheffe_df(mc, kind));
        case McMethod::tukey:
            return mc.quantiles->find(Kind::range, conf, dfe, {static_cast<double>(mc.nact)});
        case McMethod::bon:
            return root_f(mc, mc.alpha / comparisons(mc, kind), 1);
        case McMethod::sidak:
            return root_f(mc, sidak_level(mc, kind), 1);
        case McMethod::gabriel:
            return mc.quantiles->find(Kind::modulus, conf, dfe, {pairs_of(mc.nact)});
        case McMethod::dunnett:
        case McMethod::dunnettu:
        case McMethod::dunnettl:
            return dunnett_quantile(mc, method);
        default:
            return missing;
    }
}

void log_quantile_failure(McQuantile what) {
    switch (what) {
        case McQuantile::duncan:
            xpmlog(183, 145);
            break;
        case McQuantile::dunnett:
            xpmlog(183, 95);
            break;
        case McQuantile::f:
            xpmlog(183, 89);
            break;
        case McQuantile::modulus:
            xpmlog(183, 91);
            break;
        case McQuantile::range:
            xpmlog(183, 93);
            break;
    }
}

std::string quantile_note(McQuantile what, double p, double df1, double df2) {
    switch (what) {
        case McQuantile::duncan:
            return rdvmsg(183, 144, p, df1, df2);
        case McQuantile::dunnett:
            return rdvmsg(183, 94, p, df1, df2);
        case McQuantile::f:
            return rdvmsg(183, 88, p, df1, df2);
        case McQuantile::modulus:
            return rdvmsg(183, 90, p, df1, df2);
        case McQuantile::range:
            return rdvmsg(183, 92, p, df1, df2);
    }
    return {};
}

void report_waller(const McBlock& mc, HostObject* out) {
    if (mc.nact <= 2) {
        xpmlog(183, 1);
        report_note(out, rdvmsg(183, 1));
        return;
    }
    double crit = missing;
    const int code = zbayest(mc.kratio, mc.fratio, waller_df(mc), mc.dfe, crit);
    report_note(out, rdvmsg(183, code + 1));
    xpmlog(183, 7);
}

}  // namespace

double QuantileCache::find(Kind kind, double level, double df, const std::vector<double>& counts,
                           const std::vector<double>& lambda) {
    for (const Entry& e : entries_) {
        if (e.kind == kind && e.level == level && e.df == df && e.counts == counts && e.lambda == lambda)
            return e.value;
    }
    const double value = search(kind, level, df, counts, lambda);
    entries_.push_back({kind, level, df, counts, lambda, value});
    return value;
}

double QuantileCache::search(Kind kind, double level, double df, const std::vector<double>& counts,
                             const std::vector<double>& lambda) {
    const double one = 1;
    std::vector<double> work(31 + 3 * counts.size());
    const int groups = static_cast<int>(counts.size());
    switch (kind) {
        case Kind::range:
            return zqunsrg(1, level, df, &one, counts.data(), work.data());
        case Kind::modulus:
            return zqunsmm(1, level, df, &one, counts.data(), work.data());
        case Kind::dunnett:
        case Kind::dunnett_one_sided:
            return zqunsdt(kind == Kind::dunnett, groups, level, df, lambda.data(), counts.data(), work.data());
        case Kind::f: {
            const double f = zqunf(level, counts[0], df);
            return f < 0 ? missing : f;
        }
        case Kind::waller: {
            double crit = missing;
            return zbayest(level, lambda[0], counts[0], df, crit) > 0 ? missing : crit;
        }
    }
    return missing;
}

void zmceknt(McBlock& mc) {
    mc.fracw = std::any_of(mc.level.begin(), mc.level.end(),
                           [](const McLevel& l) { return std::fabs(l.nobs - l.wsum) > weight_tolerance; });
    if (mc.fracw) xpmlog(183, 115);
    mc.nharm = mc.maxn = 0;
    mc.nact = mc.nlev();
    mc.levwidth = 4;
    mc.balanced = true;
    mc.sizes.clear();
    mc.sizecount.clear();
    const double reference = mc.level.empty() ? 0 : mc.level[0].wsum;
    for (McLevel& l : mc.level) {
        if (l.wsum == 0) {
            --mc.nact;
            l.mean = empty_mean;
            continue;
        }
        const auto at = std::lower_bound(mc.sizes.begin(), mc.sizes.end(), l.wsum, std::greater<>());
        const auto count = mc.sizecount.begin() + (at - mc.sizes.begin());
        if (at != mc.sizes.end() && *at == l.wsum) {
            *count += 1;
        } else {
            mc.sizecount.insert(count, 1.0);
            mc.sizes.insert(at, l.wsum);
        }
        if (l.wsum != reference) mc.balanced = false;
        mc.maxn = std::max(mc.maxn, l.wsum);
        mc.nharm += 1 / l.wsum;
        mc.levwidth = std::max(mc.levwidth, static_cast<int>(l.name.size()));
    }
    mc.nharm = mc.balanced ? reference : mc.nact / mc.nharm;
}

void zmcsort(McBlock& mc) {
    auto& x = mc.level;
    const auto smaller = [&](std::size_t i, std::size_t j) { return x[i].mean < x[j].mean; };
    if (std::is_sorted(x.begin(), x.end(), [](const McLevel& a, const McLevel& b) { return a.mean > b.mean; })) return;
    std::size_t gap = 1;
    while (gap < x.size()) gap *= 2;
    while (gap > 1) {
        gap /= 2;
        for (std::size_t j = 0; j + gap < x.size(); ++j) {
            for (std::size_t i = j; smaller(i, i + gap); i -= gap) {
                std::swap(x[i], x[i + gap]);
                if (i < gap) break;
            }
        }
    }
}

bool zmccrit(McBlock& mc, McDisplay kind, McMethod method) {
    mc.crit = critical_value(mc, kind, method);
    if (wzmis(mc.crit)) return false;
    mc.scaledcrit = mc.crit;
    if (method == McMethod::tukey) mc.scaledcrit = mc.crit / std::sqrt(2.0);
    if (method == McMethod::scheffe) mc.scaledcrit = mc.crit * std::sqrt(static_cast<double>(scheffe_df(mc, kind)));
    mc.msd = mc.scaledcrit * mc.se;
    return true;
}

void zmcrprt(const McBlock& mc, McDisplay kind, McMethod method, HostObject* out) {
    const double k = mc.nact, m = comparisons(mc, kind);
    switch (method) {
        case McMethod::waller:
            report_waller(mc, out);
            break;
        case McMethod::t:
            zmcfail(McQuantile::f, mc.alpha, 1, mc.dfe, out);
            break;
        case McMethod::smm:
            zmcfail(McQuantile::modulus, mc.alpha, m, mc.dfe, out);
            break;
        case McMethod::scheffe:
            zmcfail(McQuantile::f, mc.alpha, scheffe_df(mc, kind), mc.dfe, out);
            break;
        case McMethod::tukey:
            zmcfail(McQuantile::range, mc.alpha, k, mc.dfe, out);
            break;
        case McMethod::bon:
            zmcfail(McQuantile::f, mc.alpha / m, 1, mc.dfe, out);
            break;
        case McMethod::sidak:
            zmcfail(McQuantile::f, sidak_level(mc, kind), 1, mc.dfe, out);
            break;
        case McMethod::gabriel:
            zmcfail(McQuantile::modulus, mc.alpha, pairs_of(k), mc.dfe, out);
            break;
        case McMethod::dunnett:
        case McMethod::dunnettu:
        case McMethod::dunnettl:
            zmcfail(McQuantile::dunnett, mc.alpha, k - 1, mc.dfe, out);
            break;
        default:
            break;  // the methods with a critical value for each span report for themselves
    }
}

void zmcfail(McQuantile what, double p, double df1, double df2, HostObject* out) {
    report_note(out, quantile_note(what, p, df1, df2));
    log_quantile_failure(what);
}

McMethodText method_text(McMethod method) {
    switch (method) {
        case McMethod::duncan:
            return {"Duncan", 119};
        case McMethod::waller:
            return {"Waller", 125};
        case McMethod::snk:
            return {"SNK", 124};
        case McMethod::t:
            return {"T", 126};
        case McMethod::smm:
            return {"SMM", 127};
        case McMethod::scheffe:
            return {"Scheffe", 123};
        case McMethod::tukey:
            return {"Tukey", 120};
        case McMethod::bon:
            return {"Bon", 128};
        case McMethod::sidak:
            return {"Sidak", 129};
        case McMethod::regwf:
            return {"REGWF", 122};
        case McMethod::regwq:
            return {"REGWQ", 121};
        case McMethod::gabriel:
            return {"Gabriel", 136};
        case McMethod::dunnett:
            return {"Dunnett", 140};
        case McMethod::dunnettu:
            return {"DunnettU", 141};
        case McMethod::dunnettl:
            return {"DunnettL", 141};
    }
    return {};
}

}  // namespace vek
