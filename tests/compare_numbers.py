#!/usr/bin/env python3
"""Compares two text files made by the product and by the native build, field
by field: words must be equal; numbers equal, or within a relative tolerance
(of the larger magnitude, and at least of 1). Prints every difference beyond
it (line, field, both values) and a summary line; the exit status is 1 when
there is any.
usage: compare_numbers.py WHAT PRODUCT NATIVE TOLERANCE"""
import sys


def number(word):
    try:
        return float(word)
    except ValueError:
        return None


def main():
    what, product, native, tolerance = sys.argv[1], sys.argv[2], sys.argv[3], float(sys.argv[4])
    a = open(product).read().split("\n")
    b = open(native).read().split("\n")
    beyond = exact = within = 0
    if len(a) != len(b):
        print(f"{what}: {len(a)} lines from the product, {len(b)} from the native build")
        return 1
    for n, (la, lb) in enumerate(zip(a, b), 1):
        wa, wb = la.split(), lb.split()
        if len(wa) != len(wb):
            print(f"{what}:{n}: product '{la}', native '{lb}'")
            beyond += 1
            continue
        for f, (x, y) in enumerate(zip(wa, wb), 1):
            if x == y:
                exact += 1
                continue
            nx, ny = number(x), number(y)
            if nx is not None and ny is not None and abs(nx - ny) <= tolerance * max(1.0, abs(nx), abs(ny)):
                within += 1
                continue
            beyond += 1
            print(f"{what}:{n}:{f}: product {x}, native {y}")
    print(f"{what}: {exact} fields identical, {within} within {tolerance:g}, {beyond} beyond")
    return 1 if beyond else 0


if __name__ == "__main__":
    sys.exit(main())
