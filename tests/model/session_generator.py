# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#
# Random sessions for the comparison: lists of calls, each a name and the arguments that go in.
#
# An output argument stands as True (a place is given) or False (null). A path that begins with "@" lies in the scratch
# folder of the run. Means and covariances are long enough for every group: the leading part of a packed matrix is the
# matrix of the first variables.

import decimal
import math
import random

NARROW, WIDE = 10, 40  # most variables of a table
SPARE = 3  # more variables for the matrices: a weight or group id column can become one, and so can a damaged count
MAX_ORDER = WIDE + SPARE

PLAIN_NAMES = ["x", "y", "z", "height", "age", "a1", "_u", "v_2", "q", "B"]
ODD_NAMES = [
    "X", "x", "Y", "1e5", "12", "\u00e9", "\u00df", "\u540d\u524d", "\u03a9\u03c9", "\u0663", "\u00aa", "\u00b2",
    "\\default", "\\DEFAULT", "*", "a b", "a-b", "%s", "a%d%n", "x\r", "\r", "\ud83d\ude00", "\ud83d", "x\ude00y",
    "\ud800", "\udbff\udbff\udfff\udfff", "\udbff\udc00\udc00", "<", "a|b", ";", "n" * 70, "\u540d%s" * 60,
    "a" * 121 + "\ud83d\ude00-" + "b" * 90, "\u0130", "\u017f", "\u212a", "(", "inf", "nan", "x\uffff",
]  # fmt: skip
BAD_ITEMS = [
    "abc", "1|2", "1e", "1e+", ".", "+", "--1", "1.2.3", "0x10", "inf", "nan", "1,5", "5\r", "*<5", "**", " *", "* ",
    "1<2", "1<<2<3", "w<3", "<q q", "5<6;1", "<5;abc", "abc;1", "1e5<", "<1e5", "1<2|x", "1|2<3", "5%s%d%n", "<%s",
    "\u0663", "\ud83d", "\ud83d\ude00<", "1_0", "1d", "1e1.5", "<*", "x", "y", "|", "5|", "|5", "\u00a05",
    "9" * 400 + "x", "%" * 499, "v" * 450 + "\ud83d\ude00" * 20, "<" + "n" * 600, "n" * 700 + "<1", "x<abc;5",
    "5;<abc",
]  # fmt: skip
ODD_NUMBERS = [
    "1e300", "1d300", "-1e300", "1e299", "1e999", "-1e999", "1e-400", "-1e-400", "4.9e-324",
    "2.2250738585072011e-308", "1.7976931348623157e308", "-1.7976931348623157e308", "1.8e308", "0", "-0", "+5", ".5",
    "5.", "-.5e1", "1D3", "1d-2", "1E+2", "00012", "1 2", " 3 . 5 ", "\r7", "\x0b\x0c8", "1e0000000000000000000001",
    "1e99999999999999999999", "0e99999", "0." + "0" * 400 + "1e401", "1" + "0" * 400 + "e-400",
    "0.1000000000000000055511151231257827021181583404541015625", "9007199254740993", "1e22", "1e23", "8.5",
    "123456789.123456789e-9",
]  # fmt: skip
LAST_MOMENTS = "of the last DS_SampleMoments"  # stands for its means or its covariance, where there was none for zeros
EXACT = decimal.Context(prec=2000)
ODD_WORDS = [0, -1, 2, 3, 99, -7, 2**31 - 1, -(2**31)]
EDGES = [  # where the truncated draw changes its method, for a mean of 0 and a standard deviation of 1
    "0", "-0", "0.725", "0.7249999999999999", "0.75", "0.7500000000000001", "1.4", "1.4000000000000001", "-1.4",
    "-1.4000000000000001", "1.248458951508617", "1.2484589515086173", "0.5", "1.3448604959630555", "-0.725", "-0.75",
    "1", "-1", "2", "-2", "3", "-3", "30", "-30", "1e299", "-1e299",
]  # fmt: skip


def chance(rng, p):
    return rng.random() < p


def diagonals(order):
    return [i * (i + 3) // 2 for i in range(order)]


def packed_from_root(root, order):
    packed = []
    for i in range(order):
        for j in range(i + 1):
            total = 0.0
            for k in range(order):
                total += root[i][k] * root[j][k]
            packed.append(total)
    return packed


def random_covariance(rng, order):
    scale = rng.choice([1.0, 1.0, 1.0, 1.0, 0.1, 5.0, 100.0])
    root = [[rng.gauss(0.0, 0.5) for _ in range(order)] for _ in range(order)]
    for i in range(order):
        root[i][i] += rng.choice([0.5, 1.0, 1.5])
        for j in range(order):
            root[i][j] *= scale
    if chance(rng, 0.08):  # one variable repeats another
        i, j = rng.sample(range(5), 2)
        root[j] = list(root[i])
    if chance(rng, 0.03):
        root[rng.randrange(4)] = [0.0] * order
    if chance(rng, 0.15):  # different units
        for i in range(order):
            factor = 10.0 ** rng.randint(-5, 7)
            root[i] = [x * factor for x in root[i]]
    packed = packed_from_root(root, order)
    kind = rng.random()
    at = rng.randrange(10)
    diagonal = rng.randrange(4)
    diagonal = diagonal * (diagonal + 3) // 2
    if kind < 0.12:
        packed = [float(round(x)) for x in packed]
    elif kind < 0.15:
        packed[at] = rng.choice([math.nan, math.inf, -math.inf])
    elif kind < 0.19:
        packed[diagonal] = rng.choice([0.0, -0.0, -3.0, 1e-15, 9e-16, 1e-20, 5e-324, 1e300, -1e-15, 1e-310])
    elif kind < 0.20:
        packed[0] = math.nan
        packed[2] = -1.0
    elif kind < 0.22:  # indefinite
        packed[at] = packed[at] * rng.choice([-1.0, 3.0, 10.0])
    elif kind < 0.24:
        packed = [0.0] * len(packed)
    elif kind < 0.26:
        packed = [x * rng.choice([1e-17, 1e-15, 1e150, 1e300]) for x in packed]
    elif kind < 0.34:  # uncorrelated, exactly
        packed = [x if k in diagonals(order) else 0.0 for k, x in enumerate(packed)]
        if chance(rng, 0.5):
            packed = [rng.choice([1.0, 1.0, 4.0, 1e-15]) if k in diagonals(order) else 0.0 for k in range(len(packed))]
    return packed


def random_means(rng, order):
    means = [round(rng.gauss(0.0, 2.0), rng.choice([0, 1, 3, 17])) for _ in range(order)]
    if chance(rng, 0.1):
        means = [0.0] * order
    if chance(rng, 0.04):
        means[rng.randrange(4)] = rng.choice([math.nan, math.inf, -math.inf, 1e300, 1e308, -1e16])
    return means


def random_script(rng):
    """Answers to the first calls of a source: (kind, value, status)."""
    script = []
    for _ in range(rng.choice([0, 0, 0, 1, 3, 8, 30])):
        kind = rng.choice([0, 0, 1, 1, 2])
        value = rng.choice([0.0, 1.0, 0.5, -0.0, 1e-300, 0.999999, 1.5, float(rng.choice(EDGES))])
        if chance(rng, 0.08):
            value = rng.choice([math.nan, math.inf, -math.inf, 1e300, -1e300, 1e308, 5e-324])
        script.append((kind, value, rng.choice([0, 0, 0, 1, 7, 2**31 - 1])))
    if chance(rng, 0.15):
        for _ in range(rng.choice([0, 0, 1, 2, 5, 20, 60, 200])):
            script.append((0, 0.0, 0))
        kind = rng.choice([0, 1, 2])
        script.append((kind, rng.choice([0.25, math.nan]), rng.choice([-1, -2147467259, -(2**31)])))
    return tuple(script)


def random_source(rng):
    if chance(rng, 0.04):
        return None
    return {
        "start": rng.randrange(8000),
        "script": random_script(rng),
        "ties": rng.randrange(10**6) if chance(rng, 0.3) else None,
        "error_info": (rng.choice([0, 0, 0, 1, -1]), rng.choice([0, 0, 0, 1, -1]), rng.choice([0, 0, 0, 1, -1])),
    }


def hard_number(rng):
    """A number whose conversion is easily wrong in its last bit, or long, or at an end of the range."""
    kind = rng.randrange(5)
    digits = "".join(rng.choices("0123456789", k=rng.choice([1, 5, 15, 16, 17, 18, 19, 20, 21, 25, 40, 120])))
    if kind < 2:
        point = rng.randint(0, len(digits))
        exponent = rng.choice(
            ["", "", "e%d" % rng.randint(-30, 30), "d%+d" % rng.randint(-345, 330), "E%03d" % rng.randint(0, 30)]
        )
        return rng.choice(["", "-", "+"]) + digits[:point] + "." + digits[point:] + exponent
    if kind == 2:
        return "%s%se%d" % (
            rng.choice(["", "-"]),
            digits,
            rng.randint(-30, 30) - (rng.choice([0, 300, 320]) if len(digits) < 41 else 0),
        )
    value = math.ldexp(
        rng.choice([rng.getrandbits(53), 2**53 - 1, 2**52, rng.getrandbits(20)]) or 1,
        rng.choice([-1074, -1060, -60, -10, 0, 5, 60]),
    )
    if kind == 3:
        return repr(value)
    middle = EXACT.divide(EXACT.add(decimal.Decimal(value), decimal.Decimal(math.nextafter(value, math.inf))), 2)
    text = format(middle, "f")
    if len(text) > 1000:
        return repr(value)
    return text + rng.choice(["", "", "0", "1"]) if "." in text else text


class DataText:
    """One data text and what the key calls for it need."""

    def __init__(self, rng, mixture, rank_order, wide, same_order):
        self.rng = rng
        self.mixture = mixture
        self.rank_order = rank_order
        self.order = same_order or rng.choice([1, 1, 2, 2, 3, 3, 4, 5, 6, 6])
        if chance(rng, 0.02):
            self.order = NARROW
        if wide and not same_order:
            self.order = rng.choice([11, 16, 17, 24, 31, WIDE])
        self.cases = rng.choice([0, 1, 1, 2, 3, 4, 5, 8, 12])
        if chance(rng, 0.02):
            self.cases = 40
        if wide:
            self.cases = min(self.cases, 6)
        elif chance(rng, 0.005):
            self.cases = 400
        self.names = self.make_names()
        self.weight = rng.randrange(self.order + 1) if chance(rng, 0.2) else None
        self.columns = list(self.names)
        if self.weight is not None:
            self.columns.insert(self.weight, "w")
        self.style = rng.choice(["missing", "missing", "bounds", "bounds", "order", "mixed", "mixed", "wild", "edges", "numbers"])
        self.text = self.make_text()
        self.damaged = chance(rng, 0.2)
        if self.damaged:
            self.text = self.damage(self.text)

    def make_names(self):
        names = (PLAIN_NAMES + ["v%d" % k for k in range(WIDE - NARROW)])[: self.order]
        if chance(self.rng, 0.15):
            for _ in range(self.rng.randint(1, 2)):
                names[self.rng.randrange(self.order)] = self.rng.choice(ODD_NAMES)
        return names

    def number(self):
        rng = self.rng
        value = rng.gauss(0.0, 2.0)
        kind = rng.random()
        if kind < 0.5:
            return "%.*f" % (rng.choice([0, 1, 2]), value)
        if kind < 0.7:
            return repr(value)
        if kind < 0.8:
            return ("%.3e" % value).replace("e", rng.choice("eEdD"))
        if kind < 0.97 or self.style != "wild":
            return str(rng.randint(-3, 3))
        return rng.choice(ODD_NUMBERS)

    def interval(self):
        rng = self.rng
        if self.style == "edges":
            return tuple(sorted((rng.choice(EDGES), rng.choice(EDGES)), key=float))
        low = rng.gauss(0.0, 2.0)
        if chance(rng, 0.15):
            low += rng.choice([-1.0, 1.0]) * rng.choice([5.0, 20.0, 1e3])
        width = abs(rng.gauss(0.0, 1.0)) * rng.choice([0.01, 0.5, 1.0, 4.0])
        if chance(rng, 0.05):
            width = rng.choice([0.0, -0.5])
        digits = rng.choice([1, 2, 17])
        return "%.*g" % (digits, low), "%.*g" % (digits, low + width)

    def term(self, column):
        """The cell's own variable, mostly as the empty term."""
        name = self.names[column]
        return self.rng.choice(["", "", "", name, name.upper()])

    def bound(self, column):
        rng = self.rng
        low, high = self.interval()
        own = self.term(column)
        kind = rng.random()
        if kind < 0.25:
            return own + "<" + high
        if kind < 0.5:
            return low + "<" + own
        if kind < 0.85:
            return low + "<" + own + "<" + high
        if kind < 0.9:
            return low + "|" + self.number() + "<" + own + "<" + high
        if kind < 0.94:
            return low + "<" + own + ";" + own + "<" + high
        if kind < 0.97:
            return "<" + high + ";" + self.number()
        return rng.choice(["", "5;", ";", "1;2;"]) + low + "<<" + high

    def order_bound(self, column, along):
        """An inequality between variables; along the order of the columns where asked."""
        rng = self.rng
        other = self.names[rng.randrange(self.order)]
        if along and self.order > 1:
            if column + 1 < self.order and (column == 0 or chance(rng, 0.5)):
                return self.term(column) + "<" + self.names[column + 1]
            return self.names[column - 1] + "<" + self.term(column)
        low, high = self.interval()
        forms = [
            "<" + other,
            other + "<",
            other + "<<" + high,
            low + "<" + other,
            other + "<" + high,
            "<",
            other + "|" + low + "<",
        ]
        forms += [
            other + "<" + self.names[0],
            low + "<<" + other,
            "<" + other + ";" + low + "<",
            low + "<" + other + "<" + high,
        ]
        return rng.choice(forms)

    def item(self, column, kind):
        """One item; kind, between 0 and 1, decides whether it is observed, missing or bounded."""
        rng = self.rng
        missing = rng.choice(["*", "*", "*", " ", "   "])
        if self.style == "numbers":
            return hard_number(rng) if kind < 0.9 else missing
        if self.style == "missing":
            return missing if kind < 0.4 else self.number()
        if self.style in ("bounds", "edges"):
            return self.bound(column) if kind < 0.4 else missing if kind < 0.6 else self.number()
        if self.style == "order" and self.rank_order:
            return self.order_bound(column, True) if kind < 0.7 else self.number() if kind < 0.85 else missing
        if kind < 0.2:
            return self.bound(column)
        if kind < 0.4 and (self.rank_order or chance(rng, 0.03)):
            return self.order_bound(column, chance(rng, 0.5))
        if kind < 0.6:
            return missing
        if self.style == "wild":
            if kind < 0.66:
                return rng.choice(ODD_NUMBERS)
            if kind < 0.68:
                return rng.choice(BAD_ITEMS)
            if kind < 0.72:
                number = rng.choice(ODD_NUMBERS)
                return rng.choice(
                    ["<" + number, number + "<", ";" + number, number + ";", number + ";" + self.number()]
                )
        text = self.number()
        if chance(rng, 0.05):
            text = rng.choice([" ", "  "]) + text[:1] + " " + text[1:]
        return text

    def group_id(self):
        rng = self.rng
        if chance(rng, 0.1):
            return rng.choice(["2.99", "2.98", "-1", "-0.5", "", "1e0", "2147483646", "0.995", "+1", " 1", "-5"])
        if self.style == "wild" and chance(rng, 0.1):
            return rng.choice(["*", "x", "1 ", "2147483648", "1e300", "-1e10", "1e999", "1 2", "<1", "2147483647.995"])
        return str(rng.choice([0, 0, 1, 1, 2, 3]))

    def weight_item(self, first):
        rng = self.rng
        if self.style == "wild" and chance(rng, 0.15):
            bad = [
                "0",
                "-1",
                "1.5",
                "*",
                "",
                " ",
                "2147483648",
                "99999999999999999999",
                "a",
                "1e0",
                "%s",
                "2;",
                "+",
                "0x2",
            ]
            if not first:  # the first case alone would fit, and take gigabytes
                bad += ["2147483647", "\x0b2147483647"] * 4
            return rng.choice(bad)
        return rng.choice(
            ["1", "1", "1", "2", "3", " 2", "+1", "007", "1 1"] if chance(rng, 0.2) else ["1", "1", "2", "3"]
        )

    def make_text(self):
        rng = self.rng
        header = [str(self.cases), str(len(self.columns))]
        if chance(rng, 0.04):
            header[0] += rng.choice([".9", "e0", ".0"])
        lines = rng.choice(["\t", "\t", "\n"]).join(header) + rng.choice(["\n", "\n", "\n", "\t"])
        names = (["grp"] if self.mixture else []) + self.columns
        lines += "\t".join(names) + "\n"
        patterns = []
        if chance(rng, 0.5):  # cases that are observed in the same columns, or in the same first ones
            first = [rng.random() for _ in range(self.order)]
            for _ in range(rng.choice([1, 2, 3])):
                kept = rng.randint(0, self.order)
                patterns.append(first[:kept] + [rng.random() for _ in range(self.order - kept)])
        for case in range(self.cases):
            kinds = rng.choice(patterns) if patterns else [rng.random() for _ in range(self.order)]
            items = [self.item(c, kinds[c]) for c in range(self.order)]
            if self.weight is not None:
                items.insert(self.weight, self.weight_item(case == 0))
            if self.mixture:
                items.insert(0, self.group_id())
            lines += "\t".join(items) + "\n"
        return lines

    def damage(self, text):
        """Break a text in one of the ways in which texts break."""
        rng = self.rng
        lines = text.split("\n")
        kind = rng.choice([*range(17), 10, 10])
        line = rng.randrange(len(lines))
        if kind == 0:
            return text[:-1]
        if kind == 1:
            lines[line] += "\t" + rng.choice(["", "1", "*"])
        elif kind == 2:
            lines[line] = lines[line].rpartition("\t")[0]
        elif kind == 3:
            lines[0] = (
                rng.choice(["3", "2", "x", "-1", "1e10", "2.9", "", "*", "3 ", " 3", "-0.5", "2147483648"])
                + "\t"
                + str(len(self.columns))
            )
        elif kind == 4:
            count = rng.choice(
                [
                    "0",
                    "-1",
                    "99",
                    "2147483647",
                    "2147483648",
                    "1e999",
                    "x",
                    "",
                    "-0.9",
                    "1e5",
                    str(len(self.columns) + 1),
                    str(len(self.columns) - 1),
                ]
            )
            lines[0] = str(self.cases) + "\t" + count
        elif kind == 5:
            lines[line] += "\r"
        elif kind == 6:
            return text[: rng.randrange(len(text) + 1)]
        elif kind == 7:
            at = rng.randrange(len(text) + 1)
            return text[:at] + rng.choice("\t\t\n\n<|;*0e. %\r-") + text[at:]
        elif kind == 8 and text:
            at = rng.randrange(len(text))
            return text[:at] + text[at + 1 :]
        elif kind == 9:
            items = lines[line].split("\t")
            items[rng.randrange(len(items))] = rng.choice(BAD_ITEMS)
            lines[line] = "\t".join(items)
        elif kind == 10:
            items = lines[line].split("\t")
            limit = rng.choice([500, 501, 1005, 1006])
            at = rng.randrange(len(items))
            filler = rng.choice(["0", "0", " ", "5", "x", ";"])
            items[at] = filler * (limit - len(items[at])) + items[at]
            lines[line] = "\t".join(items)
        elif kind == 11:
            items = lines[line].split("\t")
            items[rng.randrange(len(items))] = ""
            lines[line] = "\t".join(items)
        elif kind == 12:
            lines.insert(line, "")
        elif kind == 13:
            lines.append(rng.choice(["extra", "1\t2\t3", "\t"]))
        elif kind == 14:
            lines[0] = str(self.cases + rng.choice([-1, 1, 5])) + lines[0][len(str(self.cases)) :]
        elif kind == 15:
            items = lines[line].split("\t")
            rng.shuffle(items)
            lines[line] = "\t".join(items)
        elif kind == 16 and len(lines) > 1:
            items = lines[1].split("\t")
            items[rng.randrange(len(items))] = rng.choice(ODD_NAMES)
            lines[1] = "\t".join(items)
        return "\n".join(lines)


class SessionGenerator:
    def __init__(self, seed):
        self.rng = random.Random(seed)
        self.calls = []
        self.groups = 0
        self.mixture = False
        self.rank_order = False
        self.covariances = []
        self.means = []
        self.style = ""
        self.table_order = None
        self.order = (WIDE if chance(self.rng, 0.015) else NARROW) + SPARE

    def call(self, name, *arguments):
        self.calls.append((name, arguments))

    def place(self):
        """An output argument, rarely null."""
        return not chance(self.rng, 0.01)

    def lifetime(self):
        """All calls between a load of the library and its unload."""
        rng = self.rng
        self.odd = rng.choice([0.0, 0.0, 0.02, 0.1])
        self.switches()
        if chance(rng, 0.05):
            self.any_call()
        for number in range(rng.choice([1, 1, 1, 2, 3])):
            self.session(number)
            if chance(rng, 0.05):
                for _ in range(rng.randint(1, 4)):
                    self.any_call()
        return self.calls

    def switches(self):
        rng = self.rng
        if chance(rng, 0.25):
            self.mixture = not self.mixture
            self.call("DS_SetMixtureModeling", rng.choice([1, 1, -1, 2]) if self.mixture else 0)
        if chance(rng, 0.5):
            self.rank_order = True
            self.call("DS_AllowRankOrder")
        if chance(rng, 0.2):
            self.call(rng.choice(["DS_ForceGibbs", "DS_ForceGibbs", "DS_ForceMC"]))
        if chance(rng, 0.05):
            self.call("DS_SetTest", rng.choice(ODD_WORDS))
        if chance(rng, 0.05):
            self.call("DS_GetTest")

    def session(self, number):
        rng = self.rng
        self.groups = 0
        trace, error = "@trace%d" % number, "@error%d" % number
        if chance(rng, 0.05):
            trace = rng.choice(["@missing/trace", "@", "", None, "@tr\u00e4ce\u540d\ud83d\ude00", "@old_trace"])
        if chance(rng, 0.05):
            error = rng.choice(["@missing/error", "@", "", None, "@error \u00f8%s", "@old_error"])
        self.call("DS_GibbsOpen", trace, error)
        if chance(rng, 0.1):
            self.switches()
        loads = rng.choice([1, 1, 1, 2, 3]) if not self.mixture or chance(rng, 0.1) else 1
        for _ in range(loads):
            self.group()
            for _ in range(rng.choice([0, 1, 3] if self.damaged else [0, 3, 6, 10])):
                self.operation()
        if chance(rng, 0.5):
            self.call("DS_DataMatrix", 0, True)
        if not chance(rng, 0.1):
            self.call("DS_GibbsClose")
            self.groups = 0

    def data_text(self):
        same_order = self.table_order if chance(self.rng, 0.4) else None
        data = DataText(self.rng, self.mixture, self.rank_order, self.order > NARROW + SPARE, same_order)
        self.table_order = data.order
        return data

    def group(self):
        rng = self.rng
        keys = rng.choice([1, 1, 2, 4]) if not chance(rng, self.odd) else rng.choice([0, -1, 50])
        capacity = rng.choice([10, 10, 10, 3, 2, 1]) if not chance(rng, self.odd) else rng.choice([0, -1, 1])
        self.call("DS_CreateGroup", rng.choice(ODD_WORDS), self.place(), keys, capacity, rng.choice(ODD_WORDS))
        self.groups += 1
        data = self.data_text()
        for name in data.columns:
            if chance(rng, 0.3):
                self.call("DS_KeyVariableDef", rng.randrange(max(keys, 1)), rng.choice([name, name.upper(), "other"]))
            if chance(rng, self.odd):
                self.any_call()
        if chance(rng, 0.05):
            self.call("DS_KeySelect", 1, -1)
        name = rng.choice(["g", "group one", "", "%s%d%n", "\u00fc\u540d", "\ud83d\ude00", "\ud83d", "n" * 600, None])
        if chance(rng, 0.03):  # names up to the brim of the pool
            for length in rng.choice([[19000, 900], [19980, 10], [9999, 9999, 0], [19990], [19991], [19999], [20000]]):
                self.call("DS_KeyVariableDef", 0, "k" * length)
                name = rng.choice(["", "", name])
        if data.weight is not None:
            self.call(
                "DS_KeyWeight", rng.choice(["w", "w", "w", "w", "W", "nowhere"] if chance(rng, 0.1) else ["w", "W"])
            )
        if chance(rng, 0.03):
            self.call("DS_KeyEnd")
        self.call("DS_KeyGroupDef", name, data.text if not chance(rng, 0.005) else None)
        if chance(rng, 0.4):
            self.call("DS_KeyEnd")
        if chance(rng, 0.1):
            self.call("DS_GetErrorMessageW", self.place(), rng.choice([600, 600, 500, 38, 37, 36, 1, 0, -1]))
        self.style = data.style
        self.damaged = data.damaged

    def group_number(self):
        rng = self.rng
        if chance(rng, self.odd * 0.5):
            return rng.choice(ODD_WORDS)
        return rng.choice([0, 0, 1, rng.randint(0, 3) if self.mixture else max(self.groups, 1)])

    def estimates(self):
        """Means and a covariance: often those of an earlier call."""
        rng = self.rng
        if chance(rng, 0.15):
            self.call("DS_SampleMoments", 0, True, True, rng.choice([0, 1]))
            return LAST_MOMENTS, LAST_MOMENTS
        if self.style == "edges" and chance(rng, 0.7):
            size = self.order * (self.order + 1) // 2
            return [0.0] * self.order, [1.0 if k in diagonals(self.order) else 0.0 for k in range(size)]
        if not self.covariances or chance(rng, 0.4):
            self.covariances.append(random_covariance(rng, self.order))
            self.means.append(random_means(rng, self.order))
        return rng.choice(self.means), rng.choice(self.covariances)

    def operation(self):
        rng = self.rng
        kind = rng.random()
        if chance(rng, self.odd):
            self.any_call()
        elif kind < 0.55:
            self.impute()
            self.call("DS_DataMatrix", 0, True)
        elif kind < 0.65:
            self.call("DS_SampleMoments", self.group_number(), self.place(), self.place(), rng.choice([0, 1, -1]))
        elif kind < 0.75:
            means, covariance = self.estimates()
            self.call("DS_GetLikelihoods", rng.choice(ODD_WORDS), means, covariance, self.place())
        elif kind < 0.8:
            self.call("DS_ImputeGroupMembership", tuple(rng.choice([0, 1, 2, 3, -1]) for _ in range(8)))
        else:
            self.read_back()

    def impute(self):
        rng = self.rng
        means, covariance = self.estimates()
        first, last = 0, 0
        if chance(rng, 0.3):
            first, last = rng.choice([(1, 0), (1, 2), (2, 0), (3, 3), (2, 1), (2, 2), (3, 0), (1, 1), (0, 3), (4, 0)])
        if chance(rng, self.odd * 0.5):
            first, last = rng.choice(
                [(-1, 0), (0, -1), (50, 0), (0, 100), (100, 100), (5, 2), (-(2**31), 2**31 - 1)]
            )
        if chance(rng, self.odd * 0.2):
            means = None
        if chance(rng, self.odd * 0.2):
            covariance = None
        self.call("DS_Impute", self.group_number(), means, covariance, first, last, random_source(rng))

    def read_back(self):
        rng = self.rng
        number = self.group_number()
        variable = rng.randint(0, 4)
        case = rng.randint(0, 6)
        if chance(rng, self.odd):
            variable, case = rng.choice(ODD_WORDS), rng.choice(ODD_WORDS)
        kind = rng.randrange(9)
        if kind == 0:
            self.call("DS_NVariables", number, self.place())
        elif kind == 1:
            self.call("DS_VariableNameLength", number, variable, self.place())
        elif kind == 2:
            self.call("DS_VariableNameW", number, variable, self.place())
        elif kind == 3:
            self.call("DS_GetGroupOneTotalSampleSize", self.place())
        elif kind == 4:
            self.call("DS_GetSampleSize", number, self.place())
        elif kind == 5:
            self.call("DS_DataScalar", number, case, variable, self.place())
        elif kind == 6:
            for v in range(1, 6):
                self.call("DS_ConstraintTypeScalar", number, case, v, self.place())
        elif kind == 7:
            self.call("DS_DataVector", number, case, self.place())
        else:
            self.call("DS_DataMatrix", number, self.place())

    def any_call(self):
        """A call out of order."""
        rng = self.rng
        kind = rng.randrange(16)
        if kind < 4:
            self.read_back()
        elif kind == 4:
            self.impute()
        elif kind == 5:
            self.call("DS_GoToGroup", rng.choice(ODD_WORDS + [1, 1, 2]))
        elif kind == 6:
            self.call("DS_GibbsClose")
        elif kind == 7:
            self.call("DS_GibbsOpen", "@trace9", "@error9")
        elif kind == 8:
            self.call("DS_KeyVariableDef", rng.choice([0, 1, -1, 50, 2**31 - 1]), rng.choice(["x", "y", None]))
        elif kind == 9:
            self.call("DS_KeyWeight", rng.choice(["w", "x", "", None]))
        elif kind == 10:
            self.call("DS_KeyEnd")
        elif kind == 11:
            data = self.data_text()
            self.call("DS_KeyGroupDef", "again", data.text)
        elif kind == 12:
            self.call("DS_SampleMoments", self.group_number(), self.place(), self.place(), 0)
        elif kind == 13:
            means, covariance = self.estimates()
            self.call("DS_GetLikelihoods", 0, rng.choice([means, None]), rng.choice([covariance, None]), True)
        elif kind == 14:
            self.call("DS_ImputeGroupMembership", rng.choice([None, (1, 2, 0)]))
        else:
            self.switches()


def random_session(seed):
    return SessionGenerator(seed).lifetime()
