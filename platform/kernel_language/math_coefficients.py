#!/usr/bin/env python3
"""Prints the polynomial coefficients of math-inl.h and vector_estimates-inl.h in this folder.

Each function is interpolated at the Chebyshev nodes of its interval (within a small factor of the
minimax polynomial) in 60-digit decimals; the largest relative error seen is printed beside it.
"""
from decimal import Decimal as D, getcontext

getcontext().prec = 60
PI = D("3.14159265358979323846264338327950288419716939937510582097494459")
LN2 = D(2).ln()


def series(first, ratio, x_limit=D(10) ** -58):
    total, term, k = D(0), first, 0
    while abs(term) > x_limit:
        total += term
        term *= ratio(k)
        k += 1
    return total


def sin(x):
    return series(x, lambda k: -x * x / ((2 * k + 2) * (2 * k + 3)))


def cos(x):
    return series(D(1), lambda k: -x * x / ((2 * k + 1) * (2 * k + 2)))


def power(z, k):
    return z ** k if k else D(1)


def exp2_quotient(f):  # (2^f - 1) / f
    if abs(f) < D(10) ** -20:
        return LN2 + LN2 * LN2 * f / 2
    return ((f * LN2).exp() - 1) / f


def atanh_tail(z):  # (atanh(s)/s - 1)/z with z = s^2
    return sum(power(z, k) / (2 * k + 3) for k in range(60))


def sin_tail(z):  # (sin(r)/r - 1)/z with z = r^2
    return sum((-1) ** (k + 1) * power(z, k) / fact(2 * k + 3) for k in range(30))


def cos_tail(z):  # (cos(r) - 1)/z with z = r^2
    return sum((-1) ** (k + 1) * power(z, k) / fact(2 * k + 2) for k in range(30))


def atan_tail(z):  # (atan(r)/r - 1)/z with z = r^2
    return sum((-1) ** (k + 1) * power(z, k) / (2 * k + 3) for k in range(90))


def asin_tail(z):  # (asin(r)/r - 1)/z with z = r^2
    total, c = D(0), D(1)
    for k in range(1, 110):
        c *= D(2 * k - 1) / D(2 * k)
        total += c * power(z, k - 1) / (2 * k + 1)
    return total


def fact(n):
    r = D(1)
    for i in range(2, n + 1):
        r *= i
    return r


def fit(name, f, lo, hi, degree):
    n = degree + 1
    nodes = [(lo + hi) / 2 + (hi - lo) / 2 * cos(PI * (2 * i + 1) / (2 * n)) for i in range(n)]
    table = [f(x) for x in nodes]
    for j in range(1, n):  # divided differences
        for i in range(n - 1, j - 1, -1):
            table[i] = (table[i] - table[i - 1]) / (nodes[i] - nodes[i - j])
    poly = [table[-1]]
    for i in range(n - 2, -1, -1):  # poly * (x - node) + table
        shifted = [D(0)] + poly
        for k, c in enumerate(poly):
            shifted[k] -= nodes[i] * c
        shifted[0] += table[i]
        poly = shifted
    worst = D(0)
    for i in range(2001):
        x = lo + (hi - lo) * i / 2000
        p = D(0)
        for c in reversed(poly):
            p = p * x + D(float(c))
        worst = max(worst, abs(p - f(x)))
    print(f"{name}  [{float(lo):.6g}, {float(hi):.6g}]  absolute error {float(worst):.2e}")
    for c in poly:
        print(f"    {float(c)!r},")


fit("exp2Quotient", exp2_quotient, D("-0.5"), D("0.5"), 6)
fit("atanhTail", atanh_tail, D(0), D("0.02944"), 4)
fit("sinTail", sin_tail, D(0), (PI / 4) ** 2 * D("1.001"), 4)
fit("cosTail", cos_tail, D(0), (PI / 4) ** 2 * D("1.001"), 5)
fit("atanTail", atan_tail, D(0), (D(2).sqrt() - 1) ** 2, 7)
fit("asinTail", asin_tail, D(0), D("0.25"), 9)
fit("cosine of estimates", lambda z: 1 + z * cos_tail(z), D(0), (PI / 2) ** 2 * D("1.001"), 4)
