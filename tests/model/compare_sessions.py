# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs random sessions against a freshly loaded library and against its slow second implementation, and compares every
# result, every output array with the bytes around it, every call of the random source with its arguments, both logs and
# standard error. Doubles are compared by bits, any NaN being equal to any other. A session that differs is shrunk and
# printed.
#
#   compare_sessions.py --library build/src/libullage.so --shim build/tests/model/libsession_shim.so --sessions 500

import argparse
import array
import collections
import ctypes
import math
import mmap
import os
import pickle
import random
import signal
import struct
import sys
import tempfile
import time
import traceback

import _ctypes

sys.dont_write_bytecode = True  # the source tree stays as it is
import engine_model
from session_generator import LAST_MOMENTS, MAX_ORDER, random_session

GUARD = b"\xa5" * 64
SLACK = b"\xa5" * 512
OLD_CONTENT = b"lines of an earlier run\n"
BATCH = 100
SECONDS_PER_SESSION = 20

I, P = ctypes.c_int32, ctypes.c_void_p
W = ctypes.c_char_p  # UTF-16 in bytes
SIGNATURES = {
    "DS_GibbsOpen": (W, W),
    "DS_GibbsClose": (),
    "DS_CreateGroup": (I, P, I, I, I),
    "DS_GoToGroup": (I,),
    "DS_GetErrorMessageW": (P, I),
    "DS_SetMixtureModeling": (I,),
    "DS_ForceMC": (),
    "DS_ForceGibbs": (),
    "DS_AllowRankOrder": (),
    "DS_SetTest": (I,),
    "DS_GetTest": (),
    "DS_KeyVariableDef": (I, W),
    "DS_KeySelect": (I, I),
    "DS_KeyWeight": (W,),
    "DS_KeyGroupDef": (W, W),
    "DS_KeyEnd": (),
    "DS_NVariables": (I, P),
    "DS_VariableNameLength": (I, I, P),
    "DS_VariableNameW": (I, I, P),
    "DS_GetGroupOneTotalSampleSize": (P,),
    "DS_GetSampleSize": (I, P),
    "DS_DataScalar": (I, I, I, P),
    "DS_ConstraintTypeScalar": (I, I, I, P),
    "DS_DataVector": (I, I, P),
    "DS_DataMatrix": (I, P),
    "DS_SampleMoments": (I, P, P, I),
    "DS_GetLikelihoods": (I, P, P, P),
    "DS_ImputeGroupMembership": (P,),
}
NO_RESULT = ("DS_SetMixtureModeling", "DS_SetTest")
DOUBLE_OUTPUT = ("DS_DataScalar", "DS_DataVector", "DS_DataMatrix", "DS_SampleMoments", "DS_GetLikelihoods")
TEXT_OUTPUT = ("DS_VariableNameW", "DS_GetErrorMessageW")


class ScriptEntry(ctypes.Structure):
    _fields_ = [("value", ctypes.c_double), ("kind", I), ("status", I)]


class SourceSetup(ctypes.Structure):
    _fields_ = [
        ("uniforms", P),
        ("normals", P),
        ("table_size", ctypes.c_int64),
        ("start", ctypes.c_int64),
        ("script", P),
        ("script_size", ctypes.c_int64),
        ("query_status", I),
        ("supports_status", I),
        ("info_status", I),
    ]


class ImputeOutcome(ctypes.Structure):
    _fields_ = [
        ("kind", I),
        ("result", I),
        ("status", I),
        ("has_info", I),
        ("violations", I),
        ("record_size", ctypes.c_int64),
        ("record", P),
    ]


TABLE_SIZE = 8191
table_rng = random.Random(20261122)
UNIFORMS = array.array("d", (table_rng.random() for _ in range(TABLE_SIZE)))
NORMALS = array.array("d", (table_rng.gauss(0.0, 1.0) for _ in range(TABLE_SIZE)))


class ModelSource:
    """The scripted source of session_shim.cpp, for the model.

    With a seed of ties it puts numbers into the script while the model runs: many acceptance numbers then lie within a
    few units of the last place of the threshold that they are compared with.
    """

    def __init__(self, setup):
        self.start = setup["start"]
        self.script = setup["script"]
        self.ties = None
        if setup["ties"] is not None:
            self.ties = random.Random(setup["ties"])
            self.script = list(self.script)
        self.calls = 0
        self.taken = 0
        self.record = array.array("d")

    def put(self, table, exponent):
        """Fix the next number of the script, close to the threshold where there is one."""
        value = self.ties.choice(table)
        if exponent is not None and self.ties.random() < 0.6:
            value = engine_model.exponential(exponent)
            steps = self.ties.choice([0, 0, 1, 1, 2, 3, 10, 1000, 10**6])
            toward = self.ties.choice([0.0, 2.0])
            for _ in range(min(steps, 10)):
                value = math.nextafter(value, toward)
            if steps > 10:
                value = value + (toward - 1.0) * steps * math.ulp(value)
        self.script.append((1, value, 0))

    def next(self, table):
        value = table[(self.start + self.taken) % TABLE_SIZE]
        self.taken += 1
        return value

    def answer(self):
        kind, value, status = self.script[self.calls] if self.calls < len(self.script) else (0, 0.0, 0)
        self.calls += 1
        return kind, value, status

    def number(self, operation, table, exponent=None):
        self.record.append(operation)
        self.record.append(0.0)
        if self.ties is not None and self.calls == len(self.script):
            self.put(table, exponent)
        kind, value, status = self.answer()
        x = self.next(table) if kind == 0 else value if kind == 1 else 0.0
        if status < 0:
            raise engine_model.SourceFailure(status)
        return x

    def next_uniform(self, exponent=None):
        return self.number(1.0, UNIFORMS, exponent)

    def next_standard_normal(self):
        return self.number(2.0, NORMALS)

    def next_multivariate_normal(self, n, mean, root):
        self.record.append(3.0)
        self.record.append(n)
        self.record.extend(mean)
        self.record.extend(root)
        if self.ties is not None and self.calls == len(self.script):
            self.script.append((0, 0.0, 0))
        kind, value, status = self.answer()
        if kind == 1:
            out = [value] * n
        else:
            z = [self.next(NORMALS) for _ in range(n)]
            out = []
            for i in range(n):
                x = mean[i]
                for j in range(i + 1):
                    x = x + root[i * (i + 1) // 2 + j] * z[j]
                out.append(x)
        if status < 0:
            raise engine_model.SourceFailure(status)
        return out


class Difference(Exception):
    """What the library did and what the model did."""


def wide(text):
    return None if text is None else text.encode("utf-16-le", "surrogatepass") + b"\0\0"


def doubles(values):
    return array.array("d", values).tobytes()


def same_doubles(a, b):
    if a == b:
        return True
    if len(a) != len(b):
        return False
    size = len(a) // 8
    return all(
        x == y
        or (
            math.isnan(struct.unpack("<d", struct.pack("<Q", x))[0])
            and math.isnan(struct.unpack("<d", struct.pack("<Q", y))[0])
        )
        for x, y in zip(struct.unpack("<%dQ" % size, a), struct.unpack("<%dQ" % size, b))
    )


def show(data, is_double):
    if not is_double:
        return repr(bytes(data))
    whole = data[: len(data) // 8 * 8]
    return " ".join(x.hex() for x in struct.unpack("<%dd" % (len(whole) // 8), whole))


class Place:
    """An output array between guards, filled with a pattern."""

    def __init__(self, room):
        self.room = room
        self.buffer = ctypes.create_string_buffer(GUARD + b"\xa5" * room + SLACK, len(GUARD) + room + len(SLACK))
        self.address = ctypes.addressof(self.buffer) + len(GUARD)

    def check(self, expected, is_double, what):
        raw = self.buffer.raw
        got = raw[len(GUARD) : len(GUARD) + len(expected)]
        rest = raw[: len(GUARD)] + raw[len(GUARD) + len(expected) :]
        if rest.count(0xA5) != len(rest):
            raise Difference("%s: bytes outside the output were written (%d expected)" % (what, len(expected)))
        if got != expected and not (is_double and same_doubles(got, expected)):
            raise Difference("%s: library %s\n  model %s" % (what, show(got, is_double), show(expected, is_double)))


class Inputs:
    """Arrays of the host that a call only reads."""

    def __init__(self, format_code):
        self.format_code = format_code
        self.held = []

    def add(self, values):
        if values is None:
            return None
        held = array.array(self.format_code, values)
        self.held.append((held, held.tobytes()))
        return held.buffer_info()[0]

    def check(self):
        for held, before in self.held:
            if held.tobytes() != before:
                raise Difference("an input array was changed")


class Lifetime:
    """One load of the library beside one model of it, and the files that they write."""

    def __init__(self, library_path, shim, folder):
        self.shim = shim
        self.folder = folder
        self.path = library_path
        self.files = {}
        self.library = ctypes.CDLL(library_path)
        self.functions = {}
        for name, arguments in SIGNATURES.items():
            function = getattr(self.library, name)
            function.argtypes = arguments
            function.restype = None if name in NO_RESULT else I
            self.functions[name] = function
        self.impute_address = ctypes.cast(self.library.DS_Impute, P).value
        self.engine = engine_model.Engine(self.open_log)
        self.moments = ([], [])

    def open_log(self, path):
        if not path.startswith(self.folder + "/") or path == self.folder + "/" or "/missing/" in path:
            return None
        self.files[path] = bytearray()
        return self.files[path]

    def expand(self, path):
        if path is None or not path.startswith("@"):
            return path
        full = self.folder + "/" + path[1:]
        if path.startswith("@old") and not os.path.exists(full):
            with open(full, "wb") as file:
                file.write(OLD_CONTENT)
            self.files.setdefault(full, bytearray(OLD_CONTENT))
        return full

    def run(self, name, arguments):
        """Make one call on both; return the model's result."""
        if name == "DS_Impute":
            return self.run_impute(*arguments)
        if name == "DS_GibbsOpen":
            arguments = tuple(self.expand(path) for path in arguments)
        if name == "DS_ImputeGroupMembership" and arguments[0] is not None:
            group = self.engine.current
            length = 0 if group is None else len(group.chain)
            ids = arguments[0]
            arguments = ((ids * (length // len(ids) + 1))[: max(length, 1)],)
        if name == "DS_GetLikelihoods":
            arguments = (arguments[0], *self.estimates(*arguments[1:3]), arguments[3])
        result, output = getattr(self.engine, name)(*arguments)
        if name == "DS_SampleMoments" and output is not None:
            self.moments = output
        inputs = Inputs("i" if name == "DS_ImputeGroupMembership" else "d")
        expected = self.expected_outputs(name, output)
        places = []
        passed = []
        for kind, argument in zip(SIGNATURES[name], arguments):
            if kind is W:
                passed.append(wide(argument))
            elif kind is P and (argument is True or argument is False):
                if argument:
                    data = expected[len(places)] if len(places) < len(expected) else b""
                    places.append(Place(max(len(data), 4096)))
                passed.append(places[-1].address if argument else None)
            elif kind is P:
                passed.append(inputs.add(argument))
            else:
                passed.append(argument)
        got = self.functions[name](*passed)
        if got != result:
            raise Difference("result: library %r, model %r" % (got, result))
        inputs.check()
        for place, data in zip(places, expected + [b""] * len(places)):
            place.check(data, name in DOUBLE_OUTPUT, "output")
        return result

    def estimates(self, means, covariance):
        if means is LAST_MOMENTS:
            means = (list(self.moments[0]) + [0.0] * MAX_ORDER)[:MAX_ORDER]
        if covariance is LAST_MOMENTS:
            size = MAX_ORDER * (MAX_ORDER + 1) // 2
            covariance = (list(self.moments[1]) + [0.0] * size)[:size]
        return means, covariance

    def expected_outputs(self, name, output):
        if output is None:
            return []
        if name in TEXT_OUTPUT:
            return [wide(output)]
        if name == "DS_SampleMoments":
            return [doubles(part) for part in output]
        return [doubles(output) if name in DOUBLE_OUTPUT else array.array("i", output).tobytes()]

    def run_impute(self, group, means, covariance, first, last, setup):
        means, covariance = self.estimates(means, covariance)
        source = None if setup is None else ModelSource(setup)
        status = 0
        result = None
        try:
            result, _ = self.engine.DS_Impute(group, means, covariance, first, last, source)
        except engine_model.SourceFailure as failure:
            status = failure.status
        inputs = Inputs("d")
        outcome = ImputeOutcome()
        native = None
        if setup is not None:
            script = (ScriptEntry * len(source.script))(*((v, k, s) for k, v, s in source.script))
            native = SourceSetup(
                UNIFORMS.buffer_info()[0], NORMALS.buffer_info()[0], TABLE_SIZE, setup["start"],
                ctypes.addressof(script), len(script), *setup["error_info"],
            )  # fmt: skip
        self.shim.shim_impute(
            self.impute_address, group, inputs.add(means), inputs.add(covariance), first, last,
            None if native is None else ctypes.addressof(native), ctypes.byref(outcome),
        )  # fmt: skip
        if outcome.kind > 1:
            raise Difference("exception: %s" % {2: "std::bad_alloc", 3: "of an unknown type"}[outcome.kind])
        if source is not None:
            got = ctypes.string_at(outcome.record, 8 * outcome.record_size) if outcome.record_size else b""
            expected = source.record.tobytes()
            if not same_doubles(got, expected):
                at = next(
                    (i for i in range(0, len(got), 8) if not same_doubles(got[i : i + 8], expected[i : i + 8])),
                    len(got),
                )
                raise Difference(
                    "calls of the source differ from word %d on (of %d and %d):\n  library %s\n  model %s"
                    % (
                        at // 8,
                        len(got) // 8,
                        len(expected) // 8,
                        show(got[max(at - 32, 0) : at + 64], True),
                        show(expected[max(at - 32, 0) : at + 64], True),
                    )
                )
        got = outcome.status if outcome.kind == 1 else outcome.result
        if (outcome.kind, got) != ((0, result) if status == 0 else (1, status)):
            raise Difference(
                "result: library %s %d, model %s"
                % (
                    ["gives", "throws status"][outcome.kind],
                    got,
                    "gives %s" % result if status == 0 else "throws status %d" % status,
                )
            )
        if status != 0:
            query, supports, info = setup["error_info"]
            if outcome.has_info != (1 if query >= 0 and supports == 0 and info == 0 else 0):
                raise Difference("error object: library %d" % outcome.has_info)
        if outcome.violations & ~(16 if setup is not None and setup["error_info"][2] != 0 else 0):
            raise Difference("contract of the source broken: mask %d" % outcome.violations)
        inputs.check()
        return "throws" if status != 0 else result

    def end(self, standard_error):
        """Unload, and compare the files and standard error."""
        self.unload()
        try:
            _ctypes.dlclose(ctypes.CDLL(self.path, mode=os.RTLD_NOLOAD)._handle)
            raise Difference("the library did not unload")
        except OSError:
            pass
        found = {}
        for name in os.listdir(os.fsencode(self.folder)):
            path = os.path.join(os.fsencode(self.folder), name)
            with open(path, "rb") as file:
                found[path] = file.read()
            os.unlink(path)
        expected = {engine_model.to_utf8(path): bytes(content) for path, content in self.files.items()}
        expected["standard error"] = bytes(self.engine.standard_error)
        found["standard error"] = standard_error
        for path in sorted(set(found) | set(expected), key=str):
            if found.get(path) != expected.get(path):
                raise Difference("file %s:\n  library %r\n  model   %r" % (path, found.get(path), expected.get(path)))

    def unload(self):
        if self.library is not None:
            handle = self.library._handle
            self.library = None
            self.functions = {}
            _ctypes.dlclose(handle)


class Runner:
    """Runs lifetimes in this process, with its standard error in a file."""

    def __init__(self, options):
        self.options = options
        self.shim = ctypes.CDLL(options.shim)
        self.shim.shim_impute.argtypes = (P, I, P, P, I, I, P, P)
        self.shim.shim_impute.restype = None
        self.error_file = tempfile.TemporaryFile()
        os.dup2(self.error_file.fileno(), 2)
        self.scratch = tempfile.TemporaryDirectory(prefix="ullage-model-")
        self.counts = collections.Counter()

    def standard_error(self):
        size = os.fstat(self.error_file.fileno()).st_size
        content = os.pread(self.error_file.fileno(), size, 0)
        os.ftruncate(self.error_file.fileno(), 0)
        os.lseek(2, 0, os.SEEK_SET)
        return content

    def difference(self, calls, progress=None):
        """None, or what differs: text, and the index of the call."""
        folder = tempfile.mkdtemp(dir=self.scratch.name)
        lifetime = Lifetime(self.options.library, self.shim, folder)
        index = 0
        try:
            for index, (name, arguments) in enumerate(calls):
                if progress is not None:
                    progress[8:16] = struct.pack("<q", index)
                result = lifetime.run(name, arguments)
                self.counts[name, result] += 1
            index = len(calls)
            lifetime.end(self.standard_error())
        except Difference as difference:
            lifetime.unload()
            self.standard_error()
            return "%s\n  at call %d" % (difference, index)
        finally:
            for name in os.listdir(folder):
                os.unlink(os.path.join(folder, name))
            os.rmdir(folder)
        return None


def in_child(work, seconds):
    """Run work(send, progress) in a forked child; return what it sent, its exit status and its progress."""
    progress = mmap.mmap(-1, 16)
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        code = 1
        try:
            os.close(reading)
            signal.signal(signal.SIGALRM, signal.SIG_DFL)
            signal.alarm(seconds)
            with os.fdopen(writing, "wb") as pipe:
                work(lambda message: pickle.dump(message, pipe), progress)
            code = 0
        finally:
            os._exit(code)
    os.close(writing)
    messages = []
    with os.fdopen(reading, "rb") as pipe:
        while True:
            try:
                messages.append(pickle.load(pipe))
            except EOFError:
                break
    _, status = os.waitpid(child, 0)
    return messages, status, struct.unpack("<qq", progress[:16])


def describe_status(status):
    if os.WIFSIGNALED(status):
        number = os.WTERMSIG(status)
        return "the process hung" if number == signal.SIGALRM else "the process died of signal %d" % number
    return "the process ended with %d" % os.WEXITSTATUS(status)


def difference_in_child(options, calls):
    def work(send, progress):
        runner = Runner(options)
        try:
            send(runner.difference(calls, progress))
        except Exception:
            send(traceback.format_exc())
        runner.scratch.cleanup()

    messages, status, progress = in_child(work, SECONDS_PER_SESSION)
    if status != 0 or not messages:
        return "%s\n  at call %d" % (describe_status(status), progress[1])
    return messages[0]


def shrink(options, calls, deadline):
    """Delete calls, then lines of data texts, as long as something still differs."""
    size = max(len(calls) // 2, 1)
    while size >= 1 and time.monotonic() < deadline:
        start = 0
        while start < len(calls) and time.monotonic() < deadline:
            candidate = calls[:start] + calls[start + size :]
            if difference_in_child(options, candidate):
                calls = candidate
            else:
                start += size
        size //= 2
    for index, (name, arguments) in enumerate(calls):
        if name != "DS_KeyGroupDef" or not arguments[1]:
            continue
        line = arguments[1].count("\n")
        while line >= 2 and time.monotonic() < deadline:
            lines = calls[index][1][1].split("\n")
            count, _, rest = lines[0].partition("\t")
            if line < len(lines) and count.isdecimal():
                del lines[line]
                lines[0] = "%d\t%s" % (int(count) - 1, rest)
                candidate = list(calls)
                candidate[index] = (name, (calls[index][1][0], "\n".join(lines)))
                if difference_in_child(options, candidate):
                    calls = candidate
            line -= 1
    return calls


def print_session(options, seed, calls, difference):
    deadline = time.monotonic() + options.shrink_seconds
    calls = shrink(options, calls, deadline)
    print("Session %d differs. Repeat it with --seed %d --sessions 1" % (seed, seed))
    for index, (name, arguments) in enumerate(calls):
        print("%4d %s(%s)" % (index, name, ", ".join(repr(a) for a in arguments)))
    print("  as found: %s\n  shrunk:   %s" % (difference, difference_in_child(options, calls)), flush=True)


def main():
    parser = argparse.ArgumentParser(
        description="Compare random sessions of the library with its second implementation."
    )
    parser.add_argument("--library", required=True, help="path of the shared library")
    parser.add_argument("--shim", required=True, help="path of the session shim")
    parser.add_argument("--seed", type=int, default=1, help="seed of the first session; the next have the next seeds")
    parser.add_argument("--sessions", type=int, default=500)
    parser.add_argument("--failures", type=int, default=5, help="stop after so many sessions that differ")
    parser.add_argument("--shrink-seconds", type=float, default=60.0)
    parser.add_argument("--counts", action="store_true", help="print how often each function gave each result")
    options = parser.parse_args()
    options.library = os.path.abspath(options.library)

    counts = collections.Counter()
    failures = 0
    seed = options.seed
    end = options.seed + options.sessions
    while seed < end and failures < options.failures:
        batch = range(seed, min(seed + BATCH, end))

        def work(send, progress):
            runner = Runner(options)
            for number in batch:
                signal.alarm(SECONDS_PER_SESSION)
                progress[:16] = struct.pack("<qq", number, 0)
                try:
                    difference = runner.difference(random_session(number), progress)
                except Exception:
                    difference = traceback.format_exc()
                if difference is not None:
                    send((number, difference))
                    break
            progress[:8] = struct.pack("<q", number + 1)
            send((None, runner.counts))
            runner.scratch.cleanup()

        messages, status, (at, call) = in_child(work, SECONDS_PER_SESSION)
        seed = at
        if status != 0:
            messages = [(at, "%s\n  at call %d" % (describe_status(status), call))]
            seed = at + 1
        for number, content in messages:
            if number is None:
                counts.update(content)
            else:
                failures += 1
                print_session(options, number, random_session(number), content)
    if options.counts:
        for (name, result), count in sorted(counts.items(), key=str):
            print("%9d %s gives %s" % (count, name, result))
    print("%d sessions, %d calls, %d differ" % (seed - options.seed, sum(counts.values()), failures))
    return 1 if failures or not counts else 0


if __name__ == "__main__":
    sys.exit(main())
