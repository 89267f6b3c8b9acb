"""What the end-to-end programs share: PROGRAM BUILD_FOLDER [NAME ...]

Each case prints "ok NAME" or "FAILED NAME"; the status is 1 when any failed.
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv[1]).resolve()
BIN = BUILD / "bin"
PLAYER = BIN / "SoundFont"
DEMO = ROOT / "share" / "demo.mid"
SILENT = ["--headless", "--driver", "LOOM File Driver"]

# Settings go where they don't meet the user's own.
os.environ["XDG_CONFIG_HOME"] = tempfile.mkdtemp()
os.environ.pop("DBUS_SESSION_BUS_ADDRESS", None)  # whose file dialogs would come instead of the program's

CASES = []


def case(function):
    CASES.append(function)
    return function


def run(program, *arguments, timeout=120, **options):
    return subprocess.run([str(program), *map(str, arguments)], capture_output=True, text=True,
                          timeout=timeout, **options)


def check(condition, *words):
    if not condition:
        raise AssertionError(" ".join(str(word) for word in words) or "condition is false")


def check_one_line(result, status, *parts):
    """Status, nothing on standard output, and one line on standard error that names the thing."""
    check(result.returncode == status, "status", result.returncode, "for", result.args, result.stderr)
    lines = result.stderr.strip().splitlines()
    check(len(lines) == 1, "not one line:", result.stderr)
    for part in parts:
        check(part in lines[0], repr(part), "isn't in", lines[0])


def song(folder, events, division=480, name="song.mid"):
    """A format 0 file of (ticks, bytes) at 120 beats a minute."""
    track, now = b"", 0
    for ticks, message in events:
        delta, now = ticks - now, ticks
        digits = [delta & 127]
        while delta := delta >> 7:
            digits.insert(0, delta & 127 | 128)
        track += bytes(digits) + bytes(message)
    track += b"\0\xff\x2f\0"
    path = pathlib.Path(folder) / name
    path.write_bytes(b"MThd" + struct.pack(">IHHH", 6, 0, 1, division) + b"MTrk"
                     + struct.pack(">I", len(track)) + track)
    return path


def install(folder, name):
    """The player under that name, with its drivers, in a folder of its own."""
    folder = pathlib.Path(folder)
    shutil.copy(BIN / "orbiplayer", folder / name)
    shutil.copytree(BIN / "Loom Drivers", folder / "Loom Drivers")
    return folder


def main():
    wanted = sys.argv[2:]
    failed = 0
    for function in CASES:
        name = function.__name__
        if wanted and name not in wanted:
            continue
        with tempfile.TemporaryDirectory() as folder:
            try:
                function(folder)
                print("ok", name, flush=True)
            except Exception as error:  # a case that breaks is a case that failed
                failed += 1
                print(f"  {type(error).__name__}: {error}")
                print("FAILED", name, flush=True)
    return 1 if failed else 0
