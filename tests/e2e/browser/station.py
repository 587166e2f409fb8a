"""A simulated station with the process, in a network of its own, and a headless browser in front of it."""
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

from selenium import webdriver

REST = "http://127.0.0.1:8080"
STEERING = "http://127.0.0.1:8090"
PASSWORD = "correct horse"
PATIENCE = 60


def enter_private_network():
    """Starts the running script anew in a network with nothing but a loopback interface."""
    if "PRIVATE_NETWORK" not in os.environ:
        os.environ["PRIVATE_NETWORK"] = "1"
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        shell = 'ip link set lo up && exec "$@"'
        os.execvp("unshare", ["unshare", *user, "--net", "sh", "-c", shell, "sh", sys.executable, *sys.argv])


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


class Station:
    """The files of a station, and the programs that run on them."""

    def __init__(self, programs, files):
        self.programs = programs
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="station"))
        shutil.copytree(files / "etc", self.root / "etc")
        for directory in ("run", "data/config", "data/log"):
            (self.root / directory).mkdir(parents=True)
        self.set_default("secrets", "WebIfManagementPassword", self.encoded(PASSWORD))
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
                subprocess.Popen([self.programs[program], "-r", f"{self.root}/"], stdout=log, stderr=log))
        return self.running[-1]

    def start_process(self):
        self.process = self.start("webbackend")
        eventually(lambda: get(f"{REST}/auth/status"), "the process answers")

    def stop_process(self):
        self.process.send_signal(signal.SIGINT)
        if self.process.wait(PATIENCE) != 0:
            raise AssertionError("the process did not end well")

    def close(self):
        for program in self.running:
            program.kill()
            program.wait()
        shutil.rmtree(self.root)


class Browser:
    """Chromium on a page of the REST port, which is the origin of its requests."""

    def __init__(self, profile):
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                         f"--user-data-dir={profile}"):
            options.add_argument(argument)
        self.driver = webdriver.Chrome(options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.driver.get(f"{REST}/auth/status")

    def fetch(self, method, path, body=None):
        """Status and text of the answer to a request of the page."""
        return tuple(self.driver.execute_async_script(
            """
            const [method, path, body, done] = arguments;
            const options = {method};
            if (body !== null) {
                options.headers = {"Content-Type": "application/json"};
                options.body = JSON.stringify(body);
            }
            fetch(path, options).then(async answer => done([answer.status, await answer.text()]),
                                      error => done([0, String(error)]));
            """,
            method, path, body))

    def cookie(self):
        return self.driver.get_cookie("sessionid")

    def quit(self):
        self.driver.quit()
