#!/usr/bin/python3 -B
"""The desktop's notices, shown by a service that stands in for the desktop's: `notices_test.py RAVANT_DESKTOP RAVANT`."""

import sys
from pathlib import Path

from gi.repository import Gio, GLib

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from accessible import call, connect  # noqa: E402
from desktop_case import DesktopCase  # noqa: E402

NAME, OBJECT = "org.freedesktop.Notifications", "/org/freedesktop/Notifications"
INTERFACE = f"""<node><interface name="{NAME}">
  <method name="Notify"><arg type="s"/><arg type="u"/><arg type="s"/><arg type="s"/><arg type="s"/><arg type="as"/>
    <arg type="a{{sv}}"/><arg type="i"/><arg type="u" direction="out"/></method>
  <method name="CloseNotification"><arg type="u"/></method>
</interface></node>"""
EVENTS = "org.a11y.atspi.Event.Object"


class Service:
    """Keeps what it is asked to show, and answers for the user."""

    def __init__(self, address):
        self.connection = connect(address)
        self.shown, self.closed = {}, []
        self.connection.register_object(OBJECT, Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0], self.take)
        call(self.connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
             GLib.Variant("(su)", (NAME, 0)))

    def take(self, *arguments):
        method, words, invocation = arguments[4:7]
        if method == "Notify":
            number = len(self.shown) + 1
            self.shown[number] = words.unpack()
            invocation.return_value(GLib.Variant("(u)", (number,)))
        else:
            self.closed.append(words.unpack()[0])
            invocation.return_value(None)

    def press(self, number):
        self.connection.emit_signal(None, OBJECT, NAME, "ActionInvoked", GLib.Variant("(us)", (number, "default")))


def serve():
    """Lets what has arrived for the service, or for a listener, be taken."""
    while GLib.MainContext.default().iteration(False):
        pass


class Notices(DesktopCase):
    def setUp(self):
        super().setUp()
        self.service = Service(self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"])
        self.set(notifications_desktop=True)
        self.run_ravant("project", "add", str(self.work))
        self.register_agent()

    def wait(self, condition, what):
        def answer():
            serve()
            return condition()
        self.desktop.wait_until(answer, what)

    def test_a_notice_leads_to_its_conversation_and_is_heard(self):
        alerts = []
        self.desktop.start()
        self.desktop.accessibility.signal_subscribe(
            None, EVENTS, "StateChanged", None, "showing", Gio.DBusSignalFlags.NONE,
            lambda *arguments: alerts.append(arguments[2]))
        call(self.desktop.accessibility, "org.a11y.atspi.Registry", "/org/a11y/atspi/registry",
             "org.a11y.atspi.Registry", "RegisterEvent", GLib.Variant("(sass)", ("object:state-changed:showing", [], "")))
        self.ask("Say hello.")
        self.wait(lambda: self.service.shown, "a notice")
        _, _, _, title, words, actions, hints, _ = self.service.shown[1]
        self.assertEqual((title, words, actions[0]), ("Say hello.", "Claude Code finished, 1 file changed", "default"))
        self.assertEqual((hints["desktop-entry"], hints["suppress-sound"]), ("com.ravant.Ravant", True))
        said = self.desktop.wait_for(None, "Claude Code finished, 1 file changed: Say hello.", ["showing"])
        self.wait(lambda: said._path in alerts, "the event of what appears")
        self.service.press(1)
        self.desktop.wait_for("frame", "Say hello. — Ravant")

        # One that is opened without its notice takes that away.
        self.ask("Say more.")
        self.wait(lambda: 2 in self.service.shown, "another notice")
        self.desktop.keys("Ctrl+J")
        self.desktop.wait_for("frame", "Say more. — Ravant")
        self.wait(lambda: self.service.closed == [2], "the end of the notice")

        self.set(notifications_desktop=False)
        self.ask("Say nothing.")
        self.desktop.wait_for(None, "Claude Code finished, 1 file changed: Say nothing.", ["showing"])
        serve()
        self.assertEqual(len(self.service.shown), 2)
        self.assertEqual(self.desktop.end(), 0)


if __name__ == "__main__":
    Notices.main(*sys.argv[1:])
