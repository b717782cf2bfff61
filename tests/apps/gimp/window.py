#!/usr/bin/env python3
"""Drives GIMP's window and the filter's dialog with real keys and clicks, on a separate screen.

window.py PROGRAM PLUGIN GIMP_PLUGINS PHOTO: the command line program, the folder of the built plug-in,
the folder of GIMP's own plug-ins, and a photograph. Exits with 77 if GIMP or the screen's tools are missing.
"""

import ctypes
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

PROGRAM, PLUGIN, GIMP_PLUGINS, PHOTO = sys.argv[1:]
PATIENCE = 60  # seconds for each step, on a busy machine
TITLE = "Velso Fogdissolver"
UNITS = (690, 304)  # the dialog's size in dialog units, and the centres of controls in them
CONTROLS = {"foreground": (662, 102), "background": (662, 119), "export": (643, 178),
            "cancel": (660, 275), "ok": (660, 291)}
WIDTH, HEIGHT = 640, 424  # of the picture; with a multiple of 4 its file has no padding


def die_with_parent():
    """Ends the process with its parent, even if the test itself is killed."""
    death_signal = 1  # of prctl
    ctypes.CDLL(None).prctl(death_signal, signal.SIGKILL)


class Screen:
    """A display with GIMP, the photograph as image 1 (reduced), and GIMP's console."""

    def __init__(self):
        reading, writing = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0", "1280x900x24"],
                                       pass_fds=[writing], stderr=subprocess.DEVNULL,
                                       preexec_fn=die_with_parent)
        os.close(writing)
        with os.fdopen(reading) as numbers:
            os.environ["DISPLAY"] = ":" + numbers.readline().strip()
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        console = f'(plug-in-script-fu-server RUN-NONINTERACTIVE "127.0.0.1" {self.port} "console.log")'
        self.gimp = subprocess.Popen(["gimp", "--new-instance", "--no-splash", "-b", console,
                                      PHOTO],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                     preexec_fn=die_with_parent)
        until(lambda: self.ask("(car (gimp-image-list))") == "1")
        self.ask(f"(gimp-image-scale 1 {WIDTH} {HEIGHT})")

    def close(self):
        for process in (self.gimp, self.server):
            process.kill()
            process.wait()

    def ask(self, text):
        """Returns the answer of GIMP's console; None while there is no console."""
        try:
            with socket.create_connection(("127.0.0.1", self.port), PATIENCE) as link:
                link.sendall(b"G" + struct.pack(">H", len(text)) + text.encode())
                stream = link.makefile("rb")
                _, failed, length = struct.unpack(">cBH", stream.read(4))
                answer = stream.read(length).decode()
        except ConnectionRefusedError:
            return None
        if failed:
            sys.exit(f"{text}: {answer}")
        return answer

    def dirty(self):
        return self.ask("(car (gimp-image-is-dirty 1))") == "1"

    def layers(self):
        return int(self.ask("(car (gimp-image-get-layers 1))"))

    def pixels(self, name):
        """Returns the samples of the topmost layer."""
        self.ask(f'(file-bmp-save RUN-NONINTERACTIVE 1 (aref (cadr (gimp-image-get-layers 1)) 0)'
                 f' "{name}" "{name}")')
        return samples(name)

    def press(self, *keys):
        """Moves the pointer over the picture, so that its window gets the keys."""
        xdotool("mousemove", "500", "450", "key", *keys)


def xdotool(*words):
    return subprocess.run(["xdotool", *words], capture_output=True, text=True,
                          timeout=PATIENCE).stdout


def dialog():
    """Returns the number of the filter's window, or an empty list."""
    return xdotool("search", "--onlyvisible", "--name", TITLE).split()[-1:]


def until(condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            subprocess.run(["sh", "-c", "command -v import && import -window root failed.png"], timeout=PATIENCE)
            raise TimeoutError
        time.sleep(0.1)


def click(name):
    numbers = dict(line.split("=") for line in
                   xdotool("getwindowgeometry", "--shell", *dialog()).split("\n") if "=" in line)
    x, y = (int(numbers[origin]) + at * int(numbers[size]) // units
            for origin, at, size, units in zip("XY", CONTROLS[name], ("WIDTH", "HEIGHT"), UNITS))
    xdotool("mousemove", str(x), str(y), "sleep", "0.2", "click", "1", "sleep", "0.2")


def leave(name):
    click(name)
    until(lambda: not dialog())


def samples(file):
    data = pathlib.Path(file).read_bytes()
    assert struct.unpack_from("<iiHH", data, 18) == (WIDTH, HEIGHT, 1, 24), file
    return data[struct.unpack_from("<I", data, 10)[0]:][:WIDTH * HEIGHT * 3]


def expected(*options):
    subprocess.run([PROGRAM, "-q", "-f", "photo.bmp", "-o", "expected.bmp", *options], check=True)
    return samples("expected.bmp")


def largest_difference(a, b):
    return max(abs(x - y) for x, y in zip(a, b))


def alike(a, b):
    """Compares results of the dialog and of a silent run, whose maps have different sizes."""
    return sum(abs(x - y) for x, y in zip(a, b)) < 2 * len(a)  # half a level was measured


def play(screen):
    before = screen.pixels("photo.bmp")
    look = ["--foreground", "35", "--background", "60", "--foreground-position", "20"]
    screen.ask("(gimp-image-clean-all 1)")

    def undone():  # the image is clean again after one step only
        screen.press("ctrl+z")
        until(lambda: not screen.dirty())
        return screen.layers() == 1 and screen.pixels("undone.bmp") == before

    screen.press("ctrl+F12")
    until(dialog)
    leave("cancel")
    time.sleep(1)
    assert not screen.dirty(), "a step of undo after Cancel"

    screen.press("ctrl+F12")
    until(dialog)
    xdotool("type", "20")  # the first box has the focus
    for box, number in (("foreground", "35"), ("background", "60")):
        click(box)
        xdotool("key", "ctrl+a", "type", number)
    leave("ok")
    until(screen.dirty)
    after, silent = screen.pixels("after.bmp"), expected(*look)
    assert alike(after, silent) and not alike(after, before)
    assert undone()

    screen.press("ctrl+f")  # Repeat Last
    until(screen.dirty)
    assert largest_difference(screen.pixels("again.bmp"), silent) <= 1
    assert undone()

    screen.press("ctrl+shift+f")  # Re-show Last: the dialog at what was used last
    until(dialog)
    click("export")
    leave("ok")
    until(screen.dirty)
    mask = screen.pixels("mask.bmp")
    assert screen.layers() == 2 and alike(mask, expected("--mask", *look))
    assert undone()


def main():
    if missing := [tool for tool in ("gimp", "Xvfb", "xdotool") if not shutil.which(tool)]:
        print("skipped: not installed:", *missing)
        sys.exit(77)
    home = pathlib.Path.cwd()
    with tempfile.TemporaryDirectory(prefix="fogdissolver-window-") as name:
        folder = pathlib.Path(name)
        os.chdir(folder)
        (folder / "plug-ins").mkdir()
        for plugin in ("script-fu", "file-bmp", "file-jpeg"):
            (folder / "plug-ins" / plugin).symlink_to(pathlib.Path(GIMP_PLUGINS) / plugin)
        (folder / "plug-ins/fogdissolver").symlink_to(PLUGIN)
        for part in ("brushes", "dynamics", "gradients", "palettes", "patterns", "tool-presets"):
            (folder / "profile" / part).mkdir(parents=True)
        (folder / "profile/gimprc").write_text(f'(plug-in-path "{folder}/plug-ins")\n(single-window-mode yes)\n')
        (folder / "profile/menurc").write_text(
            '(gtk_accel_path "<Actions>/plug-in/plug-in-fogdissolver" "<Primary>F12")\n')
        os.environ.update(GIMP2_DIRECTORY=str(folder / "profile"), XDG_CONFIG_HOME=str(folder / "config"),
                          QT_QPA_PLATFORM="xcb", LC_ALL="C")
        screen = Screen()
        try:
            play(screen)
        finally:
            screen.close()
            if pathlib.Path("failed.png").exists():
                shutil.copy("failed.png", home / "gimp-window-failed.png")
            os.chdir(home)


main()
