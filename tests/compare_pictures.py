#!/usr/bin/env python3
"""Compares two PAM pictures made by the product and by the native build,
pixel by pixel: sizes must match, and every channel must be within TOLERANCE
levels of 255. Prints the pixels beyond it (the first twenty, with place and
both values), and a summary line; the exit status is 1 when there is any.
usage: compare_pictures.py WHAT PRODUCT.pam NATIVE.pam TOLERANCE"""
import sys


def read(path):
    data = open(path, "rb").read()
    end = data.index(b"ENDHDR\n") + len(b"ENDHDR\n")
    fields = dict(line.split(" ", 1) for line in data[:end].decode().split("\n")[1:] if " " in line)
    return int(fields["WIDTH"]), int(fields["HEIGHT"]), int(fields["DEPTH"]), data[end:]


def main():
    what, tolerance = sys.argv[1], int(sys.argv[4])
    wa, ha, da, a = read(sys.argv[2])
    wb, hb, db, b = read(sys.argv[3])
    if (wa, ha, da) != (wb, hb, db):
        print(f"{what}: product {wa}x{ha}x{da}, native {wb}x{hb}x{db}")
        return 1
    beyond = same = 0
    for i in range(0, len(a), da):
        pa, pb = a[i:i + da], b[i:i + da]
        if pa == pb:
            same += 1
            continue
        if max(abs(x - y) for x, y in zip(pa, pb)) <= tolerance:
            continue
        beyond += 1
        if beyond <= 20:
            p = i // da
            print(f"{what}: pixel ({p % wa}, {p // wa}): product {tuple(pa)}, native {tuple(pb)}")
    print(f"{what}: {same} of {wa * ha} pixels identical, {beyond} beyond {tolerance} levels")
    return 1 if beyond else 0


if __name__ == "__main__":
    sys.exit(main())
