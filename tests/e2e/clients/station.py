"""A simulated station with the process, in a network of its own."""
import argparse
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

REST = "http://127.0.0.1:8080"
EVENTS_ADDRESS = ("127.0.0.1", 8081)
EVENTS = "ws://%s:%d" % EVENTS_ADDRESS
STEERING = "http://127.0.0.1:8090"
PASSWORD = "correct horse"
PROGRAMS = ("webbackend", "stationsim", "webbackend-passwd")
PATIENCE = 60
# runs a program with a station's directories as /data and /tmp
IN_STATION = pathlib.Path(__file__).parents[3] / "scripts/in_station"


def enter_private_network():
    """Starts the running script anew in a network with nothing but a loopback interface."""
    if "PRIVATE_NETWORK" not in os.environ:
        os.environ["PRIVATE_NETWORK"] = "1"
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        shell = 'ip link set lo up && exec "$@"'
        os.execvp("unshare", ["unshare", *user, "--net", "sh", "-c", shell, "sh", sys.executable, *sys.argv])


def arguments(description):
    """A parser of what every script here is told."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--files", type=pathlib.Path, required=True, help="the simulated station's default files")
    for name in PROGRAMS:
        parser.add_argument(f"--{name}", required=True)
    return parser


def eventually(condition, text):
    """Waits until the condition holds; what it throws for want of a server counts as false."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            if condition():
                return
        except (OSError, urllib.error.URLError):
            pass
        time.sleep(0.01)
    raise AssertionError(f"not in time: {text}")


def get(url):
    with urllib.request.urlopen(url, timeout=PATIENCE) as answer:
        return answer.read()


def steer(path, body):
    """The simulated station's answer to a steering request."""
    with urllib.request.urlopen(STEERING + path, json.dumps(body).encode(), PATIENCE) as answer:
        return json.load(answer)


def calls(service, operation, after=0, wait=0):
    """The calls that have arrived at a service; with wait, at least one if it comes within so many seconds."""
    query = f"service={service}&operation={operation}&after={after}&wait={wait}"
    return json.loads(get(f"{STEERING}/calls?{query}"))["Calls"]


def await_call(service, operation):
    if not calls(service, operation, wait=PATIENCE // 2):
        raise AssertionError(f"no {operation} of {service}")


def last_call():
    return json.loads(get(f"{STEERING}/calls"))["Last"]


class Station:
    """The files of a station, and the programs that run on them."""

    def __init__(self, options, files_in_place=False):
        """:param options: what a parser made by arguments() has read
        :param files_in_place: whether the programs find the station's data and tmp as /data and /tmp
        """
        self.programs = {name: getattr(options, name.replace("-", "_")) for name in PROGRAMS}
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="station"))
        shutil.copytree(options.files / "etc", self.root / "etc")
        for directory in ("run", "data/config", "data/log"):
            (self.root / directory).mkdir(parents=True)
        self.set_default("secrets", "WebIfManagementPassword", self.encoded(PASSWORD))
        self.prefix = [IN_STATION, self.root] if files_in_place else []
        self.running = []
        self.process = None

    def open(self):
        self.start("stationsim")
        self.start_process()

    def encoded(self, password):
        command = [self.programs["webbackend-passwd"]]
        return subprocess.run(command, input=password, capture_output=True, text=True, check=True).stdout.strip()

    def set_default(self, name, key, value):
        file = self.root / f"etc/config/{name}.json"
        values = json.loads(file.read_text())
        values[key] = value
        file.write_text(json.dumps(values))

    def start(self, program):
        with open(self.root / f"{program}.log", "a") as log:
            self.running.append(
                subprocess.Popen([*self.prefix, self.programs[program], "-r", f"{self.root}/"], stdout=log, stderr=log))
        return self.running[-1]

    def start_process(self):
        self.process = self.start("webbackend")
        eventually(lambda: get(f"{REST}/auth/status"), "the process answers")

    def stop_process(self):
        self.process.send_signal(signal.SIGINT)
        if self.process.wait(PATIENCE) != 0:
            log = (self.root / "webbackend.log").read_text()
            raise AssertionError(f"the process did not end well:\n{log[-20000:]}")

    def close(self):
        for program in self.running:
            program.kill()
            program.wait()
        shutil.rmtree(self.root)
