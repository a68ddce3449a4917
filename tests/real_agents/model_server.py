"""A model behind HTTP that follows a script.

It speaks the streaming responses and chat completions interfaces, as far as the coding agents' programs use them. The
last prompt that holds a word in double square brackets, as in "[[tool]] please", says what is played:

    text    a text in several pieces
    tool    one failing shell command, then a text
    two     two shell commands at once, then a text
    heavy   many shell commands with much output at once, then a text
    slow    a shell command that takes a minute
    flaky   refused with status 500 a few times, then a text
    dropped a text whose stream breaks in its midst once
    error   refused with status 400
"""

import collections
import http.server
import itertools
import json
import re
import socket
import sys
import threading
import time

TEXT = "Hello from the model.\n\n```cpp\nint main() { return 0; }\n```\n\nDone: größer, 漢字, 🙂."
TEXT_BEFORE_TOOLS = "I look at it."
TEXT_AFTER_TOOLS = "The commands have ended."
TEXT_AFTER_FAILURE = "Here I am again."
ERROR = "the model refuses this prompt on purpose"
HEAVY_CALLS = 24
COMMANDS = {
    "tool": ["echo one; echo two 1>&2; exit 3"],
    "two": ["echo first", "echo second"],
    "heavy": ["head -c 90000 /dev/zero | tr '\\0' x"] * HEAVY_CALLS,
    "slow": ["echo begun; sleep 60"],
}
INPUT_TOKENS, CACHED_TOKENS, OUTPUT_TOKENS = 120, 40, 30

REFUSALS_WHEN_FLAKY = 3  # more than the libraries that some programs call try by themselves

# How the programs call their shell tool, and the argument that takes the command.
SHELL_TOOLS = {"exec_command": "cmd", "shell_command": "command", "shell": "command", "bash": "command"}


class ModelServer:
    """Serves on a free port of this machine until it is closed. `requests` are the bodies that were received."""

    def __init__(self):
        self.requests = []
        self._ids = itertools.count(1)
        self._tries = collections.Counter()
        self._lock = threading.Lock()
        model = self

        class Handler(_Handler):
            server_model = model

        self._server = _Server(("127.0.0.1", 0), Handler)
        self._thread = threading.Thread(target=self._server.serve_forever, daemon=True)
        self._thread.start()

    @property
    def url(self):
        return f"http://127.0.0.1:{self._server.server_address[1]}/v1"

    def close(self):
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()

    def new_id(self, kind):
        return f"{kind}_{next(self._ids):06}"

    def take(self, body):
        with self._lock:
            self.requests.append(body)

    def count_try(self, prompt):
        with self._lock:
            self._tries[prompt] += 1
            return self._tries[prompt]


class _Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        # An agent that was ended breaks off its connections.
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_model = None
    _pieces_left = None  # of text, until the connection breaks

    def log_message(self, *_):
        pass

    def do_GET(self):
        self._json(200, {"object": "list", "data": [{"id": "mock-model", "object": "model"}]})

    def do_POST(self):
        body = json.loads(self.rfile.read(int(self.headers.get("Content-Length") or 0)) or "{}")
        self.server_model.take(body)
        if self.path.endswith("/responses"):
            self._play(body, _entries_of_responses(body), self._responses)
        elif self.path.endswith("/chat/completions"):
            self._play(body, _entries_of_chat(body), self._chat)
        else:
            self._json(404, {"error": {"message": f"there is nothing at {self.path}"}})

    def _play(self, body, entries, answer):
        prompt, has_results = "", False
        for kind, text in entries:
            if kind == "user" and re.search(r"\[\[\w+\]\]", text):
                prompt, has_results = text, False
            elif kind == "result":
                has_results = True
        found = re.findall(r"\[\[(\w+)\]\]", prompt)
        word = found[-1] if found else "text"
        tool = next((name for name in map(_tool_name, body.get("tools") or []) if name in SHELL_TOOLS), None)

        if tool is None:  # such as the request for a title
            answer("A title", [])
        elif word == "error":
            self._json(400, {"error": {"message": ERROR, "type": "invalid_request_error", "code": "refused"}})
        elif word == "flaky" and self.server_model.count_try(prompt) <= REFUSALS_WHEN_FLAKY:
            self._json(500, {"error": {"message": "the model is not well", "type": "server_error"}})
        elif word == "flaky":
            answer(TEXT_AFTER_FAILURE, [])
        elif word == "dropped" and self.server_model.count_try(prompt) == 1:
            self._pieces_left = 2
            answer(TEXT, [])
        elif word not in COMMANDS:
            answer(TEXT, [])
        elif has_results:
            answer(TEXT_AFTER_TOOLS, [])
        else:
            answer(TEXT_BEFORE_TOOLS, [(tool, _arguments(tool, command)) for command in COMMANDS[word]])

    def _responses(self, text, calls):
        new_id = self.server_model.new_id
        response = {"id": new_id("resp"), "object": "response", "model": "mock-model", "output": []}
        message = {"type": "message", "id": new_id("msg"), "role": "assistant", "content": []}
        self._stream()
        self._event({"type": "response.created", "response": {**response, "status": "in_progress"}})
        self._event({"type": "response.output_item.added", "output_index": 0, "item": message})
        for piece in self._pieces(text):
            self._event({"type": "response.output_text.delta", "item_id": message["id"], "output_index": 0,
                         "content_index": 0, "delta": piece})
        message["content"] = [{"type": "output_text", "text": text, "annotations": []}]
        self._event({"type": "response.output_item.done", "output_index": 0, "item": message})
        for index, (name, arguments) in enumerate(calls, 1):
            call = {"type": "function_call", "id": new_id("fc"), "call_id": new_id("call"), "name": name,
                    "arguments": arguments}
            self._event({"type": "response.output_item.done", "output_index": index, "item": call})
        usage = {"input_tokens": INPUT_TOKENS, "input_tokens_details": {"cached_tokens": CACHED_TOKENS},
                 "output_tokens": OUTPUT_TOKENS, "output_tokens_details": {"reasoning_tokens": 0},
                 "total_tokens": INPUT_TOKENS + OUTPUT_TOKENS}
        self._event({"type": "response.completed", "response": {**response, "status": "completed", "usage": usage}})
        self._end()

    def _chat(self, text, calls):
        new_id = self.server_model.new_id
        chunk = {"id": new_id("chatcmpl"), "object": "chat.completion.chunk", "created": 1, "model": "mock-model"}

        def choice(delta, reason=None):
            self._event({**chunk, "choices": [{"index": 0, "delta": delta, "finish_reason": reason}]})

        self._stream()
        choice({"role": "assistant", "content": ""})
        for piece in self._pieces(text):
            choice({"content": piece})
        for index, (name, arguments) in enumerate(calls):
            function = {"name": name, "arguments": arguments}
            choice({"tool_calls": [{"index": index, "id": new_id("call"), "type": "function", "function": function}]})
        choice({}, "tool_calls" if calls else "stop")
        usage = {"prompt_tokens": INPUT_TOKENS, "prompt_tokens_details": {"cached_tokens": CACHED_TOKENS},
                 "completion_tokens": OUTPUT_TOKENS, "total_tokens": INPUT_TOKENS + OUTPUT_TOKENS}
        self._event({**chunk, "choices": [], "usage": usage})
        self._send("data: [DONE]\n\n")
        self._end()

    def _pieces(self, text):
        for start in range(0, len(text), 13):
            if self._pieces_left == 0:
                time.sleep(0.3)  # until the agent has taken in what was sent
                self.connection.shutdown(socket.SHUT_RDWR)
                raise ConnectionAbortedError
            yield text[start : start + 13]
            if self._pieces_left:
                self._pieces_left -= 1

    def _json(self, status, value):
        body = json.dumps(value).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def _stream(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()

    def _event(self, value):
        head = f"event: {value['type']}\n" if "type" in value else ""
        self._send(f"{head}data: {json.dumps(value)}\n\n")

    def _send(self, text):
        data = text.encode()
        self.wfile.write(b"%x\r\n%s\r\n" % (len(data), data))
        self.wfile.flush()

    def _end(self):
        self.wfile.write(b"0\r\n\r\n")


def _tool_name(tool):
    return tool.get("name") or (tool.get("function") or {}).get("name")


def _arguments(tool, command):
    value = ["/bin/sh", "-c", command] if tool == "shell" else command
    return json.dumps({SHELL_TOOLS[tool]: value, "description": "Run a command"} if tool == "bash" else
                      {SHELL_TOOLS[tool]: value})


def _text_of(content):
    if isinstance(content, str):
        return content
    return "\n".join(block.get("text") or "" for block in content or [] if isinstance(block, dict))


def _entries_of_responses(body):
    """("user" | "assistant" | "result", text) of what the agent sends along."""
    given = body.get("input") or []
    for item in [{"role": "user", "content": given}] if isinstance(given, str) else given:
        if (item.get("type") or "").endswith("_call_output"):
            yield "result", json.dumps(item.get("output"))
        elif item.get("role") in ("user", "assistant"):
            yield item["role"], _text_of(item.get("content"))


def _entries_of_chat(body):
    for message in body.get("messages") or []:
        role = message.get("role")
        if role in ("user", "assistant", "tool"):
            yield "result" if role == "tool" else role, _text_of(message.get("content"))


def entries(body):
    """What a request held of the conversation: pairs of a role and a text."""
    return list(_entries_of_responses(body) if "input" in body else _entries_of_chat(body))
