# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Running the program ``ullage``.

The program forks its workers. A Python process has threads, those of NumPy and PyArrow at least, and a fork of it
copies locks that nobody will ever open. So nothing is drawn in this process: the program is started anew (fork and
exec at once, without Python code in between) and has no thread but its own.
"""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import warnings
from collections.abc import Callable, Sequence
from typing import Any

from ullage._errors import UllageError, UllageWarning

_PREFIX = "ullage: "
_SECONDS_TO_END = 10.0

#: Called with the iterations that are done and with all of them.
Progress = Callable[[int, int], None]


def find_program() -> pathlib.Path:
    """Give the path of the program: what ``ULLAGE_PROGRAM`` says, else the one in this package."""
    packaged = pathlib.Path(__file__).parent / "bin" / "ullage"
    chosen = pathlib.Path(os.environ.get("ULLAGE_PROGRAM") or packaged)
    if not chosen.is_file():
        raise UllageError(f"the program ullage is not at {chosen}; ULLAGE_PROGRAM can name another place", 66)
    return chosen


def run(arguments: Sequence[str], directory: pathlib.Path | None = None, progress: Progress | None = None,
        stdin: str = "", check: bool = True, warn: bool = True, printed_to: Callable[[str], None] | None = None) -> str:
    """Run the program to its end and give its standard output. Its warnings become warnings, unless warn is False.

    Where it fails, ``printed_to`` has been given the output, too.

    Whatever ends this function early, Ctrl-C above all, ends the program and its workers first.

    Raises
    ------
    UllageError
        If the exit code is not 0; with check=False only if nothing was printed either.
    """
    with tempfile.TemporaryFile() as given, tempfile.TemporaryFile() as printed:
        given.write(stdin.encode())
        given.seek(0)
        # In a process group of its own: Ctrl-C on the terminal comes to Python alone, which then ends the group.
        process = subprocess.Popen([find_program(), *arguments], cwd=directory, stdin=given, stdout=printed,
                                   stderr=subprocess.PIPE, start_new_session=True)
        try:
            said = _listen(process, progress)
            code = process.wait()
        except BaseException:
            _end(process)
            raise
        finally:
            if process.stderr is not None:
                process.stderr.close()
        printed.seek(0)
        output = printed.read().decode()
    if printed_to is not None:
        printed_to(output)
    errors = _pass_on(said, warn)
    if code != 0 and (check or not output):
        text = "\n".join(errors) or f"the program ended with {'signal' if code < 0 else 'exit code'} {abs(code)}"
        raise UllageError(text, code)
    return output


def _listen(process: "subprocess.Popen[bytes]", progress: Progress | None) -> list[str]:
    """Lines of standard error, without those about progress."""
    assert process.stderr is not None
    lines = []
    for raw in process.stderr:
        line = raw.decode(errors="replace").rstrip("\n")
        if not line.startswith('{"done"'):
            lines.append(line)
        elif progress is not None:
            step = json.loads(line)
            progress(step["done"], step["total"])
    return lines


def _pass_on(lines: list[str], warn: bool) -> list[str]:
    """Warn of the warnings, at the line of the caller outside this package, and give the errors."""
    said = [line.removeprefix(_PREFIX) for line in lines if line.startswith(_PREFIX)]
    level = 2
    frame = sys._getframe(1)
    while frame.f_back is not None and str(frame.f_globals.get("__name__")).partition(".")[0] == "ullage":
        frame = frame.f_back
        level += 1
    for line in said:
        if warn and line.startswith("warning: "):
            warnings.warn(line.removeprefix("warning: "), UllageWarning, stacklevel=level)
    return [line for line in said if not line.startswith(("warning: ", "note: "))]


def _end(process: "subprocess.Popen[bytes]") -> None:
    """End the program with its workers. It is given the time to take away what it has begun."""
    for number in (signal.SIGTERM, signal.SIGKILL):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, number)
        try:
            process.wait(_SECONDS_TO_END)
        except subprocess.TimeoutExpired:
            continue
        break


def run_json(arguments: Sequence[str], **options: Any) -> Any:
    """Run the program and read the JSON that it prints."""
    return json.loads(run([*arguments, "--json"], **options))


def main() -> None:
    """Be the program: the command ``ullage`` of the package."""
    program = find_program()
    os.execv(program, [str(program), *sys.argv[1:]])
