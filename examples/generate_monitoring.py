#!/usr/bin/env python3
"""Generates the example monitoring network and its free-network variant.

A slope above a reservoir is watched from six reference pillars on stable ground. Total stations
on the pillars measure slope distances to 24 monitoring prisms on the slope, GNSS receivers give
baselines between the pillars and to every prism, and a levelling line ties four benchmarks to
the pillars. The observations are simulated from known true coordinates with normal noise of
their stated standard deviation; the approximate coordinates of the prisms are last epoch's,
some centimetres off. The truth is written beside the network so that a reader can check how
close the adjustment comes.

    python3 examples/generate_monitoring.py [--seed N] [--output-dir DIR]
"""

import argparse
import math
import os
import random

PILLARS = [  # name, X, Y, Z: stable ground around the slope
    ("R1", 5000.000, 8000.000, 412.300),
    ("R2", 5410.000, 7985.000, 409.800),
    ("R3", 5445.000, 8330.000, 455.100),
    ("R4", 5205.000, 8420.000, 471.600),
    ("R5", 4960.000, 8310.000, 448.900),
    ("R6", 5215.000, 7940.000, 401.200),
]
BENCHMARKS = ["BM1", "BM2", "BM3", "BM4"]
DISTANCE_REACH = 330.0  # metres a total station sees
DISTANCE_SIGMA_BASE = 0.0006  # 0.6 mm + 1 ppm
DISTANCE_SIGMA_PPM = 1e-6
VECTOR_SIGMA = 0.003
LEVELLING_SIGMA_PER_ROOT_KM = 0.0003
APPROXIMATION_ERROR = 0.04  # last epoch's coordinates are this far off, at most


def distance_sigma(length):
    return round(DISTANCE_SIGMA_BASE + DISTANCE_SIGMA_PPM * length, 5)


def levelling_sigma(length):
    return round(max(LEVELLING_SIGMA_PER_ROOT_KM * math.sqrt(length / 1000.0), 0.0002), 5)


def monitoring_points(rng):
    """Prisms on a 6 x 4 pattern over the slope, jittered, heights rising with Y."""
    points = []
    for row in range(4):
        for column in range(6):
            x = 5070.0 + column * 60.0 + rng.uniform(-12.0, 12.0)
            y = 8070.0 + row * 70.0 + rng.uniform(-12.0, 12.0)
            z = 405.0 + (y - 8000.0) * 0.17 + rng.uniform(-3.0, 3.0)
            points.append(("M%02d" % (row * 6 + column + 1), x, y, z))
    return points


def benchmark_heights(rng):
    return [(name, 395.0 + 4.0 * index + rng.uniform(0.0, 2.0))
            for index, name in enumerate(BENCHMARKS)]


def simulate(seed):
    rng = random.Random(seed)
    prisms = monitoring_points(rng)
    heights = benchmark_heights(rng)
    spatial = {name: (x, y, z) for name, x, y, z in PILLARS + prisms}
    height = dict(heights)
    truth_height = lambda name: height[name] if name in height else spatial[name][2]

    observations = []
    # Total stations on every pillar: a slope distance to every prism and pillar in reach.
    for station, _, _, _ in PILLARS:
        for target, _, _, _ in PILLARS + prisms:
            if target == station or (target.startswith("R") and target < station):
                continue
            length = math.dist(spatial[station], spatial[target])
            if length > DISTANCE_REACH:
                continue
            sigma = distance_sigma(length)
            observations.append("dist %-4s %-4s %10.4f %.5f" % (
                station, target, length + rng.gauss(0.0, sigma), sigma))
    # GNSS: baselines from R1 to the other pillars, and to every prism from the base on R6
    # (lower half of the slope) or R4 (upper half). The distances alone, all nearly level,
    # would leave the prisms' heights weak.
    baselines = [("R1", name) for name, _, _, _ in PILLARS[1:]]
    baselines += [("R6" if index < 12 else "R4", name)
                  for index, (name, _, _, _) in enumerate(prisms)]
    for start, end in baselines:
        components = [spatial[end][k] - spatial[start][k] + rng.gauss(0.0, VECTOR_SIGMA)
                      for k in range(3)]
        observations.append("vector %-4s %-4s %10.4f %10.4f %9.4f %.4f" % (
            start, end, components[0], components[1], components[2], VECTOR_SIGMA))
    # Levelling line R6 - BM1 - BM2 - BM3 - BM4 - R4, with spurs to prisms along the way.
    line = ["R6", "BM1", "M02", "BM2", "M09", "BM3", "M16", "BM4", "R4"]
    for start, end in zip(line, line[1:]):
        planar = 150.0  # a set-up interval of the levelling line, roughly
        sigma = levelling_sigma(planar)
        difference = truth_height(end) - truth_height(start)
        observations.append("level  %-4s %-4s %9.4f %.5f" % (
            start, end, difference + rng.gauss(0.0, sigma), sigma))
    # A GNSS height on the first benchmark.
    observations.append("coord  BM1  h %9.4f %.4f" % (
        height["BM1"] + rng.gauss(0.0, 0.004), 0.004))

    approximate = {}
    for name, x, y, z in prisms:
        approximate[name] = tuple(c + rng.uniform(-APPROXIMATION_ERROR, APPROXIMATION_ERROR)
                                  for c in (x, y, z))
    approximate_height = {name: h + rng.uniform(-APPROXIMATION_ERROR, APPROXIMATION_ERROR)
                          for name, h in heights}
    return prisms, heights, observations, approximate, approximate_height


def write_network(path, seed, free, prisms, heights, observations, approximate,
                  approximate_height):
    kind = "free network" if free else "fixed on six reference pillars"
    with open(path, "w", encoding="utf-8") as out:
        out.write("# Slope monitoring network, %s.\n" % kind)
        out.write("# Simulated by examples/generate_monitoring.py --seed %d; truth in "
                  "monitoring.truth.\n" % seed)
        out.write("# Lengths in metres. Distances: 0.6 mm + 1 ppm; GNSS: 3 mm; "
                  "levelling: 0.3 mm/sqrt(km).\n\n")
        out.write("# Reference pillars (true coordinates from the base survey)\n")
        for name, x, y, z in PILLARS:
            out.write("point %-4s %10.3f %10.3f %8.3f\n" % (name, x, y, z))
        out.write("\n# Monitoring prisms, approximate (last epoch)\n")
        for name, _, _, _ in prisms:
            x, y, z = approximate[name]
            out.write("point %-4s %10.3f %10.3f %8.3f\n" % (name, x, y, z))
        out.write("\n# Levelling benchmarks, approximate\n")
        for name, _ in heights:
            out.write("height %-4s %8.3f\n" % (name, approximate_height[name]))
        out.write("\n")
        if free:
            out.write("datum free\n")
        else:
            for name, _, _, _ in PILLARS:
                out.write("fix %s\n" % name)
        out.write("\n# Observations\n")
        for observation in observations:
            out.write(observation + "\n")


def write_truth(path, seed, prisms, heights):
    with open(path, "w", encoding="utf-8") as out:
        out.write("# True coordinates behind monitoring.net and monitoring-free.net "
                  "(seed %d)\n" % seed)
        for name, x, y, z in PILLARS + prisms:
            out.write("point %-4s %.6f %.6f %.6f\n" % (name, x, y, z))
        for name, h in heights:
            out.write("height %-4s %.6f\n" % (name, h))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--seed", type=int, default=2024)
    parser.add_argument("--output-dir", default=os.path.dirname(os.path.abspath(__file__)))
    arguments = parser.parse_args()
    prisms, heights, observations, approximate, approximate_height = simulate(arguments.seed)
    directory = arguments.output_dir
    for free, name in ((False, "monitoring.net"), (True, "monitoring-free.net")):
        write_network(os.path.join(directory, name), arguments.seed, free, prisms, heights,
                      observations, approximate, approximate_height)
    write_truth(os.path.join(directory, "monitoring.truth"), arguments.seed, prisms, heights)


if __name__ == "__main__":
    main()
