#!/usr/bin/env python3
"""The program with its window, as a user before a screen starts it. window.py BUILD_FOLDER [NAME ...]"""
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

from cases import BIN, DEMO, PLAYER, SILENT, case, check, check_one_line, main, run, song
from jack_midi import jack_server
from screen import Player, Screen, wait

FILE_MENU = ["Preferences", None, "Save Program", "Load Program", "Save Bank", "Load Bank", None,
             "Reset MIDI", None, "Quit"]
HELP_MENU = ["Home Page", "Forum", "Updates"]
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


def quit_by(player, *way):
    """A way to the question, which is answered with Cancel first."""
    for stroke in ("Escape", "Return"):
        player.ready()
        way[0](*way[1:])
        answer(player, stroke)
        if stroke == "Escape":
            player.check_alive()
    return player.end(None)


def stored(folder, name="SoundFont"):
    return (pathlib.Path(folder) / "Quillmore" / f"{name} Standalone" / "Defaults.xml").read_text()


@both
def the_window_shows_the_editor_below_its_bar(screen, folder):
    with Player(screen, folder, name="Editor") as player:
        window = player.ready()
        values = {name: screen.property(window, name) for name in (
            "WM_NAME", "_NET_WM_NAME", "WM_CLASS", "_NET_WM_PID", "WM_PROTOCOLS")}
        check(values["WM_CLASS"] == '"Editor", "QuillmoreDocWindowClass"', values)
        check(values["_NET_WM_PID"] == str(player.process.pid), values)
        check("WM_DELETE_WINDOW" in values["WM_PROTOCOLS"], values)
        titled = screen.ask("xdotool", "getwindowname", window).strip()
        check(titled == "Editor \u00fc", repr(titled))
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
        for entry in HELP_MENU:
            choose(player, "Help", entry)
        pages = player.folder / "pages"
        wait(lambda: pages.exists() and pages.read_text().split() == PAGES, "the pages")
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
        screen.keys("Down", "Return")
        player.gone("POPUP_MENU")
        pages = player.folder / "pages"
        wait(lambda: pages.exists() and pages.read_text().split() == PAGES[1:2], "the forum")
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
        for stroke, line in (("a", "key 97 145 0"), ("shift+a", "key 65 145 1"), ("ctrl+a", "key 97 145 8"),
                             ("super+a", "key 97 145 4"), ("alt+b", "key 98 146 2"), ("F5", "key 0 44 0"),
                             ("udiaeresis", "key -4 0 0")):
            screen.keys(stroke)
            player.wait_noted(line)
        for button, turn in ((4, 1), (5, -1)):
            screen.do("click", button)
            player.wait_noted(f"wheel Acts {turn}")
        check(screen.place(window), "the window has gone")
        player.end()


@managed
def every_way_to_quit_keeps_the_settings(screen, folder):
    folder = pathlib.Path(folder)
    with jack_server(sys.argv[1], 64) as environment:
        screen.environment.update(environment)
        for way in ("close box", "signal"):
            home = folder / way.replace(" ", "")
            home.mkdir()
            settings = home / "Quillmore" / "SoundFont Standalone"
            settings.mkdir(parents=True)
            (settings / "Defaults.xml").write_bytes(
                b'<?xml version="1.0" encoding="UTF-8"?>\r\n<Defaults>\r\n   <obj class="FAttributes" name="x"/>\r\n'
                b'</Defaults>\r\n')
            with Player(screen, home, "--stats", "--play", DEMO) as player:
                if way == "signal":
                    player.ready()
                    out, _ = player.end()
                else:
                    out, _ = quit_by(player, screen.keys, "alt+F4")
            print(stored(home), out)
if __name__ == "__main__":
    sys.exit(main())
