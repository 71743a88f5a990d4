#!/usr/bin/python3
"""Notifications of a scan that a file manager starts, on a bus of their own, and what their buttons open."""
import os
import pathlib
import subprocess
import sys
import unittest

import dbus

from commandline import MARKER, CommandLineTest, wait_until

RUNTIME = f"/run/user/{os.getuid()}"
SESSION = """<busconfig><type>session</type><listen>unix:path={0}/bus</listen><servicedir>{1}</servicedir>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""


def enter_sandbox() -> None:
    """Runs this again with the build in place of an installation, a window that is none, and no other session."""
    stand_ins = []
    for place in "/opt/Quillstone/usr/bin/vardogui", "/tmp/xdg-open":
        fd = os.memfd_create("stand-in", 0)
        os.write(fd, b'#!/bin/sh\necho "${0##*/} $*" >>/tmp/opened\n')
        os.lseek(fd, 0, os.SEEK_SET)
        stand_ins += ["--perms", "0755", "--ro-bind-data", str(fd), place]
    os.execvp("bwrap", ["bwrap", "--dev-bind", "/", "/", "--tmpfs", "/run", "--dir", RUNTIME, "--tmpfs", "/opt",
                        "--ro-bind", os.environ["BUILD"] + "/opt", "/opt/Quillstone", "--tmpfs", "/tmp", *stand_ins,
                        "--die-with-parent",
                        "--setenv", "PATH", "/tmp:" + os.environ["PATH"],
                        "--setenv", "DBUS_SESSION_BUS_ADDRESS", f"unix:path={RUNTIME}/bus",
                        "--setenv", "IN_SANDBOX", "yes", *sys.argv])


class TestNotices(CommandLineTest):
    def setUp(self):
        super().setUp()
        config = pathlib.Path("/tmp/session.conf")
        config.write_text(SESSION.format(RUNTIME, os.environ["DESKTOP"]))
        self.start("dbus-daemon", f"--config-file={config}", "--nofork")
        wait_until(pathlib.Path(RUNTIME, "bus").exists)
        shown = pathlib.Path("/tmp/shown")
        output = self.enterContext(shown.open("wb"))
        self.shown = self.enterContext(shown.open("rb"))
        self.start("/usr/bin/python3", "-um", "dbusmock", "--session", "--template", "notification_daemon",
                   "-p", '{"capabilities": "body actions"}', stdout=output)
        self.bus = dbus.bus.BusConnection(os.environ["DBUS_SESSION_BUS_ADDRESS"])
        wait_until(lambda: self.bus.name_has_owner("org.freedesktop.Notifications"))

    def start(self, *command, **options):
        process = subprocess.Popen(command, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)

    def messages(self) -> list[str]:
        """The arguments of the notifications since the last call."""
        return [line.split(" Notify ")[1] for line in self.shown.read().decode().splitlines() if " Notify " in line]

    def desktop_tells(self, signal: str, signature: str, *arguments) -> None:
        self.bus.get_object("org.freedesktop.Notifications", "/org/freedesktop/Notifications").EmitSignal(
            "org.freedesktop.Notifications", signal, signature, arguments, dbus_interface="org.freedesktop.DBus.Mock")

    def opened(self) -> str:
        path = pathlib.Path("/tmp/opened")
        wait_until(lambda: path.exists() and path.read_text().endswith("\n"))
        text = path.read_text()
        path.unlink()
        return text

    def test_a_button_opens_the_log_or_the_window(self):
        place = self.place
        place.write("clean", b"harmless")
        self.assertEqual(place.run("--quiet", "--log", "--notify=all", "--").code, 0)
        begin, end = self.messages()
        self.assertIn(f'"Vardo" 0 "vardo" "Vardo is scanning" "{os.fsdecode(place.tree)}" []', begin)
        self.assertIn('"Vardo" 1 "vardo" "Vardo found nothing" "1 object was scanned."', end)
        self.assertIn('"Open the log"', end)
        self.desktop_tells("ActionInvoked", "us", 1, "open")
        log, = place.logs()
        self.assertEqual(self.opened(), f"xdg-open {log}\n")

        place.write("-bad", MARKER)
        self.assertEqual(place.run("--notify", on=["%/tree/-bad"]).code, 1)
        found, = self.messages()
        self.assertIn("Vardo found 1 infected file", found)
        self.desktop_tells("ActionInvoked", "us", 2, "default")
        self.assertEqual(self.opened(), "vardogui \n")
        # With the last message the program goes that waits for their buttons.
        for number in 1, 2:
            self.assertTrue(self.bus.name_has_owner("example.quillstone.Vardo.Notices"))
            self.desktop_tells("NotificationClosed", "uu", number, 2)
        wait_until(lambda: not self.bus.name_has_owner("example.quillstone.Vardo.Notices"))


if __name__ == "__main__":
    if "IN_SANDBOX" not in os.environ:
        enter_sandbox()
    unittest.main()
