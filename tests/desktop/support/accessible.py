"""What a screen reader is told: the accessibility tree of a program, read over AT-SPI without a cache."""

from functools import cached_property

from gi.repository import Gio, GLib

REGISTRY = "org.a11y.atspi.Registry"
ROOT = "/org/a11y/atspi/accessible/root"
INTERFACE = "org.a11y.atspi."
CALL_MILLISECONDS = 10_000

# The states by their number in the protocol.
STATES = (
    "invalid active armed busy checked collapsed defunct editable enabled expandable expanded focusable focused "
    "has-tooltip horizontal iconified modal multi-line multiselectable opaque pressed resizable selectable selected "
    "sensitive showing single-line stale transient vertical visible manages-descendants indeterminate required "
    "truncated animated invalid-entry supports-autocompletion selectable-text is-default visited checkable has-popup "
    "read-only").split()

# Said of nearly everything that is on the screen, so that a dump leaves them out.
COMMON_STATES = {"enabled", "sensitive", "showing", "visible"}


class Gone(Exception):
    """The object, or the program, is no longer there."""


def connect(address):
    flags = Gio.DBusConnectionFlags
    return Gio.DBusConnection.new_for_address_sync(
        address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)


def call(connection, bus, path, interface, method, arguments=None):
    """The answer as a tuple. Throws Gone where there is nobody, or nothing any more, to answer."""
    try:
        return connection.call_sync(
            bus, path, interface, method, arguments, None, Gio.DBusCallFlags.NO_AUTO_START, CALL_MILLISECONDS,
            None).unpack()
    except GLib.Error as error:
        raise Gone(f"{method} of {path}: {error.message}") from error


class Accessible:
    """One object of the tree. What it tells is asked each time; Gone is thrown when it is no longer there."""

    def __init__(self, connection, bus, path):
        self._connection, self._bus, self._path = connection, bus, path

    def __eq__(self, other):
        return isinstance(other, Accessible) and (self._bus, self._path) == (other._bus, other._path)

    def __hash__(self):
        return hash((self._bus, self._path))

    def __repr__(self):
        try:
            return line(self)
        except Gone:
            return f"(gone: {self._path})"

    def _call(self, interface, method, arguments=None):
        return call(self._connection, self._bus, self._path, INTERFACE + interface, method, arguments)

    def _property(self, interface, name):
        arguments = GLib.Variant("(ss)", (INTERFACE + interface, name))
        return call(self._connection, self._bus, self._path, "org.freedesktop.DBus.Properties", "Get", arguments)[0]

    @property
    def name(self):
        return self._property("Accessible", "Name")

    @property
    def description(self):
        return self._property("Accessible", "Description")

    @property
    def role(self):
        """In the protocol's words: "push button", "list item", "text"."""
        return self._call("Accessible", "GetRoleName")[0]

    @property
    def states(self):
        low, high = self._call("Accessible", "GetState")[0]
        bits = low | high << 32
        return {state for number, state in enumerate(STATES) if bits >> number & 1}

    @property
    def children(self):
        found = self._call("Accessible", "GetChildren")[0]
        return [type(self)(self._connection, bus, path) for bus, path in found]

    @property
    def interfaces(self):
        return {name.removeprefix(INTERFACE) for name in self._call("Accessible", "GetInterfaces")[0]}

    @property
    def text(self):
        """What stands in a field."""
        return self._call("Text", "GetText", GLib.Variant("(ii)", (0, -1)))[0]

    @property
    def actions(self):
        count = self._property("Action", "NActions") if "Action" in self.interfaces else 0
        return [self._call("Action", "GetName", GLib.Variant("(i)", (index,)))[0] for index in range(count)]

    @property
    def extents(self):
        """x, y, width and height on the screen, in pixels."""
        return self._call("Component", "GetExtents", GLib.Variant("(u)", (0,)))[0]

    def act(self, action):
        """Does the action of that name. Throws LookupError where there is none."""
        actions = self.actions
        if action not in actions:
            raise LookupError(f"{self!r} has no action {action}, only {actions}")
        self._call("Action", "DoAction", GLib.Variant("(i)", (actions.index(action),)))

    def press(self):
        self.act("Press")

    def take_focus(self):
        self._call("Component", "GrabFocus")


class Remembered(Accessible):
    """One object, and from it all below it, that is asked each thing once: a tree as it was when it was looked at."""

    name = cached_property(Accessible.name.fget)
    description = cached_property(Accessible.description.fget)
    role = cached_property(Accessible.role.fget)
    states = cached_property(Accessible.states.fget)
    children = cached_property(Accessible.children.fget)
    interfaces = cached_property(Accessible.interfaces.fget)
    text = cached_property(Accessible.text.fget)
    extents = cached_property(Accessible.extents.fget)


def remembered(found):
    return Remembered(found._connection, found._bus, found._path)


def applications(connection):
    """All programs that are there, each with its process id."""
    for root in Accessible(connection, REGISTRY, ROOT).children:
        try:
            yield root, call(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetConnectionUnixProcessID", GLib.Variant("(s)", (root._bus,)))[0]
        except Gone:
            continue


def walk(root, depth=0):
    """Everything from `root` down, each with its depth, parents first; what vanishes meanwhile is left out."""
    yield root, depth
    try:
        children = root.children
    except Gone:
        return
    for child in children:
        yield from walk(child, depth + 1)


def fits(wanted, value):
    """Whether `value` is the text, or is found by the pattern, that is wanted; None wants nothing."""
    if wanted is None:
        return True
    return value == wanted if isinstance(wanted, str) else wanted.search(value) is not None


def find_all(root, role=None, name=None, states=()):
    """Those with the role, the name (a text, or a pattern of `re`) and all the states ("!focused": not focused)."""
    for found, _ in walk(root):
        try:
            if not fits(role, found.role) or not fits(name, found.name):
                continue
            has = found.states if states else set()
            if all(state[1:] not in has if state.startswith("!") else state in has for state in states):
                yield found
        except Gone:
            continue


# What scrolls: its parts may be out of sight.
SCROLLED = {"list", "tree", "tree table", "table"}


def misplaced(root):
    """What is shown but cannot be seen whole: without a size, out of the window, or over another button of its group.
    One line each."""
    def inside(parent, window, found):
        buttons = []
        for child in parent.children:
            try:
                if "showing" not in child.states:
                    continue
                role, (x, y, width, height) = child.role, child.extents
                if "focusable" in child.states and child.name:
                    left, top, wide, high = window
                    if width <= 0 or height <= 0:
                        found.append(f"has no size: {child!r}")
                    elif x < left or y < top or x + width > left + wide or y + height > top + high:
                        found.append(f"is not in the window: {child!r} at {child.extents} in {window}")
                if role == "push button":
                    found += [f"is over another: {child!r} and {other!r}" for other, (left, top, wide, high) in buttons
                              if x < left + wide and left < x + width and y < top + high and top < y + height]
                    buttons.append((child, (x, y, width, height)))
                if role not in SCROLLED:
                    inside(child, child.extents if role == "frame" else window, found)
            except Gone:
                continue
        return found
    return inside(root, None, [])


def cut_off(root):
    """The words that are shown but do not fit where they must."""
    return [found.name for found in find_all(root, None, None, ["showing"]) if found.description == "cut off"]


def line(accessible):
    """One object in words, as a dump has it."""
    words = f'{accessible.role} "{accessible.name}"'
    states = accessible.states
    words += "".join(f" {state}" for state in sorted(states - COMMON_STATES))
    if "showing" not in states:
        words += " (hidden)"
    if "editable" in states and "Text" in accessible.interfaces:
        words += f" = {accessible.text!r}"
    return words


def dump(root):
    lines = []
    for accessible, depth in walk(root):
        try:
            lines.append("  " * depth + line(accessible))
        except Gone:
            continue
    return "\n".join(lines)
