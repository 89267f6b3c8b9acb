#!/usr/bin/env python3
"""Writes demo.mid: "In the Hall of the Mountain King" (Edvard Grieg, 1875), set for General MIDI.

The tune goes through four passes of eight bars, each an instrument group larger and faster than the
one before, and ends in a coda. Usage: demo_song.py [OUTPUT], by default demo.mid beside this file.
"""
import struct
import sys
from pathlib import Path

PULSES = 480  # a quarter note
BEATS = 4     # quarters a bar

# One bar a line: (note, length in eighths). Written for the low octave, B1 up.
MINOR = [  # B minor
    "B1:1 C#2:1 D2:1 E2:1 F#2:1 D2:1 F#2:2",
    "E#2:1 C#2:1 E#2:2 E2:1 C2:1 E2:2",
    "B1:1 C#2:1 D2:1 E2:1 F#2:1 D2:1 F#2:1 B2:1",
    "A2:1 F#2:1 D2:1 F#2:1 A2:4",
]
DOMINANT = [  # the same on F sharp
    "F#2:1 G#2:1 A#2:1 B2:1 C#3:1 A#2:1 C#3:2",
    "D3:1 A#2:1 D3:2 C#3:1 A#2:1 C#3:2",
    "F#2:1 G#2:1 A#2:1 B2:1 C#3:1 A#2:1 C#3:2",
    "D3:1 A#2:1 D3:2 C#3:4",
]
CLOSING_BAR = "A2:1 F#2:1 D2:1 F#2:1 B2:4"  # in place of the last one: home to B minor

# Two chords a bar: bass notes on the beats (first and third quarter), notes of the off-beats.
MINOR_CHORDS = [("B1 F#1", "B3 D4 F#4", "B3 D4 F#4"),
                ("B1 B1", "B3 C#4 E#4", "C4 E4 G4"),
                ("B1 F#1", "B3 D4 F#4", "B3 D4 F#4"),
                ("D2 A1", "A3 D4 F#4", "A3 D4 F#4")]
CLOSING_CHORDS = ("D2 B1", "A3 D4 F#4", "B3 D4 F#4")
DOMINANT_CHORDS = [("F#1 C#2", "A#3 C#4 F#4", "A#3 C#4 F#4"),
                   ("F#1 F#1", "A#3 D4 F#4", "A#3 C#4 F#4"),
                   ("F#1 C#2", "A#3 C#4 F#4", "A#3 C#4 F#4"),
                   ("F#1 F#1", "A#3 D4 F#4", "A#3 C#4 F#4")]

STEPS = {"C": 0, "D": 2, "E": 4, "F": 5, "G": 7, "A": 9, "B": 11}

# Channels from 1: (name, program from 1, volume, pan, reverb send)
PARTS = {
    "basses": (1, "Basses, plucked", 46, 112, 84, 50),
    "bassoon": (2, "Bassoons", 71, 100, 54, 45),
    "violins": (3, "Violins, plucked then bowed", 46, 108, 36, 55),
    "oboes": (4, "Oboes", 69, 82, 58, 50),
    "horns": (5, "Horns", 61, 92, 44, 60),
    "trombones": (6, "Trombones and tuba", 58, 100, 88, 55),
    "timpani": (7, "Timpani", 48, 110, 70, 60),
    "piccolo": (8, "Piccolo", 73, 84, 48, 50),
    "cellos": (9, "Cellos, tremolo", 45, 92, 78, 55),
    "drums": (10, "Drums and cymbals", 49, 104, 64, 40),
}
BASS_DRUM, SNARE, CRASH, TRIANGLE, RIDE_BELL = 36, 38, 49, 81, 53

# Quarters a minute at the start of a bar; the last row is the coda's end.
TEMPO_STEPS = ([(0, 136)] + [(8 + i, 142 + 2 * i) for i in range(8)] +
               [(16 + i, 164 + 3 * i) for i in range(8)] +
               [(24 + i, 194 + 4 * i) for i in range(8)] + [(32, 232), (37, 176)])


def key(name):
    """F#2 -> 42; middle C is C4 = 60."""
    octave = int(name[-1])
    sharps = name.count("#")
    return 12 * (octave + 1) + STEPS[name[0]] + sharps


class Track:
    def __init__(self, name):
        self.events = []  # (pulse, order, bytes)
        self.meta(0, 0x03, name.encode())

    def add(self, pulse, order, data):
        self.events.append((int(pulse), order, len(self.events), bytes(data)))

    def meta(self, pulse, kind, data):
        self.add(pulse, 0, bytes([0xFF, kind]) + variable_length(len(data)) + data)

    def chunk(self):
        self.events.sort(key=lambda event: event[:3])
        out, now = bytearray(), 0
        for pulse, _, _, data in self.events:
            out += variable_length(pulse - now) + data
            now = pulse
        out += b"\x00\xFF\x2F\x00"
        return b"MTrk" + struct.pack(">I", len(out)) + bytes(out)


class Part(Track):
    def __init__(self, channel, name, program, volume, pan, reverb):
        super().__init__(name)
        self.channel = channel - 1
        self.notes = {}  # (key, start pulse) -> (end pulse, velocity)
        self.program(0, program)
        for controller, value in ((7, volume), (10, pan), (91, reverb), (11, 127)):
            self.control(0, controller, value)

    def program(self, pulse, program):
        self.add(pulse, 1, [0xC0 | self.channel, program - 1])

    def control(self, pulse, controller, value):
        self.add(pulse, 1, [0xB0 | self.channel, controller, value])

    def note(self, bar, beat, quarters, note, velocity):
        start = int((bar * BEATS + beat) * PULSES)
        end, louder = int(start + quarters * PULSES), velocity
        if (note, start) in self.notes:  # two voices meet on one key
            before_end, before_velocity = self.notes[note, start]
            end, louder = max(end, before_end), max(velocity, before_velocity)
        self.notes[note, start] = (end, louder)

    def tune(self, bar, bars, velocity, transpose=0, length=0.8):
        for number, line in enumerate(bars):
            beat = 0.0
            for word in line.split():
                name, eighths = word.split(":")
                quarters = int(eighths) / 2
                accent = 12 if beat == 0 else 5 if quarters > 0.5 else 0
                self.note(bar + number, beat, quarters * length, key(name) + transpose,
                          min(127, velocity + accent))
                beat += quarters

    def swell(self, bar, bars, low, high):
        steps = bars * 8
        for step in range(steps + 1):
            self.control((bar + step / 8) * BEATS * PULSES, 11,
                         low + (high - low) * step // steps)


    def chunk(self):
        """A key that is struck again while it sounds is let go first."""
        order = sorted(self.notes.items())
        for ((note, start), (end, velocity)), following in zip(order, order[1:] + [None]):
            if following and following[0][0] == note:
                end = min(end, following[0][1])
            self.add(start, 3, [0x90 | self.channel, note, velocity])
            self.add(end, 2, [0x80 | self.channel, note, 0])
        return super().chunk()


def variable_length(value):
    out = [value & 0x7F]
    while value := value >> 7:
        out.insert(0, value & 0x7F | 0x80)
    return bytes(out)


def bass(part, bar, chords, velocity, transpose=0, length=0.4):
    for number, (roots, _, _) in enumerate(chords):
        for half, root in enumerate(roots.split()):
            part.note(bar + number, 2 * half, length, key(root) + transpose, velocity)


def offbeats(part, bar, chords, velocity, length=0.3):
    for number, (_, first, second) in enumerate(chords):
        for half, notes in enumerate((first, second)):
            for name in notes.split():
                part.note(bar + number, 2 * half + 1, length, key(name), velocity)


def passes(parts):
    minor_home = MINOR[:3] + [CLOSING_BAR]
    home_chords = MINOR_CHORDS[:3] + [CLOSING_CHORDS]
    # First: the basses begin alone, the bassoons answer.
    parts["basses"].tune(0, MINOR, 104, 12)
    parts["bassoon"].tune(4, DOMINANT, 96, 12)
    bass(parts["basses"], 4, DOMINANT_CHORDS, 78, 12)
    # Second: an octave higher, plucked violins and oboes over a beat.
    parts["violins"].tune(8, MINOR, 106, 24)
    parts["oboes"].tune(12, DOMINANT, 88, 24)
    parts["violins"].tune(12, DOMINANT, 90, 24)
    for bar, chords in ((8, MINOR_CHORDS), (12, DOMINANT_CHORDS)):
        bass(parts["basses"], bar, chords, 90, 12)
        offbeats(parts["bassoon"], bar, chords, 62)
    # Third: bowed violins, tremolo beneath, horns on the off-beats.
    parts["violins"].program(16 * BEATS * PULSES, 49)
    parts["violins"].tune(16, MINOR, 84, 36)
    parts["violins"].tune(20, DOMINANT, 92, 24)
    parts["oboes"].tune(16, MINOR, 76, 24)
    parts["piccolo"].tune(20, DOMINANT, 76, 36)
    parts["cellos"].tune(16, MINOR, 74, 24, 0.95)
    parts["cellos"].tune(20, DOMINANT, 80, 12, 0.95)
    for bar, chords in ((16, MINOR_CHORDS), (20, DOMINANT_CHORDS)):
        bass(parts["basses"], bar, chords, 92, 12)
        offbeats(parts["horns"], bar, chords, 66)
        bass(parts["timpani"], bar, chords, 62, 12)
    # Fourth: everybody.
    parts["trombones"].swell(24, 8, 96, 127)
    for bar, bars, chords, octave in ((24, MINOR, MINOR_CHORDS, 24),
                                      (28, minor_home, home_chords, 36)):
        parts["violins"].tune(bar, bars, 108, 36)
        parts["piccolo"].tune(bar, bars, 92, 48)
        parts["oboes"].tune(bar, bars, 92, octave)
        parts["cellos"].tune(bar, bars, 100, 24, 0.95)
        parts["bassoon"].tune(bar, bars, 92, 12)
        bass(parts["basses"], bar, chords, 112, 12)
        bass(parts["trombones"], bar, chords, 92, 12, 0.7)
        bass(parts["timpani"], bar, chords, 96, 12)
        offbeats(parts["horns"], bar, chords, 88)


def drums(part):
    for bar in range(12, 16):
        part.note(bar, 3, 0.25, TRIANGLE, 48)
    for bar in range(16, 24):
        part.note(bar, 0, 0.25, BASS_DRUM, 72)
        part.note(bar, 2, 0.25, BASS_DRUM, 58)
        for beat in (1, 3):
            part.note(bar, beat, 0.2, SNARE, 44 + 3 * (bar - 16))
    roll(part, 23, 2, SNARE, 50, 84)
    for bar in range(24, 32):
        for beat in (0, 2):
            part.note(bar, beat, 0.25, BASS_DRUM, 100)
        for beat in (1, 3):
            part.note(bar, beat, 0.2, SNARE, 84)
            part.note(bar, beat + 0.5, 0.2, SNARE, 58)
        for beat in range(BEATS):
            part.note(bar, beat, 0.2, RIDE_BELL, 50)
        if bar % 4 == 0:
            part.note(bar, 0, 2, CRASH, 100)
    roll(part, 31, 2, SNARE, 60, 100)


def roll(part, bar, beats, note, low, high):
    """Over the last beats of the bar, in thirty-seconds."""
    strokes = beats * 8
    for stroke in range(strokes):
        part.note(bar, BEATS - beats + stroke / 8, 0.1, note,
                  low + (high - low) * stroke // strokes)


def chord(parts, bar, beat, quarters, velocity):
    for part, notes in (("basses", "B1 B2"), ("trombones", "B2 F#3 B3"), ("horns", "D4 F#4 B4"),
                        ("violins", "B4 D5 F#5 B5"), ("oboes", "D5 F#5"), ("piccolo", "B6"),
                        ("cellos", "B2 F#3"), ("bassoon", "B2 D3"), ("timpani", "B2")):
        for name in notes.split():
            parts[part].note(bar, beat, quarters, key(name), velocity)
    parts["drums"].note(bar, beat, 0.4, BASS_DRUM, velocity)
    parts["drums"].note(bar, beat, max(quarters, 1), CRASH, velocity - 8)


def coda(parts):
    """The tune's third bar runs up against two hits, twice; then a roll and the last one."""
    for bar in (32, 34):
        for name, octave in (("violins", 36), ("piccolo", 48), ("cellos", 24), ("bassoon", 12)):
            parts[name].tune(bar, [MINOR[2]], 108, octave)
        bass(parts["timpani"], bar, [MINOR_CHORDS[2]], 96, 12)
        bass(parts["basses"], bar, [MINOR_CHORDS[2]], 108, 12)
        chord(parts, bar + 1, 0, 0.5, 88)
        chord(parts, bar + 1, 2, 0.5, 84)
    roll(parts["timpani"], 36, 4, key("B2"), 56, 112)
    roll(parts["drums"], 36, 4, SNARE, 40, 100)
    chord(parts, 37, 0, 3, 90)


def conductor():
    track = Track("In the Hall of the Mountain King (E. Grieg, 1843-1907)")
    track.add(0, -1, b"\xF0\x05\x7E\x7F\x09\x01\xF7")  # General MIDI on
    track.meta(0, 0x58, bytes([4, 2, 24, 8]))          # 4/4
    track.meta(0, 0x59, bytes([2, 1]))                 # B minor
    for bar, tempo in TEMPO_STEPS:
        track.meta(bar * BEATS * PULSES, 0x51, round(60e6 / tempo).to_bytes(3, "big"))
    return track


def main():
    target = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).with_name("demo.mid")
    parts = {name: Part(*row) for name, row in PARTS.items()}
    passes(parts)
    drums(parts["drums"])
    coda(parts)
    tracks = [conductor(), *parts.values()]
    header = b"MThd" + struct.pack(">IHHH", 6, 1, len(tracks), PULSES)
    target.write_bytes(header + b"".join(track.chunk() for track in tracks))


if __name__ == "__main__":
    main()
