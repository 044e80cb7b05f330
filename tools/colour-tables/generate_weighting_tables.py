#!/usr/bin/env python3
"""Generates src/colour/weighting_tables.cpp, the tristimulus weighting tables.

Regenerate (from the project root, python3 standard library only):
    python3 tools/colour-tables/generate_weighting_tables.py
Options: --output PATH writes elsewhere (the regeneration test uses it),
--data DIR reads the source data from another folder, --report prints the
check of the F12 method against the published fluorescent tables.

Layout of the result: 20 entries x 3 rows (x, y, z) x 31 weights for
400, 410, ..., 700 nm, signed 16-bit, weights x 1000 so that the y row sums
to about 100,000. Entries 18 and 19 are all zero.

Indices 0-13 and 16-17 (A, C, D50, D65, F2, F7, F11, D75; 2 and 10 degree):
    ASTM E308 Table 6 (10 nm, for data not corrected for bandpass), folded to
    400-700 nm as E308 prescribes: weights below 400 nm are added to 400 nm,
    weights above 700 nm to 700 nm. The published weights have three decimals,
    so x 1000 gives exact integers (read with Decimal, no float rounding).

Indices 14 and 15 (CIE F12, 3000 K triband, 2 and 10 degree): there is no
published E308 table, so the weights are computed from the CIE 5 nm data the
way E308 derives its tables:
    1. CIE F12 and the colour-matching functions are interpolated from 5 nm to
       1 nm with the Sprague (fifth-order) interpolation that the CIE
       recommends, over 380-780 nm.
    2. Each 1 nm product S*xbar (etc.) is distributed to the 10 nm points with
       the Lagrange coefficients that interpolate reflectance between them:
       cubic from the four nearest points, quadratic in the first and last
       interval (the E308 / Venable method).
    3. The weights are corrected for a triangular 10 nm bandpass to first
       order: w'(i) = w(i) + (2 w(i) - w(i-1) - w(i+1)) / 12.
    4. The rows are normalised so that y sums to 100 and folded to 400-700 nm.
    5. Fit: each row is scaled so that its sum is exactly the white point the
       library uses for this illuminant (x 1000: 108112, 100005, 39245 for 2
       degrees; 111379, 99997, 40365 for 10 degrees). Weights are then rounded
       by largest remainders: every weight is floored and the residue is given,
       one unit each, to the weights with the largest fractional parts (ties to
       the shorter wavelength), so the integer sums hit the targets exactly.
    6. Storage: x weights above 32767 do not fit 16 bits and are stored as
       value - 65536; the reader adds 65536 back to any x weight of these two
       entries below -1000. A genuine x weight may therefore not be below
       -1000: such a weight (the 10 degree x weight at 530 nm comes out
       near -1.01) is limited to -1000 before the fit of step 5.
    Applied to CIE F2, F7 and F11, steps 1-4 reproduce the published E308
    tables of those lamps to within 0.07 (F2, F7) and 0.29 (F11) on weights
    summing to 100 (run with --report).

The output depends only on the files in data/colour and is byte-for-byte
reproducible.
"""

import argparse
import decimal
import json
import math
import os
import sys

PROJECT_ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
DEFAULT_DATA = os.path.join(PROJECT_ROOT, "data", "colour")
DEFAULT_OUTPUT = os.path.join(PROJECT_ROOT, "src", "colour", "weighting_tables.cpp")

FIRST_NM, LAST_NM, STEP_NM = 400, 700, 10
POSITIONS = 31
ENTRIES = 20

# Index order of the library: (name, E308 table key or None, observer).
COMBINATIONS = [
    ("A/2", "A_2"), ("A/10", "A_10"),
    ("C/2", "C_2"), ("C/10", "C_10"),
    ("D50/2", "D50_2"), ("D50/10", "D50_10"),
    ("D65/2", "D65_2"), ("D65/10", "D65_10"),
    ("F2/2", "F2_2"), ("F2/10", "F2_10"),
    ("F7/2", "F7_2"), ("F7/10", "F7_10"),
    ("F11/2", "F11_2"), ("F11/10", "F11_10"),
    ("F12/2", None), ("F12/10", None),
    ("D75/2", "D75_2"), ("D75/10", "D75_10"),
]

# White points (x 1000) that the computed F12 weights must reproduce exactly.
F12_TARGETS = {2: (108112, 100005, 39245), 10: (111379, 99997, 40365)}
# Indices whose x row uses the 65536 storage rule.
WRAPPED_X_INDICES = (14, 15)
WRAP_THRESHOLD = -1000

CMF_FILES = {2: "CIE1931-2deg-XYZ.cmf", 10: "CIE1964-10deg-XYZ.cmf"}
COMPUTE_FIRST_NM, COMPUTE_LAST_NM = 380, 780


# ---- reading the source data ------------------------------------------------

def read_it8_sets(path):
    """Returns (start_nm, step_nm, [rows]) of a CGATS/IT8 spectral file."""
    start = end = bands = None
    rows = []
    with open(path, encoding="ascii") as handle:
        lines = handle.read().splitlines()
    inside = False
    for line in lines:
        words = line.split()
        if not words:
            continue
        if words[0] == "SPECTRAL_START_NM":
            start = float(words[1])
        elif words[0] == "SPECTRAL_END_NM":
            end = float(words[1])
        elif words[0] == "SPECTRAL_BANDS":
            bands = int(words[1])
        elif words[0] == "BEGIN_DATA":
            inside = True
        elif words[0] == "END_DATA":
            inside = False
        elif inside:
            rows.append([float(v) for v in words])
    step = (end - start) / (bands - 1)
    if step != 5.0 or any(len(r) != bands for r in rows):
        raise ValueError("%s: expected 5 nm data with %d bands" % (path, bands))
    return int(start), rows


def by_wavelength(start, values):
    return {start + 5 * i: v for i, v in enumerate(values)}


def read_published_tables(data_dir):
    with open(os.path.join(data_dir, "astm-e308-table6.json"), encoding="utf-8") as handle:
        return json.load(handle, parse_float=decimal.Decimal)["tables"]


# ---- E308 tables ------------------------------------------------------------

def fold_to_range(first_nm, values):
    """Adds weights outside 400-700 nm to the end positions."""
    folded = [0] * POSITIONS
    for i, value in enumerate(values):
        nm = first_nm + STEP_NM * i
        position = min(max((nm - FIRST_NM) // STEP_NM, 0), POSITIONS - 1)
        folded[position] += value
    return folded


def published_weights(table):
    rows = []
    for key in ("x", "y", "z"):
        folded = fold_to_range(360, table[key])
        rows.append([int(v * 1000) for v in folded])
    return rows


# ---- F12 computation --------------------------------------------------------

def sprague_to_1nm(samples):
    """CIE-recommended Sprague interpolation of 5 nm data to 1 nm."""
    keys = sorted(samples)
    y = [samples[k] for k in keys]

    def extend(v):
        return ((884 * v[0] - 1960 * v[1] + 3033 * v[2] - 2648 * v[3] + 1080 * v[4] - 180 * v[5]) / 209,
                (508 * v[0] - 540 * v[1] + 488 * v[2] - 367 * v[3] + 144 * v[4] - 24 * v[5]) / 209)

    outer_low, inner_low = extend(y)
    outer_high, inner_high = extend(y[::-1])
    p = [outer_low, inner_low] + y + [inner_high, outer_high]
    result = {}
    for i in range(len(y) - 1):
        q = p[i:i + 6]
        a0 = q[2]
        a1 = (2 * q[0] - 16 * q[1] + 16 * q[3] - 2 * q[4]) / 24
        a2 = (-q[0] + 16 * q[1] - 30 * q[2] + 16 * q[3] - q[4]) / 24
        a3 = (-9 * q[0] + 39 * q[1] - 70 * q[2] + 66 * q[3] - 33 * q[4] + 7 * q[5]) / 24
        a4 = (13 * q[0] - 64 * q[1] + 126 * q[2] - 124 * q[3] + 61 * q[4] - 12 * q[5]) / 24
        a5 = (-5 * q[0] + 25 * q[1] - 50 * q[2] + 50 * q[3] - 25 * q[4] + 5 * q[5]) / 24
        for j in range(5):
            t = j / 5
            result[keys[i] + j] = a0 + t * (a1 + t * (a2 + t * (a3 + t * (a4 + t * a5))))
    result[keys[-1]] = y[-1]
    return result


def lagrange_coefficients(nm, points):
    """Coefficients of the 10 nm grid points that interpolate at nm."""
    offset = nm - COMPUTE_FIRST_NM
    if offset % STEP_NM == 0:
        return {offset // STEP_NM: 1.0}
    k = offset // STEP_NM
    t = (offset - STEP_NM * k) / STEP_NM
    if k == 0:
        return {0: (t - 1) * (t - 2) / 2, 1: -t * (t - 2), 2: t * (t - 1) / 2}
    if k == points - 2:
        u = t + 1
        return {points - 3: (u - 1) * (u - 2) / 2, points - 2: -u * (u - 2), points - 1: u * (u - 1) / 2}
    return {k - 1: -t * (t - 1) * (t - 2) / 6,
            k: (t + 1) * (t - 1) * (t - 2) / 2,
            k + 1: -(t + 1) * t * (t - 2) / 2,
            k + 2: (t + 1) * t * (t - 1) / 6}


def bandpass_corrected(row):
    corrected = []
    for i, w in enumerate(row):
        left = row[i - 1] if i > 0 else 0.0
        right = row[i + 1] if i + 1 < len(row) else 0.0
        corrected.append(w + (2 * w - left - right) / 12)
    return corrected


def computed_weights(data_dir, illuminant, observer):
    """Steps 1-4: weights of one illuminant, y summing to 100, 400-700 nm."""
    start, rows = read_it8_sets(os.path.join(data_dir, "CIE-%s.sp" % illuminant))
    spd = sprague_to_1nm(by_wavelength(start, rows[0]))
    start, rows = read_it8_sets(os.path.join(data_dir, CMF_FILES[observer]))
    cmfs = [sprague_to_1nm(by_wavelength(start, r)) for r in rows]
    points = (COMPUTE_LAST_NM - COMPUTE_FIRST_NM) // STEP_NM + 1
    weights = []
    for cmf in cmfs:
        row = [0.0] * points
        for nm in range(COMPUTE_FIRST_NM, COMPUTE_LAST_NM + 1):
            product = spd[nm] * cmf[nm]
            for point, coefficient in lagrange_coefficients(nm, points).items():
                row[point] += product * coefficient
        weights.append(bandpass_corrected(row))
    scale = 100.0 / sum(weights[1])
    return [fold_to_range(COMPUTE_FIRST_NM, [w * scale for w in row]) for row in weights]


def scaled_to(row, target):
    factor = target / sum(row)
    return [w * factor for w in row]


def fit_row(row, target, lowest):
    """Step 5: scales a row (x 1000) to sum exactly to target, no weight below lowest."""
    values = scaled_to([w * 1000 for w in row], target)
    while min(values) < lowest:
        limited = [max(v, lowest) for v in values]
        free = [i for i, v in enumerate(limited) if v > 0]
        excess = sum(limited) - target
        positive = sum(limited[i] for i in free)
        values = [v - excess * v / positive if i in free else v for i, v in enumerate(limited)]
    floors = [math.floor(v) for v in values]
    residue = target - sum(floors)
    order = sorted(range(POSITIONS), key=lambda i: (-(values[i] - floors[i]), i))
    for i in order[:residue]:
        floors[i] += 1
    return floors


def f12_weights(data_dir, observer):
    rows = computed_weights(data_dir, "F12", observer)
    targets = F12_TARGETS[observer]
    lowest = (WRAP_THRESHOLD, -32768, -32768)
    return [fit_row(rows[c], targets[c], lowest[c]) for c in range(3)]


# ---- output -----------------------------------------------------------------

def stored(index, row, value):
    """The 16-bit value that holds weight value of one entry and row."""
    if row == 0 and index in WRAPPED_X_INDICES:
        if value < WRAP_THRESHOLD:
            raise ValueError("entry %d: x weight %d would be read as %d" % (index, value, value + 65536))
        if value > 32767:
            value -= 65536
            if value >= WRAP_THRESHOLD:
                raise ValueError("entry %d: x weight %d cannot be stored" % (index, value + 65536))
    if not -32768 <= value <= 32767:
        raise ValueError("weight %d of entry %d does not fit 16 bits" % (value, index))
    return value


def build_entries(data_dir):
    published = read_published_tables(data_dir)
    entries = []
    for index, (name, key) in enumerate(COMBINATIONS):
        observer = 10 if name.endswith("/10") else 2
        rows = published_weights(published[key]) if key else f12_weights(data_dir, observer)
        entries.append((name, key, rows))
    return entries


def format_row(values):
    cells = ["%d" % v for v in values]
    lines, line = [], "            "
    for cell in cells:
        piece = cell + ","
        if len(line) + len(piece) + 1 > 100:
            lines.append(line.rstrip())
            line = "            "
        line += piece + " "
    lines.append(line.rstrip())
    return "\n".join(lines)


def render(entries):
    out = []
    out.append("// GENERATED FILE - do not edit.")
    out.append("// Written by tools/colour-tables/generate_weighting_tables.py from data/colour/")
    out.append("// (ASTM E308 Table 6; CIE F12 and CIE 1931/1964 observers for entries 14 and 15).")
    out.append("// Regenerate: python3 tools/colour-tables/generate_weighting_tables.py")
    out.append("")
    out.append('#include "colour/weighting_tables.h"')
    out.append("")
    out.append("namespace vireo2::colour {")
    out.append("")
    out.append("// Weights x 1000 at 400, 410, ..., 700 nm; rows x, y, z. The x rows of")
    out.append("// entries 14 and 15 store weights above 32767 as value - 65536.")
    out.append("const std::int16_t kStoredWeights[kWeightTableEntries][3][kSpectrumLength] = {")
    for index in range(ENTRIES):
        if index < len(entries):
            name, key, rows = entries[index]
            source = "ASTM E308 Table 6 %s, folded" % key if key else "computed from CIE F12, fitted"
            sums = ", ".join("%d" % sum(r) for r in rows)
            out.append("    // %d: %s (%s); sums %s" % (index, name, source, sums))
        else:
            rows = [[0] * POSITIONS for _ in range(3)]
            out.append("    // %d: unused" % index)
        out.append("    {")
        for r, row in enumerate(rows):
            out.append("        {")
            out.append(format_row([stored(index, r, v) for v in row]))
            out.append("        },")
        out.append("    },")
    out.append("};")
    out.append("")
    out.append("}  // namespace vireo2::colour")
    return "\n".join(out) + "\n"


def report(data_dir):
    published = read_published_tables(data_dir)
    for illuminant in ("F2", "F7", "F11"):
        for observer in (2, 10):
            table = published["%s_%d" % (illuminant, observer)]
            reference = [fold_to_range(360, [float(v) for v in table[k]]) for k in ("x", "y", "z")]
            computed = computed_weights(data_dir, illuminant, observer)
            worst = max(abs(computed[c][i] - reference[c][i]) for c in range(3) for i in range(POSITIONS))
            print("%s/%d: largest difference to E308 Table 6: %.4f" % (illuminant, observer, worst))
    for observer in (2, 10):
        sums = [sum(r) for r in computed_weights(data_dir, "F12", observer)]
        print("F12/%d before the fit: %.4f %.4f %.4f; target %s" % ((observer,) + tuple(sums) + (F12_TARGETS[observer],)))


def main():
    parser = argparse.ArgumentParser(description="Generates the tristimulus weighting tables.")
    parser.add_argument("--output", default=DEFAULT_OUTPUT)
    parser.add_argument("--data", default=DEFAULT_DATA)
    parser.add_argument("--report", action="store_true")
    args = parser.parse_args()
    if args.report:
        report(args.data)
        return 0
    text = render(build_entries(args.data))
    with open(args.output, "w", encoding="ascii", newline="\n") as handle:
        handle.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
