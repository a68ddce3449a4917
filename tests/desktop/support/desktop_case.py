"""What the tests of the real program share: a machine without a project yet, agents that ask no model, and `ravant`."""

import json
import os
import shlex
import subprocess
import unittest
from pathlib import Path

from desktop_session import DesktopSession

DEMO_AGENT = Path(__file__).resolve().parents[3] / "examples/demo-agent"

# What a button says of itself that cannot be pressed: Qt 6.4 does not tell readers otherwise.
UNAVAILABLE = "not available"

# The demo agent without its pauses.
HURRYING_AGENT = f"""
sleep() {{ :; }}
. {shlex.quote(str(DEMO_AGENT))}
"""

# Says what it was asked, waits until it is told to go on, says a last word.
WAITING_AGENT = r"""
for prompt; do :; done
said() { printf '{"type":"assistant","message":{"id":"msg_%s","type":"message","role":"assistant","model":"demo",'\
'"content":[{"type":"text","text":"%s"}],"stop_reason":null},"parent_tool_use_id":null,"session_id":"s"}\n' "$1" "$2"; }
echo '{"type":"system","subtype":"init","session_id":"s","tools":[],"model":"demo"}'
said 1 "I am at: $prompt"
read -r _ <'GATE'
said 2 "Done with: $prompt"
echo '{"type":"result","subtype":"success","is_error":false,"result":"Done.","session_id":"s"}'
"""


class DesktopCase(unittest.TestCase):
    program = ravant = ""

    def setUp(self):
        self.desktop = self.enterContext(DesktopSession(self.program))
        self.work = self.desktop.home / "work"
        self.work.mkdir()

    @classmethod
    def main(cls, program, ravant, *arguments):
        """Runs the tests of a script: its first arguments are the two programs."""
        DesktopCase.program, DesktopCase.ravant = str(Path(program).resolve()), str(Path(ravant).resolve())
        unittest.main(argv=[cls.__name__, *arguments])

    def run_ravant(self, *arguments, fails=False):
        done = subprocess.run([self.ravant, *arguments], env=self.desktop.environment, cwd=self.work,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode != 0, fails, f"{arguments}: {done.stdout}{done.stderr}")
        return done.stdout

    def start_ravant(self, *arguments):
        """Starts it and waits for nothing; it does not outlive the test."""
        started = subprocess.Popen([self.ravant, *arguments], env=self.desktop.environment, cwd=self.work,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(started.wait)
        self.addCleanup(started.kill)
        return started

    def conversation(self):
        """The id of the latest one."""
        return json.loads(self.run_ravant("conversation", "list", "--json"))[0]["id"]

    def set(self, **settings):
        """A name's parts have an underscore between them: `window_zoom=150`."""
        for name, value in settings.items():
            self.run_ravant("settings", "set", name.replace("_", "."), json.dumps(value).strip('"'))

    def ask(self, prompt, project=None, fails=False):
        """Has the agent answer a prompt, outside of the window."""
        self.run_ravant(*self.asked(prompt, project), fails=fails)

    def asked(self, prompt, project=None):
        return ("run", "--project", str(project or self.work), "--agent", "claude", "--model", "demo", prompt)

    def focused_region(self):
        """The name of the outermost region in which the keyboard is, or None."""
        for region in self.desktop.find_all("panel", None, ["showing"]):
            if region.name and self.desktop.find(None, None, ["focused"], region):
                return region.name
        return None

    # What the user does.

    def prompt(self):
        """What stands in the composer."""
        return self.desktop.find("text", "Prompt", ["showing"]).text

    def write(self, text):
        """Returns when it can be sent: a composer that has just been shown does not know yet by whom."""
        self.desktop.wait_for("text", "Prompt", ["showing", "focused"])
        self.desktop.type(text)
        self.desktop.wait_until(lambda: self.prompt() == text, f"{text!r} in the composer")
        self.desktop.wait_until(lambda: self.desktop.find("push button", "Send", ["showing"]).description != UNAVAILABLE,
                                "a prompt that can be sent")

    def send(self, text):
        self.write(text)
        self.desktop.keys("Enter")
        self.desktop.wait_until(lambda: self.prompt() == "", "an empty composer")

    def register_demo_agent(self):
        """As the only agent."""
        self.run_ravant("agent", "add", "claude", "--path", str(DEMO_AGENT))
        self.set(claude_asRoot=True)

    def register_agent(self, script=HURRYING_AGENT):
        """A shell script as the only agent."""
        agent = self.desktop.programs / "agent"
        agent.write_text(f"#!/bin/sh\n{script}\n")
        agent.chmod(0o755)
        self.run_ravant("agent", "add", "claude", "--path", str(agent))
        self.set(claude_asRoot=True)

    def register_waiting_agent(self):
        """One that waits in the middle of its work until `go_on`."""
        self.gate = self.desktop.home / "gate"
        os.mkfifo(self.gate)
        self.register_agent(WAITING_AGENT.replace("GATE", str(self.gate)))

    def go_on(self):
        """Lets the agent that waits go on, once there is one."""
        with self.gate.open("w") as gate:
            gate.write("on\n")
