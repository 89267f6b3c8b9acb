#!/usr/bin/env python3
"""The programs as a script starts them. run.py BUILD_FOLDER [NAME ...]"""
import array
import json
import os
import pathlib
import pty
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

from cases import (BIN, BUILD, DEMO, PLAYER, ROOT, SILENT, case, check, check_one_line, install, main, run,
                   song)
from jack_midi import answering_player, flood, jack_server, probe


def wav(path):
    """Format tag, channels, rate, bits and the data of a WAV file."""
    data = pathlib.Path(path).read_bytes()
    check(data[:4] == b"RIFF" and data[8:12] == b"WAVE", "no WAV:", path)
    fields, samples, place = None, None, 12
    while place + 8 <= len(data):
        name, size = data[place:place + 4], struct.unpack("<I", data[place + 4:place + 8])[0]
        body = data[place + 8:place + 8 + size]
        if name == b"fmt ":
            tag, channels, rate, _, _, bits = struct.unpack("<HHIIHH", body[:16])
            fields = (struct.unpack("<H", body[24:26])[0] if tag == 0xFFFE else tag, channels, rate, bits)
        elif name == b"data":
            samples = body
        place += 8 + size + (size & 1)
    return (*fields, samples)


def floats(data):
    values = array.array("f")
    values.frombytes(data)
    return values


@case
def help_and_version_and_lists(folder):
    for option, words in (("--help", "--render"), ("--version", "SoundFont Standalone")):
        result = run(PLAYER, option)
        check(result.returncode == 0 and words in result.stdout and not result.stderr, result)
    result = run(PLAYER, "--list-drivers")
    check(result.stdout.splitlines() == ["LOOM Multimedia Driver", "LOOM JACK Driver",
                                         "LOOM File Driver"], result.stdout)
    for option in ("--help", "--version", "--list-drivers", "--list-midi"):
        with open("/dev/full", "w") as full:
            result = subprocess.run([PLAYER, option], stdout=full, stderr=subprocess.PIPE, text=True, timeout=60)
        result.stdout = ""
        check_one_line(result, 1, "standard output can't be written")
    with open("/dev/full", "w") as full:
        result = subprocess.run([PLAYER, *SILENT, "--seconds", "0.05", "--stats"], stdout=full,
                                stderr=subprocess.PIPE, text=True, timeout=60)
    check(result.returncode == 1 and "standard output can't be written" in result.stderr, result)


@case
def wrong_options_end_with_2_and_one_line(folder):
    for arguments, word in ((["--bogus"], "--bogus"), (["--rate"], "--rate"),
                            (["--rate", "fast"], "fast"), (["--block", "0"], "--block"),
                            (["--block", "2.5"], "2.5"), (["--outputs", "129"], "--outputs"),
                            (["--format", "int17"], "int17"), (["--seconds", "-1"], "--seconds"),
                            (["--headless=1"], "--headless"), (["--render", "x.wav"], "--play"),
                            (["--driver", "Nobody"], "LOOM JACK Driver"), (["song.txt"], "song.txt"),
                            (["a.mid", "b.mid"], "b.mid")):
        check_one_line(run(PLAYER, *arguments), 2, word)


@case
def a_bank_brings_the_sound_back_to_the_byte(folder):
    folder = pathlib.Path(folder)
    shaped = [(0, (0xC0, 24)), (0, (0xB0, 7, 70)), (0, (0xB2, 91, 127)),
                          (0, (0xC2, 48)), (0, (0xE0, 0, 80)), (0, (0xB0, 5, 90)),
                          (0, (0xB0, 1, 90))]
    played = [(0, (0x90, 60, 100)), (0, (0x92, 48, 90)), (480, (0x80, 60, 0)), (500, (0x90, 67, 90)),
              (960, (0x80, 67, 0)), (960, (0x82, 48, 0))]
    setup, notes, both, timed = (song(folder, events, name=name) for name, events in (
        ("setup.mid", shaped), ("notes.mid", played), ("both.mid", shaped + played),
        ("timed.mid", [(0, (0xB0, 5, 90)), *played])))

    def render(name, *options):
        result = run(PLAYER, "--render", folder / name, "--seconds", "2", *options)
        check(result.returncode == 0 and result.stderr.count("\n") == 1, result)
        return (folder / name).read_bytes()

    plain = render("plain.wav", "--play", notes)
    check(plain == render("timed.wav", "--play", timed), "notes slide though portamento is off")
    render("setup.wav", "--play", setup, "--save-bank", folder / "a.fxb")
    before = render("before.wav", "--play", notes, "--load", folder / "a.fxb",
                    "--save-bank", folder / "b.fxb", "--save-program", folder / "b.fxp")
    check((folder / "a.fxb").read_bytes() == (folder / "b.fxb").read_bytes(), "the banks differ")
    check(before == render("after.wav", "--play", notes, folder / "b.fxb"), "the sound differs")
    check(before != plain, "the bank isn't heard")
    check(before == render("both.wav", "--play", both), "the bank sounds unlike what it was made from")
    alone = render("alone.wav", "--play", notes, "--load", folder / "b.fxp")
    check(alone not in (before, plain), "a program is the first channel's alone")
    tool = BIN / "orbitool"
    check(run(tool, "check", folder / "b.fxb", folder / "b.fxp").returncode == 0)
    check("SFPl" in run(tool, "show", folder / "b.fxp").stdout)


@case
def a_load_or_save_that_fails_changes_nothing_and_ends_with_1(folder):
    folder = install(folder, "Sine")
    shutil.copy(BUILD / "sdk" / "sine.so", folder / "Sine.so")
    sine, short = folder / "Sine", [*SILENT, "--seconds", "0.05"]
    whole = folder / "whole.fxb"
    check(run(sine, *short, "--save-bank", whole, "--save-program", folder / "one.fxp").returncode == 0)
    content = whole.read_bytes()
    (folder / "cut.fxb").write_bytes(content[:-1])
    (folder / "text.fxp").write_text("no program")
    (folder / "other.fxb").write_bytes(content[:16] + b"Else" + content[20:])
    for bad, reason in (("cut.fxb", "cut short"), ("text.fxp", "neither"), ("none.fxb", "exist"),
                        ("other.fxb", "another plug-in")):
        kept = folder / "kept.fxb"
        kept.write_text("former")
        check_one_line(run(sine, *short, "--load", whole, "--load", folder / bad, "--save-bank", kept), 1,
                       bad, reason)
        check(kept.read_text() == "former", "something was saved")
        check_one_line(run(sine, *short, folder / bad, "--save-bank", kept), 1, bad, reason)
        check(kept.read_text() == "former", "a FILE that failed was saved over")
        out = folder / "out.wav"
        check_one_line(run(sine, "--play", DEMO, "--render", out, "--load", folder / bad), 1, bad)
        check(not out.exists())
    for bad in ("none.fxb", "none.mid"):
        check_one_line(run(sine, *short, folder / bad), 1, bad)
    check(run(sine, *short, "--load", folder / "one.fxp", whole, "--save-bank", kept).returncode == 0)
    check(kept.read_bytes() == content, "a bank that was loaded and saved differs")
    for target in (folder, folder / "no" / "where.fxb"):
        check_one_line(run(sine, *short, "--save-bank", target), 1, str(target))
    check(run(sine, *short, "--save-bank", "/dev/full").returncode == 1)
    ways = ("--save-bank /dev/stdout | cat", "--save-bank >(cat) | cat")
    for way in ways:
        saved = subprocess.run(["bash", "-c", f'"$0" "$@" {way}', sine, *short], capture_output=True,
                               timeout=60)
        check(saved.stdout == content and not saved.stderr, way, saved)
    (folder / "ring.fxb").symlink_to("ring.fxb")
    check_one_line(run(sine, *short, "--save-bank", folder / "ring.fxb"), 1, "can't be written")
    check((folder / "ring.fxb").is_symlink(), "a link in a circle was replaced")
    for length in (251, 252, 255):
        check(run(sine, *short, "--save-bank", folder / ("n" * length)).returncode == 0, length)
        check((folder / ("n" * length)).read_bytes() == content, length)
    result = run("bash", "-c", 'ulimit -f 0; exec "$0" "$@"', sine, *short, "--save-bank", kept)
    settings, bank = sorted(result.stderr.splitlines(), key=lambda line: "kept.fxb" in line)
    check(result.returncode == 1 and "kept.fxb: can't be written completely" in bank, result)
    check("Defaults" in settings and "can't be written whole" in settings, result)
    check(kept.read_bytes() == content)
    check(not [path.name for path in folder.iterdir() if "~" in path.name], "something is left over")


@case
def a_wanted_midi_port_may_be_away_and_isnt_stored(folder):
    listed = run(PLAYER, "--list-midi")
    check(listed.returncode == 0 and listed.stdout.startswith("All MIDI Inputs\n"), listed)
    environment = dict(os.environ, XDG_CONFIG_HOME=str(folder))
    folder = install(folder, "Sine")
    shutil.copy(BUILD / "sdk" / "sine.so", folder / "Sine.so")
    for port in ("all", "no such keyboard"):
        result = run(folder / "Sine", *SILENT, "--midi-port", port, "--seconds", "0.1", env=environment)
        check(result.returncode == 0 and not result.stderr, result)
    stored = (folder / "Quillmore" / "Sine Standalone" / "Defaults.xml").read_text(errors="replace")
    check("no such keyboard" not in stored and "MIDI Port" not in stored, stored)


@case
def a_program_plays_the_module_of_its_own_name(folder):
    folder = install(folder, "Sine")
    os.symlink(BIN / "orbiplayer", folder / "Link")
    os.link(folder / "Sine", folder / "Hard.Name")
    for program, expected in (("Sine", "Sine.so"), ("Link", "Link.so"), ("Hard.Name", "Hard.so")):
        result = run(folder / program, *SILENT, "--seconds", "0.1")
        check_one_line(result, 0, f'Plugin "{expected}" not found!', f"{expected[:-3]} Standalone")
    for name in ("Sine.so", "Link.so"):
        shutil.copy(BUILD / "sdk" / "sine.so", folder / name)
    for program in ("Sine", "Link"):
        result = run(f"./{program}", *SILENT, "--seconds", "0.1", "--stats", cwd=folder)
        check(result.returncode == 0 and not result.stderr, result)
        check(json.loads(result.stdout)["blocks"] >= 18, result.stdout)


@case
def a_module_that_cannot_be_used_is_not_found(folder):
    folder = install(folder, "Bad")
    for content in (b"", b"no library", (BIN / "Loom Drivers" / "loom_file.so").read_bytes()):
        (folder / "Bad.so").write_bytes(content)
        check_one_line(run(folder / "Bad", *SILENT), 0, 'Plugin "Bad.so" not found!')
        result = run(folder / "Bad", "--play", DEMO, "--render", folder / "out.wav")
        check_one_line(result, 1, 'Plugin "Bad.so" not found!')
        check(not (folder / "out.wav").exists())


@case
def the_demo_renders_the_same_file_twice_at_its_level(folder):
    paths = [pathlib.Path(folder) / name for name in ("a.wav", "b.wav")]
    for path in paths:
        result = run(PLAYER, "--headless", "--play", DEMO, "--render", path, "--stats")
        check(result.returncode == 0, result.stderr)
        stats = json.loads(result.stdout)
        check(stats["driver"] == "LOOM File Driver" and stats["lost"] == 0, stats)
    check(paths[0].read_bytes() == paths[1].read_bytes(), "the two files differ")
    tag, channels, rate, bits, data = wav(paths[0])
    check((tag, channels, rate, bits) == (3, 2, 48000, 32), tag, channels, rate, bits)
    check(len(data) == stats["blocks"] * 256 * 8, len(data), stats)
    samples = floats(data)
    peak = max(abs(max(samples)), abs(min(samples)))
    check(0.5 < peak <= 1.0, "peak", peak)
    tail = samples[-2 * 4800:]
    check(max(abs(max(tail)), abs(min(tail))) < 1e-4, "the tail was cut")
    check(30 < len(samples) / 2 / rate < 70, "length")


@case
def settings_of_the_file_driver_reach_the_file(folder):
    notes = song(folder, [(0, (0x90, 60, 100)), (480, (0x80, 60, 0))])
    for kind, expected in (("int16", (1, 16)), ("int24", (1, 24)), ("int32", (1, 32)),
                           ("float32", (3, 32)), ("int16be", (1, 16)), ("int32_24", (1, 24))):
        path = pathlib.Path(folder) / f"{kind}.wav"
        result = run(PLAYER, "--play", notes, "--render", path, "--rate", "44100", "--block", "100",
                     "--outputs", "4", "--format", kind, "--seconds", "0.5")
        check(result.returncode == 0, result.stderr)
        tag, channels, rate, bits, data = wav(path)
        check((tag, bits) == expected and (channels, rate) == (4, 44100), kind, tag, bits, channels)
        frames = len(data) // (channels * bits // 8)
        check(22050 <= frames < 22150, frames)
        check(any(data), "silent", kind)


@case
def events_sound_in_the_block_in_which_they_fall_due(folder):
    # 1 s into the song: the block that begins at 47872 or 48000 must be the first that isn't silent.
    notes = song(folder, [(960, (0x99, 38, 127)), (1440, (0x89, 38, 0))])
    path = pathlib.Path(folder) / "due.wav"
    check(run(PLAYER, "--play", notes, "--render", path, "--block", "256").returncode == 0)
    samples = floats(wav(path)[4])
    first = next(i for i, sample in enumerate(samples) if abs(sample) > 1e-6) // 2
    check(47872 <= first < 48000 + 256, first)


@case
def bad_songs_and_targets_leave_nothing_behind(folder):
    folder = pathlib.Path(folder)
    good = DEMO.read_bytes()
    for name, content in (("cut.mid", good[:len(good) // 2]), ("empty.mid", b""),
                          ("lie.mid", good[:18] + b"\x7f\xff\xff\xff" + good[22:]),
                          ("text.mid", b"this is no song at all")):
        (folder / name).write_bytes(content)
        result = run(PLAYER, "--play", folder / name, "--render", folder / "out.wav")
        check_one_line(result, 1, name)
    check_one_line(run(PLAYER, "--headless", "--play", folder / "none.mid"), 1, "none.mid")
    for target in (folder / "no" / "where.wav", folder):
        check_one_line(run(PLAYER, "--play", DEMO, "--render", target), 1, str(target))
    check(sorted(p.name for p in folder.iterdir()) == ["cut.mid", "empty.mid", "lie.mid", "text.mid"])
    result = run(PLAYER, "--play", DEMO, "--render", "/dev/full")
    check(result.returncode == 1 and result.stderr, result)


@case
def a_render_through_a_link_replaces_what_it_leads_to(folder):
    folder = pathlib.Path(folder)
    notes = song(folder, [(0, (0x90, 60, 100)), (480, (0x80, 60, 0))])
    (folder / "files").mkdir()
    for name in ("there.wav", "new.wav"):
        link = folder / f"link to {name}"
        link.symlink_to(pathlib.Path("files", name))
        if name == "there.wav":
            link.write_text("former")
        result = run(PLAYER, "--play", notes, "--render", link)
        check(result.returncode == 0 and link.is_symlink(), result)
        check(wav(folder / "files" / name)[:3] == (3, 2, 48000), name)
    ring = folder / "ring.wav"
    ring.symlink_to(ring.name)
    check_one_line(run(PLAYER, "--play", notes, "--render", ring), 1, "LOOM File Driver", "ring.wav")
    check(ring.is_symlink(), "a link in a circle was replaced")
    check(len(list(folder.rglob("*"))) == 7, "something is left over:", list(folder.rglob("*")))


@case
def words_of_a_render_have_a_line_of_their_own_on_a_terminal(folder):
    long = song(folder, [(0, (0x90, 60, 100)), (960 * 3600, (0x80, 60, 0))])
    ours, its = pty.openpty()
    process = subprocess.Popen([PLAYER, "--play", long, "--render", pathlib.Path(folder) / "x.wav"], stderr=its)
    os.close(its)
    shown = b""
    while shown.count(b"%") < 3:
        shown += os.read(ours, 4096)
    process.send_signal(signal.SIGTERM)
    while b"\n" not in shown:
        shown += os.read(ours, 4096)
    check(process.wait(timeout=20) == 1)
    os.close(ours)
    line = ""
    for part in shown.decode().rstrip().split("\r"):  # each over what stood there
        line = part + line[len(part):]
    check(line.startswith("SoundFont Standalone: ") and line.endswith("x.wav"), shown)
    check(" " * 5 in shown.decode().split("\r"), "the progress wasn't cleared:", shown)


@case
def signals_stop_in_order_and_a_cut_render_fails(folder):
    for sent in (signal.SIGTERM, signal.SIGINT):
        process = subprocess.Popen([PLAYER, *SILENT, "--stats"], stdout=subprocess.PIPE, text=True)
        time.sleep(0.5)
        process.send_signal(sent)
        out, _ = process.communicate(timeout=20)
        check(process.returncode == 0 and json.loads(out)["blocks"] > 0, process.returncode, out)
    path = pathlib.Path(folder) / "cut.wav"
    long = song(folder, [(0, (0x90, 60, 100)), (960 * 3600, (0x80, 60, 0))])
    path.write_text("what was there")
    process = subprocess.Popen([PLAYER, "--play", long, "--render", path], stderr=subprocess.PIPE,
                               text=True)
    time.sleep(0.7)
    process.send_signal(signal.SIGTERM)
    _, words = process.communicate(timeout=20)
    check(process.returncode == 1 and "cut.wav" in words, process.returncode, words)
    check(path.read_text() == "what was there" and len(list(path.parent.iterdir())) == 2)


@case
def a_run_with_an_end_ends_without_blocks_and_without_its_driver(folder):
    folder = install(folder, "Sine")
    shutil.copy(BUILD / "sdk" / "sine.so", folder / "Sine.so")
    drivers = folder / "Loom Drivers"
    for registration in drivers.glob("*.loom"):
        registration.unlink()
    # A driver that opens and doesn't start, and one that isn't there.
    (drivers / "a.loom").write_text("clsid={01000000-0000-0000-0000-000000000000}\n"
                                    "description=Probe\nserver=" + str(BUILD / "tests" / "probe"
                                                                      / "probe_driver.so") + "\n")
    result = run(folder / "Sine", "--headless", "--driver", "Probe", "--seconds", "0.2", timeout=20,
                 env=dict(os.environ, PROBE_FAILING="start"))
    check_one_line(result, 0, "Probe")
    result = run(folder / "Sine", "--play", DEMO, "--render", folder / "x.wav", timeout=20)
    check_one_line(result, 1, "LOOM File Driver")
    (drivers / "b.loom").write_text("clsid={0}\ndescription=LOOM File Driver\nserver=none.so\n")
    result = run(folder / "Sine", "--play", DEMO, "--render", folder / "x.wav", timeout=20)
    check_one_line(result, 1, "LOOM File Driver", "none.so")


@case
def no_audio_is_said_and_ends_the_run(folder):
    config = pathlib.Path(folder) / "asoundrc"
    config.write_text('pcm.!default { type hw card 99 }\n')
    environment = dict(os.environ, ALSA_CONFIG_PATH=str(config))
    result = run(PLAYER, "--headless", env=environment)
    check_one_line(result, 0, "Audio Engine could not be started !")


@case
def what_comes_out_of_a_jack_server_is_what_a_render_holds(folder):
    folder = pathlib.Path(folder)
    rendered = folder / "render.wav"
    check(run(PLAYER, "--play", DEMO, "--render", rendered, "--seconds", "12").returncode == 0)
    with jack_server(BUILD, 256) as environment:
        recorder = None
        for _ in range(50):
            recorder = subprocess.Popen([BUILD / "tests" / "e2e" / "jack_record", "SoundFont", "6",
                                         folder / "played.raw"], env=environment,
                                        stdout=subprocess.PIPE, text=True)
            if recorder.stdout.readline().strip() == "ready":
                break
            recorder.wait(timeout=20)
            time.sleep(0.2)
        player = subprocess.Popen([PLAYER, "--headless", "--driver", "LOOM JACK Driver", "--play", DEMO,
                                   "--stats"], env=environment, stdout=subprocess.PIPE, text=True)
        check(recorder.wait(timeout=60) == 0, "the recorder failed")
        player.send_signal(signal.SIGTERM)
        stats = json.loads(player.communicate(timeout=20)[0])
        check(stats["driver"] == "LOOM JACK Driver" and stats["frames"] == 256, stats)
    played = (folder / "played.raw").read_bytes()
    whole = wav(rendered)[4]
    begin = 2 * 48000 * 8  # past the moment in which the ports were connected
    place = whole.find(played[begin:begin + 4096])
    check(place >= 0, "the recording isn't in the render")
    check(place % 8 == 0 and whole[place:place + len(played) - begin] == played[begin:],
          "the recording differs from the render")


@case
def a_note_sounds_with_the_next_period(folder):
    # The instrument answers in the block, and all events of a block belong to its start: a note that
    # comes during a cycle is heard where the next one begins.
    with jack_server(BUILD, 64) as environment, answering_player(BUILD, folder, environment) as end:
        (period,), *notes = probe(BUILD, environment, "notes", "Answer", 192, timeout=90)
        stats, _ = end()
    check(period == 64 and len(notes) == 192 and len({place for place, _ in notes}) == 64, notes)
    late = [(place, delay) for place, delay in notes if delay != period - place]
    check(not late, "place in the period and frames until it was heard:", late)
    check(stats["lost"] == 0, stats)


@case
def sixteen_busy_ports_lose_nothing_and_keep_their_order(folder):
    result = flood(BUILD, folder, 5)
    check(result["sent"] == 16 * 50000, result)
    check(not any(result["lost"]) and not any(result["jumps"]), result)
    check(result["stats"]["lost"] == 0, result)


@case
def orbitool_converts_checks_and_packs_files(folder):
    tool, folder = BIN / "orbitool", pathlib.Path(folder)

    def done(*arguments):
        result = run(tool, *arguments, cwd=folder)
        check(result.returncode == 0 and not result.stderr, result)
        return result.stdout

    translation = ROOT / "share" / "translation.xml"
    check("languages" in done("show", translation), "no languages are shown")
    text = ('<Root>\r\n   <int name="Width" value="640"/>\r\n   <obj class="Unknown" name="o" '
            'ID="5">\r\n      <string name="s" value="&eacute;"/>\r\n   </obj>\r\n</Root>\r\n')
    (folder / "a.xml").write_bytes(text.encode())
    done("convert", "a.xml", "a.bin")
    done("convert", "a.bin", "b.xml")
    check((folder / "b.xml").read_bytes() == text.encode(), (folder / "b.xml").read_bytes())
    check('text s = "\u00e9"' in done("show", "a.bin"), "a value is missing")

    (folder / "in" / "sub").mkdir(parents=True)
    for name in ("a.xml", "a.bin"):
        shutil.move(folder / name, folder / "in" / "sub" / name)
    done("archive", "create", "x.qrf", "in")
    check([line.split() for line in done("archive", "list", "x.qrf").splitlines()] ==
          [["-", "sub/"], [str((folder / "in/sub/a.bin").stat().st_size), "sub/a.bin"],
           [str(len(text)), "sub/a.xml"]], "the list differs")
    done("archive", "extract", "x.qrf", "out")
    check((folder / "out/sub/a.xml").read_bytes() == text.encode(), "an extracted file differs")
    done("check", "x.qrf", "out/sub/a.xml", "out/sub/a.bin", translation, DEMO)

    (folder / "cut.bin").write_bytes((folder / "out/sub/a.bin").read_bytes()[:-1])
    check_one_line(run(tool, "check", folder / "cut.bin", DEMO), 1, "cut.bin: cut short")
    check_one_line(run(tool, "convert", folder / "cut.bin", folder / "b.xml"), 1, "cut.bin")
    check((folder / "b.xml").read_bytes() == text.encode(), "a refused conversion wrote something")
    check_one_line(run(tool, "convert", "a.xml"), 2, "IN OUT")


@case
def run_knows_a_display_that_accepts(folder):
    text = (ROOT / "run").read_text()
    begin = text.index("has_display() {")
    function = text[begin:text.index("\n}\n", begin) + 3] + "has_display"

    def has_display(name):
        return run("bash", "-uc", f"x11_sockets={folder}\n{function}", env=dict(os.environ, DISPLAY=name)).returncode == 0

    # Whose name is whose: a socket that a server left behind, and a server's.
    path = pathlib.Path(folder) / "X57"
    for place in (str(path), f"\0{path}"):
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(place)
            check(not has_display(":57"), "one that doesn't accept")
            server.listen()
            for name in (":57", ":57.0", "unix:57"):
                check(has_display(name), name)
            check(not has_display(":571") and not has_display(":5"))
        check(not has_display(":57"), "one that was left behind")
    check(has_display("far.example:0") and not has_display("nonsense") and not has_display(""))


@case
def settings_outlive_the_run_and_a_kill_at_any_moment(folder):
    environment = dict(os.environ, XDG_CONFIG_HOME=folder)
    settings = pathlib.Path(folder) / "Quillmore" / "SoundFont Standalone"
    stored = settings / "Defaults.xml"
    check(run(PLAYER, *SILENT, "--seconds", "0.01", env=environment).returncode == 0)
    check(b"OrbPlugRouting" in stored.read_bytes())
    check(b"LOOM Driver" not in stored.read_bytes(), "the driver of one run was stored")
    for i in range(16):
        stored.write_bytes(b"<Defaults>\r\n</Defaults>\r\n")  # so that there is something to save
        process = subprocess.Popen([PLAYER, *SILENT, "--seconds", "0.01"], env=environment)
        time.sleep(0.008 * i)
        process.kill()
        process.wait()
        there = [path for path in (stored, settings / "Defaults_old.xml") if path.exists()]
        check(there, "no settings after a kill")
        check(there[0].read_bytes().endswith(b"</Defaults>\r\n"), "cut:", there[0])
    check(run(PLAYER, *SILENT, "--seconds", "0.01", env=environment).returncode == 0)
    check([path.name for path in settings.iterdir()] == ["Defaults.xml"], list(settings.iterdir()))
    # A folder where nothing can be written, and settings that are none
    check(run(PLAYER, *SILENT, "--seconds", "0.01",
              env=dict(os.environ, XDG_CONFIG_HOME="/dev/null/none")).returncode == 0)
    stored.write_bytes(os.urandom(500))
    check(run(PLAYER, *SILENT, "--seconds", "0.01", env=environment).returncode == 0)
    check((settings / "Defaults_bad.xml").stat().st_size == 500)


if __name__ == "__main__":
    sys.exit(main())
