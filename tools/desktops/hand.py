"""Pointer and keyboard, as the compositor of each desktop takes them from outside: events that go through everything that
those of real devices go through. Coordinates are points of the whole desktop."""

import array
import os
import socket
import struct
import subprocess
import tempfile
import time

from gi.repository import Gio, GLib

BUTTONS = {"left": 0x110, "right": 0x111, "middle": 0x112}
# Names of keys in the order of their codes in linux/input-event-codes.h, from the first one on.
KEY_ROWS = (
    (1, "esc 1 2 3 4 5 6 7 8 9 0 minus equal backspace tab q w e r t y u i o p bracketleft bracketright return ctrl"),
    (30, "a s d f g h j k l semicolon apostrophe grave shift backslash z x c v b n m comma period slash"),
    (56, "alt space capslock f1 f2 f3 f4 f5 f6 f7 f8 f9 f10"),
    (102, "home up pageup left right end down pagedown insert delete"),
    (125, "super"),
    (127, "menu"),
)
KEYS = {name: first + n for first, row in KEY_ROWS for n, name in enumerate(row.split())}
CHARACTERS = {" ": "space", "-": "minus", ".": "period", ",": "comma", "/": "slash", "=": "equal", ";": "semicolon",
              ":": "shift+semicolon", "'": "apostrophe"}


def chord_of(character):
    return CHARACTERS.get(character) or ("shift+" if character.isupper() else "") + character.lower()


class Hand:
    """What all ways share. Each has `to`, `button`, `key` and `wheel`, and `flush` where events may wait."""

    def __init__(self, size):
        self.size = size

    def move(self, x, y):
        assert 0 <= x < self.size[0] and 0 <= y < self.size[1], f"{x}, {y} is not on the screen"
        # Twice, because things that watch the pointer want to see it move.
        for offset in (3, 0):
            self.to(x - offset, y - offset)
            self.flush()
            time.sleep(0.05)
        time.sleep(0.1)

    def press(self, name="left", down=True):
        self.button(BUTTONS[name], down)
        self.flush()
        time.sleep(0.06)

    def click(self, x, y, name="left", times=1):
        self.move(x, y)
        for _ in range(times):
            self.press(name)
            self.press(name, False)

    def drag(self, x, y, x2, y2, steps=12):
        self.move(x, y)
        self.press()
        for n in range(1, steps + 1):
            self.to(x + (x2 - x) * n / steps, y + (y2 - y) * n / steps)
            self.flush()
            time.sleep(0.03)
        self.press(down=False)

    def keys(self, *chords):
        """Each such as "ctrl+alt+n"."""
        for chord in chords:
            codes = [KEYS[name] for name in chord.split("+")]
            for down, row in ((True, codes), (False, codes[::-1])):
                for code in row:
                    self.key(code, down)
                    self.flush()
                    time.sleep(0.02)

    def type(self, text):
        self.keys(*map(chord_of, text))

    def flush(self):
        pass


class MutterHand(Hand):
    """GNOME Shell: org.gnome.Mutter.RemoteDesktop. It knows relative motion alone."""

    NAME = "org.gnome.Mutter.RemoteDesktop"

    def __init__(self, size):
        super().__init__(size)
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.session = self._call("/org/gnome/Mutter/RemoteDesktop", self.NAME, "CreateSession").unpack()[0]
        self.at = (0, 0)
        self._notify("Start")
        self._notify("NotifyPointerMotionRelative", "(dd)", -2.0 * size[0], -2.0 * size[1])
        # The seat has a keyboard from the first key on; programs that start before it would never learn of one.
        self.keys("shift")

    def _call(self, path, interface, method, arguments=None):
        return self.bus.call_sync(self.NAME, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, -1, None)

    def _notify(self, method, types=None, *values):
        self._call(self.session, self.NAME + ".Session", method, types and GLib.Variant(types, values))

    def to(self, x, y):
        self._notify("NotifyPointerMotionRelative", "(dd)", x - self.at[0], y - self.at[1])
        self.at = (x, y)

    def button(self, button, down):
        self._notify("NotifyPointerButton", "(ib)", button, down)

    def key(self, code, down):
        self._notify("NotifyKeyboardKeycode", "(ub)", code, down)

    def wheel(self, steps):
        self._notify("NotifyPointerAxisDiscrete", "(ui)", 0, steps)


def wire_string(text):
    raw = text.encode() + b"\0"
    return struct.pack("<I", len(raw)) + raw + bytes(-len(raw) % 4)


def wire_fixed(value):
    return int(value * 256)


class Wire:
    """A client of the compositor, with as much of Wayland's wire format as hands need."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(os.path.join(os.environ["XDG_RUNTIME_DIR"], os.environ["WAYLAND_DISPLAY"]))
        self.last, self.globals, self.unread = 1, {}, b""
        self.registry = self.new()
        self.send(1, 1, struct.pack("<I", self.registry))
        self.roundtrip()

    def new(self):
        self.last += 1
        return self.last

    def send(self, target, opcode, body=b"", descriptor=None):
        message = struct.pack("<IHH", target, opcode, len(body) + 8) + body
        rights = [] if descriptor is None else [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", [descriptor]))]
        self.socket.sendmsg([message], rights)

    def roundtrip(self):
        done = self.new()
        self.send(1, 0, struct.pack("<I", done))
        while True:
            while len(self.unread) >= 8:
                source, opcode, size = struct.unpack("<IHH", self.unread[:8])
                if len(self.unread) < size:
                    break
                body, self.unread = self.unread[8:size], self.unread[size:]
                if source == done:
                    return
                assert (source, opcode) != (1, 0), f"the compositor objects: {body!r}"
                if (source, opcode) == (self.registry, 0):
                    number, length = struct.unpack("<II", body[:8])
                    padded = 8 + length + -length % 4
                    self.globals[body[8:7 + length].decode()] = (number, struct.unpack("<I", body[padded:])[0])
            self.unread += self.socket.recv(65536)

    def bind(self, interface, version):
        number, offered = self.globals[interface]
        bound = self.new()
        self.send(self.registry, 0, struct.pack("<I", number) + wire_string(interface) +
                  struct.pack("<II", min(version, offered), bound))
        return bound


class KWinHand(Hand):
    """KWin on Wayland: org_kde_kwin_fake_input, with KWIN_WAYLAND_NO_PERMISSION_CHECKS=1."""

    def __init__(self, size):
        super().__init__(size)
        self.wire = Wire()
        self.input = self.wire.bind("org_kde_kwin_fake_input", 4)
        self.wire.send(self.input, 0, wire_string("hand") + wire_string("a tour"))
        self.flush = self.wire.roundtrip
        self.flush()

    def to(self, x, y):
        self.wire.send(self.input, 9, struct.pack("<ii", wire_fixed(x), wire_fixed(y)))

    def button(self, button, down):
        self.wire.send(self.input, 2, struct.pack("<II", button, down))

    def key(self, code, down):
        self.wire.send(self.input, 10, struct.pack("<II", code, down))

    def wheel(self, steps):
        self.wire.send(self.input, 3, struct.pack("<Ii", 0, wire_fixed(10 * steps)))


class WlrHand(Hand):
    """sway, labwc and their kin: zwlr_virtual_pointer_v1 and zwp_virtual_keyboard_v1. Needs xkbcli."""

    MODIFIERS = {KEYS["ctrl"]: 4, KEYS["shift"]: 1, KEYS["alt"]: 8, KEYS["super"]: 64}

    def __init__(self, size):
        super().__init__(size)
        self.wire = Wire()
        seat = self.wire.bind("wl_seat", 1)
        self.pointer, self.keyboard = (self._device(manager, seat) for manager in
                                       ("zwlr_virtual_pointer_manager_v1", "zwp_virtual_keyboard_manager_v1"))
        keymap = subprocess.check_output(["xkbcli", "compile-keymap", "--layout", "us"]) + b"\0"
        with tempfile.TemporaryFile() as file:
            file.write(keymap)
            file.flush()
            self.wire.send(self.keyboard, 0, struct.pack("<II", 1, len(keymap)), file.fileno())
            self.wire.roundtrip()
        self.held = 0
        self.flush = self.wire.roundtrip

    def _device(self, manager, seat):
        manager, device = self.wire.bind(manager, 1), self.wire.new()
        self.wire.send(manager, 0, struct.pack("<II", seat, device))
        return device

    def _point(self, opcode, form, *values):
        self.wire.send(self.pointer, opcode, struct.pack(form, self._now(), *values))
        self.wire.send(self.pointer, 4)

    @staticmethod
    def _now():
        return int(time.monotonic() * 1000) & 0xffffffff

    def to(self, x, y):
        self._point(1, "<IIIII", int(x), int(y), *self.size)

    def button(self, button, down):
        self._point(2, "<III", button, down)

    def wheel(self, steps):
        self._point(3, "<IIi", 0, wire_fixed(10 * steps))

    def key(self, code, down):
        self.wire.send(self.keyboard, 1, struct.pack("<III", self._now(), code, down))
        modifier = self.MODIFIERS.get(code, 0)
        self.held = self.held | modifier if down else self.held & ~modifier
        if modifier:
            self.wire.send(self.keyboard, 2, struct.pack("<IIII", self.held, 0, 0, 0))


class X11Hand(Hand):
    """The X server's test extension, by xdotool."""

    NAMES = {"esc": "Escape", "pageup": "Prior", "pagedown": "Next", "backspace": "BackSpace", "super": "Super_L",
             "return": "Return", "tab": "Tab", "home": "Home", "end": "End", "left": "Left", "right": "Right", "up": "Up",
             "down": "Down", "delete": "Delete", "menu": "Menu", "alt": "Alt_L", "ctrl": "Control_L", "shift": "Shift_L"}
    CODES = {code: name for name, code in KEYS.items()}

    NUMBERS = {BUTTONS["left"]: "1", BUTTONS["middle"]: "2", BUTTONS["right"]: "3"}

    @staticmethod
    def _tool(*words):
        subprocess.run(["xdotool", *words], check=True)

    def to(self, x, y):
        self._tool("mousemove", str(round(x)), str(round(y)))

    def button(self, button, down):
        self._tool("mousedown" if down else "mouseup", self.NUMBERS[button])

    def key(self, code, down):
        name = self.CODES[code]
        name = name.upper() if name[0] == "f" and name[1:].isdigit() else self.NAMES.get(name, name)
        self._tool("keydown" if down else "keyup", name)

    def wheel(self, steps):
        self._tool("click", "--repeat", str(abs(steps)), "5" if steps > 0 else "4")
