"""A JACK server of one's own, and the flood of MIDI that tests and measures let loose on the player."""
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess


@contextlib.contextmanager
def jack_server(build, frames, synchronous=True):
    """Once it is there, gives the environment of its clients. A synchronous server waits for them, so that a busy
    machine loses no cycle."""
    environment = dict(os.environ, JACK_DEFAULT_SERVER=f"e2e{os.getpid()}", JACK_NO_AUDIO_RESERVATION="1")
    server = subprocess.Popen(["jackd", "-r", *(["-S"] if synchronous else []), "-n",
                               environment["JACK_DEFAULT_SERVER"], "-d", "dummy", "-r", "48000", "-p",
                               str(frames)], env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    try:
        probe(build, environment, "wait", timeout=60)
        yield environment
    finally:
        server.terminate()
        server.wait(timeout=20)


@contextlib.contextmanager
def answering_player(build, folder, environment, *options):
    """The player under JACK with the instrument that answers; gives a function that ends it and
    returns its statistics and what the instrument wrote."""
    folder, build = pathlib.Path(folder), pathlib.Path(build)
    shutil.copy(build / "bin" / "orbiplayer", folder / "Answer")
    shutil.copy(build / "tests" / "e2e" / "answer.so", folder / "Answer.so")
    if not (folder / "Loom Drivers").exists():
        shutil.copytree(build / "bin" / "Loom Drivers", folder / "Loom Drivers")
    report = folder / "report"
    player = subprocess.Popen([folder / "Answer", "--headless", "--driver", "LOOM JACK Driver", "--stats",
                               *options], env=dict(environment, ANSWER=str(report)),
                              stdout=subprocess.PIPE, text=True)

    def end():
        player.send_signal(signal.SIGTERM)
        return json.loads(player.communicate(timeout=20)[0]), report.read_text().splitlines()

    try:
        yield end
    finally:
        if player.poll() is None:
            player.kill()
            player.communicate()


def probe(build, environment, *arguments, timeout):
    """What it printed, as a list of lists of numbers."""
    result = subprocess.run([pathlib.Path(build) / "tests" / "e2e" / "jack_midi_probe", *map(str, arguments)],
                            env=environment, capture_output=True, text=True, timeout=timeout)
    if result.returncode != 0:
        raise AssertionError(f"the probe failed: {result}")
    return [[int(word) for word in line.split()] for line in result.stdout.splitlines()]


def flood(build, folder, seconds, rate=10000, synchronous=True):
    """16 ports at 64 frames: events sent, lost, out of order (for each port), most in a block, and the
    player's statistics."""
    with jack_server(build, 64, synchronous) as environment, \
            answering_player(build, folder, environment, "--midi-port", "all") as end:
        sent = [line[0] for line in probe(build, environment, "flood", seconds, rate, timeout=seconds + 60)]
        stats, report = end()
    came = [[int(word) for word in line.split()] for line in report[:16]]
    return {"sent": sum(sent), "lost": [sent[i] - came[i][0] for i in range(16)],
            "jumps": [jumps for _, jumps in came], "most": int(report[16]), "stats": stats}
