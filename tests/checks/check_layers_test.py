# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Show that check_layers.py finds each kind of forbidden include, and nothing in a tree without one."""

import pathlib
import shutil
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import check_layers  # noqa: E402

GOOD = {
    "include/ullage/engine.h": "#include <stdint.h>\n",
    "src/platform/platform.h": "#include <unistd.h>\n#ifdef __linux__\n",
    "src/frame/log.h": '#include <ullage/engine.h>\n#include <vector>\n#include "platform/platform.h"\n',
    "src/matrix/sweep_kernel.h": "#include <cstddef>\n",
    "src/matrix/sweep_kernel.cpp": '#include "matrix/sweep_kernel.h"\n',
    "src/matrix/sweep.h": '#include "frame/log.h"\n',
    "src/impute/chain.h": '#include "matrix/sweep.h"\n',
    "src/estimate/moments.h": "",
    "host/base/words.h": "#include <anything/at_all.h>\n",
    "host/table/table.h": '#include "ullage/host/base/words.h"\n',
    "host/draw/chain.h": '#include <ullage/engine.h>\n#include "ullage/host/table/table.h"\n',
    "host/report/page.h": '#include "ullage/host/base/words.h"\n',
    "cli/main.cpp": '#include "ullage/host/draw/chain.h"\n',
}

# file, the line that is added to it, what the report must say
BAD = [
    ("src/platform/platform.h", '#include "frame/log.h"', "src/platform may include only: nothing"),
    ("src/frame/log.h", '#include "matrix/sweep.h"', "src/frame may include only"),
    ("src/matrix/sweep.h", '  #  include "platform/platform.h"', "src/matrix may include only"),
    ("src/impute/chain.h", '#include "estimate/moments.h"', "src/impute may include only"),
    ("src/estimate/moments.h", '#include "impute/chain.h"', "src/estimate may include only"),
    ("src/frame/log.h", '#include "ullage/host/table/table.h"', "src/frame may include only"),
    ("src/matrix/sweep_kernel.h", '#include "matrix/sweep.h"', "a kernel includes"),
    ("src/matrix/sweep_kernel.cpp", '#include "frame/log.h"', "a kernel includes"),
    ("src/impute/chain.h", '#include "impute/gone.h"', "no such file"),
    ("src/matrix/sweep.h", '#include "sweep_kernel.h"', 'write it as "matrix/sweep_kernel.h"'),
    ("src/frame/log.h", "#include <unistd.h>", "standard library alone"),
    ("src/frame/log.h", "#include <Eigen/Dense>", "standard library alone"),
    ("include/ullage/engine.h", "#include <fmt/format.h>", "standard library alone"),
    ("src/frame/log.h", "#if defined(_WIN32)", "only src/platform knows"),
    ("host/draw/chain.h", '#include "frame/log.h"', "host/draw may include only"),
    ("host/base/words.h", '#include "ullage/host/table/table.h"', "host/base may include only: nothing"),
    ("host/table/table.h", "#include <ullage/engine.h>", "host/table may include only: host/base"),
    ("host/report/page.h", '#include "ullage/host/draw/chain.h"', "host/report may include only"),
    ("cli/main.cpp", "#include <ullage/engine.h>", "cli may include only: host"),
]


class CheckLayers(unittest.TestCase):
    def report(self, file=None, line=""):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, text in GOOD.items():
                path = root / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text + (line + "\n" if name == file else ""))
            (root / "tools").mkdir()
            shutil.copy(ROOT / "tools/layers.txt", root / "tools")
            return check_layers.check(root)[0]

    def test_a_good_tree_has_no_faults(self):
        self.assertEqual(self.report(), [])

    def test_each_forbidden_include_is_the_one_fault(self):
        for file, line, expected in BAD:
            with self.subTest(file=file, line=line):
                faults = self.report(file, line)
                self.assertEqual(len(faults), 1, faults)
                self.assertIn(expected, faults[0])
                self.assertTrue(faults[0].startswith(file + ":"), faults)


if __name__ == "__main__":
    unittest.main()
