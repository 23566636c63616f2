# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Runs whose reports are looked at: short ones, with everything in them that a table may hold."""

import random
import subprocess

ODD_NAMES = ["größe min [m²]", 'größe "mid" & more', "größe max", "<script>alert('x')</script>",
             "日本語の列の名前がとても長い場合でも大丈夫でしょうか", "a name that goes on, far longer than any plot, with </svg> in it"]


def quoted(name):
    return '"' + name.replace('"', '""') + '"'


def odd_table():
    """Three columns in an order, names that are hard to show, and all kinds of cells."""
    numbers = random.Random(4)
    lines = [",".join(quoted(name) for name in ODD_NAMES)]
    for row in range(60):
        low = numbers.gauss(10, 2)
        middle = low + 1 + abs(numbers.gauss(2, 1))
        high = middle + 1 + abs(numbers.gauss(2, 1))
        cells = [f"{value:.4f}" for value in (low, middle, high, numbers.gauss(2 * low, 3), numbers.gauss(50, 9),
                                              numbers.gauss(-1e4, 2e3))]
        for column in range(6):
            if (row + 2 * column) % 9 == 0:
                cells[column] = ""
        if row % 5 == 1:
            cells[4] = "30..60" if row % 2 else "45..52"
        if row % 6 == 2:
            cells[5] = "<-9000" if row % 4 == 0 else ">-12000"
        lines.append(",".join(cells))
    return "\n".join(lines) + "\n"


def wide_table():
    """Many columns in levels whose names are markup."""
    numbers = random.Random(5)
    lines = [",".join(["site"] + [f"metal_{c}_mg_kg" for c in range(12)] + ["note"])]
    for row in range(180):
        common = numbers.gauss(0, 1)
        cells = []
        for column in range(12):
            value = 2.718 ** (0.5 * common + numbers.gauss(0, 0.8) + column / 6)
            cells.append("" if numbers.random() < 0.04 else "<1" if value < 1 and column % 3 == 1 else f"{value:.3f}")
        lines.append(",".join([["North", "<West>", "South & \"East\""][row % 3].replace('"', "'")] + cells + ["seen" if row % 3 else ""]))
    return "\n".join(lines) + "\n"


# name: table, options
RUNS = {
    "odd": (odd_table, ["--order", "<".join(ODD_NAMES[:3])]),
    "wide": (wide_table, ["--by", "site", "--log", ",".join(f"metal_{c}_mg_kg" for c in range(12)), "--prior", "ridge=5"]),
    "once": (lambda: "a,b\n" + "".join(f"{i}.5,{i * i % 7}\n" for i in range(1, 20)) + ",3\n<2,\n", ["-m", "1"]),
    "complete": (lambda: "a,b\n" + "".join(f"{i},{i * i % 7}\n" for i in range(1, 20)), []),
}


def run(program, folder, name, extra=()):
    """Impute one of RUNS into folder/name and give the report's path."""
    table, options = RUNS[name]
    (folder / f"{name}.csv").write_text(table(), encoding="utf-8")
    subprocess.run([program, "impute", f"{name}.csv", "-o", name, "--seed", "1", "--thin", "10", "--burn-in", "20",
                    "--quiet"] + ([] if "-m" in options else ["-m", "5"]) + options + list(extra), cwd=folder, check=True, stderr=subprocess.DEVNULL)
    return folder / name / "report.html"
