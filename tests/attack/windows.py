"""The product's window on a screen and in a session of its own, seen as a screen reader sees it."""
import os
import pathlib
import subprocess
import time
from collections.abc import Callable, Iterator
from typing import NamedTuple

import dbus

from place import PRODUCT, preloading

READER = "org.a11y.atspi."
ROOT = "/org/a11y/atspi/accessible/root"
SHOWING = 1 << 25
BUS = pathlib.Path("/run/user/0/bus")
TOLD = pathlib.Path("/run/notifications")


def wait_until(condition: Callable[[], object], seconds: float = 20) -> bool:
    end = time.monotonic() + seconds
    while not (held := condition()) and time.monotonic() < end:
        time.sleep(0.1)
    return bool(held)


class Part(NamedTuple):
    """A widget, or a cell of a list."""
    path: str
    role: str
    name: str


class Desktop:
    """A screen, and a session that keeps its notifications and has something like a screen reader."""

    def __init__(self):
        output, own = os.pipe()
        subprocess.Popen(["Xvfb", "-displayfd", str(own), "-screen", "0", "1280x900x24", "-nolisten", "tcp"],
                         pass_fds=[own], stderr=subprocess.DEVNULL)
        os.close(own)
        self.environment = {**os.environ, "DISPLAY": ":" + os.read(output, 16).decode().strip(),
                            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={BUS}", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        BUS.parent.mkdir(parents=True, exist_ok=True)
        subprocess.Popen(["dbus-daemon", "--session", "--nofork", f"--address=unix:path={BUS}"],
                         stderr=subprocess.DEVNULL)
        wait_until(BUS.exists)
        self.bus = dbus.bus.BusConnection(f"unix:path={BUS}")
        self.mock("--template", "notification_daemon", "--logfile", TOLD)
        self.mock("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus")
        wait_until(lambda: self.bus.name_has_owner("org.freedesktop.Notifications"))
        wait_until(lambda: self.bus.name_has_owner("org.a11y.Bus"))
        self.bus.get_object("org.a11y.Bus", "/org/a11y/bus").AddMethod(
            "", "GetAddress", "", "s", f"ret = 'unix:path={BUS}'", dbus_interface="org.freedesktop.DBus.Mock")

    def mock(self, *arguments) -> None:
        subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--session", *arguments], env=self.environment,
                         stdout=subprocess.DEVNULL)


class Window(Desktop):
    """`shim` names what the library before all others does."""

    def __init__(self, shim: str = ""):
        super().__init__()
        self.process = subprocess.Popen([PRODUCT / "usr/bin/vardogui"], env={**preloading(shim), **self.environment},
                                        stderr=subprocess.DEVNULL)
        self.name = ""
        wait_until(self.answers)
        time.sleep(2)

    def answers(self) -> bool:
        """Whether there is a window by now."""
        for name in self.bus.list_names():
            try:
                if self.bus.call_blocking("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                          "GetConnectionUnixProcessID", "s", (name,)) == self.process.pid:
                    self.name = name
                    return bool(self.texts())
            except dbus.DBusException:
                pass
        return False

    def call(self, path: str, interface: str, method: str, signature: str = "", *arguments):
        return self.bus.call_blocking(self.name, path, interface, method, signature, arguments, timeout=30)

    def parts(self, path: str = ROOT) -> Iterator[Part]:
        """All that is on the screen."""
        for _, child in self.call(path, READER + "Accessible", "GetChildren"):
            if self.call(child, READER + "Accessible", "GetState")[0] & SHOWING:
                name = self.call(child, "org.freedesktop.DBus.Properties", "Get", "ss", READER + "Accessible", "Name")
                yield Part(child, str(self.call(child, READER + "Accessible", "GetRoleName")), str(name))
                yield from self.parts(child)

    def texts(self) -> list[str]:
        return [part.name for part in self.parts()]

    def shows(self, text: str, seconds: float = 20) -> bool:
        return wait_until(lambda: any(text in shown for shown in self.texts()), seconds)

    def use(self, *words) -> None:
        subprocess.run(["xdotool", *map(str, words)], env=self.environment, check=True)
        time.sleep(0.5)

    def place(self, part: Part) -> tuple[int, int, int, int]:
        return tuple(map(int, self.call(part.path, READER + "Component", "GetExtents", "u", dbus.UInt32(0))))

    def click(self, name: str, behind: str = "", role: str = "") -> None:
        """With the mouse, on the first thing of that name; or of that role, behind the thing named `behind`."""
        parts: list[Part] = []

        def found() -> list[Part]:
            parts[:] = self.parts()
            names = [part.name for part in parts]
            del parts[:names.index(behind) + 1 if behind in names else 0]
            parts[:] = [part for part in parts if (part.role == role if role else part.name == name)]
            return parts

        assert wait_until(found), name
        x, y, width, height = self.place(parts[0])
        self.use("mousemove", x + width // 2, y + height // 2, "click", 1)

    def picture(self, beginning: str) -> bytes:
        """What the eye sees where a text begins like this."""
        place = self.place(next(part for part in self.parts() if part.name.startswith(beginning)))
        return subprocess.run(["import", "-window", "root", "-crop", "{2}x{3}+{0}+{1}".format(*place), "rgb:-"],
                              env=self.environment, check=True, capture_output=True).stdout

    def deaf(self, seconds: float) -> float:
        """The longest time that it takes to answer, within the next `seconds`."""
        longest, end = 0.0, time.monotonic() + seconds
        while time.monotonic() < end:
            asked = time.monotonic()
            self.call(ROOT, READER + "Accessible", "GetRoleName")
            longest = max(longest, time.monotonic() - asked)
            time.sleep(0.02)
        return longest
