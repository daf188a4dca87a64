#!/usr/bin/env python3
"""Writes the example clouds of this directory: points of a formula, with holes and noise.

Usage: make_points.py hills|bump COUNT [SIGMA] [SEED] > FILE.xyz
"""
import math
import random
import sys


def hills(x, y):
    """A landscape over 3 x 2 with a hole (a pond) and a missing corner."""
    if math.hypot(x - 1.9, y - 1.1) < 0.35 or (x < 0.5 and y < 0.4):
        return None
    bump = 0.25 * math.exp(-6 * ((x - 0.9) ** 2 + (y - 1.3) ** 2))
    return 0.35 * math.sin(2.2 * x) * math.cos(1.7 * y) + bump


def bump(x, y):
    """A round sheet with one bump."""
    if math.hypot(x - 1.5, y - 1) > 1:
        return None
    return 0.3 * math.exp(-8 * ((x - 1.4) ** 2 + (y - 0.9) ** 2))


def main():
    shape = {"hills": hills, "bump": bump}[sys.argv[1]]
    count = int(sys.argv[2])
    sigma = float(sys.argv[3]) if len(sys.argv) > 3 else 0.0
    draw = random.Random(int(sys.argv[4]) if len(sys.argv) > 4 else 1)
    print("# made by make_points.py", *sys.argv[1:])
    while count > 0:
        x, y = draw.uniform(0, 3), draw.uniform(0, 2)
        z = shape(x, y)
        if z is None:
            continue
        print(f"{x:.5f} {y:.5f} {z + draw.gauss(0, sigma):.5f}")
        count -= 1


main()
