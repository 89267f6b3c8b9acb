#!/usr/bin/env python3
"""Figures of the whole program, which a benchmark inside a process can't take.

  whole_program.py BUILD_FOLDER start [RUNS]           exec to first block, resident memory
  whole_program.py BUILD_FOLDER render [RUNS]          the host's share of rendering the demo song
  whole_program.py BUILD_FOLDER jack [PAIRS [SECONDS]] processor time under JACK beside a plain client
  whole_program.py BUILD_FOLDER midi [SECONDS]         16 MIDI ports under JACK, each 10,000 events a second
"""
import os
import pathlib
import resource
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
from jack_midi import flood
BUILD = pathlib.Path(sys.argv[1]).resolve()
BIN = BUILD / "bin"
PAGE = os.sysconf("SC_PAGESIZE")
SETTINGS = tempfile.TemporaryDirectory()
os.environ["XDG_CONFIG_HOME"] = SETTINGS.name # not the user's own


def standalone(folder, name, module):
    """A program of that name with its module and the drivers beside it."""
    folder = pathlib.Path(folder)
    shutil.copy(BIN / "orbiplayer", folder / name)
    shutil.copy(module, folder / f"{name}.so")
    if not (folder / "Loom Drivers").exists():
        shutil.copytree(BIN / "Loom Drivers", folder / "Loom Drivers")
    return folder / name


def summary(values, unit):
    return f"median {statistics.median(values):.4g} {unit} (min {min(values):.4g}, max {max(values):.4g})"


def measure_start(runs=20):
    with tempfile.TemporaryDirectory() as folder:
        program = standalone(folder, "sine", BUILD / "bench" / "start_probe.so")
        probe = pathlib.Path(folder) / "probe"
        walls, residents = [], []
        for run in range(runs + 1):
            begin = time.monotonic_ns()
            subprocess.run([program, "--headless", "--driver", "LOOM File Driver", "--seconds", "0.01"],
                           env=dict(os.environ, START_PROBE=str(probe)), check=True)
            moment, _, resident, *_ = probe.read_text().split()
            if run:  # the first one warms the caches
                walls.append((int(moment) - begin) / 1e6)
                residents.append(int(resident) * PAGE / 2 ** 20)
        print("start to the first block:", summary(walls, "ms"))
        print("resident at that moment:", summary(residents, "MiB"))


def processor_time(command, makes=None):
    """Of a run that makes a new file: to replace one, the file system writes it out at once."""
    if makes:
        makes.unlink(missing_ok=True)
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def measure_render(runs=9):
    """The same song, blocks and file, once with an instrument that does nothing."""
    with tempfile.TemporaryDirectory() as folder:
        program = standalone(folder, "Null", BUILD / "bench" / "null_plugin.so")
        song = ["--play", ROOT / "share" / "demo.mid", "--seconds", "55"]
        out = pathlib.Path(folder) / "out.wav"
        file = ["--render", out]
        figures = [(processor_time([program, *song, *file], out),
                    processor_time([BIN / "SoundFont", *song, *file], out)) for _ in range(runs)]
        print("host alone:", summary([alone * 1000 for alone, _ in figures], "ms"))
        print("with the instrument:", summary([whole * 1000 for _, whole in figures], "ms"))
        print("share:", summary([alone / whole * 100 for alone, whole in figures], "%"))


def held_notes(folder, voices):
    """A song that strikes so many keys and holds them for ten minutes."""
    track = b"".join(bytes((0, 0x90, 48 + i, 20)) for i in range(voices))
    track += b"\x84\xe4\x00" + bytes((0x90, 48, 0)) + b"\0\xff\x2f\0"
    path = pathlib.Path(folder) / "held.mid"
    path.write_bytes(b"MThd" + struct.pack(">IHHH", 6, 0, 1, 120) + b"MTrk"
                     + struct.pack(">I", len(track)) + track)
    return path


def processor_seconds(process):
    """Of all threads that live, to the nanosecond."""
    total = 0
    for task in pathlib.Path(f"/proc/{process.pid}/task").iterdir():
        total += int((task / "schedstat").read_text().split()[0])
    return total / 1e9


def share_of(command, environment, seconds):
    process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
    time.sleep(2)
    before, begin = processor_seconds(process), time.monotonic()
    time.sleep(seconds)
    used, wall = processor_seconds(process) - before, time.monotonic() - begin
    process.terminate()
    process.wait(timeout=20)
    return used / wall * 1000


def measure_jack(pairs=3, seconds=30.0):
    with tempfile.TemporaryDirectory() as folder:
        program = standalone(folder, "sine", BUILD / "sdk" / "sine.so")
        for frames in (64, 256):
            environment = dict(os.environ, JACK_DEFAULT_SERVER=f"bench{os.getpid()}",
                               JACK_NO_AUDIO_RESERVATION="1")
            server = subprocess.Popen(
                ["jackd", "-r", "-n", environment["JACK_DEFAULT_SERVER"], "-d", "dummy", "-r", "48000",
                 "-p", str(frames)], env=environment, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL)
            time.sleep(1.5)
            try:
                for voices in (0, 16):
                    host = [program, "--headless", "--driver", "LOOM JACK Driver"]
                    if voices:
                        host += ["--play", held_notes(folder, voices)]
                    peer = [BUILD / "bench" / "jack_client", str(voices)]
                    figures = [(share_of(host, environment, seconds), share_of(peer, environment, seconds))
                               for _ in range(pairs)]
                    ratios = [ours / theirs for ours, theirs in figures]
                    print(f"{frames} frames, {voices} voices: host "
                          f"{summary([ours for ours, _ in figures], 'ms/s')}, plain client "
                          f"{summary([theirs for _, theirs in figures], 'ms/s')}, ratio "
                          f"{summary(ratios, '')}", flush=True)
            finally:
                server.terminate()
                server.wait(timeout=20)


def measure_midi(seconds=60):
    """Once with a server that waits for its clients, once with one that doesn't: there a client that
    comes too late misses a cycle's events or leaves its former ones to be read once more."""
    for synchronous in (True, False):
        with tempfile.TemporaryDirectory() as folder:
            result = flood(BUILD, folder, seconds, synchronous=synchronous)
        stats = result["stats"]
        print(f"{'synchronous' if synchronous else 'asynchronous'}: {result['sent']} events, "
              f"{sum(result['lost'])} lost, {sum(result['jumps'])} out of order, at most {result['most']} "
              f"in a block; {stats['blocks']} blocks, {stats['lost']} lost, {stats['late']} late, "
              f"process {stats['process_ns']}", flush=True)


if __name__ == "__main__":
    measure = {"start": measure_start, "render": measure_render, "jack": measure_jack,
               "midi": measure_midi}[sys.argv[2]]
    measure(*(float(value) if "." in value else int(value) for value in sys.argv[3:]))
