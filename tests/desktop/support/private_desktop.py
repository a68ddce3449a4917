"""A display, a session bus and an accessibility bus of one's own, with a home folder that is thrown away."""

import ctypes
import os
import select
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import uuid
import zlib
from pathlib import Path

from gi.repository import GLib

from accessible import Gone, call, connect

POLL_SECONDS = 0.02
SESSION_TOKEN = "RAVANT_TEST_SESSION"
PASSED_ON = ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE")
KILL_WITH_PARENT = 1

# Starts nothing on demand but what a test has put into the folder of services.
BUS = """<busconfig>
  <type>session</type>
  <listen>unix:path={folder}/bus</listen>
  <servicedir>{services}</servicedir>
  <policy context="default"><allow send_destination="*"/><allow eavesdrop="true"/><allow own="*"/></policy>
</busconfig>
"""


def until(condition, seconds):
    """What `condition` answers first that is true, or its last answer when the time is over."""
    deadline = time.monotonic() + seconds
    while not (answer := condition()) and time.monotonic() < deadline:
        time.sleep(POLL_SECONDS)
    return answer


def die_with_parent():
    ctypes.CDLL(None).prctl(KILL_WITH_PARENT, signal.SIGKILL)


def processes_with(variable, value):
    """Living processes that were started with the variable in their environment: process id to command line."""
    found, wanted = {}, f"{variable}={value}".encode()
    for folder in Path("/proc").iterdir():
        if not folder.name.isdecimal():
            continue
        try:
            if wanted in (folder / "environ").read_bytes().split(b"\0"):
                command = (folder / "cmdline").read_bytes().replace(b"\0", b" ")
                found[int(folder.name)] = command.decode(errors="replace")
        except OSError:
            continue
    return found


class PrivateDesktop:
    """Context manager. `environment` is what a program is to be started with: nothing of the tester's own but the
    sanitizers' options. Everything that was started in it is gone when it ends, whatever happened."""

    def __init__(self, screen="1440x900", patience=20):
        self.screen, self.patience = screen, patience
        self.token = uuid.uuid4().hex
        self._own = []

    def __enter__(self):
        self.folder = Path(tempfile.mkdtemp(prefix="ravant-"))
        try:
            self._make_home()
            self._start_display()
            self._start_buses()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for process in reversed(self._own):
            process.terminate()
            try:
                process.wait(self.patience)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.end_strays()
        shutil.rmtree(self.folder, ignore_errors=True)

    def end_strays(self):
        """Kills what was started in this desktop and still runs."""
        def none_left():
            strays = processes_with(SESSION_TOKEN, self.token)
            for pid in strays:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    continue
            return not strays
        until(none_left, self.patience)

    def _make_home(self):
        self.home = self.folder / "home"
        self.services = self.home / ".local/share/dbus-1/services"
        self.programs = self.home / "bin"
        runtime = self.folder / "run"
        for folder in (self.services, self.programs, runtime):
            folder.mkdir(parents=True, mode=0o700)
        self.data = self.home / ".local/share/ravant"
        self.settings = self.home / ".config/ravant/settings.json"
        self.environment = {name: os.environ[name] for name in PASSED_ON if name in os.environ} | {
            SESSION_TOKEN: self.token,
            "HOME": str(self.home),
            "PATH": f"{self.programs}:/usr/local/bin:/usr/bin:/bin",
            "SHELL": "/bin/bash",
            "USER": "tester",
            "LANG": "C.UTF-8",
            "TZ": "UTC",
            "XDG_CONFIG_HOME": str(self.home / ".config"),
            "XDG_CACHE_HOME": str(self.home / ".cache"),
            "XDG_DATA_HOME": str(self.home / ".local/share"),
            "XDG_STATE_HOME": str(self.home / ".local/state"),
            "XDG_RUNTIME_DIR": str(runtime),
            "RAVANT_DATA_DIR": str(self.data),
            "GIT_CONFIG_NOSYSTEM": "1",
            "QT_QPA_PLATFORM": "xcb",
            "QT_QUICK_BACKEND": "software",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "NO_AT_BRIDGE": "0",
        }

    def _start(self, *command, **how):
        words = (self.folder / f"{Path(command[0]).name}.log").open("ab")
        process = subprocess.Popen(command, env=self.environment, cwd=self.home, stdin=subprocess.DEVNULL,
                                   stdout=words, stderr=words, preexec_fn=die_with_parent, **how)
        words.close()
        self._own.append(process)
        return process

    def run_beside(self, *command):
        """Starts another program on this desktop, which does not outlive it."""
        return self._start(*command)

    def _failed(self, what):
        logs = "".join(f"\n{log.name}: {log.read_text(errors='replace')}" for log in self.folder.glob("*.log"))
        return AssertionError(f"{what}{logs}")

    def _start_display(self):
        reader, writer = os.pipe()
        try:
            try:
                self._display = self._start("Xvfb", "-displayfd", str(writer), "-screen", "0", f"{self.screen}x24",
                                            "-nolisten", "tcp", "-noreset", "-fbdir", str(self.folder),
                                            pass_fds=(writer,))
            finally:
                os.close(writer)
            number = b""
            deadline = time.monotonic() + self.patience
            while not number.endswith(b"\n"):
                ready, _, _ = select.select([reader], [], [], max(0, deadline - time.monotonic()))
                piece = os.read(reader, 16) if ready else b""
                if not piece:
                    raise self._failed("Xvfb did not start")
                number += piece
        finally:
            os.close(reader)
        self.environment["DISPLAY"] = f":{int(number)}"

    def _start_buses(self):
        socket, configuration = self.folder / "bus", self.folder / "bus.conf"
        configuration.write_text(BUS.format(folder=self.folder, services=self.services))
        self._bus_daemon = self._start("dbus-daemon", f"--config-file={configuration}", "--nofork", "--nopidfile")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={socket}"
        # Its socket is there before it listens.
        self.bus = until(self._session_bus, self.patience)
        if not self.bus:
            raise self._failed("the session bus did not start")
        launcher = next((path for path in ("/usr/libexec/at-spi-bus-launcher",
                                           "/usr/lib/at-spi2-core/at-spi-bus-launcher") if os.path.exists(path)), None)
        if launcher is None:
            raise AssertionError("at-spi-bus-launcher was not found (package at-spi2-core)")
        self._start(launcher, "--launch-immediately")
        address = until(self._accessibility_address, self.patience)
        if not address:
            raise self._failed("the accessibility bus did not start")
        self.accessibility = connect(address)

    def has_name(self, name):
        """Whether somebody has the name on the session bus."""
        return self._ask_bus("NameHasOwner", name)

    def connections_of(self, pid):
        """How many a process has to the session bus."""
        names = [name for name in self._ask_bus("ListNames") if name.startswith(":")]
        return sum(self._ask_bus("GetConnectionUnixProcessID", name) == pid for name in names)

    def _ask_bus(self, method, *names):
        bus = "org.freedesktop.DBus"
        arguments = GLib.Variant("(s)", names) if names else None
        return call(self.bus, bus, "/org/freedesktop/DBus", bus, method, arguments)[0]

    def end_bus(self):
        """Ends the session bus, and with it what a screen reader could be told: from then on nothing can be found."""
        self._bus_daemon.terminate()
        self._bus_daemon.wait()

    def end_display(self):
        """Ends the display server, and with it whatever has a window on it."""
        self._display.kill()
        self._display.wait()

    def _session_bus(self):
        try:
            return connect(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        except GLib.Error:
            return None

    def _accessibility_address(self):
        try:
            return call(self.bus, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0]
        except Gone:
            return None

    def xdotool(self, *arguments):
        done = subprocess.run(["xdotool", *arguments], env=self.environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=self.patience, check=False)
        if done.returncode:
            raise AssertionError(f"xdotool {' '.join(arguments)}: {done.stderr or done.returncode}")
        return done.stdout

    def frame(self):
        """What the screen shows, as the display keeps it: to compare."""
        return (self.folder / "Xvfb_screen0").read_bytes()

    def pixels(self):
        """What the screen shows: width, height, and its rows from the top, each a bytes of red, green and blue."""
        frame = self.frame()
        header = struct.unpack(">25I", frame[:100])
        start, width, height, stride, colours = header[0], header[4], header[5], header[12], header[19]
        start += colours * 12
        rows = []
        for top in range(start, start + stride * height, stride):
            pixels = frame[top:top + width * 4]
            row = bytearray(width * 3)
            row[0::3], row[1::3], row[2::3] = pixels[2::4], pixels[1::4], pixels[0::4]
            rows.append(bytes(row))
        return width, height, rows

    def screenshot(self, path):
        """Writes what the screen shows as PNG."""
        width, height, rows = self.pixels()

        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

        Path(path).write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", width, height, 8, 2, 0, 0, 0))
                               + chunk(b"IDAT", zlib.compress(b"".join(b"\0" + row for row in rows), 6))
                               + chunk(b"IEND", b""))
