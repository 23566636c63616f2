# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#
# A slow second implementation of the engine, used as the reference of the comparison.
#
# Every export is a method of Engine. It returns (result, output): output is None where the host's array stays
# untouched, else the list of numbers or the text that the call writes. Wide text is a str with one character per 16-bit
# unit, so a surrogate pair is two characters. Floats are IEEE doubles; every sum runs in a plain loop, because the
# order of the additions is part of the result.

import math
import re
import unicodedata

OPEN_LOW = -1.7976931348623157e308
OPEN_HIGH = 1.7976931348623157e308
UNDEFINED = 1e300
PIVOT_TOLERANCE = 1e-15
LN_2_18 = math.log(2.18)
SWEEPS_AFTER_START = 21
INT_MAX = 2**31 - 1
INT_MIN = -(2**31)

HEADER_ITEM_LIMIT = 500
RECORD_ITEM_LIMIT = 1005
LAST_ERROR_LIMIT = 499
READER_ERROR_LIMIT = 199
STRING_POOL_UNITS = 20000

NUMBER = re.compile(r"[\t-\r ]*([+-]?(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eEdD][+-]?[0-9]+)?)")
WHOLE_NUMBER = re.compile(r"[\t-\r ]*([+-]?[0-9]+)")
D_EXPONENT = str.maketrans("dD", "ee")
ASCII_LOWER = {code: code + 32 for code in range(ord("A"), ord("Z") + 1)}


class SourceFailure(Exception):
    """A negative status of the random source; it leaves DS_Impute."""

    def __init__(self, status):
        super().__init__(status)
        self.status = status


class CaseFailure(Exception):
    """The case at hand cannot be drawn; its unobserved cells get their old values back."""


class NoInterval(Exception):
    """A standardised interval that is none."""


# ---- IEEE results where Python would raise ---------------------------------------------------------------------------


def divide(a, b):
    if b != 0.0:
        return a / b
    if a == 0.0 or a != a:
        return math.nan
    return math.copysign(math.inf, a) * math.copysign(1.0, b)


def square_root(x):
    return math.sqrt(x) if x >= 0.0 else math.nan


def exponential(x):
    try:
        return math.exp(x)
    except OverflowError:
        return math.inf


def logarithm(x):
    if x > 0.0:
        return math.log(x)
    return -math.inf if x == 0.0 else math.nan


# ---- Text ------------------------------------------------------------------------------------------------------------


def to_utf8(text):
    """Convert 16-bit units: a surrogate pair is one character, a lone surrogate U+FFFD."""
    if text.isascii():
        return text.encode("ascii")
    out = []
    position = 0
    while position < len(text):
        unit = ord(text[position])
        position += 1
        if 0xD800 <= unit <= 0xDBFF and position < len(text) and 0xDC00 <= ord(text[position]) <= 0xDFFF:
            unit = 0x10000 + ((unit - 0xD800) << 10) + (ord(text[position]) - 0xDC00)
            position += 1
        elif 0xD800 <= unit <= 0xDFFF:
            unit = 0xFFFD
        out.append(chr(unit))
    return "".join(out).encode("utf-8")


def terminated(text):
    """A host's wide string: null is empty, the first NUL ends it."""
    return "" if text is None else text.split("\0", 1)[0]


def fold(name):
    return name.translate(ASCII_LOWER)


def convert_number(text):
    """The value at the front of a text, and where the conversion stopped."""
    match = NUMBER.match(text)
    if match is None:
        return 0.0, 0
    return float(match.group(1).translate(D_EXPONENT)), match.end()


def strict_number(text):
    """The value of a text that is a number as a whole, else None."""
    value, stop = convert_number(text)
    return value if text and stop == len(text) else None


def truncated_word(value):
    """A double truncated toward zero, None where it does not fit 32 bits."""
    if not math.isfinite(value):
        return None
    word = math.trunc(value)
    return word if INT_MIN <= word <= INT_MAX else None


def is_name_character(character):
    return character == "_" or unicodedata.category(character) in ("Lu", "Ll", "Lt", "Lm", "Lo", "Nd")


# ---- Kernels ---------------------------------------------------------------------------------------------------------


def elimination_stage(n, target, column, r):
    for i in range(1, n):
        for j in range(1, i + 1):
            target[(i - 1) * i // 2 + j - 1] = target[i * (i + 1) // 2 + j] - (column[i] * r) * column[j]


def write_last_row(n, target, column, r):
    last = (n - 1) * n // 2
    for j in range(1, n):
        target[last + j - 1] = -(column[j] * r)
    target[last + n - 1] = -r


def invert_packed_tolerant(n, source):
    """Return (inverse, determinant, number of failed pivots)."""
    size = n * (n + 1) // 2
    target = list(source[:size])
    scale = []
    for i in range(n):
        d = target[i * (i + 3) // 2]
        scale.append(1.0 if d <= 0.0 else d)
    determinant = 1.0
    count = 0
    for k in range(n):
        p = target[0]
        q = divide(p, scale[k])
        if q < PIVOT_TOLERANCE:
            count += 1
            r = 0.0
        else:
            determinant = determinant * p
            r = divide(1.0, p)
        column = [target[i * (i + 1) // 2] for i in range(n)]
        if r == 0.0:
            for i in range(n - k):
                column[i] = 0.0
            for i in range(n - k, n):
                column[i] = square_root(divide(scale[k], scale[i - (n - k)])) * abs(column[i])
            for i in range(1, n):
                for j in range(1, i + 1):
                    keep = column[i] < PIVOT_TOLERANCE and column[j] < PIVOT_TOLERANCE
                    target[(i - 1) * i // 2 + j - 1] = target[i * (i + 1) // 2 + j] if keep else 0.0
        else:
            elimination_stage(n, target, column, r)
        write_last_row(n, target, column, r)
    return [-x for x in target], determinant, count


def invert_packed_strict(n, source):
    """Return the inverse, None at a pivot below the tolerance."""
    target = list(source[: n * (n + 1) // 2])
    for _ in range(n):
        p = target[0]
        if p < PIVOT_TOLERANCE:
            return None
        r = divide(1.0, p)
        column = [target[i * (i + 1) // 2] for i in range(n)]
        elimination_stage(n, target, column, r)
        write_last_row(n, target, column, r)
    return [-x for x in target]


def sweep_pivots(n, matrix, pivots):
    """Sweep a full matrix in place; return the number of pivots skipped."""
    skipped = 0
    for k in pivots:
        p = matrix[k * n + k]
        if abs(p) < PIVOT_TOLERANCE:
            skipped += 1
            continue
        d = divide(1.0, p)
        a = abs(d)
        row = matrix[k * n : k * n + n]
        for i in range(n):
            if i == k:
                for j in range(n):
                    matrix[k * n + j] = matrix[k * n + j] * a
            else:
                f = row[i] * d
                for j in range(n):
                    if j == k:
                        matrix[i * n + k] = matrix[i * n + k] * a
                    else:
                        matrix[i * n + j] = matrix[i * n + j] - row[j] * f
        matrix[k * n + k] = -d
    return skipped


def cholesky_packed(a, n):
    """Replace a packed matrix by its root; return 0, or the failing index counted from 1."""
    for k in range(n - 1):
        kk = k * (k + 3) // 2
        if PIVOT_TOLERANCE > a[kk]:
            return k + 1
        s = square_root(a[kk])
        a[kk] = s
        v = divide(1.0, s)
        for i in range(k + 1, n):
            ik = i * (i + 1) // 2 + k
            a[ik] = a[ik] * v
            for j in range(k + 1, i + 1):
                ij = i * (i + 1) // 2 + j
                a[ij] = a[ij] - a[j * (j + 1) // 2 + k] * a[ik]
    last = (n - 1) * (n + 2) // 2
    if PIVOT_TOLERANCE > a[last]:
        return n
    a[last] = square_root(a[last])
    return 0


def quadratic_form_packed(n, a, x):
    total = 0.0
    for i in range(n):
        for j in range(i):
            total = total + ((a[i * (i + 1) // 2 + j] * x[i]) * x[j]) * 2.0
        total = total + (a[i * (i + 3) // 2] * x[i]) * x[i]
    return total


def unpack_symmetric(n, packed):
    full = [0.0] * (n * n)
    t = 0
    for i in range(n):
        for j in range(i + 1):
            full[i * n + j] = packed[t]
            full[j * n + i] = packed[t]
            t += 1
    return full


# ---- Truncated normal draw -------------------------------------------------------------------------------------------


def draw_truncated_normal(source, lower, upper, mean, sd):
    a = lower if lower == OPEN_LOW else divide(lower - mean, sd)
    b = upper if upper == OPEN_HIGH else divide(upper - mean, sd)
    if not a <= b:
        raise NoInterval
    if a == OPEN_LOW and b != OPEN_HIGH:
        return -draw_truncated_standard(source, -b, OPEN_HIGH) * sd + mean
    if b < 0.0:
        return -draw_truncated_standard(source, -b, -a) * sd + mean
    return draw_truncated_standard(source, a, b) * sd + mean


def draw_truncated_standard(source, a, b):
    if b == OPEN_HIGH:
        if a == OPEN_LOW:
            return source.next_standard_normal()
        if a > 0.75:
            return draw_exponential_tail(source, a)
        if a > 0.0:
            return draw_normal_until(source, lambda z: abs(z) > a, abs)
        return draw_normal_until(source, lambda z: z > a)
    if a < -1.4:
        return draw_normal_until(source, lambda z: z > a and z < b)
    if a < 0.0:
        if b > 1.4:
            return draw_normal_until(source, lambda z: z > a and z < b)
        return draw_uniform_rejection(source, a, b)
    if (a * a - b * b) * -0.5 < LN_2_18:
        return draw_uniform_rejection(source, a, b)
    if a < 0.725:
        return draw_normal_until(source, lambda z: abs(z) > a and abs(z) < b, abs)
    return draw_exponential_rejection(source, a, b)


def draw_normal_until(source, accepts, result=lambda z: z):
    while True:
        z = source.next_standard_normal()
        if accepts(z):
            return result(z)


def draw_uniform_rejection(source, a, b):
    if a == b:
        return a
    if a < 0.0:
        c = 0.0 if b > 0.0 else b * b
    else:
        c = a * a
    w = b - a
    while True:
        x = w * source.next_uniform() + a
        exponent = -0.5 * (x * x - c)
        v = source.next_uniform(exponent)
        if exponential(exponent) > v:
            return x


def draw_exponential_rejection(source, a, b):
    if a == b:
        return a
    s = divide(-1.0, a)
    m = 1.0 - exponential(-(a * (b - a)))
    while True:
        t = s * logarithm(1.0 - source.next_uniform() * m)
        exponent = -0.5 * t * t
        v = source.next_uniform(exponent)
        if exponent > logarithm(v):
            return t + a


def draw_exponential_tail(source, a):
    s = divide(-1.0, a)
    while True:
        t = s * logarithm(source.next_uniform())
        exponent = -0.5 * t * t
        v = source.next_uniform(exponent)
        if exponent > logarithm(v):
            return t + a


class NoSource:
    """Stands for a null source: the first number asked of it fails the case."""

    def next_uniform(self):
        raise CaseFailure("No random source was given.\n")

    next_standard_normal = next_uniform

    def next_multivariate_normal(self, n, mean, root):
        raise CaseFailure("No random source was given.\n")


# ---- Records ---------------------------------------------------------------------------------------------------------

MISSING = ("missing",)  # compared by identity


class BoundNode:
    """One inequality; values is None for a number, else the value list that the bound reads at index."""

    def __init__(self, is_upper, constant, values, index, following):
        self.is_upper = is_upper
        self.constant = constant
        self.values = values
        self.index = index
        self.following = following


class CaseRecord:
    def __init__(self, variable_count):
        self.missing_count = 0
        self.bounded_count = 0
        self.fixed_group_id = 0
        self.current_group_id = 0
        self.values = [UNDEFINED] * variable_count
        self.states = [None] * variable_count

    def repeated(self):
        copy = CaseRecord(0)
        copy.missing_count = self.missing_count
        copy.bounded_count = self.bounded_count
        copy.fixed_group_id = self.fixed_group_id
        copy.current_group_id = self.current_group_id
        copy.values = list(self.values)
        copy.states = self.states
        return copy


class Group:
    def __init__(self, key_count, dictionary_capacity):
        self.variable_count = 0
        self.case_count = 0
        self.next = None
        self.key_flags = [0] * key_count
        self.dictionary_capacity = dictionary_capacity
        self.dictionary = []  # pairs of name and slot
        self.pool_used = 0
        self.group_name = ""
        self.names = []
        self.weight_index = -1
        self.chain = []
        self.case_index = None  # the chain, once a load has succeeded
        self.load_tried = False

    def pool_add(self, *texts):
        """Take room for names; False, and none taken, if the pool is too full for all."""
        units = sum(len(text) + 1 for text in texts)
        if self.pool_used + units > STRING_POOL_UNITS:
            return False
        self.pool_used += units
        return True

    def find_slot(self, name):
        for entry, slot in self.dictionary:
            if fold(entry) == fold(name):
                return slot
        return 0

    def variable_index(self, name):
        for index, entry in enumerate(self.names):
            if fold(entry) == fold(name):
                return index
        return -1


class LoadFailure(Exception):
    """A record cannot be loaded."""


class Reader:
    """A cursor over one data text."""

    def __init__(self, engine, text):
        self.engine = engine
        self.text = text
        self.position = 0
        self.record_number = 0
        self.item_number = 0
        self.at_end = False
        self.last_delimiter = ""
        self.name_count = 0

    def open(self):
        """Measure header and names line; False if they cannot be used."""
        self.case_count = self.header_number("cases")
        if self.case_count is None:
            return False
        self.variable_count = self.header_number("variables")
        if self.variable_count is None:
            return False
        self.names_start = self.position
        while True:
            item, delimiter = self.read_item()
            if delimiter == "" or "\uffff" in item:
                self.engine.report_reader_error("No data in data file.")
                return False
            self.name_count += 1
            if not item:
                self.engine.report_empty_name(self.name_count)
                return False
            if delimiter == "\n":
                break
        self.records_start = self.position
        self.position = 0
        return self.variable_count >= 0

    def header_number(self, what):
        value = self.read_numeric_item(HEADER_ITEM_LIMIT)
        word = None if value is None else truncated_word(value)
        if word is None:
            self.engine.report_reader_error("The number of %s was not found in the file, dty.dty,\n" % what)
        return word

    def read_item(self):
        """The units up to the next TAB, LF or end of the text, and the unit that ended them ("" for the end)."""
        end = self.position
        while end < len(self.text) and self.text[end] not in "\t\n":
            end += 1
        item = self.text[self.position : end]
        delimiter = self.text[end : end + 1]
        self.position = end + len(delimiter)
        return item, delimiter

    def read_numeric_item(self, limit):
        """The number of an item, 0.0 for an empty one, None if it is no number."""
        item, _ = self.read_item()
        value, stop = convert_number(item)
        return value if stop == len(item) and len(item) <= limit else None

    def read_data_item(self):
        """One item of a record, None where the data have ended; sets last_delimiter."""
        if self.at_end:
            return None
        item, self.last_delimiter = self.read_item()
        if len(item) > RECORD_ITEM_LIMIT:
            raise LoadFailure
        if not item:
            self.last_delimiter = "\n"
            self.at_end = True
        if self.last_delimiter == "\n":
            if self.item_number >= 1 and self.item_number + 1 < self.variable_count:
                self.engine.report_reader_error(
                    "Record number %d\nof the file, dty.dty,\nhas only %d items. There should be %d.\n"
                    % (self.record_number + 1, self.item_number + 1, self.variable_count)
                )
            else:
                self.item_number = 0
                self.record_number += 1
        else:
            self.item_number += 1
        return "" if item == "*" else item


# ---- The engine ------------------------------------------------------------------------------------------------------


class Engine:
    """The library from load to unload.

    open_log is the host's file system: given a path it returns a new, empty bytearray, or None where nothing can be
    opened. After the last call error_log, trace_log (None if never opened) and standard_error hold what was written.
    """

    def __init__(self, open_log):
        self.open_log = open_log
        self.error_log = None
        self.trace_log = None
        self.standard_error = bytearray()
        self.session_open = False
        self.head = None
        self.current = None
        self.mixture_mode = 0
        self.force_level = 0
        self.allow_rank_order = False
        self.test_value = 0
        self.weight_variable = None
        self.last_error_text = ""
        self.workspace_dimension = 0
        self.prepared = None  # the full covariance of the last preparation
        self.prepared_order = None
        self.record = None

    # -- reports

    def log_error(self, text):
        if self.error_log is not None:
            self.error_log += to_utf8(text)

    def log_trace(self, text):
        if self.trace_log is not None:
            self.trace_log += to_utf8(text)

    def log_last_error(self, text):
        self.last_error_text = text[:LAST_ERROR_LIMIT]
        self.log_error(self.last_error_text)

    def report_reader_error(self, text):
        self.standard_error += to_utf8("Error{%s}" % text[:READER_ERROR_LIMIT])

    def report_empty_name(self, number):
        self.report_reader_error("In the file, dty.dty,\nvariable number %d has an empty string for a name.\n" % number)

    # -- session and groups

    def DS_GibbsOpen(self, trace_path, error_path):
        self.session_open = True
        self.current = None
        self.head = None
        self.workspace_dimension = 1
        self.prepared_order = None
        if self.trace_log is None:
            self.trace_log = self.open_log(terminated(trace_path))
        if self.error_log is None:
            self.error_log = self.open_log(terminated(error_path))
        return 0, None

    def DS_GibbsClose(self):
        self.session_open = False
        self.head = None
        self.current = None
        self.prepared_order = None
        return 0, None

    def DS_CreateGroup(self, _first, wants_count, key_count, dictionary_capacity, _last):
        if not self.session_open or not wants_count or key_count < 1 or dictionary_capacity < 0:
            return 1, None
        group = Group(key_count, dictionary_capacity)
        if self.current is not None:
            self.current.next = group
        self.weight_variable = None
        failed = self.dictionary_add(group, "\\default", 0)
        self.current = group
        if self.head is None:
            self.head = group
        if failed:
            return 1, None
        count = 1
        walk = self.head
        while walk.next is not None:
            walk = walk.next
            count += 1
        return 0, [count]

    def dictionary_add(self, group, name, slot):
        if len(group.dictionary) == group.dictionary_capacity:
            self.log_error("Too many items for dictionary.")
            return True
        group.dictionary.append((name, slot))
        return False

    def go_to_group(self, number):
        if number == 0 or self.mixture_mode:
            return True
        self.current = self.head
        while self.current is not None and number > 1:
            self.current = self.current.next
            number -= 1
        return self.current is not None

    def DS_GoToGroup(self, number):
        return (0 if self.go_to_group(number) else 1), None

    def DS_GetErrorMessageW(self, wants_buffer, capacity):
        if not wants_buffer or capacity < 1:
            return 1, None
        if len(self.last_error_text) + 1 > capacity:
            return 1, ""
        return 0, self.last_error_text

    def DS_SetMixtureModeling(self, flag):
        self.mixture_mode = flag
        return None, None

    def DS_ForceMC(self):
        self.force_level = max(self.force_level, 1)
        return 0, None

    def DS_ForceGibbs(self):
        self.force_level = max(self.force_level, 2)
        return 0, None

    def DS_AllowRankOrder(self):
        self.allow_rank_order = True
        return 0, None

    def DS_SetTest(self, value):
        self.test_value = value
        return None, None

    def DS_GetTest(self):
        return self.test_value, None

    # -- keys

    def DS_KeyVariableDef(self, key_index, name):
        group = self.current
        name = terminated(name)
        if group is None or not 0 <= key_index < len(group.key_flags) or not group.pool_add(name):
            return 1, None
        return (1 if self.dictionary_add(group, name, key_index) else 0), None

    def DS_KeySelect(self, _first, _second):
        return 0, None

    def DS_KeyWeight(self, name):
        name = terminated(name)
        if self.current is None or not self.current.pool_add(name):
            return 1, None
        self.weight_variable = name
        return 0, None

    def DS_KeyEnd(self):
        if self.current is None:
            return 1, None
        for slot, used in enumerate(self.current.key_flags):
            if not used:
                self.log_error("Unused variable definition %d.\n" % slot)
        return 0, None

    # -- load

    def DS_KeyGroupDef(self, group_name, data_text):
        group = self.current
        if group is None or group.load_tried:
            return 1, None
        group.load_tried = True
        text = terminated(data_text)
        if not self.read_variable_table(group, terminated(group_name), text):
            return 1, None
        if group.variable_count > self.workspace_dimension:
            self.workspace_dimension = group.variable_count
            self.prepared_order = None
        try:
            self.load_group_cases(group, text)
        except LoadFailure:
            self.log_last_error("An error occurred during KeyFinishUp")
            return 1, None
        self.log_trace("Group 1 (%s)\n" % group.group_name)
        for name in group.names:
            self.log_trace("%s\n" % name)
        return 0, None

    def read_variable_table(self, group, group_name, text):
        if not group.pool_add(group_name, "dtz.dtz"):
            return False
        group.group_name = group_name
        reader = Reader(self, text)
        if not reader.open():
            return False
        first = 1 if self.mixture_mode else 0
        if reader.name_count < first + reader.variable_count:
            return False
        group.variable_count = reader.variable_count
        reader.position = reader.names_start
        for number in range(1, first + reader.variable_count + 1):
            item, _ = reader.read_item()
            if item == "*":
                self.report_empty_name(number)
                item = ""
            elif not all(is_name_character(c) for c in item):
                self.report_reader_error(
                    "The string, '%s',\nin the file, dty.dty, is not allowed as a variable name.\n" % item
                )
            if number > first:
                group.names.append(item)
                group.key_flags[group.find_slot(item)] = 1
        for number, name in enumerate(group.names, 1):
            self.log_error("%d [%s]\n" % (number, name))
        if self.weight_variable is not None:
            index = group.variable_index(self.weight_variable)
            if index == -1:
                self.log_error(
                    "The variable, '%s', is named as a case weight variable, but it doesn't exist in the data file, "
                    "'dtz.dtz'.\n" % self.weight_variable
                )
                return False
            group.weight_index = index
            del group.names[index]
            group.variable_count -= 1
        return True

    def load_group_cases(self, group, text):
        reader = Reader(self, text)
        reader.open()
        reader.position = reader.records_start
        for _ in range(reader.case_count):
            self.record = CaseRecord(group.variable_count)
            group.chain.append(self.record)
            weight = self.read_one_record(group, reader)
            if group.case_count + weight > INT_MAX:
                raise LoadFailure
            for _ in range(weight - 1):
                group.chain.append(group.chain[-1].repeated())
            group.case_count += weight
        group.case_index = group.chain

    def read_one_record(self, group, reader):
        weight = 1
        items = group.variable_count + (1 if group.weight_index != -1 else 0)
        if self.mixture_mode:
            value = reader.read_numeric_item(RECORD_ITEM_LIMIT)
            word = None if value is None else truncated_word(value + 0.01)
            if word is None:
                self.log_last_error("There was a failed attempt to read a group ID in read_one_record.")
                raise LoadFailure
            self.record.fixed_group_id = word
            self.record.current_group_id = word
        for column in range(items):
            item = reader.read_data_item()
            if column == items - 1:
                if reader.last_delimiter != "\n":
                    self.log_error(
                        "Data record number %d is too long in the file dtz.dtz.\n" % (reader.record_number + 1)
                    )
                    raise LoadFailure
            elif reader.last_delimiter == "\n":
                self.log_error("A data record in group %s is too short.\n" % group.group_name)
                raise LoadFailure
            item = (item or "").replace(" ", "")
            if column == group.weight_index:
                weight = self.read_case_weight(item)
            else:
                behind = group.weight_index != -1 and column > group.weight_index
                self.parse_cell(group, item, column - 1 if behind else column)
        for state in self.record.states:
            if state is MISSING:
                self.record.missing_count += 1
            elif state is not None:
                self.record.bounded_count += 1
        return weight

    def read_case_weight(self, item):
        match = WHOLE_NUMBER.match(item)
        if match is not None and match.end() == len(item):
            weight = int(match.group(1))
            if 0 < weight <= INT_MAX:
                return weight
        self.log_error("The string, '%s', can't be interpreted as a case weight.\n" % item)
        raise LoadFailure

    # -- cells

    def parse_cell(self, group, text, index):
        record = self.record
        record.states[index] = MISSING
        for piece in reversed(text.split(";")):
            if "<" in piece:
                lists = piece.split("<")
                for left, right in zip(lists, lists[1:]):
                    for left_term in reversed(left.split("|")):
                        for right_term in reversed(right.split("|")):
                            self.add_inequality(group, left_term, right_term, index)
            elif piece == "":
                record.states[index] = MISSING
            else:
                value = strict_number(piece)
                if value is None:
                    self.log_last_error(
                        "The value, %s, of the variable, %s, can't be interpreted.\n" % (piece, group.names[index])
                    )
                    raise LoadFailure
                record.values[index] = value
                record.states[index] = None

    def resolve_term(self, group, term, index):
        """(-1, number) or (variable index, None)."""
        if term == "":
            return index, None
        value = strict_number(term)
        if value is not None:
            return -1, value
        found = group.variable_index(term)
        if found == -1:
            self.log_error("The string, %s, is not a variable name.\n" % term)
            raise LoadFailure
        return found, None

    def add_inequality(self, group, left_term, right_term, own):
        left, a = self.resolve_term(group, left_term, own)
        right, b = self.resolve_term(group, right_term, own)
        values = self.record.values
        if left == -1 and right == -1:
            self.log_error(
                "You are not allowed to specify an inequality between the strings, %s and %s.\n"
                % (left_term, right_term)
            )
            raise LoadFailure
        if left == -1:
            self.add_bound(right, False, a, None, 0)
        elif right == -1:
            self.add_bound(left, True, b, None, 0)
        else:
            if not self.allow_rank_order:
                self.log_last_error(
                    "The data file may not specify that the value of one variable (%s) is less than the value of "
                    "another variable (%s).\n" % (group.names[left], group.names[right])
                )
                raise LoadFailure
            if left == own:
                self.add_bound(own, True, 1.0, values, right)
            else:
                self.add_bound(right, False, 1.0, values, left)

    def add_bound(self, index, is_upper, constant, values, operand):
        states = self.record.states
        states[index] = BoundNode(is_upper, constant, values, operand, states[index])

    def cell_bounds(self, index):
        """The two ends of an unobserved cell at the present values."""
        state = self.record.states[index]
        lower, upper = OPEN_LOW, OPEN_HIGH
        while isinstance(state, BoundNode):
            t = state.constant * (1.0 if state.values is None else state.values[state.index])
            if t != UNDEFINED:
                if state.is_upper:
                    if t < upper:
                        upper = t
                elif t > lower:
                    lower = t
            state = state.following
        return lower, upper

    # -- reading back

    def group_for(self, number):
        """The group that an export works on, None if there is none."""
        return self.current if self.go_to_group(number) else None

    def loaded_group_for(self, number):
        group = self.group_for(number)
        return None if group is None or group.case_index is None else group

    def case_for(self, number, case_number):
        group = self.loaded_group_for(number)
        if group is None or not 1 <= case_number <= group.case_count:
            return None
        return group.case_index[case_number - 1]

    def DS_NVariables(self, number, wants):
        group = self.group_for(number)
        return (1, None) if group is None or not wants else (0, [group.variable_count])

    def variable_name(self, number, variable_number):
        group = self.group_for(number)
        if group is None or not 1 <= variable_number <= group.variable_count:
            return None
        return group.names[variable_number - 1]

    def DS_VariableNameLength(self, number, variable_number, wants):
        name = self.variable_name(number, variable_number)
        return (1, None) if name is None or not wants else (0, [len(name)])

    def DS_VariableNameW(self, number, variable_number, wants):
        name = self.variable_name(number, variable_number)
        return (1, None) if name is None or not wants else (0, name)

    def DS_GetGroupOneTotalSampleSize(self, wants):
        group = self.group_for(1)
        return (1, None) if group is None or not wants else (0, [group.case_count])

    def DS_GetSampleSize(self, number, wants):
        group = self.group_for(number)
        if group is None or not wants:
            return 1, None
        if not self.mixture_mode:
            return 0, [group.case_count]
        if group.case_index is None:
            return 1, None
        return 0, [sum(1 for record in group.chain if record.current_group_id == number)]

    def DS_DataScalar(self, number, case_number, variable_number, wants):
        record = self.case_for(number, case_number)
        if record is None or not wants or not 1 <= variable_number <= len(record.values):
            return 1, None
        return 0, [record.values[variable_number - 1]]

    def DS_ConstraintTypeScalar(self, number, case_number, variable_number, wants):
        record = self.case_for(number, case_number)
        if record is None or not wants or not 1 <= variable_number <= len(record.values):
            return 1, None
        state = record.states[variable_number - 1]
        return 0, [0 if state is None else 1 if state is MISSING else 3]

    def DS_DataVector(self, number, case_number, wants):
        record = self.case_for(number, case_number)
        return (1, None) if record is None or not wants else (0, list(record.values))

    def DS_DataMatrix(self, number, wants):
        group = self.loaded_group_for(number)
        if group is None or not wants:
            return 1, None
        return 0, [value for record in group.chain for value in record.values]

    # -- imputation

    def DS_Impute(self, number, means, covariance, first, last, source):
        """source has next_uniform, next_standard_normal and next_multivariate_normal, or is None.

        An acceptance number is asked for with the logarithm of the threshold that it is compared with; a source is free
        to come close to it.
        """
        group = self.loaded_group_for(number)
        if group is None or means is None:
            return 1, None
        n = group.variable_count
        if first == 0:
            first = 1
        if last == 0:
            last = group.case_count
        if first < 0 or last < 0 or last > group.case_count or (first > group.case_count and first != 1):
            return 1, None
        if first == 1:
            if covariance is None:
                return 1, None
            if invert_packed_tolerant(n, covariance)[2] != 0:
                self.log_error("Estimated covariance matrix is singular.\n")
            self.prepared = unpack_symmetric(n, covariance)
            self.prepared_order = n
            if sweep_pivots(n, list(self.prepared), range(n)) != 0:
                self.log_error("Matrix is uninvertible in conventional_prepare()\n")
        elif self.prepared_order != n:
            return 1, None
        for index in range(first - 1, last):
            self.record = group.case_index[index]
            if self.mixture_mode and self.record.current_group_id != number:
                continue
            kept = list(self.record.values)
            try:
                self.impute_case(group, n, means, source or NoSource())
            except CaseFailure as failure:
                self.record.values[:] = kept
                self.log_error(str(failure))
                return 1, None
        return 0, None

    def impute_case(self, group, nv, means, source):
        record = self.record
        values = record.values
        n = record.missing_count + record.bounded_count
        if n == 0:
            return
        chain = record.bounded_count > 0 or self.force_level > 1
        observed = [i for i in range(nv) if record.states[i] is None]
        unobserved = [i for i in range(nv) if record.states[i] is not None]
        deviation = [0.0] * nv
        for o in observed:
            deviation[o] = values[o] - means[o]
        swept = list(self.prepared)
        sweep_pivots(nv, swept, observed)
        for u in unobserved:
            total = 0.0
            for o in observed:
                total = total + swept[u * nv + o] * deviation[o]
            deviation[u] = total
        covariance = []
        for t in range(n):
            for s in range(t + 1):
                covariance.append(swept[unobserved[t] * nv + unobserved[s]])
        mean = [means[u] + deviation[u] for u in unobserved]
        if chain:
            Chain(self, group, unobserved, mean, covariance, source).run()
            return
        if cholesky_packed(covariance, n) != 0:
            raise CaseFailure("Error: Couldn't find square root of matrix.")
        draws = source.next_multivariate_normal(n, mean, covariance)
        for t, u in enumerate(unobserved):
            values[u] = draws[t]

    # -- estimation

    def DS_SampleMoments(self, number, wants_means, wants_covariance, divisor_flag):
        group = self.loaded_group_for(number)
        if group is None or not wants_means or not wants_covariance:
            return 1, None
        nv = group.variable_count
        means = [0.0] * nv
        covariance = [0.0] * (nv * (nv + 1) // 2)
        selected = [r for r in group.chain if not self.mixture_mode or r.current_group_id == number]
        for record in selected:
            for i in range(nv):
                means[i] = means[i] + record.values[i]
        n = float(len(selected))
        reciprocal = divide(1.0, n)
        for i in range(nv):
            means[i] = means[i] * reciprocal
        for record in selected:
            deviation = [record.values[i] - means[i] for i in range(nv)]
            t = 0
            for i in range(nv):
                for j in range(i + 1):
                    covariance[t] = covariance[t] + deviation[j] * deviation[i]
                    t += 1
        reciprocal = divide(1.0, n) if divisor_flag == 0 else divide(1.0, n - 1.0)
        return 0, (means, [c * reciprocal for c in covariance])

    def DS_GetLikelihoods(self, _word, means, covariance, wants):
        group = self.loaded_group_for(1)
        if group is None or means is None or covariance is None or not wants:
            return 1, None
        nv = group.variable_count
        inverse, determinant, failed = invert_packed_tolerant(nv, covariance)
        if failed != 0:
            self.log_error("Estimated covariance matrix is singular.\n")
        s = divide(1.0, square_root(determinant))
        likelihoods = []
        for record in group.case_index:
            deviation = [record.values[i] - means[i] for i in range(nv)]
            q = quadratic_form_packed(nv, inverse, deviation)
            likelihoods.append(exponential(q * -0.5) * s)
        return 0, likelihoods

    def DS_ImputeGroupMembership(self, ids):
        group = self.current
        if group is None or group.case_index is None or ids is None:
            return 1, None
        for index, record in enumerate(group.case_index):
            if record.fixed_group_id == 0:
                record.current_group_id = ids[index]
        return 0, None


class Chain:
    """The Gibbs chain of the engine's current case."""

    def __init__(self, engine, group, unobserved, mean, covariance, source):
        self.engine = engine
        self.names = group.names
        self.values = engine.record.values
        self.unobserved = unobserved
        self.mean = mean
        self.covariance = covariance
        self.source = source
        self.n = len(unobserved)
        self.state = [0.0] * self.n
        self.without_value = None  # first variable of the last pass whose ends were reversed

    def run(self):
        n = self.n
        inverse = invert_packed_strict(n, self.covariance)
        if inverse is None:
            raise CaseFailure("Couldn't invert covariance matrix in gibbs_prepare().\n")
        self.coefficients = unpack_symmetric(n, inverse)
        self.sd = []
        for i in range(n):
            diagonal = self.coefficients[i * n + i]
            self.sd.append(square_root(divide(1.0, diagonal)))
        for i in range(n):
            s = divide(-1.0, self.coefficients[i * n + i])
            for j in range(n):
                self.coefficients[i * n + j] = self.coefficients[i * n + j] * s
            self.coefficients[i * n + i] = 0.0
        start_sd = []
        for t in range(n):
            d = self.covariance[t * (t + 3) // 2]
            if d < 0.0:
                self.engine.log_trace("less than zero\n")
            start_sd.append(square_root(d))
        if not self.sweep():
            self.start(start_sd)
            for _ in range(SWEEPS_AFTER_START):
                self.sweep()
        if self.without_value is not None:
            self.fail(self.without_value)

    def fail(self, variable):
        raise CaseFailure("The variable, %s, has no value between its bounds.\n" % self.names[variable])

    def start(self, start_sd):
        self.without_value = None
        for t in range(self.n):
            self.draw(t, self.mean[t], start_sd[t])

    def sweep(self):
        n = self.n
        undefined = 0
        for t in range(n):
            self.state[t] = self.values[self.unobserved[t]]
            if self.state[t] == UNDEFINED:
                undefined += 1
        if undefined > 0:
            if undefined != n:
                self.engine.log_error("In the Gibbs sampler, some values are undefined, but not all.\n")
            return False
        self.without_value = None
        for k in range(n):
            mean = self.mean[k]
            for j in range(n):
                mean = mean + (self.state[j] - self.mean[j]) * self.coefficients[k * n + j]
            self.draw(k, mean, self.sd[k])
        return True

    def draw(self, t, mean, sd):
        """Draw cell t; reversed ends give the middle and are remembered."""
        variable = self.unobserved[t]
        lower, upper = self.engine.cell_bounds(variable)
        if lower > upper:
            x = 0.5 * lower + 0.5 * upper
            if self.without_value is None:
                self.without_value = variable
        else:
            try:
                x = draw_truncated_normal(self.source, lower, upper, mean, sd)
            except NoInterval:
                self.fail(variable)
        self.state[t] = x
        self.values[variable] = x
