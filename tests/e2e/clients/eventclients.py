"""Clients of the event server that other people wrote, behind one interface. The browser has a file of its own."""
import json
import pathlib
import queue
import subprocess
import sys
import threading
import time
import typing
import urllib.request

from station import EVENTS, PASSWORD, PATIENCE, REST

# seconds in which something that must come has come
SILENCE = PATIENCE / 3
HERE = pathlib.Path(__file__).parent


class Heard(typing.NamedTuple):
    """What a connection tells: "open", "message" with the text, "close" with code and reason, or "error"."""
    seconds: float
    kind: str
    details: list

    def message(self):
        assert self.kind == "message", self
        return json.loads(self.details[0])


class Connection:
    """A connection to the event server. Derived classes give `send`, `next` and `close`."""

    def opened(self):
        heard = self.next()
        assert heard and heard.kind == "open", heard
        return self

    def next_message(self):
        heard = self.next()
        assert heard, "nothing is heard"
        return heard.message()

    def answer(self, action, topic):
        """The events that come before the result of a request, and the result."""
        self.send(json.dumps({"action": action, "topic": topic}))
        events = []
        while (message := self.next_message())["type"] == "event":
            events.append(message)
        return events, message

    def subscribe(self, topic):
        """Returns when the topic has done all that it does for a new subscriber, with its first events."""
        self.answer("subscribe", topic)
        return self.answer("none", "/nowhere")[0]


class PipedConnection(Connection):
    """One that a program holds, see wsclient.js."""

    def __init__(self, command):
        self.program = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.heard = queue.Queue()
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def read(self):
        for line in self.program.stdout:
            kind, *details = json.loads(line)
            self.heard.put(Heard(time.monotonic(), kind, details))

    def send(self, text):
        self.program.stdin.write(text + "\n")

    def next(self, patience=SILENCE):
        """What is heard next, or None if nothing is for so many seconds."""
        try:
            return self.heard.get(timeout=patience)
        except queue.Empty:
            return None

    def close(self):
        self.program.stdin.close()
        try:
            assert self.program.wait(PATIENCE) == 0
        finally:
            self.program.kill()
            self.reader.join()
            self.program.stdout.close()


class PipedClient:
    """Logs in over REST and connects with a program."""

    def __init__(self, *command):
        self.command = command
        self.cookie = None

    def post(self, path, body=None):
        headers = {"Content-Type": "application/json"}
        if self.cookie:
            headers["Cookie"] = self.cookie
        data = b"" if body is None else json.dumps(body).encode()
        return urllib.request.urlopen(urllib.request.Request(REST + path, data, headers), timeout=PATIENCE)

    def log_in(self):
        with self.post("/auth/login", {"Password": PASSWORD}) as answer:
            self.cookie = answer.headers["Set-Cookie"].partition(";")[0]

    def log_out(self):
        """The cookie stays."""
        self.post("/auth/logout").close()

    def forget_cookie(self):
        self.cookie = None

    def connect(self, url=EVENTS):
        return PipedConnection([*self.command, url, *([self.cookie] if self.cookie else [])])


class NodeClient(PipedClient):
    """The package ws under Node.js."""

    def __init__(self, node):
        super().__init__(node, str(HERE / "wsclient.js"))


class PythonClient(PipedClient):
    """Python's package websockets."""

    def __init__(self):
        super().__init__(sys.executable, str(HERE / "websocketsclient.py"))
