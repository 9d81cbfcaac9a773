#!/usr/bin/env python3
"""Writes the truth tables tests/numeric/{zprbsrg,zprbsdt,zprbsmm,zqunsrg,zqunsdt,zqunsmm,calck,zbayest}.tsv.

    range_rows.py FOLDER [NAME ...]

Needs numpy, scipy and mpmath. No value here comes from the rules that the library follows: integrals are taken by
Gauss-Legendre panels in doubles (both directions), or by mpmath's tanh-sinh quadrature at 30 digits; quantiles are
roots of those integrals. Takes a few minutes, most of it for the Bayes rows."""

import sys

import mpmath as mp
import numpy as np
from scipy.optimize import brentq
from scipy.special import erf, gammaln, ndtr

mp.mp.dps = 30
INF = float("inf")


# ---- Gauss-Legendre panels -------------------------------------------------------------------------------------------

def panels(edges, order=24):
    x, w = np.polynomial.legendre.leggauss(order)
    left, right = np.asarray(edges[:-1])[:, None], np.asarray(edges[1:])[:, None]
    return ((left + right) / 2 + (right - left) / 2 * x).ravel(), ((right - left) / 2 * w).ravel()


LINE, LINE_WEIGHT = panels(np.linspace(-11, 11, 89))


def between(low, high):
    return np.where(low > 0, ndtr(-low) - ndtr(-high), ndtr(high) - ndtr(low))


def log(p):
    return np.log(np.maximum(p, 1e-320))


def range_normal(q, v, w):
    v, w = np.asarray(v, float), np.asarray(w, float)
    y = LINE * v.max()
    low = y[:, None] / v
    logs = log(between(low, low + q / v))
    terms = w * np.exp(-0.5 * low**2 + (logs @ w)[:, None] - logs) / v
    return float(terms.sum(axis=1) @ LINE_WEIGHT * v.max() / np.sqrt(2 * np.pi))


def dunnett_normal(sides, q, lam, w):
    lam, w = np.asarray(lam, float), np.asarray(w, float)
    rest = np.sqrt(1 - lam**2)
    centre, reach = LINE[:, None] * lam / rest, q / rest
    p = between(centre - reach, centre + reach) if sides == 2 else ndtr(centre + reach)
    return float(np.exp(log(p) @ w - 0.5 * LINE**2) @ LINE_WEIGHT / np.sqrt(2 * np.pi))


def modulus_normal(q, v, w):
    return float(np.prod(erf(q * np.sqrt(0.5) / np.asarray(v, float)) ** np.asarray(w, float)))


def deviation(df):
    """Nodes s = sqrt(chi-square / df) and weights with its density."""
    half_width = 14 / np.sqrt(2 * df)
    if df > 60:
        edges = np.linspace(max(0.0, 1 - half_width), 1 + half_width, 60)
    else:
        top = 10 if df < 3 else 1 + half_width + (5 if df < 30 else 0)
        edges = sorted({0.0, *[2.0**-k for k in range(30, 1, -1)], *np.linspace(0.5, top, 60)})
    s, weight = panels(edges)
    if df < 1e4:
        logs = np.log(2) + df / 2 * np.log(df / 2) - gammaln(df / 2) + (df - 1) * np.log(s) - df * s * s / 2
    else:  # by Stirling's series, with (s^2 - 1)/2 - ln s from its own series
        d = s - 1
        phase = d**2 - d**3 / 3 + d**4 / 4 - d**5 / 5 + d**6 / 6 - d**7 / 7 + d**8 / 8
        logs = np.log(2) + 0.5 * np.log(df / 4 / np.pi) - 1 / (6 * df) - np.log(s) - df * phase
    weight = weight * np.exp(logs)
    return s[weight > 1e-22], weight[weight > 1e-22]


DEVIATION = {}


def studentised(df, normal):
    if df == INF:
        return normal(1.0)
    if df not in DEVIATION:
        DEVIATION[df] = deviation(df)
    return float(sum(weight * normal(s) for s, weight in zip(*DEVIATION[df])))


def srg(q, df, v, w):
    return studentised(df, lambda s: range_normal(q * s, v, w))


def sdt(sides, q, df, lam, w):
    return studentised(df, lambda s: dunnett_normal(sides, q * s, lam, w))


def smm(q, df, v, w):
    return studentised(df, lambda s: modulus_normal(q * s, v, w))


# ---- mpmath, 30 digits -----------------------------------------------------------------------------------------------

CUTS = [-12, -6, -3, -1, 0, 1, 3, 6, 12]


def mp_range(q, v, w):
    v, w = [mp.mpf(x) for x in v], [mp.mpf(x) for x in w]

    def density(y):
        d = [mp.ncdf((y + q) / s) - mp.ncdf(y / s) if y < 0 else mp.ncdf(-y / s) - mp.ncdf(-(y + q) / s) for s in v]
        if min(d) <= 0:
            return mp.mpf(0)
        product = mp.fprod(x**n for x, n in zip(d, w))
        return product * sum(n * mp.npdf(y / s) / s / x for x, n, s in zip(d, w, v))

    scale = max(v)
    return mp.quad(density, [c * scale for c in CUTS])


def mp_t(x, df):  # P(|T| <= x)
    x, df = mp.mpf(x), mp.mpf(df)
    if df == mp.inf:
        return mp.erf(x / mp.sqrt(2))
    return 1 - mp.betainc(df / 2, mp.mpf(1) / 2, 0, df / (df + x * x), regularized=True)


def mp_two_step_range(q, k):
    """The trapezoid sum of step 1/2 for the range of k means."""
    total = mp.mpf(0)
    for i in range(-28, 29):
        x = mp.mpf(i) / 2
        total += k * mp.npdf(x) * (mp.ncdf(x + q) - mp.ncdf(x)) ** (k - 1)
    return total / 2


# ---- writing ---------------------------------------------------------------------------------------------------------

def number(x):
    """Exact in binary: short decimals as such, others in hexadecimal."""
    if x == INF:
        return "inf"
    short = repr(int(x)) if x == int(x) else repr(float(x))
    return short if x == int(x) or (x * 1024) == int(x * 1024) else float(x).hex()


def numbers(xs):
    return ",".join(number(x) for x in xs)


class Table:
    def __init__(self, folder, name):
        self.path, self.lines = f"{folder}/{name}.tsv", []

    def block(self, source, columns):
        self.lines += ([""] if self.lines else []) + ["# source: " + source, "# " + columns]

    def row(self, *cells):
        self.lines.append("  ".join(str(c) for c in cells))

    def write(self):
        with open(self.path, "w") as out:
            out.write("\n".join(self.lines) + "\n")


PANELS = "Gauss-Legendre panels in both directions, doubles (tools/numeric/range_rows.py)"
THIRTY = "30 digits by tanh-sinh quadrature (tools/numeric/range_rows.py)"
ROOTS = "root of " + PANELS + "; density by differences"


def digits(x, n=17):
    return mp.nstr(mp.mpf(x), n, min_fixed=-4, max_fixed=4)


def srg_rows(folder):
    t = Table(folder, "zprbsrg")
    columns = "q  df  v  w  p  tol  why"
    t.block("two means: P(|T| <= q / sqrt 2), 30 digits by the incomplete beta function of mpmath", columns)
    for q, df in [(0.5, 1), (3, 1), (20, 1), (3, 2.5), (12, 5), (3, 30), (2, 101), (2, 102), (3, 1000), (3.5, 1e6), (2.5, 1e9)]:
        t.row(number(q), number(df), 1, 2, digits(mp_t(mp.mpf(q) / mp.sqrt(2), df)), "1e-8", "two means")
    t.block(THIRTY, columns)
    for q, v, w in [(0.5, [1], [2]), (4, [1], [3]), (2, [1], [10]), (5, [1], [20]), (4.5, [1], [60]), (5, [1], [150]),
                    (3, [1], [2.5]), (3, [0.5, 1], [2, 3]), (4, [0.5, 1, 2], [2, 3, 1]), (2, [0.25, 2], [1, 1]),
                    (6, [0.5, 1, 2], [30, 0.5, 4])]:
        t.row(number(q), "inf", numbers(v), numbers(w), digits(mp_range(mp.mpf(q), v, w)), "1e-7",
              "groups of unequal scales" if len(v) > 1 else f"{number(w[0])} means")
    t.block(PANELS, columns)
    grid = [(3, 1, 27), (3, 10, 3.875), (3, 6.875, 3), (5, 1.5, 12), (5, 7, 4), (5, 60, 0.625), (10, 1, 49), (10, 3, 6),
            (10, 20, 5), (10, 102, 6), (20, 1.5, 30), (20, 10, 6), (20, 200, 4), (20, 1e9, 5), (40, 5, 7), (40, 50, 5.5),
            (60, 2, 20), (60, 6.875, 9), (60, 101, 5), (60, 660, 5.75), (60, 1e5, 4), (100, 1, 40), (100, 3, 14),
            (100, 20, 6.5), (100, 200, 5.5), (100, 1e9, 6), (150, 7, 8), (150, 30, 6.25), (150, 1000, 5.75)]
    for k, df, q in grid:
        t.row(number(q), number(df), 1, k, digits(srg(q, df, [1], [k])), "1e-7", f"{k} means")
    for q, df, v, w in [(4, 12, [0.5, 1], [2, 3]), (4, 3, [0.5, 1, 2], [2, 3, 1]), (6, 300, [0.5, 1, 2], [30, 0.5, 4])]:
        t.row(number(q), number(df), numbers(v), numbers(w), digits(srg(q, df, v, w)), "1e-7", "groups of unequal scales")
    for k, df, q in [(200, 3, 12), (200, 20, 8), (200, 500, 6), (200, INF, 6.25)]:
        t.row(number(q), number(df), 1, k, digits(srg(q, df, [1], [k])), "3e-7", "the last halving is near its limit")
    for k, df, q, tol in [(60, 102, 5.375, "3e-7"), (100, 102, 5.75, "9e-7"), (200, 102, 5.75, "5e-6")]:
        t.row(number(q), number(df), 1, k, digits(srg(q, df, [1], [k])), tol, "seven nodes at their limit")
    for k, df, q, tol in [(28, INF, 4.875, "7e-5"), (28, 20, 5.5, "2e-5"), (100, 1e5, 5, "4e-4"), (130, INF, 4.8125, "3e-3")]:
        t.row(number(q), number(df), 1, k, digits(srg(q, df, [1], [k])), tol, "two sums agree by chance")
    t.block("the sum at which the stopping rule ends, step 1/2, at 30 digits: the rule is kept where it is met by chance", columns)
    for k, q in [(28, 4.875), (100, 5), (130, 4.8125)]:
        t.row(number(q), "inf", 1, k, digits(mp_two_step_range(mp.mpf(q), k)), "1e-8", "two sums agree by chance")
    t.block("definition", columns)
    for q, df, v, w, p, why in [("0", "10", 1, 3, "0", "no range"), ("-1", "10", 1, 3, "missing", "negative"),
                                ("nan", "10", 1, 3, "missing", "no number"), ("inf", "10", 1, 3, "1", "everything"),
                                ("inf", "200", 1, 200, "1", "everything"), ("3", "0.5", 1, 3, "missing", "df below 1"),
                                ("3", "nan", 1, 3, "missing", "df no number"), ("3", "-1", 1, 3, "missing", "df negative"),
                                ("-1", "inf", 1, 3, "missing", "negative, known variance"),
                                ("0", "inf", 1, 3, "0", "no range, known variance"),
                                ("0.0625", "inf", 1, 200, "missing", "the integrand vanishes at its centre"),
                                ("0.5", "20", 1, 60, "missing", "a probability below 1e-10")]:
        t.row(q, df, v, w, p, "3e-7" if w == 200 else "1e-7", why)
    t.write()


HALF = 0.5**0.5


def sdt_rows(folder):
    t = Table(folder, "zprbsdt")
    columns = "sides  q  df  lambda  w  p  tol  why"
    t.block("one comparison: Student's t, 30 digits by the incomplete beta function of mpmath", columns)
    for sides, q, df in [(2, 2, 1), (2, 2.5, 6.5), (2, 1, 20), (2, 3, 102), (2, 2, 1e6), (2, 2, INF), (1, 2, 5), (1, -1, 5),
                         (1, -1.5, 300), (1, 2, 1e9)]:
        p = mp_t(abs(q), mp.mpf(df))
        if sides == 1:
            p = (1 + p) / 2 if q > 0 else (1 - p) / 2
        t.row(sides, number(q), number(df), number(HALF), 1, digits(p), "1e-7", "one comparison")
    t.block("bivariate and trivariate t and normal probabilities of R's mvtnorm 1.1-3 (algorithm TVPACK, absolute 1e-14)", columns)
    for line in TVPACK:
        t.row(*line)
    t.block(PANELS, columns)
    for sides, q, df, lam, w in [
            (2, 2.5, 20, [HALF], [3]), (2, 12, 1, [HALF], [5]), (2, 3, 10, [0.5], [9]), (2, 2.75, 60, [0.9], [20]),
            (2, 3, 101, [HALF], [20]), (2, 3, 102, [HALF], [20]), (2, 2.75, 1e9, [0.5], [9]), (2, 4, 3.5, [0.75], [9]),
            (2, 2.75, 30, [0.75, 0.5], [3, 2]), (2, 2.5, 12, [0.875, 0.5, 0.25], [1, 2.5, 4]),
            (2, 3, 660, [0.75, 0.5], [12, 30]), (2, 3, INF, [0.75, 0.5], [12, 30]), (2, 0.125, 20, [HALF], [3]),
            (1, 2.25, 20, [HALF], [3]), (1, -0.5, 12, [HALF], [4]), (1, 0, 7, [HALF], [9]), (1, 2.5, 60, [0.5], [20]),
            (1, 2.75, 500, [0.75, 0.5], [12, 8]), (1, 6, 2, [HALF], [9]), (1, -1, INF, [0.75, 0.25], [2, 1]),
            (1, 10, 1, [0.875], [5])]:
        t.row(sides, number(q), number(df), numbers(lam), numbers(w), digits(sdt(sides, q, df, lam, w)), "1e-7", "-")
    for sides, q, df, lam, w, tol in [(2, 3.25, 15, [HALF], [60], "1e-5"), (2, 3.5, 40, [0.5], [100], "1e-5"),
                                      (1, 3, 120, [HALF], [200], "1e-5"), (2, 3.75, 6.9, [0.2], [200], "2e-3"),
                                      (2, 40, 1, [0.2], [200], "1e-4")]:
        t.row(sides, number(q), number(df), numbers(lam), numbers(w), digits(sdt(sides, q, df, lam, w)), tol,
              "many comparisons; the stopping rule may be met by chance")
    t.block("definition", columns)
    for row in [(2, "0", "10", "0.5", 3, "0", "no distance"), (2, "-1", "10", "0.5", 3, "missing", "two-sided, negative"),
                (2, "nan", "10", "0.5", 3, "missing", "no number"), (1, "nan", "inf", "0.5", 3, "missing", "no number"),
                (2, "-1", "inf", "0.5", 2, "missing", "two-sided, negative, known variance"),
                (2, "inf", "10", "0.5", 3, "1", "everything"), (1, "inf", "10", "0.5", 3, "1", "everything"),
                (2, "2", "0.75", "0.5", 3, "missing", "df below 1"), (2, "2", "nan", "0.5", 3, "missing", "df no number"),
                (1, "-8", "10", "0.5", 20, "missing", "a probability below 1e-10"),
                (2, "2", "inf", "0x1p-14", 3, "missing", "an integrand too narrow for seven halvings")]:
        t.row(*row[:6], "1e-7", row[6])
    t.write()


def smm_rows(folder):
    t = Table(folder, "zprbsmm")
    columns = "q  df  v  w  p  tol  why"
    t.block("one mean: Student's t, 30 digits by the incomplete beta function of mpmath", columns)
    for q, df in [(2, 1), (0.25, 3), (2.5, 6.5), (3, 50), (2, 102), (2, 1e9), (2, INF)]:
        t.row(number(q), number(df), 1, 1, digits(mp_t(q, mp.mpf(df))), "1e-8", "one mean")
    t.block("product of error functions, 30 digits", columns)
    for q, v, w in [(2, [1], [3]), (3.5, [1], [1770]), (2, [1, 0.5, 2], [1, 2.5, 4]), (0.0009765625, [1], [3]), (2, [1], [1 + 2.0**-43])]:
        p = mp.fprod(mp.erf(mp.mpf(q) / mp.sqrt(2) / mp.mpf(s)) ** (1 if abs(n - 1) < 1e-12 else mp.mpf(n)) for s, n in zip(v, w))
        t.row(number(q), "inf", numbers(v), numbers(w), digits(p), "3e-14", "power left out" if w[0] - 1 == 2.0**-43 else "-")
    t.block(PANELS, columns)
    for q, df, v, w in [(20, 1, [1], [3]), (4, 3.5, [1], [10]), (3, 7, [1], [3]), (3, 20, [1], [45]), (3.5, 60, [1], [190]),
                        (3, 101, [1], [60]), (3, 102, [1], [60]), (3.75, 660, [1], [1770]), (3, 1e6, [1], [45]),
                        (3, 1e9, [1], [45]), (2, 12, [1, 0.5, 2], [1, 2.5, 4]), (3, 200, [2, 1], [3, 20])]:
        t.row(number(q), number(df), numbers(v), numbers(w), digits(smm(q, df, v, w)), "1e-7", "-")
    t.row(3, 102, 1, 200, digits(smm(3, 102, [1], [200])), "2e-6", "seven nodes at their limit")
    t.block("definition", columns)
    for row in [("0", "10", "0", "nothing"), ("-1", "10", "missing", "negative"), ("nan", "10", "missing", "no number"),
                ("inf", "10", "1", "everything"), ("2", "0.5", "missing", "df below 1"), ("2", "nan", "missing", "df no number"),
                ("-1", "inf", "missing", "negative, known variance"), ("0", "inf", "0", "nothing, known variance")]:
        t.row(row[0], row[1], 1, 3, row[2], "1e-7", row[3])
    t.write()


def quantile(p, probability, low, high):
    q = brentq(lambda x: probability(x) - p, low, high, xtol=1e-12, rtol=1e-14)
    h = 1e-4 * max(1.0, abs(q))
    return q, (probability(q + h) - probability(q - h)) / (2 * h)


def quantile_row(t, leading, p, tail, probability, low, high, extra, why):
    q, density = quantile(p, probability, low, high)
    t.row(*leading, number(p), *tail, digits(q, 15), digits(density, 6), extra, why)


def sqrg_rows(folder):
    t = Table(folder, "zqunsrg")
    columns = "p  df  v  w  q  density  extra  why"
    t.block(ROOTS + "; extra: accuracy of the probability", columns)
    for k, df, p in [(2, 1, 0.95), (3, 1, 0.95), (3, 10, 0.95), (10, 10, 0.95), (10, 20, 0.99), (3, 2, 0.9), (20, 60, 0.95),
                     (60, 660, 0.95), (60, 50, 0.99), (100, 20, 0.95), (150, 1e3, 0.9), (10, 1e9, 0.95), (10, INF, 0.95),
                     (3, INF, 0.5), (5, 30, 0.25), (5, 30, 0.125), (5, 30, 2.0**-10), (5, 12, 0.999), (5, 12, 1 - 2.0**-20),
                     (10, 101, 0.95), (10, 102, 0.95), (3.5, 8, 0.95)]:
        quantile_row(t, [], p, [number(df), 1, number(k)], lambda q: srg(q, df, [1], [k]), 1e-3, 2e3 if df < 3 else 60,
                     "1e-7", f"{number(k)} means")
    for k, df, p, extra in [(200, 10, 0.95, "3e-7"), (200, 102, 0.95, "5e-6"), (28, INF, 0.875, "7e-5")]:
        quantile_row(t, [], p, [number(df), 1, number(k)], lambda q: srg(q, df, [1], [k]), 1e-3, 60, extra,
                     "two sums agree by chance" if k == 28 else f"{k} means")
    for v, w, df, p in [([0.5, 1], [2, 3], 12, 0.95), ([0.5, 1, 2], [30, 0.5, 4], 300, 0.9), ([0.5, 2], [3, 3], INF, 0.99)]:
        quantile_row(t, [], p, [number(df), numbers(v), numbers(w)], lambda q: srg(q, df, v, w), 1e-3, 60, "1e-7",
                     "groups of unequal scales")
    t.block("upper 5% points of the studentised range as printed in textbooks; extra: half a unit of their last digit", columns)
    for k, df, q in [(2, 1, "17.97"), (3, 1, "26.98"), (10, 1, "49.07"), (3, 10, "3.877"), (10, 10, "5.599"), (10, 20, "5.008"),
                     (3, INF, "3.314"), (10, INF, "4.474"), (20, INF, "5.012")]:
        _, density = quantile(0.95, lambda x: srg(x, df, [1], [k]), 1e-3, 2e3 if df < 3 else 60)
        half = 0.5 * 10.0 ** -len(q.split(".")[1])
        t.row(number(0.95), number(df), 1, k, q, digits(density, 6), f"{half * density:.1e}", "printed table")
    t.block("bounds", columns)
    for p, df, w, why in [("0x1.fffffca501acbp-1", "10", "3", "p = 0.9999999, the bound itself"), ("0x1.ad7f29abcaf48p-24", "10", "3", "p = 1e-07, the bound itself"),
                          ("0", "10", "3", "p = 0"), ("1", "10", "3", "p = 1"), ("-1", "10", "3", "p negative"), ("nan", "10", "3", "p no number"),
                          ("0.5", "0.5", "3", "df below 1"), ("0.5", "nan", "3", "df no number"), ("0.5", "10", "1", "one mean has no range"),
                          ("0.5", "inf", "1", "one mean has no range"), ("0.5", "10", "nan", "a count that is no number")]:
        t.row(p, df, 1, w, "missing", 1, "0", why)
    t.write()


def sqdt_rows(folder):
    t = Table(folder, "zqunsdt")
    columns = "sides  p  df  lambda  w  q  density  extra  why"
    t.block(ROOTS + "; extra: accuracy of the probability", columns)
    for sides, lam, w, df, p in [(2, [HALF], [1], 10, 0.95), (2, [HALF], [3], 20, 0.95), (2, [HALF], [9], 1, 0.95),
                                 (2, [0.75, 0.5], [3, 2], 30, 0.99), (2, [0.875, 0.5, 0.25], [1, 2.5, 4], 12, 0.9),
                                 (2, [HALF], [20], 660, 0.95), (2, [HALF], [9], INF, 0.95), (2, [0.5], [5], 8, 0.125),
                                 (2, [0.5], [5], 8, 0.25), (2, [HALF], [3], 1e9, 0.999), (1, [HALF], [3], 20, 0.95),
                                 (1, [HALF], [9], 10, 0.99), (1, [HALF], [9], INF, 0.95), (1, [0.75, 0.5], [3, 2], 30, 0.25),
                                 (1, [0.5], [2], 12, 0.375), (1, [HALF], [1], 5, 0.75), (1, [0.875], [12], 102, 0.9)]:
        quantile_row(t, [sides], p, [number(df), numbers(lam), numbers(w)], lambda q: sdt(sides, q, df, lam, w),
                     1e-3 if sides == 2 else -20, 300, "1e-7", "-")
    quantile_row(t, [2], 0.95, [60, number(HALF), 100], lambda q: sdt(2, q, 60, [HALF], [100]), 1, 60, "1e-5", "100 comparisons")
    t.block("upper 5% points of Dunnett's statistic as printed in textbooks; extra: half a unit of their last digit", columns)
    for sides, k, df, q in [(2, 2, 10, "2.57"), (2, 9, 10, "3.24"), (2, 2, 20, "2.38"), (2, 9, 20, "2.95"), (2, 2, INF, "2.21"),
                            (1, 2, 10, "2.15"), (1, 9, 10, "2.81"), (1, 2, 20, "2.03"), (1, 9, 20, "2.60")]:
        _, density = quantile(0.95, lambda x: sdt(sides, x, df, [HALF], [k]), 1e-3, 60)
        t.row(sides, number(0.95), number(df), number(HALF), k, q, digits(density, 6), f"{0.005 * density:.1e}", "printed table")
    t.block("bounds", columns)
    for sides, p, df, why in [(2, "0", "10", "p = 0"), (2, "1", "10", "p = 1"), (1, "-1", "10", "p negative"), (2, "nan", "10", "p no number"),
                              (2, "0.5", "0.5", "df below 1"), (2, "0.5", "nan", "df no number"),
                              (1, "0.125", "10", "one-sided below 0.2: the logarithmic secant cannot start from 0"),
                              (1, "0.125", "inf", "one-sided below 0.2, known variance")]:
        t.row(sides, p, df, "0.5", 3, "missing", 1, "0", why)
    t.write()


def sqmm_rows(folder):
    t = Table(folder, "zqunsmm")
    columns = "p  df  v  w  q  density  extra  why"
    t.block(ROOTS + "; extra: accuracy of the probability", columns)
    for v, w, df, p in [([1], [1], 10, 0.95), ([1], [3], 10, 0.95), ([1], [45], 20, 0.95), ([1], [1770], 660, 0.95), ([1], [10], 1, 0.9),
                        ([1], [10], 2, 0.99), ([1], [10], 102, 0.95), ([1], [10], 1e9, 0.95), ([1], [10], INF, 0.95),
                        ([1, 0.5, 2], [1, 2.5, 4], 12, 0.95), ([1], [5], 8, 0.125), ([1], [5], 8, 0.25), ([1], [5], INF, 0.125),
                        ([1], [5], 8, 1 - 2.0**-20), ([0.5], [3], 30, 0.5)]:
        quantile_row(t, [], p, [number(df), numbers(v), numbers(w)], lambda q: smm(q, df, v, w), 1e-3, 1e3, "1e-7", "-")
    t.block("bounds", columns)
    for p, df, w, why in [("0x1.fffffca501acbp-1", "10", "3", "p = 0.9999999, the bound itself"), ("0", "10", "3", "p = 0"), ("nan", "inf", "3", "p no number"),
                          ("0.5", "0.5", "3", "df below 1"), ("0.5", "10", "0", "no means"), ("0.5", "inf", "0", "no means")]:
        t.row(p, df, 1, w, "missing", 1, "0", why)
    t.write()


# ---- the Bayes k-ratio -----------------------------------------------------------------------------------------------

def k_ratio(t, q, dfe, fratio):
    t, q, dfe, fratio = map(mp.mpf, (t, q, dfe, fratio))
    n = q + dfe

    def parts(s):
        b = mp.exp(s)
        weight = -(q + 3) / 2 * mp.log1p(b) - (n - 1) / 2 * mp.log1p(q * fratio / (1 + b) / dfe) + 1.5 * s
        z = t * mp.sqrt(b * n / (q * fratio + (1 + b) * dfe))
        w = 1 / (1 + z * z / n)
        tail = mp.betainc(n / 2, mp.mpf(1) / 2, 0, w, regularized=True) / 2
        density = mp.exp(mp.loggamma((n + 1) / 2) - mp.loggamma(n / 2)) / mp.sqrt(n * mp.pi) * w ** ((n + 1) / 2)
        return weight, z, (z * z + n) / (n - 1) * density - z * tail

    grid = [mp.mpf(k) / 4 for k in range(-160, 161)]
    weights = [parts(s)[0] for s in grid]
    top = max(weights)
    inside = [s for s, weight in zip(grid, weights) if weight > top - 60]
    step = (inside[-1] - inside[0]) / 24
    cuts = [inside[0] + step * k for k in range(25)]

    def integral(with_z):
        def f(s):
            weight, z, loss = parts(s)
            return mp.exp(weight - top) * (loss + (z if with_z else 0))

        return mp.quad(f, cuts, maxdegree=5)

    return integral(True) / integral(False)


def calck_rows(folder):
    mp.mp.dps = 20
    t = Table(folder, "calck")
    columns = "t  q  dfe  fratio  rc  k  tol  why"
    t.block("20 digits by tanh-sinh quadrature (tools/numeric/range_rows.py)", columns)
    for args in [(1, 5, 20, 3), (2, 10, 60, 2), (1.75, 3, 12, 5), (4, 2, 5, 1), (2, 20, 1000, 1.5), (0.5, 2, 4, 0.5), (3, 6, 30, 25),
                 (8, 4, 10, 1), (2, 5, 100000, 3), (2, 59, 660, 1.25), (2, 2, 2, 2), (0.0625, 4, 20, 2)]:
        t.row(*[number(a) for a in args], 0, digits(k_ratio(*args)), "2e-8", "-")
    t.block("bad arguments: k is left", columns)
    for args in [("0", 5, 20, 3), ("-1", 5, 20, 3), ("nan", 5, 20, 3), ("1", "0", 20, 3), ("1", 5, "-1", 3), ("1", 5, 20, "-1"), ("1", 5, 20, "nan")]:
        t.row(*args, 1, "-1", "1e-6", "-")
    t.write()


def bayes_rows(folder):
    mp.mp.dps = 15
    t = Table(folder, "zbayest")
    columns = "kratio  fratio  q  dfe  rc  crit  tol  why"
    t.block("root of the k-ratio, 15 digits by tanh-sinh quadrature (tools/numeric/range_rows.py)", columns)
    for kratio, fratio, q, dfe in [(100, 3, 6, 20), (100, 1, 6, 20), (100, 25, 6, 60), (50, 2, 4, 10), (500, 4, 10, 30), (100, 5, 3, 4),
                                   (100, 1.5, 59, 660), (100, 0.25, 2, 12), (10, 2, 3, 8), (100, 3, 6, 100000)]:
        root = mp.findroot(lambda x: mp.log(k_ratio(x, q, dfe, fratio) - 1) - mp.log(kratio - 1), (1.5, 3), tol=1e-9)
        t.row(kratio, number(fratio), q, dfe, 0, digits(root, 12), "1e-5", "-")
    t.block("limit of many means and degrees of freedom: (z + E)/E = kratio, E = phi(z) - z Phi(-z), z = t sqrt((F - 1)/F); 15 digits", columns)
    for kratio, fratio in [(100, 3), (50, 2)]:
        z = mp.findroot(lambda x: (x + mp.npdf(x) - x * mp.ncdf(-x)) - kratio * (mp.npdf(x) - x * mp.ncdf(-x)), 1.7)
        t.row(kratio, fratio, 1000000, "2e8", -1, digits(z * mp.sqrt(mp.mpf(fratio) / (fratio - 1)), 12), "1e-5", "dfe is capped")
    t.block("definition: crit is left at -1", columns)
    for row in [("1", 3, 6, 20, "no ratio"), ("0.5", 3, 6, 20, "less than any ratio"), ("nan", 3, 6, 20, "no number"),
                ("100", "nan", 6, 20, "no number"), ("100", "-1", 6, 20, "negative F"), ("100", 3, 0, 20, "no degrees of freedom among means"),
                ("100", 3, 6, 0, "no error degrees of freedom"), ("inf", 3, 6, 20, "no t is enough"), ("100", "inf", 6, 20, "infinite F")]:
        t.row(*row[:4], 1, -1, "0", row[4])
    t.write()


# pmvt and pmvnorm(lower = -Inf, upper = q, corr = lambda lambda', algorithm = TVPACK(1e-14)) of R's mvtnorm.
TVPACK = [
    (1, 2.25, 20, numbers(3 * [HALF]), "3*1", "0.9552730650226318", "1e-7", "trivariate t"),
    (1, 1, 5, "0.75,0.5,0.25", "3*1", "0.600971951652347", "1e-7", "trivariate t, unequal correlations"),
    (1, -0.5, 12, "0.875,0.5,0.5", "3*1", "0.0864131827207921", "1e-7", "trivariate t, lower side"),
    (1, 2, 1, "0.5,0.75", "2*1", "0.7719857590944005", "1e-7", "bivariate Cauchy"),
    (1, 2.5, 200, numbers(3 * [HALF]), "3*1", "0.9822261530258041", "1e-7", "trivariate t, seven nodes"),
    (1, 1.5, "inf", "0.75,0.5,0.25", "3*1", "0.8264429577492673", "1e-7", "trivariate normal"),
]


def main():
    tables = {"zprbsrg": srg_rows, "zprbsdt": sdt_rows, "zprbsmm": smm_rows, "zqunsrg": sqrg_rows, "zqunsdt": sqdt_rows,
              "zqunsmm": sqmm_rows, "calck": calck_rows, "zbayest": bayes_rows}
    for name in sys.argv[2:] or tables:
        tables[name](sys.argv[1])


if __name__ == "__main__":
    main()
