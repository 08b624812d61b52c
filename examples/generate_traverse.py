#!/usr/bin/env python3
"""Generates the example total-station traverse and its truth.

A closed traverse runs from the GNSS point G1 through five new stations T1 to T5 to the GNSS
point G2 and back to G1 along a valley road. On every station the total station measures a
direction set, zenith angles and slope distances, with instrument and target heights, to the
neighbouring stations, and to two detail points on the slope above the road where they are in
sight. GNSS gives the baselines G1-G2 and G1-T3 with their full covariance matrices, as the
baseline processing software exports them. G1 is held fixed. The observations are simulated
from known true coordinates with normal noise of their stated standard deviation (each
baseline with its correlations); the approximate coordinates are a field sketch's, decimetres
off. The truth is written beside the network, with the true orientations of the sets.

    python3 examples/generate_traverse.py [--seed N] [--output-dir DIR]
"""

import argparse
import math
import os
import random

TRUTH = [  # name, X, Y, Z
    ("G1", 2000.000, 5000.000, 310.400),
    ("T1", 2185.412, 5062.877, 318.925),
    ("T2", 2371.090, 5018.330, 326.118),
    ("T3", 2552.664, 5104.509, 331.742),
    ("T4", 2713.205, 5036.214, 340.067),
    ("T5", 2874.580, 5140.955, 352.380),
    ("G2", 3041.776, 5075.120, 358.913),
    ("D1", 2310.250, 5240.600, 372.550),
    ("D2", 2640.880, 5285.310, 391.270),
]
FIXED = ["G1"]
# Station, then its targets in the order they are read, and the instrument height (m).
SETS = [
    ("G1", ["G2", "T1", "D1"], 1.512),
    ("T1", ["G1", "T2", "D1"], 1.604),
    ("T2", ["T1", "T3", "D1", "D2"], 1.488),
    ("T3", ["T2", "T4", "D2"], 1.553),
    ("T4", ["T3", "T5", "D2"], 1.621),
    ("T5", ["T4", "G2", "D2"], 1.497),
    ("G2", ["T5", "G1"], 1.536),
]
DIRECTION_SIGMA = 0.0003  # gon, a one-second instrument in two faces
ZENITH_SIGMA = 0.0006  # gon, refraction included
DISTANCE_SIGMA_BASE = 0.001  # 1 mm + 1.5 ppm
DISTANCE_SIGMA_PPM = 1.5
TARGET_HEIGHT = 1.300  # prism pole on the stations; the detail points carry fixed prisms
DETAIL_TARGET_HEIGHT = 0.000
SKETCH_ERROR = 0.30  # metres: the approximate coordinates are this far off, at most
GON = math.pi / 200.0
# GNSS baselines with their covariances (m²): XX, XY, XZ, YY, YZ, ZZ; a few millimetres
# horizontally, twice that in height, correlated as processed baselines are.
BASELINES = [
    ("G1", "G2", (9.0e-6, 2.7e-6, -4.1e-6, 7.8e-6, 3.3e-6, 3.1e-5)),
    ("G1", "T3", (6.4e-6, 1.9e-6, -2.6e-6, 5.9e-6, 2.2e-6, 2.2e-5)),
]


def bearing(dx, dy):
    return math.atan2(dx, dy) % (2.0 * math.pi)


def gon_text(radians, full=400.0):
    value = (radians / GON) % full
    if value >= full - 5e-8:
        value -= full
    return "%.5f" % max(value, 0.0)


def cholesky(c):
    xx, xy, xz, yy, yz, zz = c
    l00 = math.sqrt(xx)
    l10, l20 = xy / l00, xz / l00
    l11 = math.sqrt(yy - l10 * l10)
    l21 = (yz - l20 * l10) / l11
    l22 = math.sqrt(zz - l20 * l20 - l21 * l21)
    return ((l00, 0.0, 0.0), (l10, l11, 0.0), (l20, l21, l22))


def target_height(name):
    return DETAIL_TARGET_HEIGHT if name.startswith("D") else TARGET_HEIGHT


def simulate(seed):
    rng = random.Random(seed)
    truth = {name: (x, y, z) for name, x, y, z in TRUTH}
    orientations = {}
    lines = []
    for station, targets, instrument in SETS:
        set_name = "S" + station
        sx, sy, sz = truth[station]
        orientations[set_name] = rng.uniform(0.0, 2.0 * math.pi)
        lines.append("# Station %s, instrument height %.3f m" % (station, instrument))
        for target in targets:
            tx, ty, tz = truth[target]
            height = target_height(target)
            reading = bearing(tx - sx, ty - sy) - orientations[set_name]
            reading += rng.gauss(0.0, DIRECTION_SIGMA * GON)
            lines.append("dir    %-4s %-3s %-3s %10s %.4f" % (
                set_name, station, target, gon_text(reading), DIRECTION_SIGMA))
            dz = tz + height - sz - instrument
            horizontal = math.hypot(tx - sx, ty - sy)
            zenith = math.atan2(horizontal, dz) + rng.gauss(0.0, ZENITH_SIGMA * GON)
            lines.append("zenith %-3s %-3s %10s %.4f %.3f %.3f" % (
                station, target, gon_text(zenith, 200.0 + 1e-3), ZENITH_SIGMA, instrument,
                height))
            slope = math.sqrt(horizontal * horizontal + dz * dz)
            sigma = DISTANCE_SIGMA_BASE + DISTANCE_SIGMA_PPM * 1e-6 * slope
            lines.append("dist   %-3s %-3s %10.4f %g+%gppm %.3f %.3f" % (
                station, target, slope + rng.gauss(0.0, sigma), DISTANCE_SIGMA_BASE,
                DISTANCE_SIGMA_PPM, instrument, height))
    lines.append("# GNSS baselines with their full covariance (m^2)")
    for start, end, covariance in BASELINES:
        factor = cholesky(covariance)
        noise = [rng.gauss(0.0, 1.0) for _ in range(3)]
        error = [sum(factor[row][k] * noise[k] for k in range(3)) for row in range(3)]
        components = [truth[end][k] - truth[start][k] + error[k] for k in range(3)]
        lines.append("vector %-3s %-3s %10.4f %10.4f %9.4f cov %s" % (
            start, end, components[0], components[1], components[2],
            " ".join("%.2e" % c for c in covariance)))
    approximate = {}
    for name, x, y, z in TRUTH:
        offset = 0.0 if name in FIXED else SKETCH_ERROR
        approximate[name] = tuple(c + rng.uniform(-offset, offset) for c in (x, y, z))
    return lines, approximate, orientations


def write_network(path, seed, lines, approximate):
    with open(path, "w", encoding="utf-8") as out:
        out.write("# Closed traverse G1 - T1 ... T5 - G2 - G1 along a valley road, with two\n")
        out.write("# detail points on the slope above it. Simulated by\n")
        out.write("# examples/generate_traverse.py --seed %d; truth in traverse.truth.\n" % seed)
        out.write("# Directions 0.3 mgon, zenith angles 0.6 mgon, distances 1 mm + 1.5 ppm,\n")
        out.write("# GNSS baselines with their full covariance. G1 is held fixed.\n\n")
        out.write("angles gon\n\n")
        out.write("# GNSS points and traverse stations, approximate (field sketch)\n")
        for name, _, _, _ in TRUTH:
            x, y, z = approximate[name]
            out.write("point %-3s %10.3f %10.3f %8.3f\n" % (name, x, y, z))
        out.write("\n")
        for name in FIXED:
            out.write("fix %s\n" % name)
        out.write("\n")
        for line in lines:
            out.write(("\n" if line.startswith("#") else "") + line + "\n")


def write_truth(path, seed, orientations):
    with open(path, "w", encoding="utf-8") as out:
        out.write("# True coordinates and set orientations behind traverse.net (seed %d)\n"
                  % seed)
        for name, x, y, z in TRUTH:
            out.write("point %-3s %.6f %.6f %.6f\n" % (name, x, y, z))
        for name, value in orientations.items():
            out.write("orientation %-4s %.7f gon\n" % (name, value / GON % 400.0))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--seed", type=int, default=2025)
    parser.add_argument("--output-dir", default=os.path.dirname(os.path.abspath(__file__)))
    arguments = parser.parse_args()
    lines, approximate, orientations = simulate(arguments.seed)
    write_network(os.path.join(arguments.output_dir, "traverse.net"), arguments.seed, lines,
                  approximate)
    write_truth(os.path.join(arguments.output_dir, "traverse.truth"), arguments.seed,
                orientations)


if __name__ == "__main__":
    main()
