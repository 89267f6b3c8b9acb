#!/usr/bin/env python3
"""The program with its window, as a user before a screen starts it. window.py BUILD_FOLDER [NAME ...]"""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

from cases import BIN, BUILD, DEMO, PLAYER, SILENT, case, check, check_one_line, install, main, run, song
from jack_midi import jack_server
from screen import Player, Screen, wait

FILE_MENU = ["Preferences", None, "Save Program", "Load Program", "Save Bank", "Save as Default Bank",
             "Load Bank", None, "Reset MIDI", None, "Quit"]
PAGE_ENTRIES = ["Home Page", "Forum", "Updates"]
HELP_MENU = ["Help", None, *PAGE_ENTRIES, None, "About"]  # of Editor
PLACES = {"File": (15, FILE_MENU), "Help": (60, HELP_MENU)}
PAGES = ["https://quillmore.example/", "https://quillmore.example/forum", "https://quillmore.example/updates"]
BAR = 24


def both(function):
    """A case once under a window manager and once without."""
    for managed in (True, False):
        def each(folder, managed=managed):
            with Screen(managed) as screen:
                function(screen, folder)
        each.__name__ = function.__name__ + ("_managed" if managed else "_bare")
        case(each)
    return function


def managed(function):
    def each(folder):
        with Screen(True) as screen:
            function(screen, folder)
    each.__name__ = function.__name__
    return case(each)


def open_menu(player, title):
    window = player.ready()
    x, y, _, _ = player.screen.place(window)
    player.screen.click(x + PLACES[title][0], y + BAR // 2)
    return player.window("POPUP_MENU")


def choose(player, title, entry):
    """By the pointer."""
    rows = PLACES[title][1]
    menu = open_menu(player, title)
    x, y, _, height = player.screen.place(menu)
    heights = [24 if row else 9 for row in rows]
    check(height == sum(heights) + 8, "the menu", title, "has other entries:", height)
    index = rows.index(entry)
    player.screen.click(x + 40, y + 4 + sum(heights[:index]) + 12)
    player.gone("POPUP_MENU")


def answer(player, *strokes):
    """To the dialog that comes."""
    dialog = player.focused("DIALOG")
    player.screen.keys(*strokes)
    wait(lambda: dialog not in player.windows("DIALOG"), "the end of the dialog")


def name_file(player, path, loads=False):
    player.focused("DIALOG")
    if loads:
        player.screen.keys("Tab")
    player.screen.do("type", "--delay", 10, path)
    player.screen.keys("Return")


def wait_pages(player, pages):
    wait(lambda: player.pages.exists() and player.pages.read_text().split() == pages, *pages)


def quit_by(player, *way):
    """A way to the question, which is answered with Cancel first."""
    for stroke in ("Escape", "Return"):
        player.ready()
        way[0](*way[1:])
        answer(player, stroke)
        if stroke == "Escape":
            player.check_alive()
    return player.end(None)


@both
def the_window_shows_the_editor_below_its_bar(screen, folder):
    with Player(screen, folder, name="Editor") as player:
        window = player.ready()
        values = {name: screen.property(window, name) for name in (
            "WM_NAME", "_NET_WM_NAME", "WM_CLASS", "_NET_WM_PID")}
        check(values["WM_CLASS"] == '"Editor", "QuillmoreDocWindowClass"', values)
        check(values["_NET_WM_PID"] == str(player.process.pid), values)
        check(values["_NET_WM_NAME"] == values["WM_NAME"] == '"Editor \u00fc"', values)
        check("64 x 64" in screen.ask("xprop", "-id", window, "_NET_WM_ICON"), "no icon")
        check("WM_DELETE_WINDOW" in screen.ask("xprop", "-id", window, "WM_PROTOCOLS"))
        x, y, width, height = screen.place(window)
        check((width, height) == (200, 120 + BAR), width, height)
        children = screen.ask("xwininfo", "-children", "-id", window)
        child = re.search(r'(0x[0-9a-f]+) "Plugin Editor"', children)
        check(child and screen.place(child[1]) == (x, y + BAR, 200, 120), children)
        for place in ((x, y + BAR), (x + 199, y + BAR + 119)):
            wait(lambda: screen.pixel(*place) == 0xC03060, "the editor's colour at", *place)
        shown = {screen.pixel(x + i, y + BAR // 2) for i in range(8, 40)}
        check(len(shown) > 2 and 0xC03060 not in shown, "no title in the menu bar:", shown)
        player.end()


@both
def entries_do_the_same_by_pointer_and_by_key(screen, folder):
    with Player(screen, folder, name="Editor") as player:
        resets = 0
        for preferences, reset in ((lambda: choose(player, "File", "Preferences"),
                                    lambda: choose(player, "File", "Reset MIDI")),
                                   (lambda: screen.keys("ctrl+F1"), lambda: screen.keys("ctrl+r"))):
            player.ready()
            preferences()
            answer(player, "Return")
            player.ready()
            reset()
            wait(lambda: player.noted().count("midi 176 123") > resets, "all notes off")
            resets = player.noted().count("midi 176 123")
        for i, entry in enumerate(PAGE_ENTRIES):
            choose(player, "Help", entry)
            wait_pages(player, PAGES[:i + 1])
        # What the plug-in is to do; the first about box it leaves to the program.
        for title, entry, tag in (("File", "Save as Default Bank", b"SADB"), ("Help", "Help", b"SHel"),
                                  ("Help", "About", b"SAbo"), ("Help", "About", b"SAbo")):
            wanted = [line for line in player.noted() if line.startswith("wants")]
            choose(player, title, entry)
            wanted.append(f"wants {tag.hex()} 1")
            wait(lambda: [line for line in player.noted() if line.startswith("wants")] == wanted, wanted)
            if tag == b"SAbo" and wanted.count(wanted[-1]) == 1:
                answer(player, "Return")
            player.ready()
            check(not player.windows("DIALOG"), "an about box beside the plug-in's")
        quit_by(player, choose, player, "File", "Quit")
    with Player(screen, folder, name="Editor") as player:
        quit_by(player, screen.keys, "ctrl+q")


@both
def programs_and_banks_go_to_files_and_come_back(screen, folder):
    folder = pathlib.Path(folder)
    other, plain = folder / "other.fxb", folder / "plain.fxb"
    shaped = song(folder, [(0, (0xC0, 24)), (0, (0xB0, 7, 70)), (0, (0x90, 60, 100)), (100, (0x80, 60, 0))])
    check(run(PLAYER, "--play", shaped, "--render", folder / "x.wav", "--save-bank", other).returncode == 0)
    with Player(screen, folder) as player:
        def saved(entry, path, whole=None):
            player.ready()
            screen.keys("ctrl+s") if entry is None else choose(player, "File", entry)
            name_file(player, path)
            player.gone("DIALOG")
            whole = whole or path
            check(run(BIN / "orbitool", "check", whole).returncode == 0, whole)
            return whole.read_bytes()

        def loaded(entry, path):
            player.ready()
            screen.keys("ctrl+o") if entry is None else choose(player, "File", entry)
            name_file(player, path, loads=True)
            player.gone("DIALOG")

        first = saved("Save Bank", folder / "plain", plain)
        check(first != other.read_bytes())
        program = saved(None, folder / "a.fxp")
        loaded("Load Bank", other)
        check(saved("Save Bank", folder / "b.fxb") == other.read_bytes(), "the bank wasn't loaded")
        check(saved("Save Program", folder / "b.fxp") != program, "the program is the former one")
        loaded(None, folder / "a.fxp")
        check(saved("Save Program", folder / "c.fxp") == program, "the program wasn't loaded")
        # What is there is kept by Escape and replaced by Return.
        for stroke, kept in (("Escape", first), ("Return", None)):
            player.ready()
            choose(player, "File", "Save Bank")
            dialog = player.focused("DIALOG")
            name_file(player, plain)
            wait(lambda: len(player.windows("DIALOG")) == 2, "the question")
            question = next(each for each in player.windows("DIALOG") if each != dialog)
            wait(lambda: screen.has_focus(question), "the question's focus")
            screen.keys(stroke)
            wait(lambda: question not in player.windows("DIALOG"), "the question's end")
            if kept:
                wait(lambda: screen.has_focus(dialog), "the dialog's focus")
                screen.keys("Escape")
            player.gone("DIALOG")
            check((plain.read_bytes() == first) == bool(kept), stroke)
        # A file that is none is said and changes nothing.
        (folder / "none.fxp").write_text("no program")
        player.ready()
        choose(player, "File", "Load Program")
        name_file(player, folder / "none.fxp", loads=True)
        wait(lambda: [each for each in player.windows("DIALOG")
                      if "Standalone" in screen.property(each, "_NET_WM_NAME")], "the refusal")
        answer(player, "Return")
        player.end()


@both
def files_that_are_dropped_reach_whom_they_are_for(screen, folder):
    folder = pathlib.Path(folder)
    music = song(folder, [(0, (0xB0, 7, 70)), (0, (0x90, 60, 100)), (100, (0x80, 60, 0))])
    bank, kept, font = folder / "other.fxb", folder / "kept.fxb", folder / "mine.sf2"
    shutil.copy("/usr/share/sounds/sf2/TimGM6mb.sf2", font)
    check(run(PLAYER, "--play", music, "--render", folder / "x.wav", "--save-bank", bank).returncode == 0)

    def drop(player, *files):
        x, y, width, height = screen.place(player.ready())
        return screen.ask(BUILD / "tests" / "e2e" / "drag", player.window(), x + width // 2, y + height // 2,
                          *(file.as_uri() for file in files)).strip()

    def headline(player):
        x, y, _, _ = screen.place(player.ready())
        return screen.row(x + 40, y + BAR + 32, 900)

    with Player(screen, folder, name="Editor") as player:
        check(drop(player, music) == "taken")
        player.wait_noted("midi 144 60")
        for files in ([font], [music, font], [music, music]):
            check(drop(player, *files) == "refused", "by a plug-in that takes none", files)
        player.end()
    with Player(screen, folder, "--save-bank", kept) as player:
        check(drop(player, bank) == "taken")
        player.end()
        check(kept.read_bytes() == bank.read_bytes(), "the bank wasn't loaded")
    broken, kept = folder / "broken.fxb", folder / "not written.fxb"
    broken.write_bytes(bank.read_bytes()[:-8])
    with Player(screen, folder, broken, "--save-bank", kept) as player:
        answer(player, "Return")
        check(drop(player, bank) == "taken")
        player.process.send_signal(signal.SIGTERM)
        check(player.process.wait(timeout=20) == 1 and not kept.exists(), "saved what was not asked for")
    kept = folder / "kept.fxb"
    with Player(screen, folder, "--save-bank", kept) as player:
        standing = headline(player)
        check(drop(player, music) == "taken")
        check(headline(player) == standing, "the editor took the song")
        check(drop(player, font) == "taken")
        wait(lambda: headline(player) != standing, "the editor's new headline")
        player.end()
        check(font.name.encode() in kept.read_bytes(), "the SoundFont isn't part of the bank")


@both
def menus_are_walked_by_keys(screen, folder):
    with Player(screen, folder, name="Editor") as player:
        player.ready()
        screen.keys("alt+f")
        first = screen.place(player.window("POPUP_MENU"))
        screen.keys("Escape")
        player.gone("POPUP_MENU")
        player.ready()
        screen.keys("F10", "Right", "Down")
        second = screen.place(player.window("POPUP_MENU"))
        check(first[0] < second[0] and first[1] == second[1], "not beside:", first, second)
        screen.keys("Down", "Down", "Return")
        player.gone("POPUP_MENU")
        wait_pages(player, PAGES[1:2])
        player.ready()
        screen.keys("alt+f")
        player.window("POPUP_MENU")
        screen.keys("Left")
        wait(lambda: [screen.place(menu) for menu in player.windows("POPUP_MENU")] == [second], "Help")
        screen.keys("Right")
        wait(lambda: [screen.place(menu) for menu in player.windows("POPUP_MENU")] == [first], "File")
        screen.keys("q")
        answer(player, "Return")
        player.end(None)


@both
def keys_and_the_wheel_reach_the_plugin(screen, folder):
    with Player(screen, folder, name="Editor") as player:
        window = player.ready()
        # Ctrl and the fourth key change places: 4 and 8 stand for each other.
        for stroke, line in (("a", "key 97 145 0"), ("shift+a", "key 65 145 1"), ("ctrl+a", "key 0 145 8"),
                             ("super+a", "key 0 145 4"), ("alt+b", "key 0 146 2"), ("F5", "key 0 44 0"),
                             ("udiaeresis", "key -4 0 0")):
            screen.keys(stroke)
            player.wait_noted(line)
        for button, turn in ((4, 1), (5, -1)):
            screen.do("click", button)
            player.wait_noted(f"wheel {turn}")
        check(screen.place(window), "the window has gone")
        player.end()


@managed
def every_way_to_quit_keeps_the_settings_and_every_block(screen, folder):
    with jack_server(BUILD, 64) as environment:
        screen.environment.update(environment)
        for name, end in (("menu", lambda player: quit_by(player, choose, player, "File", "Quit")),
                          ("box", lambda player: quit_by(player, screen.keys, "alt+F4")),
                          ("signal", lambda player: player.ready() and player.end())):
            home = pathlib.Path(folder) / name
            home.mkdir()
            with Player(screen, home, "--stats", driver="jack") as player:
                stats = json.loads(end(player)[0])
                check(stats["driver"] == "LOOM JACK Driver" and stats["blocks"] > 0, stats)
                check(stats["lost"] == 0, name, stats)
                check('name="LOOM Driver" value="LOOM JACK Driver"' in player.stored(), player.stored())


@managed
def whatever_the_window_does_no_block_is_lost(screen, folder):
    with jack_server(BUILD, 64) as environment:
        screen.environment.update(environment)
        with Player(screen, folder, "--stats", "--play", DEMO, driver="jack") as player:
            window = player.ready()
            open_menu(player, "File")
            screen.keys("Down", "Down", "Right", "Left", "Escape")
            player.gone("POPUP_MENU")
            player.ready()
            screen.keys("ctrl+F1")
            dialog = player.focused("DIALOG")
            for i in range(40):
                screen.do("windowmove", window if i % 2 else dialog, 100 + 10 * i, 60 + 3 * i)
            answer(player, "Return")
            screen.do("windowminimize", window)
            player.gone("NORMAL")
            screen.do("windowactivate", window)
            player.ready()
            stats = json.loads(player.end()[0])
            check(stats["blocks"] > 0 and stats["lost"] == 0, stats)


@case
def a_display_that_dies_is_a_regular_end(folder):
    for state in ("window", "menu", "question", "files"):
        home = pathlib.Path(folder) / state
        home.mkdir()
        with Screen(False) as screen, Player(screen, home, "--stats", name="Editor", driver="file") as player:
            player.ready()
            if state == "menu":
                open_menu(player, "File")
            elif state != "window":
                screen.keys("ctrl+q" if state == "question" else "ctrl+s")
                player.focused("DIALOG")
            screen.server.kill()
            out, words = player.end(None)
            check(json.loads(out)["blocks"] > 0 and not words, state, out, words)
            check('name="LOOM Driver" value="LOOM File Driver"' in player.stored(), state, player.stored())


@case
def without_a_display_one_line_says_so_and_headless_needs_none(folder):
    bare = {name: value for name, value in os.environ.items() if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
    for display in ({}, {"DISPLAY": ":54321"}, {"DISPLAY": "nonsense"}):
        result = run(PLAYER, "--driver", "LOOM File Driver", env=bare | display)
        check_one_line(result, 0, display.get("DISPLAY", "DISPLAY"), ". --headless")
        check(".." not in result.stderr, result)
    program = install(folder, "Sine") / "Sine"
    shutil.copy(BUILD / "sdk" / "sine.so", f"{program}.so")
    with Screen(False) as screen:
        for environment in (bare, screen.environment):
            process = subprocess.Popen([program, *SILENT], env=environment)
            try:
                maps = pathlib.Path(f"/proc/{process.pid}/maps")
                wait(lambda: "loom_file.so" in maps.read_text(), "the driver")
                loaded = set(re.findall(r"lib(?:X11|xcb|cairo|pango)[^/\n]*", maps.read_text()))
                check(not loaded, loaded)
                process.send_signal(signal.SIGTERM)
                check(process.wait(timeout=20) == 0)
            finally:
                process.kill()
                process.wait()


@managed
def a_song_that_cannot_be_played_is_said_and_the_window_stays(screen, folder):
    broken = pathlib.Path(folder) / "broken.mid"
    broken.write_bytes(DEMO.read_bytes()[:100])
    for options, status in (((), 0), (("--save-bank", pathlib.Path(folder) / "x.fxb"), 1)):
        with Player(screen, folder, "--play", broken, *options) as player:
            answer(player, "Return")
            player.ready()
            player.process.send_signal(signal.SIGTERM)
            _, words = player.process.communicate(timeout=20)
            check(player.process.returncode == status and not words, player.process.returncode, words)


@managed
def no_editor_brings_the_program_down(screen, folder):
    for fault, size in (("open", (200, 144)), ("idle", (200, 144)), ("key", (200, 144)), ("close", (200, 144)),
                        ("destroy", (200, 144)), ("resize", (200, 144)), ("zero", None), ("negative", None),
                        ("huge", None)):
        home = pathlib.Path(folder) / fault
        home.mkdir()
        with Player(screen, home, name="Editor", fault=fault) as player:
            window = player.focused("NORMAL")
            player.wait_noted("idle")
            check(size in (None, screen.place(window)[2:]), fault, screen.place(window))
            for _ in range(2):
                screen.keys("a", "alt+f")
                player.window("POPUP_MENU")
                screen.keys("Escape")
                player.gone("POPUP_MENU")
                wait(lambda: screen.has_focus(window), "the focus")
            player.end()
            crashes = fault in ("open", "idle", "key", "close")
            check(("crash" in player.noted()) == crashes, fault, player.noted())
            check(fault in ("open", "close") or player.noted()[-1] == "close", fault, player.noted())


@both
def a_plugin_without_an_editor_is_said_to_have_none(screen, folder):
    with Player(screen, folder, name="Editor", fault="norect") as player:
        answer(player, "Return")
        player.end(None)


if __name__ == "__main__":
    sys.exit(main())
