#!/usr/bin/env python3
"""Prints the rows of root1 in src/numeric/fstchi.cpp: rational fits of the nodes of the 7-point Gauss rule for the
weight x^a e^(-x), divided by a, as functions of u = sqrt(1/a) for a >= 50. Needs mpmath.

With t0 = 1 a node is 1 + u s(u), and s stays finite as u goes to 0; the fit makes the worst error of s smallest (Lawson's
reweighting of a linearised least-squares fit). Prints the worst error of s beside each row."""

import mpmath as mp

NODES = 7
FROM_A = 50
POINTS = 48
mp.mp.dps = 40


def gauss_nodes(u):
    jacobi = mp.zeros(NODES)
    for k in range(NODES):
        jacobi[k, k] = (2 * k + 1) * u**2 + 1
        if k:
            jacobi[k, k - 1] = jacobi[k - 1, k] = mp.sqrt((k * u**2) ** 2 + k * u**2)
    return sorted(mp.eigsy(jacobi, eigvals_only=True), reverse=True)


def fit(us, s):
    """t1 to t8 for 1 + u s = (1 + u(t1 + ...)) / (1 + u(t5 + ...)) at the points us."""
    weights = [mp.mpf(1)] * len(us)
    denominators = [mp.mpf(1)] * len(us)
    best = None
    for step in range(25):
        rows, right = mp.zeros(len(us), 8), mp.zeros(len(us), 1)
        for i, u in enumerate(us):
            scale = mp.sqrt(weights[i]) / denominators[i]
            for j in range(4):
                rows[i, j] = scale * u**j
                rows[i, 4 + j] = -scale * u**j * (1 + s[i] * u)
            right[i] = scale * s[i]
        t = mp.lu_solve(rows.T * rows, rows.T * right)
        denominators = [1 + sum(t[4 + j] * u ** (j + 1) for j in range(4)) for u in us]
        errors = [
            abs(sum((t[j] - t[4 + j]) * u**j for j in range(4)) / d - want)
            for u, d, want in zip(us, denominators, s)
        ]
        worst = max(errors)
        if best is None or worst < best[0]:
            best = (worst, t)
        if step >= 3:
            weights = [w * e for w, e in zip(weights, errors)]
            mean = sum(weights) / len(weights)
            weights = [w / mean for w in weights]
    return best


def main():
    top = mp.sqrt(mp.mpf(1) / FROM_A)
    us = [top * (1 - mp.cos(mp.pi * (2 * i + 1) / (2 * POINTS))) / 2 for i in range(POINTS)]
    table = [gauss_nodes(u) for u in us]
    for row in range(NODES):
        worst, t = fit(us, [(nodes[row] - 1) / u for nodes, u in zip(table, us)])
        print("    {" + ", ".join(["1.0"] + [repr(float(x)) for x in t]) + "},  //", mp.nstr(worst, 2))


if __name__ == "__main__":
    main()
