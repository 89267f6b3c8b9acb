"""An X server of one's own, and the player before it, as a user sees and handles it."""
import os
import pathlib
import re
import select
import shutil
import signal
import struct
import subprocess
import tempfile
import time

from cases import BIN, BUILD, check

PATIENCE = 20  # seconds, on a busy machine


def wait(condition, *words):
    """What the condition gives as soon as it is true."""
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        check(time.monotonic() < end, "waited in vain for", *words)
        time.sleep(0.02)
    return result


class Screen:
    """1280 by 800 pixels, with openbox or without a window manager."""

    def __init__(self, managed):
        self.managed, self.manager = managed, None
        reading, writing = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", "1280x800x24", "-nolisten", "tcp",
             "-noreset"],
            pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as answer:
            ready, _, _ = select.select([answer], [], [], PATIENCE)
            check(ready, "no X server")
            self.name = ":" + answer.readline().strip()
        self.environment = dict(os.environ, DISPLAY=self.name)

    def __enter__(self):
        if self.managed:
            with tempfile.TemporaryDirectory() as folder:
                started = pathlib.Path(folder) / "started"
                self.manager = subprocess.Popen(
                    ["openbox", "--startup", f"touch {started}"], env=dict(self.environment, HOME=folder),
                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                wait(started.exists, "openbox")
        return self

    def __exit__(self, *_):
        for process in (self.manager, self.server):
            if process and process.poll() is None:
                process.kill()
                process.wait()

    def ask(self, *command, binary=False):
        result = subprocess.run([str(word) for word in command], env=self.environment, timeout=PATIENCE,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        return result.stdout if binary else result.stdout.decode(errors="replace")

    def do(self, *words):
        self.ask("xdotool", *words)

    def keys(self, *strokes):
        self.do("key", "--delay", 15, *strokes)

    def click(self, x, y):
        self.do("mousemove", x, y, "click", 1)

    def property(self, window, name):
        """Behind "NAME(TYPE) = "; empty without it."""
        return self.ask("xprop", "-notype", "-id", window, name).strip().partition(" = ")[2]

    def place(self, window):
        """Left, top, width and height; None when it isn't there."""
        words = self.ask("xwininfo", "-id", window)
        numbers = re.findall(r"(?:Absolute upper-left [XY]|Width|Height): +(-?\d+)", words)
        return tuple(map(int, numbers)) if len(numbers) == 4 else None

    def nudge(self):
        """Now and then openbox has read an event and leaves it lying until another one comes."""
        if self.manager:
            self.ask("xprop", "-root", "-f", "NUDGE", "8s", "-set", "NUDGE", "now")

    def has_focus(self, window):
        """The window or one inside of it."""
        self.nudge()
        focus = int(self.ask("xdotool", "getwindowfocus", "-f").strip() or 0)
        return f"{focus:#x} " in self.ask("xwininfo", "-tree", "-id", window)

    def row(self, x, y, width):
        """What is seen there, in a line of pixels as 0xRRGGBB."""
        picture = self.ask("xwd", "-root", "-silent", binary=True)
        header = struct.unpack(">25I", picture[:100])
        begin = header[0] + 12 * header[19] + y * header[12] + x * 4
        return [pixel & 0xFFFFFF for pixel in struct.unpack(f"<{width}I", picture[begin:begin + 4 * width])]

    def pixel(self, x, y):
        return self.row(x, y, 1)[0]


class Player:
    """The player on a screen, under the name of an instrument; killed if a case leaves it."""

    def __init__(self, screen, folder, *options, name="SoundFont", driver=None, fault=""):
        """With a driver it is the only one; else the run has that which writes nowhere."""
        self.screen, self.folder, self.name = screen, pathlib.Path(folder), name
        self.notes, self.pages = self.folder / "notes", self.folder / "pages"
        self.install(driver)
        if not driver:
            options = ("--driver", "LOOM File Driver", *options)
        self.process = subprocess.Popen(
            [self.folder / name, *map(str, options)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env=dict(screen.environment, XDG_CONFIG_HOME=str(self.folder), HOME=str(self.folder),
                     PATH=f"{self.folder}:{os.environ['PATH']}", EDITOR=fault, EDITOR_LOG=str(self.notes)))

    def install(self, driver):
        """With a browser that notes the pages."""
        module = BUILD / "tests" / "e2e" / "editor.so" if self.name == "Editor" else BIN / "SoundFont.so"
        drivers, browser = self.folder / "Loom Drivers", self.folder / "xdg-open"
        drivers.mkdir(exist_ok=True)
        for path in (BIN / "Loom Drivers").glob(f"*{driver or '.'}*"):
            shutil.copy(path, drivers)
        shutil.copy(BIN / "orbiplayer", self.folder / self.name)
        shutil.copy(module, self.folder / f"{self.name}.so")
        browser.write_text(f'#!/bin/sh\necho "$1" >>"{self.pages}"\n')
        browser.chmod(0o755)

    def stored(self):
        """Its settings."""
        return (self.folder / "Quillmore" / f"{self.name} Standalone" / "Defaults.xml").read_text()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate()

    # Windows

    def windows(self, kind):
        """Those that are seen, of NORMAL, DIALOG or POPUP_MENU."""
        self.screen.nudge()
        seen = self.screen.ask("xdotool", "search", "--onlyvisible", "--classname", f"^{self.name}$").split()
        return [window for window in seen
                if self.screen.property(window, "_NET_WM_WINDOW_TYPE").endswith("_" + kind)]

    def window(self, kind="NORMAL"):
        """As soon as it is there, the last that was made of them."""
        return wait(lambda: self.windows(kind) or self.check_alive(), kind)[-1]

    def focused(self, kind):
        """The same, with the keys."""
        window = self.window(kind)
        if self.screen.managed or kind == "DIALOG":
            wait(lambda: self.screen.has_focus(window), "the focus of", kind, window)
        return window

    def gone(self, kind):
        wait(lambda: not self.windows(kind), "the end of", kind)

    def ready(self):
        """The main window, painted and with the pointer and the keys on it."""
        window = self.focused("NORMAL")
        x, y, _, _ = self.screen.place(window)
        wait(lambda: self.screen.pixel(x + 2, y + 22) != 0, "the menu bar")
        self.screen.do("mousemove", x + 30, y + 60)
        return window

    def noted(self):
        return self.notes.read_text(errors="replace").splitlines() if self.notes.exists() else []

    def wait_noted(self, line):
        wait(lambda: line in self.noted() or self.check_alive(), line, self.notes)

    # End

    def check_alive(self):
        check(self.process.poll() is None, "it has ended:", self.process.returncode,
              *(self.process.stderr if self.process.returncode is not None else []))

    def end(self, sent=signal.SIGTERM):
        """What it wrote to standard output and error, having ended well."""
        if sent is not None:
            self.process.send_signal(sent)
        out, words = self.process.communicate(timeout=PATIENCE)
        check(self.process.returncode == 0, "status", self.process.returncode, words)
        return out, words
